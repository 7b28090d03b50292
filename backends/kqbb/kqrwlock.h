// A reader/writer lock whose readers do not meet.
//
// Every reader thread counts itself in a slot on a cache line of its own (threads beyond the slots
// share the last one). A writer raises a flag and then waits until every slot is empty. Both sides
// write their own word first and then read the other's: at least one of two that arrive together
// must see the other, and it is always the reader who gives way.
//
// That needs a full barrier between the write and the read, on both sides. Readers are many and
// writers few, so where the system can make all threads of the process pass a barrier at once, the
// writer asks it to, and a reader with a slot of its own spends no locked instruction at all.
// Elsewhere both sides use the one sequentially consistent order.
#pragma once

#include <array>
#include <atomic>
#include <mutex>

namespace kqbb {

constexpr unsigned kSlots = 64;
constexpr unsigned kSharedSlot = kSlots;  // the number of the last slot, in which many may count

// The number of the calling thread's slot; 0 until its first share of any lock. The fast model
// spares a call for every look, since this code lives in a shared library.
extern constinit thread_local unsigned readerNumber [[gnu::tls_model("initial-exec")]];

// Whether writers can make every thread pass a barrier; settled at the first call.
bool canFenceProcess();

class ReaderWriterLock {
public:
    // Returns false only without wait, when a writer holds the lock or waits for it.
    bool lockShared(bool wait) noexcept {
        if (readerNumber == 0) [[unlikely]]
            return lockSharedFirst(wait);
        std::atomic<int> &readers = ownSlot();
        count(readers, 1);
        if (!writer_.load()) [[likely]]
            return true;
        return giveWay(readers, wait);
    }

    void unlockShared() noexcept {
        std::atomic<int> &readers = ownSlot();
        count(readers, -1);
        if (writer_.load()) [[unlikely]]
            wakeWriter(readers);
    }

    // Returns false only without wait, when the lock is held.
    bool lock(bool wait);
    void unlock();

private:
    struct alignas(64) Slot {
        std::atomic<int> readers{0};
    };

    std::atomic<int> &ownSlot() { return slots_[readerNumber - 1].readers; }

    // Nobody else writes a slot that belongs to one thread. The fence keeps the compiler from
    // moving the look at the writer in front of the count.
    void count(std::atomic<int> &readers, int change) noexcept {
        if (isFencedByWriters_ && readerNumber != kSharedSlot) [[likely]] {
            readers.store(readers.load(std::memory_order_relaxed) + change,
                          std::memory_order_release);
            std::atomic_signal_fence(std::memory_order_seq_cst);
        } else {
            readers.fetch_add(change);
        }
    }

    // What happens rarely is called in the last place, so that the common path saves no registers.
    bool lockSharedFirst(bool wait) noexcept;
    bool giveWay(std::atomic<int> &readers, bool wait) noexcept;
    void wakeWriter(std::atomic<int> &readers) noexcept;
    void raiseFlag();
    bool hasReaders() const;
    void waitForReaders() const;

    std::array<Slot, kSlots> slots_;
    alignas(64) std::atomic<bool> writer_{false};
    bool const isFencedByWriters_ = canFenceProcess();
    std::mutex writers_;  // held by the writer, and in passing by readers that gave way to it
};

}  // namespace kqbb
