// Loadable modules.
#include <dlfcn.h>
#include <link.h>
#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <exception>
#include <filesystem>

#include "backends/text_buffer.h"
#include "platform/kqssys.h"

namespace {

using kqbackend::copyText;

// In the manner of the loader's own texts.
np_dso_result refuse(np_dso_result result, char const *path, char const *reason, char *buffer,
                     int size) {
    std::array<char, PATH_MAX + 64> text;
    std::snprintf(text.data(), text.size(), "%s: %s", path, reason);
    copyText(text.data(), buffer, size);
    return result;
}

// Looks at the file that the path leads to; what cannot be looked at is left to the loader.
np_dso_result examine(char const *path, char *buffer, int size) {
    struct stat info;
    if (stat(path, &info) == 0) {
        if ((info.st_mode & S_IWOTH) == 0) return NP_DSO_OK;
        return refuse(NP_DSO_LOADER, path, "every user may write to the module's file", buffer,
                      size);
    }
    if (errno != ENOENT && errno != ENOTDIR) return NP_DSO_OK;
    return refuse(NP_DSO_NOTFOUND, path, "there is no such file", buffer, size);
}

np_dso_result loadExamined(char const *path, np_dso **module, char *buffer, int size) {
    void *const handle = dlopen(path, RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr) {
        char const *const reason = dlerror();
        copyText(reason == nullptr ? "" : reason, buffer, size);
        return NP_DSO_LOADER;
    }
    *module = static_cast<np_dso *>(handle);
    return NP_DSO_OK;
}

// The folder of the file that holds this code.
std::filesystem::path ownFolder() {
    Dl_info info;
    void *map = nullptr;
    auto *const self = reinterpret_cast<void *>(&np_dso_load_beside);
    if (dladdr1(self, &info, &map, RTLD_DL_LINKMAP) == 0) return {};
    // The loader knows the main program by no name.
    char const *const name = static_cast<link_map *>(map)->l_name;
    return std::filesystem::canonical(*name != '\0' ? name : "/proc/self/exe").parent_path();
}

std::filesystem::path pathBeside(char const *base) {
    char file[64];
    np_dso_mkfname(base, file, sizeof file);
    auto const folder = ownFolder();
    auto const beside = folder / file;
    return std::filesystem::exists(beside) ? beside : folder.parent_path() / "lib" / file;
}

}  // namespace

int np_dso_mkfname(char const *base, char *buffer, int size) {
    if (size > 0) *buffer = '\0';
    int const length = std::snprintf(nullptr, 0, "lib%s.so", base);
    if (length < 0 || length >= size) return -1;
    return std::snprintf(buffer, static_cast<std::size_t>(size), "lib%s.so", base);
}

np_dso_result np_dso_load(char const *path, np_dso **module, char *buffer, int size) {
    if (path == nullptr || *path != '/') {
        return refuse(NP_DSO_BADPATH, path == nullptr ? "" : path,
                      "the module's path is not absolute", buffer, size);
    }
    np_dso_result const result = examine(path, buffer, size);
    return result == NP_DSO_OK ? loadExamined(path, module, buffer, size) : result;
}

np_dso_result np_dso_load_beside(char const *base, np_dso **module, char *buffer, int size) {
    try {
        return np_dso_load(pathBeside(base).c_str(), module, buffer, size);
    } catch (std::exception const &error) {
        return refuse(NP_DSO_LOADER, base, error.what(), buffer, size);
    }
}

void *np_dso_symbol(np_dso *module, char const *name) {
    return module == nullptr ? nullptr : dlsym(module, name);  // null would mean every module
}

void np_dso_unload(np_dso *module) {
    if (module != nullptr) dlclose(module);
}
