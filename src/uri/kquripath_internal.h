#pragma once

#include "kqb/kqbstring.h"
#include "uri/kquriparts_internal.h"

inline constexpr char kKqURIFolderType[] = "Folder";

// The parts of a repository text, cut as getPathURLComponentsFromString says.
struct KqReposParts {
    KqURIFields fields;  // the path becomes the name
    KqbString type;
    bool isRepository = false;  // when not, only the scheme means anything

    // Fills parts that are new. Throws std::bad_alloc.
    void parse(KqbString const &text);
};

// A copy with every byte from replaced by to, both ASCII; text without it is shared. Null for an
// absent text. Throws std::bad_alloc.
KqbString kqbReplacedBytes(KqbString const &text, char from, char to);
