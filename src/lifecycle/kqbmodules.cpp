#include <cstdio>

#include "core/kqblog_internal.h"
#include "io/kqbtextio_internal.h"
#include "kqb/kqbhost.h"
#include "lifecycle/kqbstartup_internal.h"
#include "platform/kqsfio.h"
#include "platform/kqssys.h"

namespace {

constexpr char kSource[] = "kqbupdown";
constexpr int kNameSize = 255;
constexpr int kPathSize = 4096;

np_dso *gTextIo = nullptr;

np_dso *gDependencies = nullptr;
KqbDepsStartupFunction gDepsStartup = nullptr;
KqbDepsShutdownFunction gDepsShutdown = nullptr;
KqbDepsGetInterfaceFunction gDepsGetInterface = nullptr;

// The file name of a module: its base name and the library's version without the points.
bool moduleFileName(char const *base, char *buffer, int size) {
    char versioned[64];
    int length = std::snprintf(versioned, sizeof versioned, "%s", base);
    for (char const *digit = KQB_VERSION; *digit != '\0'; ++digit) {
        if (*digit != '.') versioned[length++] = *digit;
    }
    versioned[length] = '\0';
    return np_dso_mkfname(versioned, buffer, size) > 0;
}

// The absolute path of a file beside the host's program.
bool modulePath(char const *fileName, char *buffer, int size) {
    char directory[kPathSize];
    if (np_fio_pabsolute(kqbModuleDirectory(), directory, sizeof directory) <= 0) return false;
    int const length = np_fio_pjoin(directory, fileName, buffer, size);
    return length > 0 && length < size;
}

template <class Function>
Function entryPoint(np_dso *module, char const *name) {
    return reinterpret_cast<Function>(np_dso_symbol(module, name));
}

bool textIoFailure(char *buffer, int size, char const *text) {
    kqbSetMessage(buffer, size, text);
    kqbUnloadTextIo();
    return false;
}

bool findDependencyFunctions() {
    gDepsStartup = entryPoint<KqbDepsStartupFunction>(gDependencies, "KqbDepsStartup");
    gDepsShutdown = entryPoint<KqbDepsShutdownFunction>(gDependencies, "KqbDepsShutdown");
    gDepsGetInterface =
        entryPoint<KqbDepsGetInterfaceFunction>(gDependencies, "KqbDepsGetInterface");
    return gDepsStartup != nullptr && gDepsShutdown != nullptr && gDepsGetInterface != nullptr;
}

void unloadDependencies() {
    np_dso_unload(gDependencies);
    gDependencies = nullptr;
    gDepsStartup = nullptr;
    gDepsShutdown = nullptr;
    gDepsGetInterface = nullptr;
}

}  // namespace

bool kqbLoadTextIo(char *buffer, int size) {
    char fileName[kNameSize];
    char path[kPathSize];
    char reason[kKqbMessageSize];
    if (!moduleFileName("kqbio", fileName, sizeof fileName)) return false;
    np_dso_result result = NP_DSO_BADPATH;
    if (modulePath(fileName, path, sizeof path)) {
        result = np_dso_load(path, &gTextIo, reason, sizeof reason);
    }
    if (result == NP_DSO_LOADER) return textIoFailure(buffer, size, reason);
    if (result != NP_DSO_OK) {
        std::snprintf(reason, sizeof reason, "Error loading text IO library %s", fileName);
        return textIoFailure(buffer, size, reason);
    }
    auto const initialize = entryPoint<KqbIOInitializeFunction>(gTextIo, "KqbIOInitialize");
    if (initialize == nullptr) {
        return textIoFailure(buffer, size, "Failed to find Text IO initialize function.");
    }
    KqbTextIoFactory *const factory = initialize(kqbModuleDirectory());
    if (factory == nullptr) return textIoFailure(buffer, size, "Failed to initialize Text IO.");
    kqbSetTextIoFactory(factory);
    return true;
}

void kqbUnloadTextIo() {
    if (KqbTextIoFactory *const factory = kqbTextIoFactory()) factory->release();
    kqbSetTextIoFactory(nullptr);
    np_dso_unload(gTextIo);
    gTextIo = nullptr;
}

bool kqbLoadDependencies() {
    if (gDependencies != nullptr) return true;
    char fileName[kNameSize];
    char path[kPathSize];
    bool const named = moduleFileName("kqbdeps", fileName, sizeof fileName) &&
                       modulePath(fileName, path, sizeof path);
    kqbLog(kqbBaseLogger(), 2, kSource, __LINE__, "Load %s", named ? path : fileName);
    np_dso_result const result =
        named ? np_dso_load(path, &gDependencies, kqbStartupMessage(), kKqbMessageSize)
              : NP_DSO_BADPATH;
    if (result != NP_DSO_OK) {
        if (result != NP_DSO_LOADER) {
            kqbStartupFailure(1, "Error loading dependency library", nullptr);
        }
        gDependencies = nullptr;
        return false;
    }
    if (findDependencyFunctions()) return true;
    kqbStartupFailure(1, "Failed to find dependency startup/shutdown/interface functions", nullptr);
    unloadDependencies();
    return false;
}

bool kqbStartDependencies(char const *executablePath) {
    if (gDepsStartup == nullptr) {
        kqbAssertFailure("startup func was not registered", "kqbstartup", __LINE__);
        return false;
    }
    return gDepsStartup(executablePath) == 0;
}

void kqbStopDependencies() {
    if (gDependencies == nullptr) return;
    gDepsShutdown(0);
    unloadDependencies();
}
