// What the tests of cursors share.
#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <memory>

#include "config/kqbconfigoptions_internal.h"
#include "config/kqbsingleton_internal.h"
#include "kqb/kqbconfigoptions.h"
#include "support/pool_test.h"

// Ends a cursor in the way of cursors.
struct ReleaseCursor {
    template <class Cursor>
    void operator()(Cursor *cursor) const {
        cursor->release();
    }
};
template <class Cursor>
using Owned = std::unique_ptr<Cursor, ReleaseCursor>;

template <class Cursor>
Owned<Cursor> own(Cursor *cursor) {
    EXPECT_NE(nullptr, cursor);
    return Owned<Cursor>(cursor);
}

class CursorTest : public PoolTest {
protected:
    void SetUp() override {
        PoolTest::SetUp();
        ASSERT_TRUE(kqbConfigOptionsStart() && kqbSingletonsStart());
    }
    void TearDown() override {
        kqbSingletonsStop();
        kqbConfigOptionsStop();
        PoolTest::TearDown();
    }

    static void setOption(char const *key, char const *value) {
        ASSERT_TRUE(kqbGetConfigOptions("")->setOption(key, value));
    }
};

// The place of a virtual operation in its table, as the Itanium C++ ABI writes pointers to members.
template <class Operation>
long slotOf(Operation operation) {
    long words[2];
    static_assert(sizeof words == sizeof operation);
    std::memcpy(words, &operation, sizeof words);
    return (words[0] - 1) / static_cast<long>(sizeof(void *));
}
