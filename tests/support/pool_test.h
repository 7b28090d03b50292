// A test with the pool up, which at its end must have back every block it gave.
#pragma once

#include <gtest/gtest.h>

#include <cstdio>

#include "core/kqbmempool_internal.h"
#include "kqb/kqbmempool.h"

class PoolTest : public testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(kqbMemPoolStart()); }

    void TearDown() override {
        unsigned tiny, small, med, large, unmanaged, total, frees;
        ASSERT_EQ(std::sscanf(KqbMemPool::getStats(),
                              "Tiny: %u Small %u Med: %u Large: %u Unmanaged: %u Total: %u "
                              "Frees: %u",
                              &tiny, &small, &med, &large, &unmanaged, &total, &frees),
                  7);
        EXPECT_TRUE(refusesRequests_ || total - unmanaged == frees) << KqbMemPool::getStats();
        kqbMemPoolStop();
    }

    // Refused requests are counted like granted ones, so a test that provokes them cannot be
    // balanced by the statistics.
    bool refusesRequests_ = false;
};
