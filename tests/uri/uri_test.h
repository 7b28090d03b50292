// What the tests of URIs share.
#pragma once

#include <gtest/gtest.h>

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
        sweepAllocations(operation);
        unsigned const freeBlocks = freeStrings();
        unsigned blocks = 0;
        while (!runWith(blocks, operation)) ASSERT_LT(++blocks, 200U);
        EXPECT_GT(blocks, 0U);
        unsigned const left = freeStrings();
        EXPECT_EQ(left, freeBlocks);
    }

    // The first half.
    template <class Operation>
    void sweepAllocations(Operation const &operation) {
        refusesRequests_ = true;
        EXPECT_TRUE(operation());  // with this the pool has its magazines
        bool hit = true;
        for (long n = 1; hit; ++n) {
            AllocFaults::failAt(n);
            bool const succeeded = operation();
            AllocFaults::off();
            hit = AllocFaults::hit();
            ASSERT_NE(succeeded, hit) << n;
        }
    }

private:
    static unsigned freeStrings() { return PoolFaults(0, {64}).drained(); }

    // Objects may be had, but the pool gets no more memory.
    template <class Operation>
    static bool runWith(unsigned blocks, Operation const &operation) {
        constexpr unsigned long kLargestObject = 4096;
        PoolFaults const faults(blocks, {64});
        AllocFaults::failAbove(kLargestObject);
        return operation();
    }
};
