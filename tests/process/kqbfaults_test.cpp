// Memory that runs out at every place of bringing the library up.
#include "process/host.h"
#include "support/alloc_faults.h"

namespace {

using FaultsTest = HostTest;

TEST_F(FaultsTest, everyAllocationOfInitialisationMayFail) {
    writeAppConfig("A=1\n");
    for (int n = 1;; ++n) {
        char const *reason = nullptr;
        AllocFaults::failAt(n);
        int const result = kqbInitialize(KQB_TEST_BIN "/host", &reason);
        AllocFaults::off();
        bool const failed = AllocFaults::hit();
        if (result == 0) {
            kqbShutdown();
        } else {
            ASSERT_NE(reason, nullptr) << n;
            EXPECT_NE(*reason, '\0') << n;
        }
        ASSERT_EQ(kqbGetBootLevel(), 0) << n;
        if (!failed) break;
        ASSERT_LT(n, 5000);
    }
    bringUp();
    EXPECT_EQ(option("A"), "1");
}

TEST_F(FaultsTest, everyAllocationOfStartUpMayFail) {
    home_.write("etc/macros/m.cfg", "M=1\n");
    home_.write("etc/app.cfg", "A=1\nB=%%A%%2\n");
    int failures = 0;
    for (int n = 1;; ++n) {
        ASSERT_EQ(initialize(), "") << n;
        char const *reason = nullptr;
        AllocFaults::failAt(n);
        int const result = kqbStartup(&reason, 0);
        AllocFaults::off();
        bool const failed = AllocFaults::hit();
        EXPECT_EQ(kqbGetBootLevel(), result == 0 ? 2 : 1) << n;
        if (result != 0) {
            ++failures;
            ASSERT_NE(reason, nullptr) << n;
            // What memory did not let happen happens the next time.
            ASSERT_EQ(startup(), "") << n;
        }
        // A start-up that is told to have succeeded lost no option.
        EXPECT_EQ(option("A") + option("B") + option("M"), "1%%A%%21") << n;
        EXPECT_NE(option("PATH"), "<none>") << n;
        kqbShutdown();
        if (!failed) break;
        ASSERT_LT(n, 20000);
    }
    EXPECT_GT(failures, 0);
}

}  // namespace
