#include "platform/librzmx.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <string>
#include <thread>
#include <vector>

namespace {

struct Node {
    void *link = nullptr;  // the stack's
    int owner = 0;         // plain: two threads with the same node show as a race
    int uses = 0;
};

TEST(DkAStack, LastInIsFirstOut) {
    dkAStack stack;
    ASSERT_EQ(0, dkAStackInit(&stack));
    EXPECT_NE(0, dkAStackInit(nullptr));
    EXPECT_EQ(nullptr, dkAStackPop(&stack));
    std::array<Node, 3> nodes;
    for (Node &node : nodes) dkAStackPush(&stack, &node);
    EXPECT_EQ(&nodes[2], dkAStackPop(&stack));
    dkAStackPush(&stack, &nodes[2]);
    for (int i = 2; i >= 0; --i)
        EXPECT_EQ(&nodes[static_cast<std::size_t>(i)], dkAStackPop(&stack));
    EXPECT_EQ(nullptr, dkAStackPop(&stack));
    dkAStackPush(&stack, &nodes[0]);
    dkAStackDestroy(&stack);
    EXPECT_EQ(nullptr, dkAStackPop(&stack));
}

// Few nodes and popping two before pushing the first back: the order in which a stack without a
// tag loses nodes or hands one out twice.
TEST(DkAStackThreads, NodesAreNeitherLostNorDoubled) {
    constexpr int kThreads = 4, kRounds = 100000;
    dkAStack stack;
    dkAStackInit(&stack);
    std::array<Node, 6> nodes;
    for (Node &node : nodes) dkAStackPush(&stack, &node);

    std::atomic<int> uses{0};
    auto const use = [&](Node *node, int thread) {
        node->owner = thread;
        ++node->uses;
        ++uses;
        EXPECT_EQ(thread, node->owner);
    };
    std::vector<std::thread> threads;
    for (int thread = 1; thread <= kThreads; ++thread) {
        threads.emplace_back([&, thread] {
            for (int i = 0; i < kRounds; ++i) {
                auto *const first = static_cast<Node *>(dkAStackPop(&stack));
                auto *const second = static_cast<Node *>(dkAStackPop(&stack));
                if (first != nullptr) use(first, thread);
                if (second != nullptr) use(second, thread);
                if (first != nullptr) dkAStackPush(&stack, first);
                if (second != nullptr) dkAStackPush(&stack, second);
            }
        });
    }
    for (std::thread &thread : threads) thread.join();

    int count = 0, counted = 0;
    while (auto *const node = static_cast<Node *>(dkAStackPop(&stack))) {
        ++count;
        counted += node->uses;
    }
    EXPECT_EQ(6, count);
    EXPECT_EQ(uses, counted);
}

TEST(DkAuthServer, NoLocationCanBeSet) {
    char const *profile = "old";
    char missing[200] = "", other[200] = "", cut[8] = "";
    auto const set = [&](char const *location, char *error, int size) {
        return dkSetAuthServerLoc(location, nullptr, "u", "p", 0, error, size, &profile);
    };
    EXPECT_EQ(2, set(nullptr, missing, sizeof missing));
    EXPECT_EQ(2, set("srv;user=a", other, sizeof other));
    EXPECT_EQ(nullptr, profile);
    EXPECT_STRNE("", other);
    EXPECT_STRNE(missing, other);
    EXPECT_EQ(2, set("srv", cut, sizeof cut));
    EXPECT_EQ(std::string(other, 7), cut);
    EXPECT_EQ(2, dkSetAuthServerLoc("srv", nullptr, nullptr, nullptr, 1, nullptr, 0, nullptr));
}

}  // namespace
