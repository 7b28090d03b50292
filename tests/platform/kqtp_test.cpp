#include "platform/kqtp.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <random>
#include <thread>
#include <vector>

#include "backends/kqbb/kqtp_threads.h"
#include "platform/kqbb.h"
#include "support/alloc_faults.h"

namespace {

struct Item {
    Item() = default;
    explicit Item(std::function<void(kqTPCallback &)> whatToDo) : body(std::move(whatToDo)) {}

    kqTPWork work{&kOperations, this, nullptr, nullptr};
    std::function<void(kqTPCallback &)> body;
    std::atomic<int> runs{0}, drops{0}, urgent{-1};
    int result = 1;

    static Item &of(kqTPWork *record) { return *static_cast<Item *>(record->item); }
    static int runAlone(kqTPWork *record, int dropped) noexcept {
        ++(dropped != 0 ? of(record).drops : of(record).runs);
        return of(record).result;
    }
    static int runWithPool(kqTPWork *record, int urgent, kqTPCallback *callback) noexcept {
        Item &item = of(record);
        ++item.runs;
        item.urgent = urgent;
        if (item.body) item.body(*callback);
        return item.result;
    }
    static constexpr kqTPWorkOperations kOperations{runAlone, runWithPool};
};

// A pool that ends with the test.
struct Pool {
    Pool(int lower, int upper, unsigned idle = kqTPIdleForever, int stackKiB = 0) {
        kqTPCreation const creation{lower, upper, stackKiB, idle, kqTPItemsUsePool};
        handle = kqTPCreate(&creation);
    }
    ~Pool() { kqTPDestroy(handle); }
    Pool(Pool const &) = delete;
    Pool &operator=(Pool const &) = delete;

    int enqueue(Item &item, bool urgent = false) const {
        return kqTPEnqueue(handle, &item.work, urgent);
    }
    kqTPStatistics statistics() const {
        kqTPStatistics result;
        kqTPStats(handle, &result);
        return result;
    }

    kqTP *handle;
};

// Whether it becomes true in good time.
bool becomes(std::function<bool()> const &condition) {
    auto const until = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > until) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

// Set once, then passed by all.
struct Gate {
    Gate() : event(kqEventCreate(1)) {}
    ~Gate() { kqEventDestroy(event); }
    void open() { kqEventSet(event); }
    void pass() { kqEventWait(event, -1); }
    kqEvent *event;
};

long threadsOfProcess() {
    std::filesystem::directory_iterator const tasks("/proc/self/task");
    return std::distance(begin(tasks), end(tasks));
}

// --- Threads refused: the table is put back when the test ends ---

std::atomic<int> threadsAllowed{0};

int createWhileAllowed(pthread_t *thread, pthread_attr_t const *attributes, void *(*body)(void *),
                       void *argument) {
    if (threadsAllowed-- <= 0) return EAGAIN;
    return pthread_create(thread, attributes, body, argument);
}

struct Refusal {
    explicit Refusal(int allowed) {
        threadsAllowed = allowed;
        kqtp::threadCalls.create = createWhileAllowed;
    }
    ~Refusal() { kqtp::threadCalls.create = pthread_create; }
};

// --- Nothing lost, nothing twice ---

// Producers queue items, some urgent, each of which queues another; meanwhile the pool is quiesced
// in every manner, at random moments, and opened again.
struct Storm {
    static constexpr int kProducers = 3, kItems = 4000;

    struct Offered : Item {
        std::atomic<int> accepted{0};
    };

