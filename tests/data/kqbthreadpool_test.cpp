#include "kqb/kqbthreadpool.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <functional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "platform/kqlog.h"

namespace {

// Notes what the pool calls: P with the pool, U the same urgent, R run, D dropped, A without a pool.
struct Item : KqbThreadPoolWork {
    Item() = default;
    explicit Item(std::function<void(KqbThreadPoolCallback *)> first) : stage(std::move(first)) {}

    bool runWithPool(bool urgent, KqbThreadPoolCallback *pool) override {
        calls += urgent ? 'U' : 'P';
        if (stage) stage(pool);
        return stageResult;
    }
    bool runWithoutPool(bool dropped) override {
        calls += dropped ? 'D' : 'A';
        if (dropped && throwsWhenDropped) throw 1;
        return KqbThreadPoolWork::runWithoutPool(dropped);
    }
    bool run() override {
        calls += 'R';
        if (body) body();
        bool const answer = result;
        if (isItsOwn) delete this;
        return answer;
    }

    std::function<void(KqbThreadPoolCallback *)> stage;
    std::function<void()> body;
    bool stageResult = true, result = true, throwsWhenDropped = false, isItsOwn = false;
    std::string calls;
};

struct Stats {
    explicit Stats(KqbThreadPool &pool) {
        EXPECT_TRUE(pool.getStats(&enqueued, &finished, &queued, &running, &blocked, &threads,
                                  &idle, &failed));
    }
    __int64 enqueued, finished;
    int queued, running, blocked, threads, idle, failed;
};

// Holds the only thread of a pool until it is let go.
struct Holder {
    explicit Holder(KqbThreadPool &pool) {
        item.body = [this] {
            begun = true;
            begun.notify_one();
            go.wait(false);
        };
        EXPECT_TRUE(pool.enqueue(&item, true));
        begun.wait(false);
    }
    void letGo() {
        go = true;
        go.notify_one();
    }
    std::atomic<bool> begun{false}, go{false};
    Item item;
};

TEST(KqbThreadPool, NeverStartedRefusesEverything) {
    KqbThreadPool pool;
    KqbThreadPool copy = pool;
    copy = pool;
    Item item;
    EXPECT_FALSE(copy.enqueue(&item, false) || copy.wait() || copy.reset());
    EXPECT_FALSE(
        copy.getStats(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr));
    copy.quiesce(true, true);
    EXPECT_FALSE(copy.start(2, 1, 0));
    EXPECT_EQ("", item.calls);
}

// What the item says about blocking in its first stage, what is called, and whose result counts.
TEST(KqbThreadPoolThreads, StagesOfAnItem) {
    struct Case {
        std::vector<bool> says;
        bool stageResult, result;
        char const *calls;
        int failed;
    };
    Case const cases[] = {{{}, false, true, "PR", 0},
                          {{}, true, false, "PR", 1},
                          {{true}, true, false, "P", 0},
                          {{true}, false, true, "P", 1},
                          {{true, false}, false, true, "PR", 0},
                          {{false, true}, true, false, "P", 0}};
    for (Case const &each : cases) {
        KqbThreadPool pool;
        ASSERT_TRUE(pool.start(1, 1, 0));
        int blockedAtLast = -1;
        Item item([&](KqbThreadPoolCallback *callback) {
            for (bool const blocking : each.says) callback->setBlocking(blocking);
            blockedAtLast = Stats(pool).blocked;
            EXPECT_FALSE(callback->isStopping());
        });
        item.stageResult = each.stageResult;
        item.result = each.result;
        EXPECT_TRUE(pool.enqueue(&item, false));
        EXPECT_TRUE(pool.wait());
        EXPECT_EQ(each.calls, item.calls);
        EXPECT_EQ(each.failed, Stats(pool).failed);
        EXPECT_EQ(!each.says.empty() && each.says.back(), blockedAtLast);
    }
}

TEST(KqbThreadPoolThreads, CountersComeInTheirOrder) {
    KqbThreadPool pool;
    ASSERT_TRUE(pool.start(1, 1, 0));
    EXPECT_FALSE(pool.start(3, 3, 0) || pool.enqueue(nullptr, false));
    std::array<Item, 3> items;
    items[0].result = false;
    for (Item &item : items) pool.enqueue(&item, false);
    pool.wait();
    Holder holder(pool);
    pool.enqueue(&items[1], false);
    pool.enqueue(&items[2], false);
    Stats const now(pool);
    EXPECT_EQ((std::array{6LL, 3LL}), (std::array{now.enqueued, now.finished}));
    EXPECT_EQ((std::array{2, 1, 0, 1, 0, 1}), (std::array{now.queued, now.running, now.blocked,
                                                          now.threads, now.idle, now.failed}));
    EXPECT_FALSE(pool.reset());
    holder.letGo();
    pool.wait();
    EXPECT_TRUE(pool.reset());
    EXPECT_EQ(0, Stats(pool).enqueued + Stats(pool).finished + Stats(pool).failed);
}

TEST(KqbThreadPoolThreads, DroppedItemsAreToldSo) {
    KqbThreadPool pool;
    ASSERT_TRUE(pool.start(1, 1, 0));
    Item dropped, late;
    dropped.throwsWhenDropped = true;
    Holder holder(pool);
    EXPECT_TRUE(pool.enqueue(&dropped, false));
    pool.quiesce(true, false);
    EXPECT_EQ("D", dropped.calls);
    EXPECT_FALSE(pool.enqueue(&late, true));
    holder.letGo();
    EXPECT_TRUE(pool.wait());
    EXPECT_TRUE(pool.reset());
    Item quiescing([&](KqbThreadPoolCallback *callback) {
        pool.quiesce(true, true);
        EXPECT_TRUE(callback->isStopping());
        EXPECT_FALSE(callback->enqueue(&late));
    });
    EXPECT_TRUE(pool.enqueue(&quiescing, false));
    EXPECT_TRUE(pool.wait());
    EXPECT_EQ("PR", quiescing.calls);
    EXPECT_EQ("", late.calls);
}

TEST(KqbThreadPoolThreads, WhatItemsThrowIsLoggedAndCounted) {
    kqlogInitialize();
    kqlogConfigure(nullptr);
    testing::internal::CaptureStderr();
    {
        KqbThreadPool pool;
        ASSERT_TRUE(pool.start(2, 2, 0));
        std::array<Item, 3> items;
        items[0].stage = [](KqbThreadPoolCallback *callback) {
            callback->setBlocking(true);
            throw std::runtime_error("in the first stage");
        };
        items[1].body = [] { throw 5; };
        for (Item &item : items) EXPECT_TRUE(pool.enqueue(&item, false));
        EXPECT_TRUE(pool.wait());
        EXPECT_EQ(2, Stats(pool).failed);
        EXPECT_EQ(0, Stats(pool).blocked);
        EXPECT_EQ("P PR PR", items[0].calls + ' ' + items[1].calls + ' ' + items[2].calls);
    }
    std::string const log = testing::internal::GetCapturedStderr();
    EXPECT_NE(std::string::npos, log.find("in the first stage")) << log;
    EXPECT_NE(std::string::npos, log.find("KQ.Base.ThreadPool")) << log;
    kqlogTerminate();
}

// --- The life of items and handles ---

struct Repeating : KqbThreadPoolWork {
    bool run() override { return --left == 0 || pool->enqueue(this, false); }
    KqbThreadPool *pool = nullptr;
    int left = 1000;
};

TEST(KqbThreadPoolThreads, ItemsMayRepeatOrEndThemselvesAndBeCopied) {
    KqbThreadPool pool;
    ASSERT_TRUE(pool.start(2, 2, 0));
    Holder first(pool), second(pool);
    std::array<Repeating, 4> items;
    items[0].pool = &pool;
    EXPECT_TRUE(pool.enqueue(&items[0], false));
    EXPECT_FALSE(pool.enqueue(&items[0], false)) << "queued already";
    items[1] = items[2] = items[3] = Repeating(items[0]);
    for (Repeating &item : items) EXPECT_EQ(&item != &items[0], pool.enqueue(&item, false));
    first.letGo();
    second.letGo();
    EXPECT_TRUE(pool.wait());
    for (Repeating const &item : items) EXPECT_EQ(0, item.left);
    std::atomic<int> ended{0};
    for (int i = 0; i < 1000; ++i) {
        auto *const item = new Item;
        item->body = [&ended] { ++ended; };
        item->isItsOwn = true;
        EXPECT_TRUE(pool.enqueue(item, i % 7 == 0));
    }
    EXPECT_TRUE(pool.wait());
    EXPECT_EQ(1000, ended);
}

TEST(KqbThreadPoolThreads, CopiesAreHandlesOnOnePool) {
    Item item, dropped;
    KqbThreadPool pool;
    {
        KqbThreadPool first;
        ASSERT_TRUE(first.start(1, 1, 0));
        KqbThreadPool const second = first;
        pool = second;
        KqbThreadPool &same = pool;
        pool = same;
    }
    EXPECT_TRUE(pool.enqueue(&item, false) && pool.wait());
    EXPECT_EQ("PR", item.calls);
    Holder holder(pool);
    EXPECT_TRUE(pool.enqueue(&dropped, false));
    std::jthread const later([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
        holder.letGo();
    });
    pool = KqbThreadPool();  // lets go of the old one, which waits for what runs
    EXPECT_EQ("UR", holder.item.calls);
    EXPECT_EQ("D", dropped.calls);
    EXPECT_FALSE(pool.wait());
}

}  // namespace
