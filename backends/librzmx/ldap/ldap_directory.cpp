#include "backends/librzmx/ldap/ldap_directory.h"

#include <signal.h>

#include <algorithm>
#include <unordered_set>

namespace rzmx {

namespace {

constexpr std::size_t kGroupsAtATime = 32;  // in one filter

// Writing to a connection that the server has closed raises a signal, whose default ends the
// process: it stays away while this thread talks to a server, and is taken back if it came.
class WithoutPipeSignal {
public:
    WithoutPipeSignal() {
        sigemptyset(&pipe_);
        sigaddset(&pipe_, SIGPIPE);
        wasPending_ = isPending();
        pthread_sigmask(SIG_BLOCK, &pipe_, &before_);
    }
    ~WithoutPipeSignal() {
        timespec const now{};
        if (!wasPending_ && isPending()) sigtimedwait(&pipe_, nullptr, &now);
        pthread_sigmask(SIG_SETMASK, &before_, nullptr);
    }
    WithoutPipeSignal(WithoutPipeSignal const &) = delete;
    WithoutPipeSignal &operator=(WithoutPipeSignal const &) = delete;

private:
    static bool isPending() {
        sigset_t pending;
        return sigpending(&pending) == 0 && sigismember(&pending, SIGPIPE) == 1;
    }

    sigset_t pipe_;
    sigset_t before_;
    bool wasPending_;
};

// --- Rows ---------------------------------------------------------------------------------------

// Entries of a kind with their name, ID and description.
void listKind(Session &session, Kind const &kind, std::string_view condition,
              std::string const &base, Rows &rows) {
    Names const name = session.names(kind.name), id = session.names(kind.id),
                description = session.names(kind.description);
    Query query = session.query(kind, condition, {kind.name, kind.id, kind.description});
    query.base = base;
    session.connection().search(query, [&](Entry const &entry) {
        rows.add({entry.first(name), entry.first(id), entry.first(description)});
    });
}

void listDomains(Session &session, Rows &rows) {
    int const flags = (session.isOn(Setting::kDomainPartOfLogin) ? kPartOfLogin : 0) |
                      (session.isOn(Setting::kDomainCaseSensitive) ? kCaseSensitive : 0) |
                      (session.isOn(Setting::kDomainUpn) ? kUpn : 0);
    Names const name = session.names(Setting::kDomainName),
                description = session.names(Setting::kDomainDescription);
    session.connection().search(
        session.query(kDomainKind, {}, {Setting::kDomainName, Setting::kDomainDescription}),
        [&](Entry const &entry) {
            rows.add({entry.first(name), entry.first(description)}, flags);
        });
    // A directory without domains is one.
    if (rows.count() == 0) rows.add({session.base(), {}}, flags);
}

void listServers(Session &session, Rows &rows) {
    static constexpr Setting kColumns[] = {Setting::kServerName,     Setting::kServerDescription,
                                           Setting::kServerProtocol, Setting::kServerHost,
                                           Setting::kServerPort,     Setting::kServerDomain,
                                           Setting::kServerType,     Setting::kServerProxyUrl};
    std::vector<Names> names;
    for (Setting const column : kColumns) names.push_back(session.names(column));
    auto const query = session.query(kServerKind, {},
                                     {kColumns[0], kColumns[1], kColumns[2], kColumns[3],
                                      kColumns[4], kColumns[5], kColumns[6], kColumns[7]});
    session.connection().search(query, [&](Entry const &entry) {
        auto const at = [&](std::size_t column) -> Text {
            // The text of a pseudo attribute lasts until the next one is made.
            return entry.first(names[column]);
        };
        rows.add({at(0), at(1), at(2), at(3), at(4), at(5), at(6), at(7)});
    });
}

// --- Nested groups --------------------------------------------------------------------------------

// Climbs from members to groups, level by level; a group that was met before is not met again, so
// circles end.
class Climb {
public:
    Climb(Session &session, Rows &rows)
        : session_(session), rows_(rows), member_(session.names(Setting::kGroupMember)),
          name_(session.names(Setting::kGroupName)), id_(session.names(Setting::kGroupId)),
          description_(session.names(Setting::kGroupDescription)) {}

    void fromUser(Found const &user) {
        std::string condition = anyEqualTo(member_, user.dn);
        condition += anyEqualTo(session_.names(Setting::kGroupMemberName), user.facts.name);
        if (!user.number.empty()) {
            condition += anyEqualTo(session_.names(Setting::kGroupNumber), user.number);
        }
        std::vector<std::string> level;
        meet(condition, 1, level);
        climb(std::move(level), 2);
    }

    void fromGroup(Found const &group) {
        met_.insert(group.dn);
        climb({group.dn}, 1);
    }

private:
    void climb(std::vector<std::string> level, int depth) {
        for (; !level.empty(); ++depth) {
            std::vector<std::string> next;
            for (std::size_t first = 0; first < level.size(); first += kGroupsAtATime) {
                std::size_t const end = std::min(first + kGroupsAtATime, level.size());
                std::string condition;
                for (std::size_t i = first; i < end; ++i)
                    condition += anyEqualTo(member_, level[i]);
                meet(condition, depth, next);
            }
            level = std::move(next);
        }
    }

