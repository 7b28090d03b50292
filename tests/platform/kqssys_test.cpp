#include "platform/kqssys.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <string>
#include <tuple>

#include "tests/support/temporary_folder.h"

namespace {

TEST(KqssysModule, RefusesWithAReason) {
    TemporaryFolder const folder;
    std::string const text = folder.write("libtext.so", "not a module");
    std::string const open = folder.write("libopen.so", "not a module");
    std::filesystem::permissions(open, std::filesystem::perms(0666));
    std::string const link = folder.path("liblink.so");
    std::filesystem::create_symlink(open, link);
    std::tuple<char const *, np_dso_result, char const *> const cases[] = {
        {nullptr, NP_DSO_BADPATH, "not absolute"},
        {"libtext.so", NP_DSO_BADPATH, "not absolute"},
        {"/no/such/lib.so", NP_DSO_NOTFOUND, "/no/such/lib.so"},
        {text.c_str(), NP_DSO_LOADER, "libtext.so"},
        {link.c_str(), NP_DSO_LOADER, "every user"}};
    for (auto const &[path, result, reason] : cases) {
        np_dso *module = nullptr;
        char buffer[400] = "";
        EXPECT_EQ(result, np_dso_load(path, &module, buffer, sizeof buffer));
        EXPECT_NE(nullptr, std::strstr(buffer, reason)) << buffer;
    }
}

TEST(KqssysEnvironment, SetsGetsAndRemoves) {
    char buffer[6] = "old";
    std::tuple<char const *, int, char const *> const cases[] = {{nullptr, -1, ""},
                                                                 {"", 0, ""},
                                                                 {"12345", 5, "12345"},
                                                                 {"123456", -1, ""},
                                                                 {nullptr, -1, ""}};
    for (auto const &[value, length, text] : cases) {
        ASSERT_EQ(0, np_env_set("KQB_TEST_ENV", value));
        EXPECT_EQ(length, np_env_get("KQB_TEST_ENV", buffer, sizeof buffer));
        EXPECT_STREQ(text, buffer);
    }
    EXPECT_NE(0, np_env_set("A=B", "x"));
}

TEST(KqssysStamp, IsMonotonicInBothModes) {
    long long last = np_stamp_current();
    for (int i = 0; i < 2000; ++i) {
        if (i == 1000) np_stamp_set_safe_mode();
        long long const now = np_stamp_current();
        EXPECT_LE(last, now);
        last = now;
    }
    usleep(2000);
    EXPECT_LE(last + 2'000'000, np_stamp_current()) << "nanoseconds";
    np_stamp_span span;
    np_stamp_diff(-7, 61'002'003'993, &span);
    EXPECT_TRUE(span.seconds == 61 && span.milliseconds == 2 && span.microseconds == 4);
    np_stamp_diff(2'000, 1'000, &span);
    EXPECT_EQ(span.seconds + span.milliseconds + span.microseconds, 0);
}

}  // namespace
