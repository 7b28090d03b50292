// Outputs that callers may leave out.
#pragma once

#include "kqb/kqbstring.h"

inline void kqbGive(KqbString *output, KqbString const &value) {
    if (output != nullptr) *output = value;
}

// Sets *error to a constant text. False.
inline bool kqbRefuse(KqbString *error, char const *reason) {
    kqbGive(error, KqbString(reason, true));
    return false;
}
