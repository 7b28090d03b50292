#include "platform/kqbb.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/temporary_folder.h"

namespace {

using namespace std::chrono_literals;

template <class Work>
void runThreads(int count, Work work) {
    std::vector<std::thread> threads;
    for (int i = 0; i < count; ++i) threads.emplace_back(work, i);
    for (std::thread &thread : threads) thread.join();
}

int tryFromOtherThread(kqLock *lock, int exclusive) {
    int taken = 0;
    runThreads(1, [&](int) {
        taken = kqLockGet(lock, exclusive, 0);
        if (taken != 0) kqLockRelease(lock, exclusive);
    });
    return taken;
}

// --- The library itself ---

TEST(KqbbLife, TempPathLastsUntilTheLastTerminate) {
    TemporaryFolder const first, second;
    char text[256] = "";
    EXPECT_LT(0, kqbbSetTempPath(first.path().c_str(), text, sizeof text)) << "before it is up";
    ASSERT_EQ(0, kqbbInitialize("/bin/host", text, sizeof text));
    ASSERT_EQ(0, kqbbInitializeWithMX(first.path().c_str(), text, sizeof text));
    EXPECT_EQ(0, kqbbSetTempPath(first.path().c_str(), text, sizeof text));
    EXPECT_EQ(0, kqbbSetTempPath((first.path() + "/").c_str(), text, sizeof text));
    kqbbTerminate();
    EXPECT_GT(0, kqbbSetTempPath(second.path().c_str(), text, sizeof text));
    EXPECT_EQ(first.path(), text);
    kqbbTerminate();
    kqbbTerminate();  // once too often

    ASSERT_EQ(0, kqbbInitialize("/bin/host", text, sizeof text));
    EXPECT_EQ(0, kqbbSetTempPath(second.path().c_str(), text, sizeof text));
    kqbbTerminate();
}

TEST(KqbbLife, RefusesWhatCannotBeUsed) {
    char text[64] = "";
    EXPECT_LT(0, kqbbInitialize(nullptr, text, sizeof text));
    EXPECT_STRNE("", text);
    EXPECT_LT(0, kqbbInitializeWithMX("/no/such/directory", text, sizeof text));
    EXPECT_NE(std::string::npos, std::string(text).find("/no/such/directory"));
    EXPECT_LT(0, kqbbInitializeWithMX("/no/such/directory", text, 4));
    EXPECT_STREQ("No ", text);

    ASSERT_EQ(0, kqbbInitialize("/bin/host", text, sizeof text));
    for (char const *path : {"", "/no/such/directory", "/dev/null"}) {
        EXPECT_LT(0, kqbbSetTempPath(path, text, sizeof text));
        EXPECT_STREQ(path, text);
    }
    EXPECT_LT(0, kqbbSetTempPath("/\u00e4\u00e4", text, 5));
    EXPECT_STREQ("/\u00e4", text) << "cut between characters";
    kqbbTerminate();
}

// --- Locks ---

TEST(KqLockThreads, KindsKeepOthersOut) {
    struct {
        int strict, readers, held, asked, taken;
    } const cases[] = {
        {1, 0, 1, 1, 0}, {1, 0, 0, 0, 0}, {0, 0, 1, 1, 0}, {0, 0, 0, 0, 0},
        {1, 1, 1, 1, 0}, {1, 1, 1, 0, 0}, {0, 1, 0, 1, 0}, {0, 1, 0, 0, 1},
    };
    for (auto const &c : cases) {
        SCOPED_TRACE(testing::Message() << c.strict << c.readers << c.held << c.asked);
        kqLock *const lock = kqLockCreate(c.strict, c.readers);
        ASSERT_NE(nullptr, lock);
        ASSERT_EQ(1, kqLockGet(lock, c.held, 1));
        EXPECT_EQ(c.taken, tryFromOtherThread(lock, c.asked));
        kqLockRelease(lock, c.held);
        EXPECT_EQ(1, tryFromOtherThread(lock, c.asked));
        kqLockDestroy(lock);
    }
    kqLockDestroy(nullptr);
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
    std::thread reader([&] {
        kqLockGet(lock, 0, 1);
        EXPECT_TRUE(written);
        kqLockRelease(lock, 0);
    });
    std::this_thread::sleep_for(10ms);  // long enough for both to be asleep
    EXPECT_FALSE(written);
    kqLockRelease(lock, 0);
    writer.join();
    reader.join();
    kqLockDestroy(lock);
}

TEST(KqLockThreads, WhatIsTakenTwiceIsReleasedTwice) {
    for (int const readers : {0, 1}) {
        int const exclusive = 1 - readers;
        kqLock *const lock = kqLockCreate(0, readers);
        for (int wait : {1, 0}) ASSERT_EQ(1, kqLockGet(lock, exclusive, wait));
        kqLockRelease(lock, exclusive);
        EXPECT_EQ(0, tryFromOtherThread(lock, 1));
        kqLockRelease(lock, exclusive);
        EXPECT_EQ(1, tryFromOtherThread(lock, 1));
        kqLockDestroy(lock);
    }
}

// The guarded words are plain: whoever gets in wrongly sees them differ, and the thread sanitizer
// sees the race. With more threads than slots, some readers share one.
TEST(KqLockThreads, WritersAreAloneUnderLoad) {
    struct {
        int strict, readers, threads;
    } const cases[] = {{1, 0, 4}, {0, 0, 4}, {1, 1, 4}, {1, 1, 80}};
    for (auto const &c : cases) {
        kqLock *const lock = kqLockCreate(c.strict, c.readers);
        int const rounds = 100000 / c.threads;
        long left = 0, right = 0;
        std::atomic<long> writes{0};
        runThreads(c.threads, [&](int thread) {
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
        EXPECT_LT(0, left);
        kqLockDestroy(lock);
    }
}

// --- Events ---

TEST(KqEvent, ManualStaysSetAutomaticWakesOnceAndNoneWaitsLess) {
    for (int const manual : {0, 1}) {
        kqEvent *const event = kqEventCreate(manual);
        EXPECT_EQ(0, kqEventWait(event, 0));
        kqEventSet(event);
        kqEventSet(event);
        EXPECT_EQ(1, kqEventWait(event, 0));
        EXPECT_EQ(manual, kqEventWait(event, 0));
        kqEventSet(event);
        kqEventReset(event);
        auto const start = std::chrono::steady_clock::now();
        EXPECT_EQ(0, kqEventWait(event, 20));
        EXPECT_LE(20ms, std::chrono::steady_clock::now() - start);
        kqEventDestroy(event);
    }
    kqEventDestroy(nullptr);
}

TEST(KqEventThreads, EverySettingWakesOneOrAll) {
    for (int const manual : {0, 1}) {
        kqEvent *const event = kqEventCreate(manual);
        std::atomic<int> woken{0};
        std::thread setter([&] {
            for (int expected = manual ? 4 : 1; expected <= 4; ++expected) {
                kqEventSet(event);
                while (woken < expected) std::this_thread::yield();
            }
        });
        runThreads(4,
                   [&](int thread) { woken += kqEventWait(event, thread % 2 == 0 ? -1 : 60000); });
        setter.join();
        EXPECT_EQ(4, woken);
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

TEST(KqThreadSlotThreads, EndIsToldAfterThreadLocalsAndAgainWhenSetAnew) {
    endSlot = kqThreadSlotCreate(noteEnd);
    ASSERT_LE(0, endSlot);
    ends.clear();
    int rest = 2;
    runThreads(1, [&](int) {
        static thread_local LastWords lastWords;
        (void)&lastWords;
        EXPECT_EQ(1, kqThreadSlotSet(endSlot, &rest));
    });
    runThreads(1, [&](int) {
        kqThreadSlotSet(endSlot, &rest);
        kqThreadSlotSet(endSlot, nullptr);
    });
    EXPECT_EQ((std::vector<int>{-1, 2, 1}), ends);
    EXPECT_EQ(0, kqThreadSlotSet(-1, &rest));
}

}  // namespace
