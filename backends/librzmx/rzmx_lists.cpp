// Lists: made by the machine or a directory, delivered entry by entry.
#include <new>

#include "backends/librzmx/rzmx_directory.h"
#include "backends/librzmx/rzmx_handles.h"
#include "backends/librzmx/rzmx_machine.h"
#include "platform/librzmx.h"

namespace {

using namespace rzmx;

void fill(dkSubject const *subject, Request const &request, List &list) {
    auto const location = subject != nullptr ? subject->location : locationInForce();
    if (location != nullptr) {
        directory().list(*location, subject, request, list);
    } else {
        listFromMachine(request, list);
    }
}

template <class Kind>
Kind *make(dkSubject const *subject, Ask ask, char const *key = nullptr) noexcept {
    try {
        auto list = std::make_unique<Kind>();
        try {
            fill(subject, {ask, key != nullptr ? key : ""}, *list);
        } catch (std::bad_alloc const &) {
            list->failed = list->outOfMemory = true;
        } catch (std::exception const &failure) {
            list->failed = true;
            list->note = failure.what();
        }
        return list.release();
    } catch (std::exception const &) {
        return nullptr;
    }
}

int count(List const *list) { return list->failed ? -1 : static_cast<int>(list->rows.count()); }

char const *message(List const *list) {
    if (list->outOfMemory) return "Memory ran out.";
    return list->note.empty() ? nullptr : list->note.c_str();
}

// Hands the row's texts and number to deliver, if there is one.
template <class Deliver>
int entry(List const *list, int index, Deliver const &deliver) {
    if (index < 0 || index >= count(list)) return 1;
    auto const row = static_cast<std::size_t>(index);
    deliver([&](std::size_t column) { return list->rows.text(row, column); },
            list->rows.number(row));
    return 0;
}

}  // namespace

asDomains *asDomainsList(dkSubject const *subject) {
    return make<asDomains>(subject, Ask::kDomains);
}
int asDomainsGetCount(asDomains const *list) { return count(list); }
int asDomainsGetEntry(asDomains const *list, int index, asDomainEntry *domain) {
    return entry(list, index, [&](auto const &text, int flags) {
        *domain = {text(0), text(1), (flags & kPartOfLogin) != 0, (flags & kCaseSensitive) != 0,
                   (flags & kUpn) != 0};
    });
}
char const *asDomainsGetErrorMessage(asDomains const *list) { return message(list); }
void asDomainsDestroy(asDomains *list) { delete list; }

asSubjects *asSubjectsList(dkSubject const *subject, char const *domain) {
    return make<asSubjects>(subject, Ask::kSubjects, domain);
}
int asSubjectsGetCount(asSubjects const *list) { return count(list); }
int asSubjectsGetEntry(asSubjects const *list, int index, asSubjectEntry *subject) {
    return entry(list, index, [&](auto const &text, int) {
        *subject = {text(0), text(1), text(2)};
    });
}
char const *asSubjectsGetErrorMessage(asSubjects const *list) { return message(list); }
void asSubjectsDestroy(asSubjects *list) { delete list; }

asGroups *asGroupsList(dkSubject const *subject, char const *domain) {
    return make<asGroups>(subject, Ask::kGroups, domain);
}
asGroups *asGroupsListBySubject(dkSubject const *subject, char const *name) {
    return make<asGroups>(subject, Ask::kGroupsBySubject, name);
}
asGroups *asGroupsListBySubjectID(dkSubject const *subject, char const *id) {
    return make<asGroups>(subject, Ask::kGroupsBySubjectId, id);
}
asGroups *asGroupsListByGroupID(dkSubject const *subject, char const *id) {
    return make<asGroups>(subject, Ask::kGroupsByGroupId, id);
}
int asGroupsGetCount(asGroups const *list) { return count(list); }
int asGroupsGetEntry(asGroups const *list, int index, asGroupEntry *group) {
    return entry(list, index, [&](auto const &text, int depth) {
        *group = {text(0), text(1), text(2), depth};
    });
}
char const *asGroupsGetErrorMessage(asGroups const *list) { return message(list); }
void asGroupsDestroy(asGroups *list) { delete list; }

asPmaps *asPmapsList(dkSubject const *subject) { return make<asPmaps>(subject, Ask::kPmaps); }
asPmaps *asPmapsListByUserConsumer(dkSubject const *subject, char const *userID) {
    return make<asPmaps>(subject, Ask::kPmapsByUser, userID);
}
asPmaps *asPmapsListByGroupConsumer(dkSubject const *subject, char const *groupID) {
    return make<asPmaps>(subject, Ask::kPmapsByGroup, groupID);
}
int asPmapsGetCount(asPmaps const *list) { return count(list); }
int asPmapsGetEntry(asPmaps const *list, int index, asPmapEntry *map) {
    return entry(list, index, [&](auto const &text, int) { *map = {text(0), text(1), text(2)}; });
}
char const *asPmapsGetErrorMessage(asPmaps const *list) { return message(list); }
void asPmapsDestroy(asPmaps *list) { delete list; }

asMembers *asMembersListByGroupID(dkSubject const *subject, char const *groupID) {
    return make<asMembers>(subject, Ask::kMembersByGroupId, groupID);
}
asMembers *asMembersListConsumers(dkSubject const *subject, char const *mapID) {
    return make<asMembers>(subject, Ask::kConsumers, mapID);
}
int asMembersGetCount(asMembers const *list) { return count(list); }
int asMembersGetEntry(asMembers const *list, int index, asMemberEntry *member) {
    return entry(list, index, [&](auto const &text, int isGroup) {
        *member = {text(0), text(1), isGroup};
    });
}
char const *asMembersGetErrorMessage(asMembers const *list) { return message(list); }
void asMembersDestroy(asMembers *list) { delete list; }

asServers *asServersList(dkSubject const *subject) {
    return make<asServers>(subject, Ask::kServers);
}
int asServersGetCount(asServers const *list) { return count(list); }
int asServersGetEntry(asServers const *list, int index, asServerEntry *server) {
    return entry(list, index, [&](auto const &text, int) {
        *server = {text(0), text(1), text(2), text(3), text(4), text(5), text(6), text(7)};
    });
}
char const *asServersGetErrorMessage(asServers const *list) { return message(list); }
void asServersDestroy(asServers *list) { delete list; }
