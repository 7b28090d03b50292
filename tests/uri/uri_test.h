// What the tests of URIs share.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>

#include "kqb/kquri.h"
#include "support/alloc_faults.h"
#include "support/pool_faults.h"
#include "support/pool_test.h"

struct Release {
    template <class Object>
    void operator()(Object *object) const {
        object->release();
    }
};
template <class Object>
using Owner = std::unique_ptr<Object, Release>;

template <class Object>
Owner<Object> own(Object *object) {
    return Owner<Object>(object);
}

inline Owner<KqURI> parsed(std::string const &text) {
    return own(getURIFromURIString(KqbString(text.c_str())));
}

// Text that needs no memory.
inline KqbString borrow(char const *text) { return KqbString(text, true); }

inline std::string shown(KqbString const &string) { return string.asCstr(); }

// scheme|host|path|query|fragment
inline std::string components(KqURI &uri) {
    return shown(uri.getScheme()) + "|" + shown(uri.getHost()) + "|" + shown(uri.getPath()) + "|" +
           shown(uri.getQuery()) + "|" + shown(uri.getFragment());
}

class URITest : public PoolTest {
protected:
    // Runs an operation with memory failing at each of its steps: each allocation, then each string.
    // It must fail cleanly, answering false, until it has enough.
    template <class Operation>
    void sweep(Operation const &operation) {
        long const allocations = sweepAllocations(operation);
        unsigned const freeBlocks = freeStrings();
        unsigned blocks = 0;
        while (!runWith(blocks, allocations, operation)) ASSERT_LT(++blocks, 200U);
        EXPECT_GT(blocks, 0U);
        unsigned const left = freeStrings();
        EXPECT_EQ(left, freeBlocks);
    }

    // The first half. Returns how many allocations the operation needs.
    template <class Operation>
    long sweepAllocations(Operation const &operation) {
        refusesRequests_ = true;
        EXPECT_TRUE(operation());  // with this the pool has its magazines
        for (long needed = 0;; ++needed) {
            AllocFaults::failAt(needed + 1);
            bool const succeeded = operation();
            AllocFaults::off();
            EXPECT_NE(succeeded, AllocFaults::hit()) << needed;
            if (!AllocFaults::hit()) return needed;
        }
    }

private:
    static unsigned freeStrings() { return PoolFaults(0, {64}).drained(); }

    // An object and a list may be had, but the pool, which takes two at a time, gets no more.
    template <class Operation>
    static bool runWith(unsigned blocks, long allocations, Operation const &operation) {
        PoolFaults const faults(blocks, {64});
        AllocFaults::failFrom(std::min(allocations, 2L) + 1);
        return operation();
    }
};
