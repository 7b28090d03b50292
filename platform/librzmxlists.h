// Authentication toolkit: lists of domains, subjects, groups, login maps, members and servers.
//
// General rules
// - Nothing throws, and any thread may call; one list belongs to one thread at a time.
// - A list is complete when its function returns: no server is asked later. It is drawn with the
//   rights of the subject, or where that is null with those that belong to the location.
// - as...List... answers null only when memory runs out. A list that could not be had has the count
//   -1 and says why in as...GetErrorMessage. One that is not empty there although its count is 0 or
//   more leaves something out, such as what lies on another server.
// - as...GetEntry delivers the entry at a place from 0. 0, or 1 when there is none. Texts belong to
//   the list; a text that the entry lacks is null. A NUL inside a text reads U+FFFD.
// - as...GetErrorMessage: null when there is nothing to tell.
// - as...Destroy: null is ignored.
// - IDs are texts. On this machine they are its numbers.
#pragma once

struct dkSubject;

// --- Domains: what user names belong to -------------------------------------------------------

struct asDomains;

struct asDomainEntry {
    char const *name;
    char const *description;
    int partOfLogin;    // a login names the domain as well
    int caseSensitive;  // names that differ in case are different
    int upn;            // logins have the form user@domain
};

asDomains *asDomainsList(dkSubject const *subject);
int asDomainsGetCount(asDomains const *list);
int asDomainsGetEntry(asDomains const *list, int index, asDomainEntry *entry);
char const *asDomainsGetErrorMessage(asDomains const *list);
void asDomainsDestroy(asDomains *list);

// --- Subjects: the users ----------------------------------------------------------------------

struct asSubjects;

struct asSubjectEntry {
    char const *name;
    char const *id;
    char const *description;
};

// Those of a domain; null or empty: of all.
asSubjects *asSubjectsList(dkSubject const *subject, char const *domain);
int asSubjectsGetCount(asSubjects const *list);
int asSubjectsGetEntry(asSubjects const *list, int index, asSubjectEntry *entry);
char const *asSubjectsGetErrorMessage(asSubjects const *list);
void asSubjectsDestroy(asSubjects *list);

// --- Groups -----------------------------------------------------------------------------------

struct asGroups;

struct asGroupEntry {
    char const *name;
    char const *id;
    char const *description;
    int depth;  // 0 in a list of all groups
};

// All groups of a domain; null or empty: of all.
asGroups *asGroupsList(dkSubject const *subject, char const *domain);
// The groups that a user is in, at depth 1, those that these are in, at depth 2, and so on: each
// once, at its least depth. A null or empty name is the subject's own.
asGroups *asGroupsListBySubject(dkSubject const *subject, char const *name);
asGroups *asGroupsListBySubjectID(dkSubject const *subject, char const *id);
// The groups that a group is in, in the same way; without the group itself.
asGroups *asGroupsListByGroupID(dkSubject const *subject, char const *id);
int asGroupsGetCount(asGroups const *list);
int asGroupsGetEntry(asGroups const *list, int index, asGroupEntry *entry);
char const *asGroupsGetErrorMessage(asGroups const *list);
void asGroupsDestroy(asGroups *list);

// --- Login maps: logins that several consumers share --------------------------------------------

struct asPmaps;

struct asPmapEntry {
    char const *name;
    char const *id;
    char const *description;
};

asPmaps *asPmapsList(dkSubject const *subject);
// Those that a user, or a group, may use by name.
asPmaps *asPmapsListByUserConsumer(dkSubject const *subject, char const *userID);
asPmaps *asPmapsListByGroupConsumer(dkSubject const *subject, char const *groupID);
int asPmapsGetCount(asPmaps const *list);
int asPmapsGetEntry(asPmaps const *list, int index, asPmapEntry *entry);
char const *asPmapsGetErrorMessage(asPmaps const *list);
void asPmapsDestroy(asPmaps *list);

// --- Members ----------------------------------------------------------------------------------

struct asMembers;

struct asMemberEntry {
    char const *name;
    char const *id;  // null for one that is a member in name only
    int isGroup;
};

// The users and groups that stand in a group itself.
asMembers *asMembersListByGroupID(dkSubject const *subject, char const *groupID);
// The users and groups that may use a login map.
asMembers *asMembersListConsumers(dkSubject const *subject, char const *mapID);
int asMembersGetCount(asMembers const *list);
int asMembersGetEntry(asMembers const *list, int index, asMemberEntry *entry);
char const *asMembersGetErrorMessage(asMembers const *list);
void asMembersDestroy(asMembers *list);

// --- Servers ----------------------------------------------------------------------------------

struct asServers;

struct asServerEntry {
    char const *name;
    char const *description;
    char const *protocol;
    char const *host;
    char const *port;
    char const *domain;  // that its users authenticate in
    char const *type;    // of authentication
    char const *proxyUrl;
};

asServers *asServersList(dkSubject const *subject);
int asServersGetCount(asServers const *list);
int asServersGetEntry(asServers const *list, int index, asServerEntry *entry);
char const *asServersGetErrorMessage(asServers const *list);
void asServersDestroy(asServers *list);
