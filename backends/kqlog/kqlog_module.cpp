// Configured destinations come from a module of their own, loaded when first asked for: the library
// behind it starts threads as soon as it is loaded, which a process that only writes warnings to
// standard error must not pay for.
#include <dlfcn.h>

#include <string>

#include "backends/kqlog/kqlog_sink.h"
#include "platform/kqssys.h"

namespace kqlog {

namespace {

constexpr char kModule[] = "kqblog38";

// The module stays for good: threads that ever logged run its clean-up when they end.
Opener loadOpener(Problems &problems) {
    char reason[512] = "";
    np_dso *module = nullptr;
    if (np_dso_load_beside(kModule, &module, reason, sizeof reason) != NP_DSO_OK) {
        problems.push_back(std::string("The logging module cannot be loaded: ") + reason);
        return nullptr;
    }
    auto const opener = reinterpret_cast<Opener>(np_dso_symbol(module, kOpenerName));
    if (opener == nullptr) {
        problems.push_back(std::string("The module ") + kModule + " is no logging module");
        np_dso_unload(module);
    }
    return opener;
}

// What the module loads is local to it and not found from here.
bool hostUsesLog4cplus() { return dlsym(RTLD_DEFAULT, "log4cplus_initialize") != nullptr; }

}  // namespace

std::unique_ptr<Sink> openConfigured(char const *path, Problems &problems) {
    auto const opener = loadOpener(problems);
    if (opener == nullptr) return nullptr;
    return std::unique_ptr<Sink>(opener(path, hostUsesLog4cplus(), &problems));
}

}  // namespace kqlog
