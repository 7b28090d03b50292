// Text IO that cannot work.
#include "kqb/kqbmodules.h"

extern "C" KQB_API KqbTextIoFactory *KqbIOInitialize(char const *) { return nullptr; }
