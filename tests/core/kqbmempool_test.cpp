#include "kqb/kqbmempool.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdint>
#include <cstring>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "core/kqbassert_internal.h"
#include "core/kqbmempool_internal.h"
#include "support/alloc_faults.h"

namespace {

// The statistics by name.
struct Stats {
    unsigned long tiny, small, med, large, unmanaged, total, frees;
    unsigned long chunks[4];
};

Stats stats() {
    Stats s{};
    int const fields =
        std::sscanf(KqbMemPool::getStats(),
                    "Tiny: %lu Small %lu Med: %lu Large: %lu Unmanaged: %lu Total: %lu Frees: %lu "
                    "Chunk Alloc: Tiny: %lu Small %lu Med: %lu Large: %lu",
                    &s.tiny, &s.small, &s.med, &s.large, &s.unmanaged, &s.total, &s.frees,
                    &s.chunks[0], &s.chunks[1], &s.chunks[2], &s.chunks[3]);
    EXPECT_EQ(fields, 11) << KqbMemPool::getStats();
    return s;
}

void *get(unsigned size) {
    void *block = nullptr;
    EXPECT_TRUE(KqbMemPool::getBytes(size, &block));
    return block;
}

class KqbMemPoolTest : public testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(kqbMemPoolStart()); }
    void TearDown() override { kqbMemPoolStop(); }
};
using KqbMemPoolTestThreads = KqbMemPoolTest;

TEST(KqbMemPoolDown, refusesAndCountsNothing) {
    void *block = &block;
    EXPECT_FALSE(KqbMemPool::getBytes(8, &block));
    EXPECT_EQ(block, nullptr);
    block = &block;
    EXPECT_FALSE(KqbMemPool::getBytes(5000, &block));
    EXPECT_EQ(block, nullptr);
    KqbMemPool::freeBytes(nullptr);
    EXPECT_EQ(stats().total + stats().frees + stats().chunks[0], 0U);
    kqbMemPoolStop();  // without a start: nothing
}

TEST_F(KqbMemPoolTest, countsEachRequestInItsClass) {
    struct {
        unsigned size;
        unsigned long Stats::*counter;
    } const cases[] = {{0, &Stats::tiny},    {16, &Stats::tiny},    {17, &Stats::small},
                       {64, &Stats::small},  {65, &Stats::med},     {256, &Stats::med},
                       {257, &Stats::large}, {1024, &Stats::large}, {1025, &Stats::unmanaged}};
    for (auto const &c : cases) {
        Stats const before = stats();
        void *const block = get(c.size);
        std::memset(block, 0xA5, c.size);
        Stats const taken = stats();
        EXPECT_EQ(taken.*c.counter, before.*c.counter + 1) << c.size;
        EXPECT_EQ(taken.total, before.total + 1);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block) % 8, 0U);
        KqbMemPool::freeBytes(block);
        EXPECT_EQ(stats().frees, before.frees + (c.size <= 1024 ? 1 : 0)) << c.size;
    }
}

TEST_F(KqbMemPoolTest, takesAChunkForTheBlockBeyond1024) {
    ASSERT_TRUE(kqbMemPoolStart());
    kqbMemPoolStop();  // starts and stops are counted
    unsigned const sizes[] = {16, 64, 256, 1024};
    for (unsigned k = 0; k < 4; ++k) {
        std::set<void *> blocks;
        for (int i = 0; i < 1024; ++i) blocks.insert(get(sizes[k]));
        EXPECT_EQ(stats().chunks[k], 1U);
        blocks.insert(get(sizes[k]));
        EXPECT_EQ(stats().chunks[k], 2U);
        EXPECT_EQ(blocks.size(), 1025U);
        for (void *block : blocks) KqbMemPool::freeBytes(block);
        for (int i = 0; i < 2048; ++i) get(sizes[k]);
        EXPECT_EQ(stats().chunks[k], 2U);  // all 2048 were there
    }
}

TEST_F(KqbMemPoolTest, foreignPointerIsAnAssertion) {
    static std::string seen;
    seen.clear();
    auto const note = [](char const *message, char const *file, int line, void *) {
        seen = std::string(message) + "|" + file + "|" + std::to_string(line);
    };
    if (!kqbHasAssertionHandler(note, nullptr)) kqbRegisterAssertionHandler(note, nullptr);
    std::array<std::uint64_t, 4> memory{1, 0x1234, 3, 4};
    KqbMemPool::freeBytes(&memory[2]);
    EXPECT_EQ(seen, "mempool free|kqbmempool|278");
    EXPECT_EQ(stats().frees, 0U);
}

