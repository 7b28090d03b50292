// The 192-bit decimal itself: the part of the decimal contract that value types compile in.
#pragma once

#include <cstdint>

struct decSext {
    std::uint64_t words[3];  // least significant first
};
