#include "platform/kqssys.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <regex>
#include <set>
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

TEST(KqssysIdentifier, RandomAndWellFormed) {
    std::regex const form("[0-9a-f]{8}-[0-9a-f]{4}-4[0-9a-f]{3}-[89ab][0-9a-f]{3}-[0-9a-f]{12}");
    std::set<std::string> seen;
    char buffer[37];
    for (int i = 0; i < 100; ++i) {
        ASSERT_EQ(0, np_uniq_s64(buffer, sizeof buffer));
        EXPECT_TRUE(std::regex_match(buffer, form)) << buffer;
        EXPECT_TRUE(seen.insert(buffer).second);
    }
    EXPECT_EQ(1, np_uniq_s64(buffer, 36));
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
}

TEST(KqssysStamp, DifferenceInUnits) {
    struct {
        np_stamp start, end;
        np_stamp_span span;
    } const cases[] = {
        {5, 5, {0, 0, 0}},
        {0, 999, {0, 0, 0}},
        {999, 1'999, {0, 0, 1}},
        {0, 999'999'999, {0, 999, 999}},
        {-7, 61'002'003'993, {61, 2, 4}},
        {2'000, 1'000, {0, 0, 0}},
    };
    for (auto const &c : cases) {
        np_stamp_span span;
        np_stamp_diff(c.start, c.end, &span);
        EXPECT_EQ(std::tie(span.seconds, span.milliseconds, span.microseconds),
                  std::tie(c.span.seconds, c.span.milliseconds, c.span.microseconds))
            << c.end;
    }
}

}  // namespace
