#include "platform/librzmx.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <thread>
#include <vector>

namespace {

struct Node {
    void *link = nullptr;  // the stack's
    int owner = 0;         // plain: two threads with the same node show as a race
    int uses = 0;
};

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
    std::vector<std::jthread> threads;
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
    threads.clear();

    int count = 0, counted = 0;
    while (auto *const node = static_cast<Node *>(dkAStackPop(&stack))) {
        ++count;
        counted += node->uses;
    }
    EXPECT_EQ((std::pair{6, uses.load()}), (std::pair{count, counted}));
}

}  // namespace
