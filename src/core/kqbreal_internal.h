// What the library's own code does with decimals beyond the public operations.
#pragma once

#include "kqb/kqbreal.h"

class KqbRealAccess {
public:
    // The decimal in place.
    static decSext const &decimal(KqbReal const &value) { return value.value_; }
};
