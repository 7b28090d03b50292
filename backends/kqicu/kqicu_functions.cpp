#include "backends/kqicu/kqicu_functions.h"

#include <atomic>
#include <cstdio>

#include "platform/kqssys.h"

namespace kqicu {

namespace {

constinit std::atomic<Functions const *> gFunctions{nullptr};
constinit std::atomic<bool> gIsMissed{false};

void tellOnce(char const *reason) {
    if (gIsMissed.exchange(true)) return;
    std::fprintf(stderr, "The Unicode module cannot be loaded: %s\n", reason);
}

// Threads that arrive together each load it, which the loader counts; it is never unloaded.
[[gnu::noinline]] Functions const *load() {
    np_dso *module = nullptr;
    char reason[512] = "it is another module";
    void *symbol = nullptr;
    if (np_dso_load_beside("kqbicu38", &module, reason, sizeof reason) == NP_DSO_OK) {
        symbol = np_dso_symbol(module, kTableName);
    }
    if (symbol == nullptr) {
        tellOnce(reason);
        return nullptr;
    }
    Functions const *const table = reinterpret_cast<Table *>(symbol)();
    gFunctions.store(table, std::memory_order_release);
    return table;
}

}  // namespace

Functions const *functions() noexcept {
    Functions const *const known = gFunctions.load(std::memory_order_acquire);
    return known != nullptr ? known : load();
}

}  // namespace kqicu
