#include "backends/librzmx/rzmx_directory.h"

#include <atomic>

#include "platform/kqssys.h"

namespace rzmx {

namespace {

constinit std::atomic<DirectoryFunctions const *> gDirectory{nullptr};

// Threads that arrive together each load it, which the loader counts; it is never unloaded.
DirectoryFunctions const *load() {
    np_dso *module = nullptr;
    char reason[512] = "it is another module";
    void *symbol = nullptr;
    if (np_dso_load_beside("kqbldap38", &module, reason, sizeof reason) == NP_DSO_OK) {
        symbol = np_dso_symbol(module, kDirectoryTable);
    }
    if (symbol == nullptr) {
        throw Failure("The directory module cannot be loaded: " + std::string(reason));
    }
    DirectoryFunctions const *const table = reinterpret_cast<DirectoryTable *>(symbol)();
    gDirectory.store(table, std::memory_order_release);
    return table;
}

}  // namespace

DirectoryFunctions const &directory() {
    DirectoryFunctions const *const known = gDirectory.load(std::memory_order_acquire);
    return known != nullptr ? *known : *load();
}

}  // namespace rzmx
