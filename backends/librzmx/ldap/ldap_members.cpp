// Members of groups and consumers of login maps: entries by name, users by login name, and users
// whose own group it is.
#include <charconv>
#include <unordered_map>
#include <unordered_set>

#include "backends/librzmx/ldap/ldap_directory.h"

namespace rzmx {

namespace {

constexpr std::size_t kUsersAtATime = 64;  // in one filter

// All values of an attribute. A server that sends only so many at a time names them
// "member;range=0-1499", and the last of them "member;range=1500-*".
class Values {
public:
    Values(Session &session, std::string const &dn) : session_(session), dn_(dn) {}

    // Adds what entry has, and what the server has besides.
    void add(Entry const &entry, std::string const &attribute) {
        if (auto const *const whole = entry.find(attribute)) take(*whole);
        std::size_t next = takeRange(entry, attribute);
        while (next > 0) {
            std::string const range = attribute + ";range=" + std::to_string(next) + "-*";
            std::size_t behind = 0;
            session_.connection().lookUp({dn_}, {range}, [&](std::size_t, Entry const *rest) {
                if (rest != nullptr) behind = takeRange(*rest, attribute);
            });
            if (behind != 0 && behind <= next) {
                throw Failure("The directory sends the values of '" + attribute +
                              "' again and again.");
            }
            next = behind;
        }
    }

    std::vector<std::string> take() { return std::move(values_); }

private:
    void take(Entry::Attribute const &attribute) {
        for (berval const *value = attribute.values; value->bv_val != nullptr; ++value) {
            values_.emplace_back(view(*value));
        }
    }

    // The place behind the last value that was sent; 0 when there are no more.
    std::size_t takeRange(Entry const &entry, std::string const &attribute) {
        std::string const start = attribute + ";range=";
        for (Entry::Attribute const &each : entry.attributes()) {
            bool const isRange = each.values != nullptr && each.name.size() > start.size() &&
                                 equalNoCase(each.name.substr(0, start.size()), start);
            if (!isRange || each.values->bv_val == nullptr) continue;
            take(each);
            std::string_view const last = each.name.substr(each.name.find('-') + 1);
            std::size_t end = 0;
            auto const read = std::from_chars(last.data(), last.data() + last.size(), end);
            return read.ec == std::errc() ? end + 1 : 0;
        }
        return 0;
    }

    Session &session_;
    std::string const &dn_;
    std::vector<std::string> values_;
};

class Members {
public:
    Members(Session &session, Rows &rows)
        : session_(session), rows_(rows), userName_(session.names(Setting::kUserName)),
          userId_(session.names(Setting::kUserId)), groupName_(session.names(Setting::kGroupName)),
          groupId_(session.names(Setting::kGroupId)),
          groupClasses_(session.names(Setting::kGroupClass)) {}

    // Those whose entries are named. One that cannot be seen is a member in name only.
    void addEntries(std::vector<std::string> const &dns) {
        Names wanted = session_.attributes(
            {Setting::kUserName, Setting::kUserId, Setting::kGroupName, Setting::kGroupId});
        wanted.push_back("objectClass");
        session_.connection().lookUp(dns, wanted, [&](std::size_t place, Entry const *entry) {
            if (entry == nullptr) {
                addUnknown(dns[place]);
            } else if (entry->hasValue("objectClass", groupClasses_)) {
                addEntry(*entry, groupName_, groupId_, 1);
            } else {
                addEntry(*entry, userName_, userId_, 0);
            }
        });
    }

    // Users by login name, in the order of these; some may be in name only.
    void addNames(std::vector<std::string> const &names) {
        for (std::size_t first = 0; first < names.size(); first += kUsersAtATime) {
            std::size_t const end = std::min(first + kUsersAtATime, names.size());
            std::string condition;
            for (std::size_t i = first; i < end; ++i) condition += anyEqualTo(userName_, names[i]);
            std::unordered_set<std::string> found;
            if (!condition.empty()) addUsers("(|" + condition + ")", &found);
            for (std::size_t i = first; i < end; ++i) {
                if (found.count(names[i]) == 0) addUnknown(names[i]);
            }
        }
    }

    void addUsers(std::string const &condition, std::unordered_set<std::string> *found = nullptr) {
        Query const query =
            session_.query(kUserKind, condition, {Setting::kUserName, Setting::kUserId});
        session_.connection().search(query, [&](Entry const &entry) {
            if (found != nullptr) found->emplace(entry.first(userName_).value_or(""));
            addEntry(entry, userName_, userId_, 0);
        });
    }

private:
    void addEntry(Entry const &entry, Names const &name, Names const &id, int isGroup) {
        if (!listed_.emplace(entry.dn()).second) return;
        rows_.add({entry.first(name), entry.first(id)}, isGroup);
    }
    void addUnknown(std::string const &name) {
        if (listed_.insert(name).second) rows_.add({name, {}});
    }

    Session &session_;
    Rows &rows_;
    Names userName_, userId_, groupName_, groupId_, groupClasses_;
    std::unordered_set<std::string> listed_;
};

// The values of the attributes that a setting names, of one entry.
std::vector<std::string> valuesOf(Session &session, std::string const &dn, Setting setting) {
    Values values(session, dn);
    Names const attributes = session.attributes({setting});
    if (attributes.empty()) return {};
    session.connection().lookUp({dn}, attributes, [&](std::size_t, Entry const *entry) {
        if (entry == nullptr) throw Failure("The entry '" + dn + "' has gone.");
        for (std::string const &attribute : attributes) values.add(*entry, attribute);
    });
    return values.take();
}

}  // namespace

void listMembers(Session &session, std::string_view groupId, Rows &rows) {
    Found const group = session.byId(kGroupKind, groupId);
    Members members(session, rows);
    members.addEntries(valuesOf(session, group.dn, Setting::kGroupMember));
    members.addNames(valuesOf(session, group.dn, Setting::kGroupMemberName));
    std::string const own = anyEqualTo(session.names(Setting::kUserGroup), group.number);
    if (!group.number.empty() && !own.empty()) members.addUsers(own);
}

void listConsumers(Session &session, std::string_view mapId, Rows &rows) {
    Found const map = session.byId(kMapKind, mapId);
    Members(session, rows).addEntries(valuesOf(session, map.dn, Setting::kMapConsumer));
}

}  // namespace rzmx
