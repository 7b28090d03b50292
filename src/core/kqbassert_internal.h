// The global mutex and the assertion handlers: used everywhere, filled in by the life cycle.
#pragma once

#include "kqb/kqbhost.h"
#include "platform/kqbb.h"

// The global mutex; null while the library is down. Its holder may take it again.
kqLock *kqbGlobalMutex();
void kqbSetGlobalMutex(kqLock *mutex);

// Holds the global mutex for a scope; nothing is held while the library is down.
class KqbGlobalLock {
public:
    KqbGlobalLock() : mutex_(kqbGlobalMutex()) {
        if (mutex_ != nullptr) kqLockGet(mutex_, 1, 1);
    }
    ~KqbGlobalLock() {
        if (mutex_ != nullptr) kqLockRelease(mutex_, 1);
    }
    KqbGlobalLock(KqbGlobalLock const &) = delete;
    KqbGlobalLock &operator=(KqbGlobalLock const &) = delete;

private:
    kqLock *mutex_;
};

// Whether this handler with this argument is registered already.
bool kqbHasAssertionHandler(KqbAssertionHandler function, void *argument);
