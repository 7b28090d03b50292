// KqReposURI: names an object in a repository.
#pragma once

#include "kqb/kquri.h"

// A repository URI, kqr://host/name(type): the name is a path of folders with the object's own name
// as its last step, the type says what the object is. getPath gives the name. A path without
// parentheses is a folder with an empty name, as getPathURLComponentsFromString says.
//
// Texts are composed as scheme://host/name(type), with the multi-byte characters of the name
// escaped in getEscapedURIString and nothing else; neither carries query or fragment. An object
// whose text did not split keeps no text, and an empty scheme is written as kqr.
class KQB_API KqReposURI : public KqURI {
public:
    virtual KqbString getType() = 0;
    // The same as getHost.
    virtual KqbString getHostName() = 0;

    // A new URI of the folder that holds the object, type "Folder": the name up to its last "/",
    // with "/" for every "\", empty where that "/" is missing or stands first. Null when the name
    // is empty or memory ran out.
    virtual KqReposURI *getParentFolder() = 0;
    // A new URI of the host's root folder: an empty name, type "Folder". Null when memory ran out.
    virtual KqReposURI *getRootFolder() = 0;

    // An empty string.
    virtual KqbString getEmptyText() = 0;
    // The text without the host: scheme:///name(type). Null when memory ran out.
    virtual KqbString getHostlessURIString() = 0;
    // The name behind its last "/"; all of it where that is missing or stands first.
    virtual KqbString getLeafName() = 0;
    // Whether the name is empty and the type exactly "Folder": true of the root and of what was
    // parsed without parentheses, not of what getParentFolder gives, which has a name as a rule.
    virtual bool isFolder() = 0;

protected:
    ~KqReposURI() = default;
};

// A repository URI of a host and a path, both unescaped and the path with "/" for every "\", and a
// type as given. Null when memory ran out.
KQB_API KqReposURI *getReposURIFromComponents(KqbString const &host, KqbString const &path,
                                              KqbString const &type);
