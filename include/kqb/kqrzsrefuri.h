// KqRZSRefURI: names an object that a management server holds.
#pragma once

#include "kqb/kquri.h"

// A server reference, rzsref://host/path?ObjectType=...&ServiceType=...
//
// getURIString gives the text parsed; one built from components is composed as scheme://host/path,
// without its query. getEscapedURIString escapes path and fragment as a generic URI does and writes
// the query anew from its pairs, the last value of each key (KqURIQueryHandler without duplicates).
class KQB_API KqRZSRefURI : public KqURI {
public:
    // The same as getHost.
    virtual KqbString getHostName() = 0;

    // A new reference on the same host to the path up to its last "/", empty where that is missing
    // or stands first; without query and fragment. Null when the path is empty or memory ran out.
    virtual KqRZSRefURI *getParent() = 0;

    // The text without the host: scheme:///path, then "?" and the query as it is if there is one.
    // Null when memory ran out.
    virtual KqbString getHostlessURIString() = 0;
    // The path behind its last "/"; all of it where that is missing or stands first.
    virtual KqbString getLeafName() = 0;

    // The value of the query key "ObjectType", "ServiceType", in exactly this letter case. Without
    // one the object type is null, the service type empty; null when memory ran out.
    virtual KqbString getObjectType() = 0;
    virtual KqbString getServiceType() = 0;

protected:
    ~KqRZSRefURI() = default;
};

// A server reference to a host and path, both unescaped, with a query as given. Null when memory
// ran out.
KQB_API KqRZSRefURI *getRZSRefURIFromComponents(KqbString const &host, KqbString const &path,
                                                KqbString const &query);

// Takes a text apart by the rules of generic URIs, whatever its scheme: the host as written, the
// others unescaped. Any output may be null. False, outputs untouched, when memory ran out.
KQB_API bool getRZSRefURIComponentsFromString(KqbString const &text, KqbString *host,
                                              KqbString *path, KqbString *query,
                                              KqbString *fragment);