TEST_F(KqbMemPoolTest, randomUseKeepsEveryByte) {
    std::mt19937 random(7);
    std::vector<std::pair<char *, std::string>> held(3000);
    for (int i = 0; i < 200000; ++i) {
        auto &[block, bytes] = held[random() % held.size()];
        ASSERT_TRUE(std::equal(bytes.begin(), bytes.end(), block));
        KqbMemPool::freeBytes(std::exchange(block, nullptr));
        bytes.assign(random() % 2 * (random() % 1200), static_cast<char>(random()));
        if (bytes.empty()) continue;
        block = static_cast<char *>(get(static_cast<unsigned>(bytes.size())));
        std::memcpy(block, bytes.data(), bytes.size());
    }
    for (auto &[block, bytes] : held) KqbMemPool::freeBytes(block);
}

TEST(KqbMemPoolFaults, startFailsWholeAtEveryAllocation) {
    for (int n = 1;; ++n) {
        AllocFaults::failAt(n);
        bool const started = kqbMemPoolStart();
        AllocFaults::off();
        void *block = nullptr;
        EXPECT_EQ(KqbMemPool::getBytes(10, &block), started);
        KqbMemPool::freeBytes(block);
        if (started) break;
        ASSERT_LT(n, 100);
    }
    kqbMemPoolStop();
}

TEST_F(KqbMemPoolTest, exhaustionIsToldAndPasses) {
    std::vector<void *> blocks;
    blocks.reserve(5000);
    AllocFaults::failFrom(1);
    void *block = nullptr;
    while (KqbMemPool::getBytes(200, &block)) blocks.push_back(block);
    bool const large = KqbMemPool::getBytes(2000, &block);
    AllocFaults::off();
    EXPECT_EQ(block, nullptr);
    EXPECT_FALSE(large);
    EXPECT_EQ(blocks.size(), 1024U);   // the whole chunk, although no magazine could be had
    EXPECT_EQ(stats().chunks[2], 2U);  // the failed one is counted
    blocks.push_back(get(200));
    for (void *b : blocks) KqbMemPool::freeBytes(b);
}

TEST_F(KqbMemPoolTestThreads, blocksOfEndedThreadsComeBack) {
    for (int round = 0; round < 50; ++round) {
        std::thread([] {
            std::vector<void *> blocks;
            for (int i = 0; i < 900; ++i) blocks.push_back(get(100));
            for (void *block : blocks) KqbMemPool::freeBytes(block);
        }).join();
    }
    EXPECT_EQ(stats().chunks[2], 1U);
    EXPECT_EQ(stats().med, 50U * 900U);
    EXPECT_EQ(stats().frees, 50U * 900U);
}

TEST_F(KqbMemPoolTestThreads, blocksTravelBetweenThreads) {
    constexpr int kCount = 60000;
    std::vector<std::atomic<int *>> mailbox(256);
    std::thread consumer([&] {
        for (int i = 0; i < kCount; ++i) {
            std::atomic<int *> &slot = mailbox[static_cast<std::size_t>(i) % mailbox.size()];
            int *value;
            while ((value = slot.exchange(nullptr)) == nullptr) std::this_thread::yield();
            EXPECT_EQ(*value, i);
            KqbMemPool::freeBytes(value);
        }
    });
    for (int i = 0; i < kCount; ++i) {
        auto *const value = static_cast<int *>(get(16));
        *value = i;
        std::atomic<int *> &slot = mailbox[static_cast<std::size_t>(i) % mailbox.size()];
        while (slot.load() != nullptr) std::this_thread::yield();
        slot.store(value);
    }
    consumer.join();
    EXPECT_LE(stats().chunks[0], 5U);  // bounded by what magazines hold, not by the traffic
}

TEST(KqbMemPoolRestartThreads, aLivingThreadForgetsTheOldPool) {
    std::atomic<int> stage{0};
    auto const await = [&](int wanted) {
        while (stage.load() < wanted) std::this_thread::yield();
    };
    ASSERT_TRUE(kqbMemPoolStart());
    std::thread other([&] {
        KqbMemPool::freeBytes(get(16));
        stage = 1;
        await(2);
        void *const block = get(16);
        std::memset(block, 1, 16);
        KqbMemPool::freeBytes(block);
    });
    await(1);
    kqbMemPoolStop();
    ASSERT_TRUE(kqbMemPoolStart());
    stage = 2;
    other.join();
    EXPECT_EQ(stats().tiny, 1U);
    kqbMemPoolStop();
}

}  // namespace
