// The slow paths of the reader/writer lock.
#include "backends/kqbb/kqrwlock.h"

#include <algorithm>

namespace kqbb {

constinit thread_local unsigned readerNumber = 0;

bool ReaderWriterLock::lockSharedFirst(bool wait) noexcept {
    static std::atomic<unsigned> threads{0};
    readerNumber = threads.fetch_add(1, std::memory_order_relaxed) % kSlots + 1;
    return lockShared(wait);
}

// While this thread has the writers' mutex the flag is down, so the second try counts at once.
bool ReaderWriterLock::giveWay(std::atomic<int> &readers, bool wait) noexcept {
    unlockShared();
    if (!wait) return false;
    std::lock_guard const guard(writers_);
    readers.fetch_add(1);
    return true;
}

bool ReaderWriterLock::lock(bool wait) {
    std::unique_lock guard(writers_, std::defer_lock);
    if (wait) {
        guard.lock();
    } else if (!guard.try_lock() || hasReaders()) {  // a look first: the flag disturbs readers
        return false;
    }
    writer_.store(true);
    if (wait) {
        waitForReaders();
    } else if (hasReaders()) {
        writer_.store(false);
        return false;
    }
    guard.release();
    return true;
}

void ReaderWriterLock::unlock() {
    writer_.store(false);
    writers_.unlock();
}

bool ReaderWriterLock::hasReaders() const {
    return std::any_of(slots_.begin(), slots_.end(),
                       [](Slot const &slot) { return slot.readers.load() != 0; });
}

void ReaderWriterLock::waitForReaders() const {
    for (Slot const &slot : slots_) {
        while (int const readers = slot.readers.load()) slot.readers.wait(readers);
    }
}

}  // namespace kqbb
