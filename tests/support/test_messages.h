// The built message catalogues, which a test program is told where to find.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>

// Makes them the catalogues of this process.
inline testing::AssertionResult useTestMessages() {
    char const *const location = getenv("KQB_TEST_MESSAGES");
    if (location == nullptr) {
        return testing::AssertionFailure() << "KQB_TEST_MESSAGES must name their folder";
    }
    setenv("VANTOREX_ERROR_LOCATION", location, 1);
    return testing::AssertionSuccess();
}
