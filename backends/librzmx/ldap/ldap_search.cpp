#include "backends/librzmx/ldap/ldap_search.h"

#include <algorithm>

namespace rzmx {

namespace {

struct FreeMemory {
    void operator()(void *memory) const { ber_memfree(memory); }
};

std::string escaped(std::string_view value) {
    berval in{value.size(), const_cast<char *>(value.data())};
    berval out{};
    if (value.empty()) return {};
    if (ldap_bv2escaped_filter_value(&in, &out) != 0) throw std::bad_alloc();
    // What needs no escape comes back itself.
    std::unique_ptr<char, FreeMemory> const owner(out.bv_val == in.bv_val ? nullptr : out.bv_val);
    return std::string(view(out));
}

bool isDn(std::string_view name) { return name.find('=') != name.npos; }

void addOnce(Names &names, std::string const &name) {
    if (std::find(names.begin(), names.end(), name) == names.end()) names.push_back(name);
}

}  // namespace

std::string equalTo(std::string_view attribute, std::string_view value) {
    return "(" + std::string(attribute) + "=" + escaped(value) + ")";
}

std::string anyEqualTo(Names const &attributes, std::string_view value) {
    std::string filter;
    for (std::string const &attribute : attributes) {
        if (isAttribute(attribute)) filter += equalTo(attribute, value);
    }
    return filter.empty() ? filter : "(|" + filter + ")";
}

void Session::open(dkSubject const *subject) {
    connection_.secure();
    if (subject == nullptr) {
        signOn();
    } else if (!connection_.bind(subject->entry, subject->password)) {
        throw Failure(location_.uris + ": the password of '" + subject->facts.name +
                      "' is no longer accepted.");
    }
    if (base_.empty()) findBase();
}

// The location's user may be a name to search for, which nobody in particular must be able to do.
void Session::signOn() {
    if (location_.ownCredentials) return connection_.bindOwn();
    if (location_.user.empty()) return;
    if (location_.password.empty()) {
        throw Failure(location_.uris + ": there is no password for the user '" + location_.user +
                      "'.");
    }
    bool const isName = isDn(location_.user) || location_.user.find('@') != std::string::npos;
    if (!isName) findBase();
    std::string const dn = isName ? location_.user : byName(kUserKind, location_.user).dn;
    if (!connection_.bind(dn, location_.password)) {
        throw Failure(location_.uris + ": the server does not accept the user '" + location_.user +
                      "' or the password.");
    }
}

// Without a base in the location the server's first is it.
void Session::findBase() {
    base_ = location_.base;
    if (!base_.empty()) return;
    Names const attributes = {"defaultNamingContext", "namingContexts"};
    connection_.search({"", LDAP_SCOPE_BASE, "(objectClass=*)", attributes},
                       [&](Entry const &root) { base_ = root.first(attributes).value_or(""); });
    if (base_.empty()) {
        throw Failure(location_.uris + ": the location has no base, and the server names none.");
    }
}

Names Session::attributes(std::initializer_list<Setting> settings) const {
    Names all;
    for (Setting const setting : settings) {
        for (std::string const &name : names(setting)) {
            if (isAttribute(name)) addOnce(all, name);
        }
    }
    return all;
}

std::string Session::filter(Kind const &kind, std::string_view condition) const {
    std::string classes;
    for (std::string const &name : names(kind.classes)) classes += equalTo("objectClass", name);
    std::string further = location_.text(kind.filter);
    if (!further.empty() && further.front() != '(') further = "(" + further + ")";
    return "(&(|" + classes + ")" + further + std::string(condition) + ")";
}

Query Session::query(Kind const &kind, std::string_view condition,
                     std::initializer_list<Setting> settings) const {
    return {base_, LDAP_SCOPE_SUBTREE, filter(kind, condition), attributes(settings)};
}

Found Session::found(Kind const &kind, Entry const &entry) const {
    bool const isGroup = kind.classes == Setting::kGroupClass;
    auto const number = entry.first(names(isGroup ? Setting::kGroupNumber : Setting::kUserGroup));
    Found result;
    result.dn = entry.dn();
    result.facts.name = entry.first(names(kind.name)).value_or(entry.dn());
    result.facts.id = entry.first(names(kind.id));
    result.facts.description = entry.first(names(kind.description));
    result.number = number.value_or("");
    return result;
}

std::vector<Found> Session::matches(Kind const &kind, std::string const &base,
                                    std::string const &condition) {
    std::vector<Found> all;
    Query wanted =
        query(kind, condition,
              {kind.name, kind.id, kind.description, Setting::kUserGroup, Setting::kGroupNumber});
    if (!base.empty()) wanted.base = base;
    connection_.search(wanted, [&](Entry const &entry) { all.push_back(found(kind, entry)); });
    return all;
}

Found Session::only(Kind const &kind, std::string_view key, std::vector<Found> all) {
    std::string const what = std::string(kind.singular) + " '" + std::string(key) + "'";
    if (all.empty()) throw Failure("There is no " + what + " in the directory.");
    if (all.size() > 1) throw Failure("There is more than one " + what + " in the directory.");
    return std::move(all.front());
}

Found Session::byName(Kind const &kind, std::string_view name, std::string const &base) {
    std::string const condition = anyEqualTo(names(kind.name), name);
    std::vector<Found> all;
    if (!condition.empty() && !name.empty()) all = matches(kind, base, condition);
    // An entry may match in an attribute that is not the one its name comes from.
    auto const isOther = [&](Found const &each) { return !equalNoCase(each.facts.name, name); };
    if (all.size() > 1) all.erase(std::remove_if(all.begin(), all.end(), isOther), all.end());
    if (all.empty() && isDn(name)) {
        if (auto entry = byDn(kind, std::string(name))) all.push_back(std::move(*entry));
    }
    return only(kind, name, std::move(all));
}

Found Session::byId(Kind const &kind, std::string_view id) {
    std::string const condition = anyEqualTo(names(kind.id), id);
    std::vector<Found> all;
    if (!condition.empty() && !id.empty()) all = matches(kind, {}, condition);
    if (all.empty() && isDn(id)) {
        if (auto entry = byDn(kind, std::string(id))) all.push_back(std::move(*entry));
    }
    return only(kind, id, std::move(all));
}

std::optional<Found> Session::byDn(Kind const &kind, std::string const &dn) {
    std::optional<Found> result;
    Names wanted = attributes({kind.name, kind.id, kind.description, Setting::kUserGroup,
                               Setting::kGroupNumber, kind.classes});
    wanted.push_back("objectClass");
    connection_.lookUp({dn}, wanted, [&](std::size_t, Entry const *entry) {
        if (entry != nullptr && entry->hasValue("objectClass", names(kind.classes))) {
            result = found(kind, *entry);
        }
    });
    return result;
}

std::string Session::baseOf(std::string_view domain) {
    if (domain.empty() || equalNoCase(domain, base_)) return base_;
    std::string result;
    Names const name = names(Setting::kDomainName);
    connection_.search(query(kDomainKind, {}, {Setting::kDomainName}), [&](Entry const &entry) {
        if (equalNoCase(entry.first(name).value_or(""), domain)) result = entry.dn();
    });
    if (!result.empty()) return result;
    throw Failure("There is no domain '" + std::string(domain) + "' in the directory.");
}

}  // namespace rzmx
