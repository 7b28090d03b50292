// Lists from the account database of this machine, whatever name services are behind it. Groups do
// not nest here, and there are no login maps.
#include "backends/librzmx/rzmx_machine.h"

#include <grp.h>
#include <pwd.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstring>
#include <mutex>
#include <unordered_map>
#include <unordered_set>

namespace rzmx {

namespace {

// The system keeps one place in each database for the whole process.
constinit std::mutex gEnumeration;

constexpr std::size_t kFirstBuffer = 4096;
constexpr std::size_t kLargestBuffer = std::size_t{1} << 28;  // a group of millions
constexpr int kDirect = 1;                                    // depth

[[noreturn]] void fail(char const *what, int error) {
    throw Failure(std::string(what) + ": " + std::strerror(error));
}

[[noreturn]] void noSuch(char const *what, std::string_view key) {
    throw Failure("There is no " + std::string(what) + " '" + std::string(key) +
                  "' on this machine.");
}

// Record with the texts that it points to.
template <class Record>
class Entry {
public:
    // Calls get(&record, buffer, size, &found) with as large a buffer as it asks for. False when
    // there is no such record, or none any more.
    template <class Get>
    bool read(char const *database, Get get) {
        Record *found = nullptr;
        for (;;) {
            int const error = get(&record_, buffer_.data(), buffer_.size(), &found);
            if (error == ERANGE && buffer_.size() < kLargestBuffer) {
                buffer_.resize(buffer_.size() * 4);
                continue;
            }
            // The manual knows several numbers for "none".
            bool const isNone =
                error == 0 || error == ENOENT || error == ESRCH || error == EBADF || error == EPERM;
            if (!isNone) fail(database, error);
            return found != nullptr;
        }
    }
    Record const *operator->() const { return &record_; }

private:
    Record record_{};
    std::vector<char> buffer_ = std::vector<char>(kFirstBuffer);
};

class User : public Entry<passwd> {
public:
    bool next() {
        return read(kDatabase,
                    [](auto *r, auto *b, auto s, auto *f) { return getpwent_r(r, b, s, f); });
    }
    bool byName(char const *name) {
        return read(kDatabase, [&](auto *r, auto *b, auto s, auto *f) {
            return getpwnam_r(name, r, b, s, f);
        });
    }
    bool byId(uid_t id) {
        return read(kDatabase,
                    [&](auto *r, auto *b, auto s, auto *f) { return getpwuid_r(id, r, b, s, f); });
    }

private:
    static constexpr char kDatabase[] = "The users of this machine cannot be read";
};

class Group : public Entry<group> {
public:
    bool next() {
        return read(kDatabase,
                    [](auto *r, auto *b, auto s, auto *f) { return getgrent_r(r, b, s, f); });
    }
    bool byId(gid_t id) {
        return read(kDatabase,
                    [&](auto *r, auto *b, auto s, auto *f) { return getgrgid_r(id, r, b, s, f); });
    }

private:
    static constexpr char kDatabase[] = "The groups of this machine cannot be read";
};

template <class Action>
void forEachUser(Action const &action) {
    std::lock_guard const guard(gEnumeration);
    struct Place {
        Place() { setpwent(); }
        ~Place() { endpwent(); }
    } const place;
    for (User user; user.next();) action(user);
}

template <class Action>
void forEachGroup(Action const &action) {
    std::lock_guard const guard(gEnumeration);
    struct Place {
        Place() { setgrent(); }
        ~Place() { endgrent(); }
    } const place;
    for (Group group; group.next();) action(group);
}

class Digits {
public:
    explicit Digits(unsigned number) : end_(std::to_chars(text_, text_ + 16, number).ptr) {}
    operator Text() const { return std::string_view(text_, end_); }
    std::string string() const { return {text_, end_}; }

private:
    char text_[16];
    char const *end_;
};

// The whole name: what stands before the first comma of what is known of the person.
Text descriptionOf(User const &user) {
    std::string_view const text = user->pw_gecos != nullptr ? user->pw_gecos : "";
    std::string_view const name = text.substr(0, text.find(','));
    return name.empty() ? Text() : Text(name);
}

template <class Id>
Id idFrom(std::string_view text, char const *what) {
    Id id = 0;
    char const *const end = text.data() + text.size();
    auto const [place, error] = std::from_chars(text.data(), end, id);
    if (error != std::errc() || place != end) noSuch(what, text);
    return id;
}

User userById(std::string_view id) {
    User user;
    if (!user.byId(idFrom<uid_t>(id, "user with the ID"))) noSuch("user with the ID", id);
    return user;
}

User userByName(std::string_view name) {
    User user;
    if (name.empty()) {
        if (!user.byId(geteuid())) noSuch("account of this process", Digits(geteuid()).string());
    } else if (name.find('\0') != name.npos || !user.byName(std::string(name).c_str())) {
        noSuch("user", name);
    }
    return user;
}

Group groupById(std::string_view id) {
    Group group;
    if (!group.byId(idFrom<gid_t>(id, "group with the ID"))) noSuch("group with the ID", id);
    return group;
}

utsname systemNames() {
    utsname names;
    if (uname(&names) != 0) fail("The name of this machine cannot be read", errno);
    return names;
}

void checkDomain(std::string_view domain) {
    if (!domain.empty() && domain != systemNames().nodename) noSuch("domain", domain);
}

void listDomains(Rows &rows) {
    rows.add({systemNames().nodename, "Accounts of this machine"}, kCaseSensitive);
}

void listSubjects(std::string_view domain, Rows &rows) {
    checkDomain(domain);
    forEachUser([&](User const &user) {
        rows.add({user->pw_name, Digits(user->pw_uid), descriptionOf(user)});
    });
}

void listGroups(std::string_view domain, Rows &rows) {
    checkDomain(domain);
    forEachGroup([&](Group const &group) {
        rows.add({group->gr_name, Digits(group->gr_gid), {}});
    });
}

std::vector<gid_t> groupIdsOf(User const &user) {
    std::vector<gid_t> ids(64);
    for (;;) {
        int count = static_cast<int>(ids.size());
        bool const fits = getgrouplist(user->pw_name, user->pw_gid, ids.data(), &count) >= 0;
        // Without room the count tells how much is needed, except where it is not known.
        auto const needed = static_cast<std::size_t>(count);
        ids.resize(fits || needed > ids.size() ? needed : ids.size() * 2);
        if (fits) return ids;
    }
}

void listGroupsOf(User const &user, Rows &rows) {
    Group group;
    for (gid_t const id : groupIdsOf(user)) {
        Digits const digits(id);
        Text const name = group.byId(id) ? Text(group->gr_name) : Text(digits);
        rows.add({name, digits, {}}, kDirect);
    }
}

// Those the group names, then those whose own group it is. One pass over the users serves them all;
// name services that do not enumerate theirs still know each by name.
void listMembers(Group const &group, Rows &rows) {
    std::unordered_map<std::string, uid_t> ids;
    std::vector<std::string> own;
    forEachUser([&](User const &user) {
        ids.emplace(user->pw_name, user->pw_uid);
        if (user->pw_gid == group->gr_gid) own.emplace_back(user->pw_name);
    });
    std::unordered_set<std::string> listed;
    User user;
    for (char **name = group->gr_mem; name != nullptr && *name != nullptr; ++name) {
        if (!listed.insert(*name).second) continue;
        auto const known = ids.find(*name);
        bool const exists = known != ids.end() || user.byName(*name);
        uid_t const id = known != ids.end() ? known->second : user->pw_uid;
        rows.add({*name, exists ? Text(Digits(id)) : Text()});
    }
    for (std::string const &name : own) {
        if (listed.insert(name).second) rows.add({name, Digits(ids[name])});
    }
}

void listServers(Rows &rows) {
    utsname const names = systemNames();
    rows.add({names.nodename,
              "This machine",
              "local",
              names.nodename,
              {},
              names.nodename,
              "Operating system",
              {}});
}

}  // namespace

void listFromMachine(Request const &request, List &list) {
    switch (request.ask) {
        case Ask::kDomains:
            return listDomains(list.rows);
        case Ask::kSubjects:
            return listSubjects(request.key, list.rows);
        case Ask::kGroups:
            return listGroups(request.key, list.rows);
        case Ask::kGroupsBySubject:
            return listGroupsOf(userByName(request.key), list.rows);
        case Ask::kGroupsBySubjectId:
            return listGroupsOf(userById(request.key), list.rows);
        case Ask::kMembersByGroupId:
            return listMembers(groupById(request.key), list.rows);
        case Ask::kServers:
            return listServers(list.rows);
        case Ask::kGroupsByGroupId:
        case Ask::kPmapsByGroup:
            groupById(request.key);
            return;
        case Ask::kPmapsByUser:
            userById(request.key);
            return;
        case Ask::kPmaps:
            return;
        case Ask::kConsumers:
            noSuch("login map with the ID", request.key);
    }
}

Facts processAccount() {
    User const user = userByName({});
    Facts facts;
    facts.name = user->pw_name;
    facts.id = Digits(user->pw_uid).string();
    if (Text const description = descriptionOf(user)) facts.description = *description;
    facts.domain = systemNames().nodename;
    return facts;
}

}  // namespace rzmx
