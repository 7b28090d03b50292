// A reader/writer lock whose readers do not meet.
//
// Every reader thread counts itself in a slot on a cache line of its own (beyond kSlots threads
// some share one, which costs time, not correctness). A writer raises a flag and then waits until
// every slot is empty. Both sides write their own word first and then read the other's, all in
// the one sequentially consistent order: at least one of two that arrive together sees the other,
// and it is always the reader who gives way.
#pragma once

#include <array>
#include <atomic>
#include <mutex>

namespace kqbb {

constexpr unsigned kSlots = 64;

// The calling thread's slot plus one; 0 until its first share of any lock. The fast model spares
// a call for every look, since this code lives in a shared library.
extern constinit thread_local unsigned readerNumber [[gnu::tls_model("initial-exec")]];

class ReaderWriterLock {
public:
    // Returns false only without wait, when a writer holds the lock or waits for it.
    bool lockShared(bool wait) noexcept {
        if (readerNumber == 0) [[unlikely]]
            return lockSharedFirst(wait);
        std::atomic<int> &readers = ownSlot();
        readers.fetch_add(1);
        if (!writer_.load()) [[likely]]
            return true;
        return giveWay(readers, wait);
    }

    void unlockShared() noexcept {
        std::atomic<int> &readers = ownSlot();
        readers.fetch_sub(1);
        if (writer_.load()) [[unlikely]]
            readers.notify_all();
    }

    // Returns false only without wait, when the lock is held.
    bool lock(bool wait);
    void unlock();

private:
    struct alignas(64) Slot {
        std::atomic<int> readers{0};
    };

    std::atomic<int> &ownSlot() { return slots_[readerNumber - 1].readers; }

    // What happens rarely is called in the last place, so that the common path saves no registers.
    bool lockSharedFirst(bool wait) noexcept;
    bool giveWay(std::atomic<int> &readers, bool wait) noexcept;
    bool hasReaders() const;
    void waitForReaders() const;

    std::array<Slot, kSlots> slots_;
    alignas(64) std::atomic<bool> writer_{false};
    std::mutex writers_;  // held by the writer, and in passing by readers that gave way to it
};

}  // namespace kqbb
