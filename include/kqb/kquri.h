// KqURI: the interface of every kind of URI; parsing, building, escaping, native paths.
//
// A URI text names a data source, a repository object, a location. Its scheme decides the kind:
//
//   text begins with      kind                                         interface
//   kqr://                repository object                            KqReposURI   (kqreposuri.h)
//   kqd://, kqf://        data source                                  KqDataURI    (kqdatauri.h)
//   kqwt://               work table                                   KqWorkTableURI
//                                                                      (kqworktableuri.h)
//   hadoop://             Hadoop location                              KqHadoopURI  (kqhadoopuri.h)
//   rzsref://             object that a management server holds        KqRZSRefURI  (kqrzsrefuri.h)
//   anything else         generic                                      KqURI
//
// The rules follow RFC 3986 in spirit only; docs/uri-differences.md lists where they part from it.
//
// Failure: nothing throws. Factories answer null, the others false, when memory runs out; no output
// is then half done unless the function says so. Outputs and results that are absent are null or
// empty strings, which mean the same here.
//
// Thread safety: one URI belongs to one thread at a time, since its getters may fill in what they
// answer. The functions keep no state and may run on any thread.
#pragma once

#include "kqb/kqbstring.h"

class KqDataURI;
class KqReposURI;

// A URI. Made by the factories below and those of the kinds; belongs to the caller, who ends it
// with release(), never with delete. The order of the operations is part of the binary interface:
// each kind appends its own behind these.
//
// The components of a generic URI are cut from a text like this, each search beginning where the
// one before ended:
//   scheme    before the first ":"
//   host      from behind the next "//" to the next "/"; kept as it is written. Without that "/"
//             there is neither host nor path.
//   path      from there to "?", or without one to "#"; the leading "/" is no part of it
//   query     from "?" to the next "#"
//   fragment  behind that "#"
// "?" is looked for first, so one that stands behind the "#" still begins the query: the path of
// x://h/p#f?k is "p#f", its query "k". Path, query and fragment are held unescaped.
class KQB_API KqURI {
public:
    // Ends the URI.
    virtual void release() = 0;

    virtual KqbString getScheme() = 0;
    virtual KqbString getHost() = 0;
    virtual KqbString getPath() = 0;
    virtual KqbString getQuery() = 0;
    virtual KqbString getFragment() = 0;

    // The text that the URI was parsed from. One built from components composes its text from the
    // unescaped components when it is first asked, without query and fragment, and keeps it. The
    // generic forms are scheme://host/path, scheme:///path, //host/path and /path. Null when memory
    // ran out.
    virtual KqbString getURIString() = 0;

    // The text composed anew and escaped: scheme and host as they are, the path with " ?#" escaped,
    // then "?" and the query with " ?", then "#" and the fragment with " #", as far as there are
    // any, multi-byte characters in all three. A component that cannot be escaped, being
    // ill-formed, is written as it is. Null when memory ran out.
    // Parsing the text gives the components back, save for what is never escaped: a component that
    // holds "%41" comes back as "A", a query ends at a "#" in it, and a "?" in the fragment begins
    // the query when there is none. What is written as it is may be cut anew.
    virtual KqbString getEscapedURIString() = 0;

    // This URI as a kind of its own; null when it is none. The same object, so it has one owner.
    virtual KqReposURI *asReposURI() = 0;
    virtual KqDataURI *asDataURI() = 0;

    // Adds a pair to the query, which is composed anew in the syntax of KqURIQueryHandler. A
    // generic URI keeps pairs of the same key beside each other; the other kinds replace the value.
    // A text that is kept (getURIString) does not change. False when memory ran out, with *error
    // set and the query as it was; otherwise *error is null. error may be null.
    virtual bool addQueryValue(KqbString const &key, KqbString const &value, KqbString *error) = 0;

protected:
    ~KqURI() = default;
};

// --- Parsing and building ---------------------------------------------------------------------

// The URI of a text, its kind chosen by how the text begins, letter case included. Null when the
// text is null or empty, "://" is missing or stands at its beginning, or memory ran out; a Hadoop
// text whose query is no list of pairs gives null as well. Text of any length and content is taken,
// in time proportional to its length.
KQB_API KqURI *getURIFromURIString(KqbString const &text);

// A URI of components, its kind chosen by the scheme:
//   kqr (any letter case)     getReposURIFromComponents(host, path, ""); query and fragment dropped
//   kqd, kqf (exactly)        getDataURIFromComponents(scheme, host, path, ""...); the same
//   kqwt (any letter case)    getWorkTableURIFromComponents(path); host, query, fragment dropped
//   rzsref (any letter case)  getRZSRefURIFromComponents(host, path, query); fragment dropped
//   any other, null as well   a generic URI of the components as given, none unescaped, save that
//                             every "\" of the path becomes "/"
// Null when memory ran out.
KQB_API KqURI *getFullURI(KqbString const &scheme, KqbString const &host, KqbString const &path,
                          KqbString const &query, KqbString const &fragment);

// The same without query and fragment.
KQB_API KqURI *getURI(KqbString const &scheme, KqbString const &host, KqbString const &path);

// --- Escaping ---------------------------------------------------------------------------------

// Appends text to *out with every byte of its multi-byte characters, and every ASCII character
// among the first specialCount of specials (null: none), written as "%" and two upper-case
// hexadecimal digits. Nothing else is escaped, "%" included. An empty or null text makes *out empty.
//
// Ill-formed text is escaped up to its first ill-formed byte; the result is then true only if at
// least as many bytes were escaped as text has characters. False as well, *out unchanged, when
// memory ran out, and when out is null; *error then tells which. error may be null and is null
// after success.
KQB_API bool getEscapeStringForURI(KqbString const &text, char *specials, __int64 specialCount,
                                   KqbString *out, KqbString *error);

// Replaces every "%" and two hexadecimal digits of either case by the byte they name; %00 vanishes.
// A "%" followed by two other bytes is copied with them ("%%41" stays), one nearer to the end alone.
// The result may be ill-formed text. False when out is null or memory ran out, *out then null. out
// may be &text.
KQB_API bool getUnEscapeStringFromURI(KqbString const &text, KqbString *out);

// --- Paths ------------------------------------------------------------------------------------

// The Windows path that a URI stands for: \\host\path, or the path alone without a host, with "\"
// for every "/". False when uri or out is null or memory ran out.
KQB_API bool getNativePath(KqURI *uri, KqbString *out);

// Takes a repository text apart, kqr://host/name(type): the name is what stands before the last
// "(" of the path, the type what stands between it and the last ")", empty when that stands before
// it. A path without a name before its parentheses, "(type)", gives the type and an empty name;
// any other path is a folder: type "Folder", name empty. The path is unescaped as every path, and
// the name once more.
//
// *scheme receives the scheme of any text. The result is false, the other outputs untouched, unless
// scheme is given and the scheme is exactly "kqr", and all untouched when memory ran out. host,
// name and type may be null.
KQB_API bool getPathURLComponentsFromString(KqbString const &text, KqbString *scheme,
                                            KqbString *host, KqbString *name, KqbString *type);

// *out becomes the text with every "\" turned into "/", or the reverse. False, *out null, when the
// text is null or empty or memory ran out, and when out is null. out may be &in.
KQB_API bool convertBackSlashesToSlashes(KqbString const &in, KqbString *out);
KQB_API bool convertSlashesToBackSlashes(KqbString const &in, KqbString *out);
