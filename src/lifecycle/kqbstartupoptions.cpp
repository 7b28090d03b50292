// The host's side before start-up: files, options and a user path wait in staging registries.
#include <cstdio>

#include "core/kqbassert_internal.h"
#include "kqb/kqbconfigoptions.h"
#include "lifecycle/kqbstartup_internal.h"
#include "lifecycle/kqbstartupoptions_internal.h"

namespace {

char gUserPath[kKqbMaxPath];

int notPossible(char const **errorMessage) {
    bool const down = kqbGetBootLevel() == 0;
    return kqbStartupFailure(1, down ? "The library is not initialized." : kKqbOutOfMemory,
                             errorMessage);
}

// Stores an option, taking care that text for which there was no memory is not stored as null.
bool store(KqbConfigOptions *options, char const *key, char const *value) {
    KqbString const ownKey(key);
    KqbString const ownValue(value);
    if (key != nullptr && ownKey.isNull()) return false;
    if (value != nullptr && ownValue.isNull()) return false;
    return options->setOption(ownKey, ownValue);
}

}  // namespace

int kqbStartupAddConfigFile(char const *path, char const **errorMessage) {
    if (errorMessage != nullptr) *errorMessage = nullptr;
    KqbGlobalLock const guard;
    KqbConfigOptions *const files = kqbGetConfigOptions(KqbString(kKqbStagedFiles, true));
    if (files == nullptr) return notPossible(errorMessage);
    KqbString count;
    int const number = files->getOption("FileCount", &count, false) ? count.asInt() + 1 : 1;
    char key[32];
    char text[16];
    std::snprintf(key, sizeof key, "FilePrefix_%4.4d", number);
    std::snprintf(text, sizeof text, "%d", number);
    bool const stored = store(files, "FileCount", text) && store(files, key, path);
    return stored ? 0 : notPossible(errorMessage);
}

int kqbStartupAddOption(char const *key, char const *value, char const **errorMessage) {
    if (errorMessage != nullptr) *errorMessage = nullptr;
    KqbGlobalLock const guard;
    KqbConfigOptions *const options = kqbGetConfigOptions(KqbString(kKqbStagedOptions, true));
    return options != nullptr && store(options, key, value) ? 0 : notPossible(errorMessage);
}

void kqbStartupSetUserPath(char const *path) {
    KqbGlobalLock const guard;
    // Bytes, not characters: a directory's name has no more structure than that.
    std::snprintf(gUserPath, sizeof gUserPath, "%s", path != nullptr ? path : "");
}

char const *kqbStartupGetUserPath(void) { return gUserPath; }
