// KqHadoopURI: names a location in a Hadoop file system.
#pragma once

#include "kqb/kquri.h"

// A Hadoop location, hadoop:///path?key=value&key=value: a path of the cluster that the program is
// configured for, and properties that say how to read what lies there. There is no host and no
// fragment; "#" is an ordinary character. getPath gives the path without its leading "/".
//
// Parsing drops the first ten characters of a text, the length of hadoop:///, whatever they are: a
// text must be written with three slashes. The rest is cut at its first "?"; both halves lose the
// white space at their ends, the path is unescaped, and the query becomes the properties
// (setQuery); when it cannot, there is no URI.
//
// getURIString gives the text parsed, as long as the properties are as they were, and otherwise
// composes hadoop:///path?query with the path as it is. In getEscapedURIString the path has
// " ?#", control characters that are white space, and multi-byte characters escaped, so that
// parsing it gives path and properties back, as far as they hold no "%".
class KQB_API KqHadoopURI : public KqURI {
public:
    // Replaces all properties by the pairs of a query text: KEY=VALUE separated by "&", keys and
    // values unescaped, the last value of a key in the place of its first. Empty parts are skipped;
    // an empty or null text leaves no properties. False, nothing changed and *error set, when a part
    // is not KEY=VALUE, its key not empty, or memory ran out; otherwise *error is null. error may be
    // null.
    virtual bool setQuery(KqbString const &query, KqbString *error) = 0;

    // The value of the property of exactly this key; null when there is none or memory ran out.
    virtual KqbString getQueryValue(KqbString const &key) = 0;

    // A new location, the path up to its last "/", empty where that is missing or stands first;
    // without properties. Null when the path is empty or memory ran out.
    virtual KqHadoopURI *getParent() = 0;

    // The path behind its last "/"; all of it where that is missing or stands first.
    virtual KqbString getLeafName() = 0;

protected:
    ~KqHadoopURI() = default;
};

// A Hadoop location with this path, which is unescaped, and without properties. Null when memory
// ran out.
KQB_API KqHadoopURI *getHadoopURIFromComponents(KqbString const &path);
