#include "kqb/kqbmessage.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "platform/kqmsg.h"
#include "support/alloc_faults.h"
#include "support/pool_test.h"

namespace {

class KqbMessage : public PoolTest {
protected:
    void TearDown() override {
        kqmsgTerminate();
        unsetenv("VANTOREX_ERROR_LOCATION");
        PoolTest::TearDown();
    }

    static void openCatalogs() {
        char const *const built = std::getenv("KQB_TEST_MESSAGES");
        ASSERT_NE(built, nullptr) << "the folder of the compiled catalogues";
        setenv("VANTOREX_ERROR_LOCATION", built, 1);
        ASSERT_EQ(kqmsgInitialize(nullptr, 0), 0);
    }
};

TEST_F(KqbMessage, BeforeStartUpTheTextIsPlain) {
    EXPECT_STREQ(kqb_get_message(KQB_BASE_SERVICES, 444, "source").asCstr(), "Base Services 444");
    EXPECT_STREQ(
        kqb_get_message("Own", 7, nullptr, {KqbString("a"), KqbString(), KqbString("c")}).asCstr(),
        "Own 7: a, , c");
    EXPECT_STREQ(kqb_get_message(nullptr, 7, nullptr).asCstr(), " 7");
    EXPECT_TRUE(kqb_get_fragment(KQB_BASE_SERVICES, 444).isNull());
}

TEST_F(KqbMessage, TextsComeFromTheCatalogues) {
    openCatalogs();
    EXPECT_STREQ(kqb_get_message(KQB_BASE_SERVICES, 1778, "kqwturi",
                                 {KqbString("maybe"), KqbString("boolean")})
                     .asCstr(),
                 "The value 'maybe' cannot be converted to the type boolean");
    EXPECT_STREQ(kqb_get_fragment(KQB_EVENT_PLUGIN, 380).asCstr(),
                 "The command could not be started: {0}");
    EXPECT_STREQ(kqb_get_message(KQB_BASE_SERVICES, 1, nullptr, {KqbString("x")}).asCstr(),
                 "Base Services 1: x");
    EXPECT_TRUE(kqb_get_fragment(KQB_BASE_SERVICES, 1).isNull());
    EXPECT_FALSE(kqbSetMessageLocale("../de"));
    EXPECT_TRUE(kqbSetMessageLocale("de_AT"));
    EXPECT_STREQ(kqb_get_message(KQB_BASE_SERVICES, 451, nullptr).asCstr(),
                 "Die Mail hat keinen Betreff");
    EXPECT_TRUE(kqbSetMessageLocale(nullptr));
    EXPECT_STREQ(kqb_get_message(KQB_BASE_SERVICES, 451, nullptr).asCstr(),
                 "The mail has no subject");
}

TEST_F(KqbMessage, LongTextsAndManyArgumentsAreWhole) {
    openCatalogs();
    std::string const path(5000, 'p');
    KqbString const x("x");
    std::string const text =
        kqb_get_message(KQB_BASE_SERVICES, 453, nullptr,
                        {KqbString(path.c_str()), x, x, x, x, x, x, x, x, x, x})
            .asCstr();
    EXPECT_EQ(text, "The output file '" + path + "' could not be set back to its beginning");
}

TEST_F(KqbMessage, WithoutMemoryTheResultIsATextOrNull) {
    openCatalogs();
    refusesRequests_ = true;
    std::string const path(5000, 'p');
    KqbString const argument(path.c_str());
    for (int n = 1;; ++n) {
        AllocFaults::failAt(n);
        KqbString const text = kqb_get_message(KQB_BASE_SERVICES, 453, nullptr, {argument});
        AllocFaults::off();
        EXPECT_TRUE(text.isNull() || std::string(text.asCstr()).find(path) != std::string::npos)
            << n;
        if (!AllocFaults::hit()) break;
    }
}

}  // namespace