    void offer(std::size_t at, bool urgent) {
        Offered &child = items[at + 1];
        items[at].body = [&child](kqTPCallback &callback) {
            if (callback.enqueue(&child.work) == kqTPDone) child.accepted = 1;
        };
        int const status = pool.enqueue(items[at], urgent);
        EXPECT_TRUE(status == kqTPDone || status == kqTPClosed) << status;
        if (status == kqTPDone) items[at].accepted = 1;
    }
    void produce(int producer) {
        for (int i = 0; i < kItems; ++i) {
            offer(static_cast<std::size_t>(producer * kItems + i) * 2, i % 5 == 0);
        }
        --producing;
    }
    void disturb() {
        std::minstd_rand random(7);
        while (producing > 0) {
            std::this_thread::sleep_for(std::chrono::microseconds(random() % 3000));
            kqTPQuiesce(pool.handle, random() % 2, random() % 2);
            kqTPStatistics const now = pool.statistics();
            EXPECT_LE(0, now.queued);
            EXPECT_LE(now.finished, now.enqueued);
            while (kqTPReset(pool.handle) != kqTPDone) kqTPWait(pool.handle);
        }
    }
    void rage() {
        std::vector<std::jthread> threads;
        for (int i = 0; i < kProducers; ++i) threads.emplace_back([this, i] { produce(i); });
        disturb();
    }

