#include "kqb/kqbmessage.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "platform/kqmsg.h"
#include "support/alloc_faults.h"
#include "support/pool_test.h"
#include "support/test_messages.h"

namespace {

struct KqbMessage : PoolTest {
    ~KqbMessage() override {
        kqmsgTerminate();
        unsetenv("VANTOREX_ERROR_LOCATION");
    }
    static bool openCatalogs() { return useTestMessages() && kqmsgInitialize(nullptr, 0) == 0; }
};

TEST_F(KqbMessage, BeforeStartUpTheTextIsPlain) {
    auto const text =
        kqb_get_message("Own", 7, nullptr, {KqbString("a"), KqbString(), KqbString("c")});
    EXPECT_STREQ(text.asCstr(), "Own 7: a, , c");
    EXPECT_STREQ(kqb_get_message(nullptr, 7, nullptr).asCstr(), " 7");
}

TEST_F(KqbMessage, TextsComeFromTheCatalogues) {
    ASSERT_TRUE(openCatalogs());
    EXPECT_STREQ(kqb_get_fragment(KQB_EVENT_PLUGIN, 380).asCstr(),
                 "The command could not be started: {0}");
    EXPECT_TRUE(kqb_get_fragment(KQB_BASE_SERVICES, 1).isNull());
    EXPECT_TRUE(!kqbSetMessageLocale("../de") && kqbSetMessageLocale("de_AT"));
    EXPECT_STREQ(kqb_get_message(KQB_BASE_SERVICES, 451, nullptr).asCstr(),
                 "Die Mail hat keinen Betreff");
}

TEST_F(KqbMessage, WithoutMemoryTheResultIsATextOrNull) {
    ASSERT_TRUE(openCatalogs());
    refusesRequests_ = true;
    std::string const path(5000, 'p');
    KqbString const argument(path.c_str());
    bool hit = true;
    for (int n = 1; hit; ++n) {
        AllocFaults::failAt(n);
        KqbString const text = kqb_get_message(KQB_BASE_SERVICES, 453, nullptr, {argument});
        AllocFaults::off();
        hit = AllocFaults::hit();
        EXPECT_TRUE(text.isNull() ? hit : std::string(text.asCstr()).find(path) != path.npos) << n;
    }
}

}  // namespace
