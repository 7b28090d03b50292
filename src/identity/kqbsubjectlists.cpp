// The list functions: a list of the toolkit, drawn with the current subject, in its cursor.
#include <memory>
#include <new>

#include "core/kqblog_internal.h"
#include "identity/kqbsubject_internal.h"
#include "identity/kqbsubjectcursors_internal.h"
#include "kqb/kqbsubject.h"

namespace {

constexpr char kSource[] = "kqbsubjectlists";
constexpr char kOutOfMemory[] = "Memory ran out.";

// Null, for the caller to return.
KqbStringCursor *fail(char const *what, char const *reason, KqbString *error) {
    kqbLog(kqbIdentityLogger(), 3, kSource, __LINE__, "The %s cannot be listed (%s).", what,
           reason);
    if (error != nullptr) error->assign(reason);
    return nullptr;
}

// A cursor over the list that make(subject) gives. what: the plural of its entries.
template <class Cursor, class Make>
KqbStringCursor *list(char const *what, KqbString *error, Make const &make) {
    struct Destroy {
        void operator()(typename Cursor::Handle *made) const { Cursor::destroy(made); }
    };
    std::unique_ptr<typename Cursor::Handle, Destroy> made(make(kqbCurrentSubject().get()));
    if (made == nullptr) return fail(what, kOutOfMemory, error);
    char const *const note = Cursor::messageOf(made.get());
    if (Cursor::countOf(made.get()) < 0) return fail(what, note, error);
    if (note != nullptr) {
        kqbLog(kqbIdentityLogger(), 3, kSource, __LINE__, "The list of %s is incomplete (%s).",
               what, note);
    }
    KqbStringCursor *const cursor = new (std::nothrow) Cursor(made.get());
    if (cursor == nullptr) return fail(what, kOutOfMemory, error);
    made.release();
    return cursor;
}

// The same where the toolkit's function wants a text besides the subject.
template <class Cursor, class Make>
KqbStringCursor *list(char const *what, KqbString *error, Make const &make, KqbString const &key) {
    return list<Cursor>(what, error,
                        [&](dkSubject const *subject) { return make(subject, key.asCstr()); });
}

}  // namespace

KqbStringCursor *kqbSubjectListDomains(KqbString *error) {
    return list<KqbDomainCursor>("domains", error, asDomainsList);
}

KqbStringCursor *kqbSubjectListSubjects(KqbString const &domain, KqbString *error) {
    return list<KqbSubjectCursor>("subjects", error, asSubjectsList, domain);
}

KqbStringCursor *kqbSubjectListGroups(KqbString const &domain, KqbString *error) {
    return list<KqbGroupCursor>("groups", error, asGroupsList, domain);
}

KqbStringCursor *kqbSubjectListGroupsByGroupID(KqbString const &groupID, KqbString *error) {
    return list<KqbGroupCursor>("groups", error, asGroupsListByGroupID, groupID);
}

KqbStringCursor *kqbSubjectListGroupsBySubject(KqbString const &name, KqbString *error) {
    return list<KqbGroupCursor>("groups", error, asGroupsListBySubject, name);
}

KqbStringCursor *kqbSubjectListGroupsBySubjectID(KqbString const &subjectID, KqbString *error) {
    return list<KqbGroupCursor>("groups", error, asGroupsListBySubjectID, subjectID);
}

KqbStringCursor *kqbSubjectListMembersByGroupID(KqbString const &groupID, KqbString *error) {
    return list<KqbMemberCursor>("members", error, asMembersListByGroupID, groupID);
}

KqbStringCursor *kqbSubjectListSharedLogins(KqbString *error) {
    return list<KqbPmapCursor>("login maps", error, asPmapsList);
}

KqbStringCursor *kqbSubjectListMapsByGroupConsumer(KqbString const &groupID, KqbString *error) {
    return list<KqbPmapCursor>("login maps", error, asPmapsListByGroupConsumer, groupID);
}

KqbStringCursor *kqbSubjectListMapsByUserConsumer(KqbString const &subjectID, KqbString *error) {
    return list<KqbPmapCursor>("login maps", error, asPmapsListByUserConsumer, subjectID);
}

KqbStringCursor *kqbSubjectListConsumers(KqbString const &mapID, KqbString *error) {
    return list<KqbMemberCursor>("consumers", error, asMembersListConsumers, mapID);
}

KqbStringCursor *kqbSubjectListServers(KqbString *error) {
    return list<KqbServerList>("servers", error, asServersList);
}
