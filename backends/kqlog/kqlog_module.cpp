// Configured destinations come from a module of their own, loaded when first asked for: the library
// behind it starts threads as soon as it is loaded, which a process that only writes warnings to
// standard error must not pay for.
#include <dlfcn.h>
#include <link.h>

#include <filesystem>

#include "backends/kqlog/kqlog_sink.h"
#include "platform/kqssys.h"

namespace kqlog {

namespace {

constexpr char kModule[] = "kqblog38";

std::filesystem::path ownFolder() {
    Dl_info info;
    void *map = nullptr;
    auto *const self = reinterpret_cast<void *>(&openConfigured);
    if (dladdr1(self, &info, &map, RTLD_DL_LINKMAP) == 0) return {};
    // The loader knows the main program by no name.
    char const *const name = static_cast<link_map *>(map)->l_name;
    std::error_code error;
    return std::filesystem::canonical(*name != '\0' ? name : "/proc/self/exe", error).parent_path();
}

// Beside the library; a program that holds these objects itself has the library next door.
std::string modulePath() {
    char file[64];
    np_dso_mkfname(kModule, file, sizeof file);
    auto const folder = ownFolder();
    auto const beside = folder / file;
    std::error_code error;
    return std::filesystem::exists(beside, error) ? beside : folder.parent_path() / "lib" / file;
}

// The module stays for good: threads that ever logged run its clean-up when they end.
Opener loadOpener(Problems &problems) {
    std::string const path = modulePath();
    char reason[512] = "";
    np_dso *module = nullptr;
    if (np_dso_load(path.c_str(), &module, reason, sizeof reason) != NP_DSO_OK) {
        problems.push_back("Logging module '" + path + "' cannot be loaded: " + reason);
        return nullptr;
    }
    auto const opener = reinterpret_cast<Opener>(np_dso_symbol(module, kOpenerName));
    if (opener == nullptr) {
        problems.push_back("'" + path + "' is no logging module");
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
