// The slow paths of the reader/writer lock.
#include "backends/kqbb/kqrwlock.h"

#include <linux/membarrier.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <bit>
#include <cstdint>
#include <utility>

#include "platform/kqatom.h"
#include "platform/kqbb.h"

namespace kqbb {

constinit thread_local unsigned readerNumber = 0;

namespace {

// --- Barriers -----------------------------------------------------------------------------------

bool commandSucceeds(int command) { return syscall(SYS_membarrier, command, 0, 0) == 0; }

bool registerForFences() { return commandSucceeds(MEMBARRIER_CMD_REGISTER_PRIVATE_EXPEDITED); }

// Every thread of the process has passed a full barrier when this returns.
void fenceProcess() {
    if (KQ_ATOM_SINGLE_THREADED) return;
    // A process made by fork may have to register anew.
    while (!commandSucceeds(MEMBARRIER_CMD_PRIVATE_EXPEDITED)) registerForFences();
}

// --- Slot numbers -------------------------------------------------------------------------------

// Slots that belong to no thread, a bit each; all but the shared one.
constinit std::atomic<std::uint64_t> gFreeSlots{~std::uint64_t{0} >> 1};

unsigned takeSlotNumber() {
    std::uint64_t free = gFreeSlots.load(std::memory_order_relaxed);
    while (free != 0) {
        if (gFreeSlots.compare_exchange_weak(free, free & (free - 1), std::memory_order_acquire,
                                             std::memory_order_relaxed)) {
            return static_cast<unsigned>(std::countr_zero(free)) + 1;
        }
    }
    return kSharedSlot;
}

// Runs when a thread ends. What still asks for a share after that uses the shared slot.
void giveSlotBack(void *owned) {
    unsigned const number = std::exchange(*static_cast<unsigned *>(owned), kSharedSlot);
    if (number == kSharedSlot) return;
    gFreeSlots.fetch_or(std::uint64_t{1} << (number - 1), std::memory_order_release);
}

// A slot of its own for the calling thread, if there is one left and its end will be noticed.
unsigned ownSlotNumber() {
    static int const threadEnds = kqThreadSlotCreate(giveSlotBack);
    if (threadEnds < 0 || kqThreadSlotSet(threadEnds, &readerNumber) == 0) return kSharedSlot;
    return takeSlotNumber();
}

}  // namespace

bool canFenceProcess() {
#if defined(__SANITIZE_THREAD__)
    return false;  // its model of memory knows no barrier that another thread asked for
#else
    static bool const can = registerForFences();
    return can;
#endif
}

// --- Readers ------------------------------------------------------------------------------------

bool ReaderWriterLock::lockSharedFirst(bool wait) noexcept {
    readerNumber = ownSlotNumber();
    return lockShared(wait);
}

// While this thread has the writers' mutex the flag is down, so the second try counts at once.
bool ReaderWriterLock::giveWay(std::atomic<int> &readers, bool wait) noexcept {
    unlockShared();
    if (!wait) return false;
    std::lock_guard const guard(writers_);
    count(readers, 1);
    return true;
}

// The count must be out before the look whether anybody sleeps, which is part of waking: adding
// nothing to it sees to that.
void ReaderWriterLock::wakeWriter(std::atomic<int> &readers) noexcept {
    readers.fetch_add(0);
    readers.notify_all();
}

// --- Writers ------------------------------------------------------------------------------------

void ReaderWriterLock::raiseFlag() {
    writer_.store(true);
    if (isFencedByWriters_) fenceProcess();
}

bool ReaderWriterLock::lock(bool wait) {
    std::unique_lock guard(writers_, std::defer_lock);
    if (wait) {
        guard.lock();
    } else if (!guard.try_lock() || hasReaders()) {  // a look first: the flag disturbs readers
        return false;
    }
    raiseFlag();
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
