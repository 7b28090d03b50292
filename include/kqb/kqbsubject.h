// kqbSubject...: the process-wide subject, and lists of who may do what.
#pragma once

#include "kqb/kqbstring.h"
#include "kqb/kqbstringcursor.h"

// Users, groups and what belongs to them come from the directory that the option
// "BASE/AUTH_SERVER_LOC" names (docs/directory-lists.md), and where there is no such option from the
// accounts of this machine. A location that cannot be used is never passed over: lists fail then.
//
//   KqbString error;
//   KqbStringCursor *groups = kqbSubjectListGroupsBySubject("smith", &error);
//   if (groups == nullptr) return fail(error);
//   while (groups->next() == KqbCursorRow) show(groups->getValue(0), groups->getValue(1));
//   groups->release();
//
// Passwords that a function is given are overwritten in the library's own memory as soon as they
// have done their service, at the latest by kqbSubjectSignOff(), and stand in no message or record.
// The string that carried one stays the caller's.
//
// Thread safety: any thread may call any of these between kqbInitialize and kqbShutdown. A list is
// drawn with the subject that was current when its function was called.

// --- The subject ----------------------------------------------------------------------------------

// Makes a user the process's subject, in place of one before. False with *error when the user does not
// become it; the one before then stays.
//
// At a directory, user is a login name or the name of an entry ("cn=Smith,dc=example"), and password
// must not be empty. A login name is looked for in domain; where that is null or empty, in the domain
// that "BASE/AUTH_DEFAULT_DOMAIN" names, and without one everywhere. Lists are then drawn with the
// rights of that user.
//
// Without a directory only the account that the process runs under can sign on, authenticated by the
// operating system: user is null, empty or its name, and password null or empty.
KQB_API bool kqbSubjectSignOn(KqbString const &user, KqbString const &password,
                              KqbString const &domain, KqbString *error = nullptr);

// Ends the subject; without one nothing happens. Lists in the making on other threads are completed.
KQB_API void kqbSubjectSignOff();

KQB_API bool kqbSubjectIsSignedOn();

// What is known of the subject; null without one, and for what the directory does not say. The domain
// is the one that the user was looked for in, or the machine's name.
KQB_API KqbString kqbSubjectGetName();
KQB_API KqbString kqbSubjectGetID();
KQB_API KqbString kqbSubjectGetDescription();
KQB_API KqbString kqbSubjectGetDomain();

// --- Lists ------------------------------------------------------------------------------------

// Each returns a new cursor over a complete list, which the caller ends with release(), or null with
// the reason in *error and the log: the directory cannot be reached, answers with an error or not in
// time, an ID is unknown, memory runs out. A list that leaves something out, such as entries that lie
// on another server, says so in its getErrorMessage().
//
// Without a subject who signed on, lists are drawn with the user of the configuration, if any.
//
// The cursors are read-only and know nothing of later changes; next() gives KqbCursorFailure only
// when memory runs out. Columns:
//
//   domains          Name, Description, PartOfLogin, CaseSensitive, UPN
//   subjects, maps   Name, ID, Description
//   groups           Name, ID, Description, Depth
//   members          Name, ID, IsGroup
//   servers          Server Name, Server Description, Server Protocol, Server Host, Server Port,
//                    Authentication Domain, Authentication Type [, Server ProxyURL]
//
// Flags are "true" or "false". A text that an entry lacks is null, in the list of servers empty.
//
// Some of what they do is as old as the programs that rely on it:
// - isReady() is true for servers and false for all others, which can be read none the less.
// - The list of servers counts 7 columns but has one more: column 7, the "Server ProxyURL", is there
//   for who asks for it and is left out of copies. Name and value of any other number are "Invalid
//   index"; elsewhere both are null.
// - Depth counts the steps from the user or group asked about: 1 for the groups it is in, 2 for
//   those that these are in. In a list of all groups it is 0. In a list of two or more groups it is
//   the remainder of that and the number of groups.

// The domains that users belong to.
KQB_API KqbStringCursor *kqbSubjectListDomains(KqbString *error = nullptr);

// The users, and all groups, of a domain by its name; null or empty: of every domain.
KQB_API KqbStringCursor *kqbSubjectListSubjects(KqbString const &domain,
                                                KqbString *error = nullptr);
KQB_API KqbStringCursor *kqbSubjectListGroups(KqbString const &domain, KqbString *error = nullptr);

// The groups that a group, or a user by name or ID, is in, straight or through other groups, each
// once at its least depth. A null or empty name is the subject's, and on this machine without a
// subject that of the process's account.
KQB_API KqbStringCursor *kqbSubjectListGroupsByGroupID(KqbString const &groupID,
                                                       KqbString *error = nullptr);
KQB_API KqbStringCursor *kqbSubjectListGroupsBySubject(KqbString const &name,
                                                       KqbString *error = nullptr);
KQB_API KqbStringCursor *kqbSubjectListGroupsBySubjectID(KqbString const &subjectID,
                                                         KqbString *error = nullptr);

// The users and groups that stand in a group itself.
KQB_API KqbStringCursor *kqbSubjectListMembersByGroupID(KqbString const &groupID,
                                                        KqbString *error = nullptr);

// Login maps: logins that several consumers, users or groups, share. All of them; those that name a
// group or a user; and the consumers that a map names. A machine has none.
KQB_API KqbStringCursor *kqbSubjectListSharedLogins(KqbString *error = nullptr);
KQB_API KqbStringCursor *kqbSubjectListMapsByGroupConsumer(KqbString const &groupID,
                                                           KqbString *error = nullptr);
KQB_API KqbStringCursor *kqbSubjectListMapsByUserConsumer(KqbString const &subjectID,
                                                          KqbString *error = nullptr);
KQB_API KqbStringCursor *kqbSubjectListConsumers(KqbString const &mapID,
                                                 KqbString *error = nullptr);

// The servers that the directory knows, or this machine.
KQB_API KqbStringCursor *kqbSubjectListServers(KqbString *error = nullptr);
