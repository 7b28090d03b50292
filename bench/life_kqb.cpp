#include "bench/resident.h"
#include "kqb/kqbhost.h"

int main() {
    char const *reason = nullptr;
    if (kqbInitialize(KQB_BENCH_BIN "/life_kqb", &reason) != 0 || kqbStartup(&reason, 0) != 0) {
        std::fprintf(stderr, "%s\n", reason);
        return 1;
    }
    tellResident();
    kqbShutdown();
    return 0;
}
