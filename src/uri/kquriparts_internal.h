// The components of a URI text, cut by the rules of generic URIs.
#pragma once

#include <string_view>

#include "kqb/kqbstring.h"

// As they stand in the text; what is not there is empty.
struct KqURIParts {
    std::string_view scheme;
    std::string_view host;
    std::string_view path;
    std::string_view query;
    std::string_view fragment;
};

KqURIParts kqbSplitURI(std::string_view text);

// The fields of every kind of URI. What is absent is null or empty.
struct KqURIFields {
    KqbString text;  // as given, or as composed when it was first asked for
    KqbString scheme;
    KqbString host;
    KqbString path;
    KqbString query;
    KqbString fragment;

    // Fills fields that are null from a text. Throws std::bad_alloc.
    void parse(KqbString const &source);
};

inline bool kqbIsAbsent(KqbString const &string) { return string.cStrSize() == 1; }

// A path up to its last "/", empty where that is missing or stands first; and behind it, all of it
// where that is missing or stands first.
std::string_view kqbParentPath(std::string_view path);
std::string_view kqbLeafOfPath(std::string_view path);