    Pool const &pool;
    std::vector<Offered> items{kProducers * kItems * 2};
    std::atomic<int> producing{kProducers};
};

TEST(KqTPThreads, EveryItemIsRunOrDroppedOnce) {
    for (auto const &[lower, upper, idle] :
         {std::array{1, 1, 0}, {0, 2, 0}, {2, 2, 9}, {0, 8, 1}}) {
        Pool const pool(lower, upper, static_cast<unsigned>(idle));
        Storm storm{pool};
        storm.rage();
        EXPECT_EQ(kqTPDone, kqTPWait(pool.handle));
        for (Storm::Offered const &item : storm.items) {
            EXPECT_EQ(item.accepted, item.runs + item.drops);
        }
    }
}

// --- Order ---

TEST(KqTPThreads, UrgentFirstThenInOrder) {
    Pool const pool(1, 1);
    Gate gate;
    std::string order;
    Item first([&](kqTPCallback &) { gate.pass(); });
    std::array<Item, 7> items;
    for (std::size_t i = 0; i < items.size(); ++i) {
        items[i].body = [&order, i](kqTPCallback &) { order += static_cast<char>('0' + i); };
    }
    Item urgentParent([&](kqTPCallback &callback) { callback.enqueue(&items[5].work); });
    Item parent([&](kqTPCallback &callback) { callback.enqueue(&items[6].work); });
    pool.enqueue(first);
    for (Item *item : {&items[0], &parent, &items[1]}) pool.enqueue(*item);
    for (Item *item : {&items[2], &urgentParent, &items[3]}) pool.enqueue(*item, true);
    pool.enqueue(items[4]);
    gate.open();
    kqTPWait(pool.handle);
    EXPECT_EQ("2350146", order);
    EXPECT_EQ(1, items[5].urgent);
    EXPECT_EQ(0, items[6].urgent);
}

// --- Threads come and go ---

TEST(KqTPThreads, IdleThreadsEndDownToTheLowerNumber) {
    Pool const pool(1, 6, 20, 64);
    Gate gate;
    std::array<Item, 6> items;
    for (Item &item : items) {
        item.body = [&](kqTPCallback &) { gate.pass(); };
        pool.enqueue(item);
    }
    EXPECT_TRUE(becomes([&] { return pool.statistics().running == 6; }));
    gate.open();
    EXPECT_TRUE(becomes([&] { return pool.statistics().threads == 1; }));
    EXPECT_EQ(kqTPDone, pool.enqueue(items[0]));
    kqTPWait(pool.handle);
    EXPECT_EQ(2, items[0].runs);
}

// Each item waits for the one behind it. Where items do not say so, there are threads enough.
TEST(KqTPThreads, ItemsMayWaitForLaterOnes) {
    for (auto const &[upper, saysSo] : {std::pair{1, true}, {2, true}, {8, false}}) {
        Pool const pool(0, upper);
        for (int round = 0; round < 20; ++round) {
            std::array<Gate, 8> gates;
            std::array<Item, 8> items;
            for (std::size_t i = 0; i < items.size(); ++i) {
                items[i].body = [&, i, blocks = saysSo](kqTPCallback &callback) {
                    callback.setBlocking(blocks);
                    if (i + 1 < gates.size()) gates[i + 1].pass();
                    gates[i].open();
                };
            }
            for (Item &item : items) pool.enqueue(item);
            EXPECT_EQ(kqTPDone, kqTPWait(pool.handle));
        }
        EXPECT_EQ(0, pool.statistics().blocked);
    }
}

// The first item blocks until the others are under way. When it goes on, the thread that took its
// place stops in the middle of what it has taken, and none of that is lost.
TEST(KqTPThreads, AThreadTooManyStops) {
    Pool const pool(0, 1);
    Gate blocked;
    std::atomic<int> begun{0};
    int begunMeanwhile = -1;
    Item first([&](kqTPCallback &callback) {
        callback.setBlocking(1);
        blocked.pass();
        callback.setBlocking(0);
        int const before = begun;
        std::this_thread::sleep_for(std::chrono::milliseconds(30));
        begunMeanwhile = begun - before;
    });
    std::array<Item, 30> items;
    pool.enqueue(first);
    for (Item &item : items) {
        item.body = [&](kqTPCallback &) {
            if (++begun == 3) blocked.open();
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        };
        pool.enqueue(item);
    }
    kqTPWait(pool.handle);
    EXPECT_LE(begunMeanwhile, 1);
    EXPECT_EQ(31, pool.statistics().finished);
}

TEST(KqTPThreads, StartAndStopLeavesNoThreads) {
    long const before = threadsOfProcess();
    for (int i = 0; i < 500; ++i) {
        Pool const pool(i % 3, 3, i % 2 == 0 ? 0 : kqTPIdleForever);
        std::array<Item, 5> items;
        for (Item &item : items) pool.enqueue(item);
        if (i % 4 == 0) kqTPWait(pool.handle);
        kqTPQuiesce(pool.handle, 1, 1);  // they end before the pool
    }
    EXPECT_TRUE(becomes([&] { return threadsOfProcess() <= before; })) << threadsOfProcess();
}

// --- Waiting, quiescing, ending ---

TEST(KqTPThreads, ItemsThatWaitDoNotWaitForEachOther) {
    Pool const pool(0, 1);
    std::array<Item, 50> leaves;
    std::array<Item, 3> waiting;
    std::atomic<int> status{0};
    for (std::size_t i = 0; i < waiting.size(); ++i) {
        waiting[i].body = [&, i](kqTPCallback &callback) {
            for (std::size_t k = i; k < leaves.size(); k += 3) callback.enqueue(&leaves[k].work);
            status += kqTPWait(pool.handle);
            for (std::size_t k = i; k < leaves.size(); k += 3) EXPECT_EQ(1, leaves[k].runs);
        };
    }
    for (Item &item : waiting) pool.enqueue(item);
    EXPECT_EQ(kqTPDone, kqTPWait(pool.handle));
    EXPECT_EQ(0, status);
    EXPECT_EQ(kqTPDone, kqTPWait(pool.handle)) << "with nothing to wait for";
}

TEST(KqTPThreads, EndingDropsWhatIsQueuedAndWaitsForTheRest) {
    for (bool const byOwnItem : {false, true}) {
        auto pool = std::make_unique<Pool>(1, 1);
        kqTP *const handle = std::exchange(pool->handle, nullptr);
        long const before = threadsOfProcess() - 1;
        Gate begun, gate;
        std::atomic<bool> ended{false};
        std::array<Item, 40> items;
        Item held([&, byOwnItem](kqTPCallback &) {
            begun.open();
            gate.pass();
            if (byOwnItem) kqTPDestroy(handle);
            ended = true;
        });
        kqTPEnqueue(handle, &held.work, 0);
        begun.pass();
        for (Item &item : items) kqTPEnqueue(handle, &item.work, 0);
        gate.open();
        if (!byOwnItem) kqTPDestroy(handle);
        EXPECT_TRUE(becomes([&] { return ended && threadsOfProcess() <= before; }));
        for (Item &item : items) EXPECT_EQ(1, item.drops + item.runs);
    }
}

// --- What is refused ---

TEST(KqTP, RefusesRecordsWithoutSense) {
    kqTPCreation const wrong[] = {{2, 1, 0, 0, 0},          {4097, 0, 0, 0, 0},
                                  {0, 1, -1, 0, 0},         {0, 1, 0, 0, 1},
                                  {INT32_MAX, -1, 0, 0, 0}, {0, 1, 0, 0, ~kqTPItemsUsePool}};
    for (kqTPCreation const &creation : wrong) EXPECT_EQ(nullptr, kqTPCreate(&creation));
    EXPECT_EQ(nullptr, kqTPCreate(nullptr));
    kqTPDestroy(nullptr);
}

TEST(KqTPThreads, NumbersThatAreZeroOrNegativeAndNoAccess) {
    for (auto const &[lower, upper] : {std::pair{0, 0}, {-1, -1}, {INT32_MIN, INT32_MAX}, {3, 0}}) {
        Pool const pool(lower, upper);
        ASSERT_NE(nullptr, pool.handle);
        Item item;
        EXPECT_EQ(kqTPDone, pool.enqueue(item));
        EXPECT_EQ(kqTPDone, kqTPWait(pool.handle));
        EXPECT_EQ(1, item.runs);
        EXPECT_EQ(std::max(lower, 1), pool.statistics().threads);
    }
    kqTPCreation const withoutAccess{1, 1, 0, 0, 0};
    kqTP *const pool = kqTPCreate(&withoutAccess);
    Item item([](kqTPCallback &) { ADD_FAILURE(); });
    kqTPEnqueue(pool, &item.work, 0);
    kqTPWait(pool);
    EXPECT_EQ(1, item.runs);
    kqTPDestroy(pool);
}

TEST(KqTPThreads, WorksWithTheThreadsItGetsAndTellsWhenThereAreNone) {
    Item items[4], behind;
    Pool const pool(0, 2, 0);
    Item waiting([&](kqTPCallback &callback) {
        callback.enqueue(&behind.work);
        EXPECT_EQ(kqTPNoThread, kqTPWait(pool.handle));
    });
    {
        Refusal const refusal(0);
        EXPECT_EQ(nullptr, Pool(4, 4).handle);
        EXPECT_EQ(kqTPNoThread, pool.enqueue(items[0]));
        threadsAllowed = 1;
        EXPECT_EQ(kqTPDone, pool.enqueue(waiting));
        EXPECT_EQ(kqTPDone, kqTPWait(pool.handle));
        EXPECT_EQ(1, behind.runs);
        threadsAllowed = 2;
        Pool const few(4, 4);
        EXPECT_EQ(2, few.statistics().threads);
        for (Item &item : items) EXPECT_EQ(kqTPDone, few.enqueue(item));
        EXPECT_EQ(kqTPDone, kqTPWait(few.handle));
        EXPECT_EQ(4, few.statistics().finished);
    }
    EXPECT_EQ(kqTPDone, pool.enqueue(items[0]));
    EXPECT_EQ(kqTPDone, kqTPWait(pool.handle));
    EXPECT_EQ(2, items[0].runs);
}

TEST(KqTPThreads, MemoryRunsOut) {
    for (int n = 1;; ++n) {
        AllocFaults::failAt(n);
        Pool const pool(2, 2);
        AllocFaults::failFrom(1);
        Item item;
        int const status = pool.handle == nullptr ? kqTPNoThread : pool.enqueue(item);
        AllocFaults::off();
        if (pool.handle == nullptr) continue;
        EXPECT_EQ(kqTPDone, status);
        EXPECT_EQ(kqTPDone, kqTPWait(pool.handle));
        if (pool.statistics().threads == 2) break;
    }
}

}  // namespace
