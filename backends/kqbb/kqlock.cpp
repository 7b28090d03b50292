// Locks of the three kinds behind one handle.
#include <mutex>
#include <new>
#include <system_error>

#include "backends/kqbb/kqrwlock.h"
#include "platform/kqbb.h"

// The kind is told by a tag, not by virtual functions: a reader's share costs so little that an
// indirect call would be felt.
struct kqLock {
    enum class Kind { plain, recursive, shared };
    Kind const kind;
};

namespace {

using Kind = kqLock::Kind;

template <Kind kKind, class Mutex>
struct LockOf : kqLock {
    LockOf() : kqLock{kKind} {}
    Mutex mutex;
};

using PlainLock = LockOf<Kind::plain, std::mutex>;
using RecursiveLock = LockOf<Kind::recursive, std::recursive_mutex>;
using SharedLock = LockOf<Kind::shared, kqbb::ReaderWriterLock>;

auto &plain(kqLock *lock) { return static_cast<PlainLock *>(lock)->mutex; }
auto &recursive(kqLock *lock) { return static_cast<RecursiveLock *>(lock)->mutex; }
auto &shared(kqLock *lock) { return static_cast<SharedLock *>(lock)->mutex; }

kqLock *create(int strict, int readers) {
    if (readers != 0) return new (std::nothrow) SharedLock;
    if (strict != 0) return new (std::nothrow) PlainLock;
    return new (std::nothrow) RecursiveLock;
}

template <class Mutex>
bool take(Mutex &mutex, bool wait) {
    if (!wait) return mutex.try_lock();
    mutex.lock();
    return true;
}

bool takeExclusively(kqLock *lock, bool wait) {
    if (lock->kind == Kind::shared) return shared(lock).lock(wait);
    return lock->kind == Kind::plain ? take(plain(lock), wait) : take(recursive(lock), wait);
}

}  // namespace

kqLock *kqLockCreate(int strict, int readers) {
    try {
        return create(strict, readers);
    } catch (std::system_error const &) {
        return nullptr;
    }
}

void kqLockDestroy(kqLock *lock) {
    if (lock == nullptr) return;
    switch (lock->kind) {
        case Kind::plain:
            delete static_cast<PlainLock *>(lock);
            return;
        case Kind::recursive:
            delete static_cast<RecursiveLock *>(lock);
            return;
        case Kind::shared:
            delete static_cast<SharedLock *>(lock);
            return;
    }
}

int kqLockGet(kqLock *lock, int exclusive, int wait) {
    bool const isShare = exclusive == 0 && lock->kind == Kind::shared;
    if (isShare) return shared(lock).lockShared(wait != 0);
    try {
        return takeExclusively(lock, wait != 0);
    } catch (std::system_error const &) {  // a recursive lock taken more often than it can count
        return 0;
    }
}

void kqLockRelease(kqLock *lock, int exclusive) {
    switch (lock->kind) {
        case Kind::plain:
            plain(lock).unlock();
            return;
        case Kind::recursive:
            recursive(lock).unlock();
            return;
        case Kind::shared:
            exclusive != 0 ? shared(lock).unlock() : shared(lock).unlockShared();
            return;
    }
}
