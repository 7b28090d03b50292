// Dependencies whose start-up fails.
#include "kqb/kqbmodules.h"

extern "C" {

KQB_API int KqbDepsStartup(char const *) { return 1; }
KQB_API void KqbDepsShutdown(int) {}
KQB_API void *KqbDepsGetInterface() { return nullptr; }

}  // extern "C"
