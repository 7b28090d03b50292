#include "kqb/kqbautosingleton.h"

#include <cstring>
#include <map>
#include <string>
#include <string_view>

#include "config/kqbmemory_internal.h"
#include "config/kqbsingleton_internal.h"
#include "platform/kqbb.h"

struct KqbAutoSingletonEntry {
    kqLock *lock = nullptr;
    std::string_view name;  // lies in the key of the map
    int references = 1;
    void *instance = nullptr;
};

namespace {

using Entry = KqbAutoSingletonEntry;

constexpr std::size_t kNameSize = 255;

kqLock *gMutex = nullptr;  // null while the library is down
std::map<std::string, Entry, std::less<>> gEntries;

// Holds the mutex for a scope; nothing is held while the library is down.
class Held {
public:
    Held() : mutex_(gMutex) {
        if (mutex_ != nullptr) kqLockGet(mutex_, 1, 1);
    }
    ~Held() {
        if (mutex_ != nullptr) kqLockRelease(mutex_, 1);
    }
    Held(Held const &) = delete;
    Held &operator=(Held const &) = delete;

    bool isUp() const { return mutex_ != nullptr; }

private:
    kqLock *const mutex_;
};

std::string_view cut(char const *name) {
    return name != nullptr ? std::string_view(name, strnlen(name, kNameSize)) : std::string_view();
}

Entry *find(std::string_view name) {
    auto const found = gEntries.find(name);
    return found != gEntries.end() ? &found->second : nullptr;
}

void remove(Entry *entry) {
    kqLockDestroy(entry->lock);
    gEntries.erase(gEntries.find(entry->name));
}

// A new entry whose lock this thread holds, or null.
Entry *add(std::string_view name) {
    Entry *entry = nullptr;
    kqbWithMemory([&] {
        auto const place = gEntries.try_emplace(std::string(name)).first;
        place->second.name = place->first;
        entry = &place->second;
    });
    if (entry == nullptr) return nullptr;
    entry->lock = kqLockCreate(1, 0);
    // A new lock is free: taking it cannot fail and makes nobody wait.
    if (entry->lock != nullptr && kqLockGet(entry->lock, 1, 0) != 0) return entry;
    remove(entry);
    return nullptr;
}

// Returns when no other thread is making the instance or has the service locked.
void waitFor(Entry const &entry) {
    kqLockGet(entry.lock, 1, 1);
    kqLockRelease(entry.lock, 1);
}

}  // namespace

bool kqbSingletonsStart() {
    if (gMutex == nullptr) gMutex = kqLockCreate(0, 0);
    return gMutex != nullptr;
}

void kqbSingletonsStop() {
    kqLockDestroy(gMutex);
    gMutex = nullptr;
}

bool KqbAutoSingleton::initialize(bool *created) {
    if (created != nullptr) *created = false;
    if (entry_ != nullptr) return false;
    Entry *entry = nullptr;
    bool isKnown = false;
    {
        Held const held;
        std::string_view const name = held.isUp() ? cut(getName()) : std::string_view();
        if (name.empty()) return false;
        entry = find(name);
        isKnown = entry != nullptr;
        if (isKnown) {
            ++entry->references;
        } else {
            entry = add(name);
        }
    }
    if (entry == nullptr) return false;
    if (isKnown) {
        waitFor(*entry);
    } else {
        entry->instance = create();
        kqLockRelease(entry->lock, 1);
        if (created != nullptr) *created = true;
    }
    entry_ = entry;
    instance_ = entry->instance;
    return true;
}

void KqbAutoSingleton::terminate() {
    {
        Held const held;
        if (entry_ == nullptr) return;
        if (entry_->references >= 2) {
            --entry_->references;
            return;
        }
        remove(entry_);
        entry_ = nullptr;
    }
    void *const ended = instance_;
    instance_ = nullptr;
    destroy(ended);
}

bool KqbAutoSingleton::cleanupOnly() {
    if (entry_ != nullptr) return false;
    Entry *entry = nullptr;
    {
        Held const held;
        std::string_view const name = held.isUp() ? cut(getName()) : std::string_view();
        if (name.empty()) return false;
        entry = find(name);
        if (entry == nullptr) return true;
        // Counted while it waits: the entry cannot go, and others need not wait for the mutex.
        ++entry->references;
    }
    waitFor(*entry);
    {
        Held const held;
        if (--entry->references >= 2) {
            --entry->references;
            return true;
        }
        instance_ = entry->instance;
        remove(entry);
    }
    destroy(instance_);
    return true;
}

void KqbAutoSingleton::lock() {
    if (entry_ != nullptr) kqLockGet(entry_->lock, 1, 1);
}

void KqbAutoSingleton::unlock() {
    if (entry_ != nullptr) kqLockRelease(entry_->lock, 1);
}
