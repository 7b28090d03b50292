// The dependency module that ships with the library. It has nothing to bring up: products replace
// it with one that does, and hosts that need none run with this one.
#include "kqb/kqblog.h"
#include "kqb/kqbmodules.h"

namespace {

constexpr int kInformation = 2;
constexpr KqbDepsInterface kInterface = {sizeof(KqbDepsInterface), 1, KQB_VERSION, KQB_BUILD};

void log(int line, char const *text) {
    kqbLogMessage("KQ.Deps", kInformation, "kqbdeps", line, text);
}

}  // namespace

extern "C" {

KQB_API int KqbDepsStartup(char const *) {
    log(__LINE__, "Dependencies started");
    return 0;
}

KQB_API void KqbDepsShutdown(int) { log(__LINE__, "Dependencies shut down"); }

KQB_API void *KqbDepsGetInterface() { return const_cast<KqbDepsInterface *>(&kInterface); }

}  // extern "C"
