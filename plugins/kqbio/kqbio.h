// The module's entry point.
#pragma once

#include "kqb/kqbmodules.h"

extern "C" KQB_API KqbTextIoFactory *KqbIOInitialize(char const *moduleDirectory) noexcept;
