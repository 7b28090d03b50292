// Authentication toolkit: the location of the server, and subjects who signed on there.
//
// General rules
// - Nothing throws. Texts are UTF-8, cut to the caller's buffer and always terminated.
// - Any thread may call at any time.
// - Without a location the accounts of this machine stand in for a server's, in every name service
//   that the machine is configured with.
// - Passwords are kept only as long as they are needed, overwritten before their memory is given
//   back, and part of no text that the toolkit delivers.
#pragma once

// --- Server location --------------------------------------------------------------------------

// Names the server that authenticates subjects:
//
//     ldap://host[:port]/base[;option=value]...      StartTLS unless the option starttls says no
//     ldaps://host[:port]/base[;option=value]...     TLS from the first byte
//     ldapi://%2Fpath%2Fto%2Fsocket/base[;option=value]...
//
// Further servers, tried in turn, may stand in front, parted by blanks. base is the entry that
// everything lies below. Percent-escapes are replaced in base and values. The options are those of
// docs/directory-lists.md; among them user and pass. What logs show of a location hides the text
// behind the first "pass=" up to a "," or "/": these two must be escaped in a password (%2C, %2F),
// and a location with another "pass=" is refused.
//
// Where the location does not say so itself, reposName is the base, user the entry or login name to
// search under, password its password; each may be null or empty. `sspi` is non-zero to use the
// credentials of the process instead: those of its account on ldapi, else Kerberos.
//
// The server is not contacted. 0: set. 1: set, the location came from a metadata profile and
// *profileName points at its name, owned by the toolkit, else null; no location of this toolkit does.
// Anything else: the reason is in error (size bytes), and every later list and sign-on fails with it,
// so that nobody takes the accounts of this machine for those of the server that was meant.
int dkSetAuthServerLoc(char const *location, char const *reposName, char const *user,
                       char const *password, int sspi, char *error, int size,
                       char const **profileName);

// Forgets the location. Subjects who signed on there stay usable.
void dkClearAuthServerLoc();

// --- Subjects ---------------------------------------------------------------------------------

struct dkSubject;

// Signs a user on and delivers a new subject. 0, or non-zero with the reason in error (size bytes).
//
// At a directory, user is a login name or the name of an entry (one with an "="), looked for in a
// domain (null or empty: everywhere) and authenticated with password, which must not be empty.
// Without a location, only the account that this process runs under can be signed on, since the
// operating system has authenticated it already: user is null, empty or its name, and password null.
int dkSubjectSignOn(char const *user, char const *password, char const *domain, char *error,
                    int size, dkSubject **subject);

// What the server says of the subject, as in a list of subjects; domain is the one it was looked for
// in, or the machine's. Null where there is none. Valid as long as the subject.
char const *dkSubjectGetName(dkSubject const *subject);
char const *dkSubjectGetID(dkSubject const *subject);
char const *dkSubjectGetDescription(dkSubject const *subject);
char const *dkSubjectGetDomain(dkSubject const *subject);

// Ends the subject and overwrites its credentials; null is ignored. No list may be in the making.
void dkSubjectDestroy(dkSubject *subject);
