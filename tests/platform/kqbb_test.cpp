#include "platform/kqbb.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <thread>
#include <vector>

namespace {

template <class Work>
void runThreads(int count, Work work) {
    std::vector<std::jthread> threads;
    for (int i = 0; i < count; ++i) threads.emplace_back(work, i);
}

int tryFromOtherThread(kqLock *lock, int exclusive) {
    int taken = 0;
    runThreads(1, [&](int) {
        taken = kqLockGet(lock, exclusive, 0);
        if (taken != 0) kqLockRelease(lock, exclusive);
    });
    return taken;
}

// --- Locks ---

TEST(KqLockThreads, KindsKeepOthersOut) {
    std::array<int, 5> const cases[] = {{1, 0, 1, 1, 0}, {1, 0, 0, 0, 0}, {0, 0, 1, 1, 0},
                                        {1, 1, 1, 0, 0}, {0, 1, 0, 1, 0}, {0, 1, 0, 0, 1}};
    for (auto const &[strict, readers, held, asked, taken] : cases) {
        kqLock *const lock = kqLockCreate(strict, readers);
        int const times = strict ? 1 : 2;  // those that are not strict may be taken again
        for (int i = 0; i < times; ++i) ASSERT_EQ(1, kqLockGet(lock, held, i == 0));
        for (int i = 0; i < times; ++i) {
            EXPECT_EQ(taken, tryFromOtherThread(lock, asked)) << strict << readers << held << asked;
            kqLockRelease(lock, held);
        }
        EXPECT_EQ(1, tryFromOtherThread(lock, asked));
        kqLockDestroy(lock);
    }
}

TEST(KqLockThreads, WaitingWriterKeepsNewReadersOut) {
    kqLock *const lock = kqLockCreate(1, 1);
    ASSERT_EQ(1, kqLockGet(lock, 0, 1));
    std::atomic<bool> written{false};
    std::thread writer([&] {
        kqLockGet(lock, 1, 1);
        written = true;
        kqLockRelease(lock, 1);
    });
    while (tryFromOtherThread(lock, 0) == 1) std::this_thread::yield();
    EXPECT_FALSE(written);
    kqLockRelease(lock, 0);
    writer.join();
    EXPECT_TRUE(written);
    kqLockDestroy(lock);
}

// The guarded words are plain: whoever gets in wrongly sees them differ, and the thread sanitizer
// sees the race. With more threads than slots, some readers share one.
TEST(KqLockThreads, WritersAreAloneUnderLoad) {
    std::array<int, 3> const cases[] = {{1, 0, 4}, {0, 0, 4}, {1, 1, 4}, {1, 1, 80}};
    for (auto const &[strict, readers, threads] : cases) {
        kqLock *const lock = kqLockCreate(strict, readers);
        int const rounds = 100000 / threads;
        long left = 0, right = 0;
        std::atomic<long> writes{0};
        runThreads(threads, [&](int thread) {
            for (int i = 0; i < rounds; ++i) {
                int const exclusive = (i + thread) % 8 == 0;
                if (kqLockGet(lock, exclusive, i % 3) == 0) continue;
                EXPECT_EQ(left, right);
                if (exclusive) {
                    ++left;
                    if (i % 64 == 0) std::this_thread::yield();  // in the middle of the change
                    right = ++writes;
                }
                kqLockRelease(lock, exclusive);
            }
        });
        EXPECT_EQ(writes, left);
        kqLockDestroy(lock);
    }
}

// --- Events ---

TEST(KqEventThreads, EverySettingWakesOneOrAll) {
    for (int const manual : {0, 1}) {
        kqEvent *const event = kqEventCreate(manual);
        std::atomic<int> woken{0};
        std::jthread const setter([&] {
            for (int expected = manual ? 4 : 1; expected <= 4; ++expected) {
                kqEventSet(event);
                while (woken < expected) std::this_thread::yield();
            }
        });
        runThreads(4, [&](int i) { woken += kqEventWait(event, i % 2 == 0 ? -1 : 60000); });
        EXPECT_EQ(4, woken);
        EXPECT_EQ(manual, kqEventWait(event, 0));
        kqEventReset(event);
        EXPECT_EQ(0, kqEventWait(event, 2));
        kqEventDestroy(event);
    }
}

// --- Per-thread slots ---

int endSlot = -1;
std::vector<int> ends;  // of one thread at a time

struct LastWords {
    ~LastWords() { ends.push_back(-1); }
};

void noteEnd(void *value) {
    int *const rest = static_cast<int *>(value);
    ends.push_back((*rest)--);
    if (*rest > 0) kqThreadSlotSet(endSlot, rest);
}

TEST(KqThreadSlotThreads, EndIsToldAfterThreadLocalsAndAgain) {
    endSlot = kqThreadSlotCreate(noteEnd);
    int rest = 2;
    runThreads(1, [&](int) {
        static thread_local LastWords lastWords;
        (void)&lastWords;
        EXPECT_EQ(1, kqThreadSlotSet(endSlot, &rest));
    });
    EXPECT_EQ((std::vector<int>{-1, 2, 1}), ends);
}

}  // namespace