    void meet(std::string const &conditions, int depth, std::vector<std::string> &level) {
        if (conditions.empty()) return;
        Query const query =
            session_.query(kGroupKind, "(|" + conditions + ")",
                           {Setting::kGroupName, Setting::kGroupId, Setting::kGroupDescription});
        session_.connection().search(query, [&](Entry const &entry) {
            if (!met_.emplace(entry.dn()).second) return;
            level.emplace_back(entry.dn());
            rows_.add({entry.first(name_), entry.first(id_), entry.first(description_)}, depth);
        });
    }

    Session &session_;
    Rows &rows_;
    Names member_, name_, id_, description_;
    std::unordered_set<std::string> met_;
};

void listGroupsOf(Session &session, dkSubject const *subject, std::string_view name, Rows &rows) {
    if (name.empty() && subject == nullptr) {
        throw Failure("Nobody has signed on whose groups could be listed.");
    }
    auto const own = [&] {
        auto entry = session.byDn(kUserKind, subject->entry);
        return entry ? std::move(*entry) : Found{subject->entry, subject->facts, {}};
    };
    Climb(session, rows).fromUser(name.empty() ? own() : session.byName(kUserKind, name));
}

void listMapsOf(Session &session, Found const &consumer, Rows &rows) {
    std::string const condition = anyEqualTo(session.names(Setting::kMapConsumer), consumer.dn);
    if (!condition.empty()) listKind(session, kMapKind, condition, session.base(), rows);
}

// --- One conversation -----------------------------------------------------------------------------

void answer(Session &session, dkSubject const *subject, Request const &request, Rows &rows) {
    switch (request.ask) {
        case Ask::kDomains:
            return listDomains(session, rows);
        case Ask::kSubjects:
            return listKind(session, kUserKind, {}, session.baseOf(request.key), rows);
        case Ask::kGroups:
            return listKind(session, kGroupKind, {}, session.baseOf(request.key), rows);
        case Ask::kGroupsBySubject:
            return listGroupsOf(session, subject, request.key, rows);
        case Ask::kGroupsBySubjectId:
            return Climb(session, rows).fromUser(session.byId(kUserKind, request.key));
        case Ask::kGroupsByGroupId:
            return Climb(session, rows).fromGroup(session.byId(kGroupKind, request.key));
        case Ask::kPmaps:
            return listKind(session, kMapKind, {}, session.base(), rows);
        case Ask::kPmapsByUser:
            return listMapsOf(session, session.byId(kUserKind, request.key), rows);
        case Ask::kPmapsByGroup:
            return listMapsOf(session, session.byId(kGroupKind, request.key), rows);
        case Ask::kMembersByGroupId:
            return listMembers(session, request.key, rows);
        case Ask::kConsumers:
            return listConsumers(session, request.key, rows);
        case Ask::kServers:
            return listServers(session, rows);
    }
}

Clock::time_point deadlineOf(Location const &location) {
    return Clock::now() + std::chrono::seconds(location.number(Setting::kTimeLimit));
}

// Runs talk once more, from its beginning, when the server goes away in the middle of it: a new
// connection knows nothing of the pages of the old one.
template <class Talk>
void withReconnect(Talk const &talk) {
    WithoutPipeSignal const guard;
    try {
        talk();
    } catch (Lost const &) {
        talk();
    }
}

Failure refused(Location const &location) {
    return Failure(location.uris + ": the server does not accept the user or the password.");
}

// The entry of the user, whom it tells apart from nobody: who guesses names learns nothing.
Found findUser(Location const &location, Clock::time_point deadline, std::string_view user,
               std::string_view domain) {
    Session session(location, deadline);
    session.open(nullptr);
    std::string const base = session.baseOf(domain);
    try {
        return session.byName(kUserKind, user, base);
    } catch (Lost const &) {
        throw;
    } catch (Failure const &) {
        if (user.find('=') == user.npos) throw refused(location);
    }
    Found found;  // an entry that only itself may see
    found.dn = found.facts.name = user;
    return found;
}

}  // namespace

void listFromDirectory(Location const &location, dkSubject const *subject, Request const &request,
                       List &list) {
    Clock::time_point const deadline = deadlineOf(location);
    withReconnect([&] {
        list.rows.clear();
        Session session(location, deadline);
        session.open(subject);
        answer(session, subject, request, list.rows);
        int const referrals = session.connection().referrals();
        if (referrals > 0) {
            list.note = location.uris + ": " + std::to_string(referrals) +
                        " referrals to other servers were not followed";
        }
    });
}

void signOnAtDirectory(Location const &location, std::string_view user, Secret const &password,
                       std::string_view domain, dkSubject &subject) {
    Clock::time_point const deadline = deadlineOf(location);
    withReconnect([&] {
        Found found = findUser(location, deadline, user, domain);
        Connection connection(location, deadline);
        connection.secure();
        if (!connection.bind(found.dn, password)) throw refused(location);
        subject.entry = std::move(found.dn);
        subject.facts = std::move(found.facts);
        subject.facts.domain = domain;
    });
}

}  // namespace rzmx
