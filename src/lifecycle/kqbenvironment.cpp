#include <cstring>
#include <memory>
#include <new>

#include "lifecycle/kqbstartup_internal.h"
#include "platform/kqssys.h"

namespace {

struct Saved {
    std::unique_ptr<char[]> name;
    std::unique_ptr<char[]> value;  // null: it was not set
    Saved *next;
};

Saved *gSaved = nullptr;

std::unique_ptr<char[]> copyOf(char const *text) {
    std::size_t const size = std::strlen(text) + 1;
    std::unique_ptr<char[]> copy(new (std::nothrow) char[size]);
    if (copy != nullptr) std::memcpy(copy.get(), text, size);
    return copy;
}

// The value in the environment, however long; null when it is not set or memory is missing.
std::unique_ptr<char[]> currentValue(char const *name) {
    std::size_t const length = std::strlen(name);
    for (char const *const *entry = np_env_entries(); *entry != nullptr; ++entry) {
        if (std::strncmp(*entry, name, length) == 0 && (*entry)[length] == '=') {
            return copyOf(*entry + length + 1);
        }
    }
    return nullptr;
}

bool isSaved(char const *name) {
    for (Saved const *saved = gSaved; saved != nullptr; saved = saved->next) {
        if (std::strcmp(saved->name.get(), name) == 0) return true;
    }
    return false;
}

}  // namespace

void kqbSetEnvironment(char const *name, char const *value) {
    if (!isSaved(name)) {
        std::unique_ptr<char[]> ownName = copyOf(name);
        auto *const saved = ownName == nullptr ? nullptr : new (std::nothrow) Saved{};
        if (saved == nullptr) return;
        saved->name = std::move(ownName);
        saved->value = currentValue(name);
        saved->next = gSaved;
        gSaved = saved;
    }
    np_env_set(name, value);
}

void kqbRestoreEnvironment() {
    while (Saved *const saved = gSaved) {
        gSaved = saved->next;
        np_env_set(saved->name.get(), saved->value.get());
        delete saved;
    }
}
