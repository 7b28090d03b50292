#include "platform/kqssys.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <set>
#include <string>
#include <string_view>

#include "tests/support/temporary_folder.h"

namespace {

TEST(KqssysModule, FileName) {
    char buffer[14] = "old";
    EXPECT_EQ(13, np_dso_mkfname("kqbio38", buffer, sizeof buffer));
    EXPECT_STREQ("libkqbio38.so", buffer);
    EXPECT_EQ(-1, np_dso_mkfname("kqbio38", buffer, 13));
    EXPECT_STREQ("", buffer);
}

TEST(KqssysModule, RefusesWithAReason) {
    TemporaryFolder const folder;
    std::string const text = folder.write("libtext.so", "not a module");
    std::string const open = folder.write("libopen.so", "not a module");
    std::filesystem::permissions(open, std::filesystem::perms(0666));
    std::string const link = folder.path("liblink.so");
    std::filesystem::create_symlink(open, link);
    struct {
        char const *path;
        np_dso_result result;
        char const *reason;
    } const cases[] = {
        {nullptr, NP_DSO_BADPATH, "not absolute"},
        {"", NP_DSO_BADPATH, "not absolute"},
        {"libtext.so", NP_DSO_BADPATH, "not absolute"},
        {"/no/such/lib.so", NP_DSO_NOTFOUND, "/no/such/lib.so"},
        {text.c_str(), NP_DSO_LOADER, "libtext.so"},
        {open.c_str(), NP_DSO_LOADER, "every user"},
        {link.c_str(), NP_DSO_LOADER, "every user"},
    };
    for (auto const &c : cases) {
        np_dso *module = nullptr;
        char buffer[400] = "";
        EXPECT_EQ(c.result, np_dso_load(c.path, &module, buffer, sizeof buffer));
        EXPECT_NE(nullptr, std::strstr(buffer, c.reason)) << buffer;
        EXPECT_EQ(nullptr, module);
    }
}

// The C mathematics library is wherever this very program's loader found it.
TEST(KqssysModule, LoadsAndFindsSymbols) {
    std::string path;
    for (auto const *directory : {"/lib/x86_64-linux-gnu", "/lib/aarch64-linux-gnu", "/lib64"}) {
        std::string const candidate = std::string(directory) + "/libm.so.6";
        if (path.empty() && access(candidate.c_str(), R_OK) == 0) path = candidate;
    }
    if (path.empty()) GTEST_SKIP() << "no library to load";
    np_dso *module = nullptr;
    char buffer[400] = "";
    ASSERT_EQ(NP_DSO_OK, np_dso_load(path.c_str(), &module, buffer, sizeof buffer)) << buffer;
    EXPECT_NE(nullptr, np_dso_symbol(module, "cos"));
    EXPECT_EQ(nullptr, np_dso_symbol(module, "no_such_symbol"));
    EXPECT_EQ(nullptr, np_dso_symbol(nullptr, "cos"));
    np_dso_unload(module);
    np_dso_unload(nullptr);
}

TEST(KqssysEnvironment, SetsGetsAndRemoves) {
    char buffer[6] = "old";
    EXPECT_EQ(-1, np_env_get("KQB_TEST_ENV", buffer, sizeof buffer));
    EXPECT_STREQ("", buffer);
    struct {
        char const *value;
        int length;
        char const *text;
    } const cases[] = {{"", 0, ""}, {"12345", 5, "12345"}, {"123456", -1, ""}};
    for (auto const &c : cases) {
        ASSERT_EQ(0, np_env_set("KQB_TEST_ENV", c.value));
        EXPECT_EQ(c.length, np_env_get("KQB_TEST_ENV", buffer, sizeof buffer));
        EXPECT_STREQ(c.text, buffer);
    }
    std::set<std::string> entries;
    for (auto entry = np_env_entries(); *entry != nullptr; ++entry) entries.insert(*entry);
    EXPECT_TRUE(entries.contains("KQB_TEST_ENV=123456"));
    EXPECT_EQ(0, np_env_set("KQB_TEST_ENV", nullptr));
    EXPECT_EQ(-1, np_env_get("KQB_TEST_ENV", buffer, sizeof buffer));
    for (char const *name : {static_cast<char const *>(nullptr), "", "A=B"}) {
        EXPECT_NE(0, np_env_set(name, "x"));
    }
}

// Every place of the text must be one of these: x any digit, v the variant's, others themselves.
bool hasForm(std::string_view text, std::string_view form) {
    auto const fits = [](char c, char place) {
        if (place == 'x') return std::string_view("0123456789abcdef").find(c) < 16;
        return place == 'v' ? std::string_view("89ab").find(c) < 4 : c == place;
    };
    return std::equal(text.begin(), text.end(), form.begin(), form.end(), fits);
}

TEST(KqssysIdentifier, RandomAndWellFormed) {
    std::set<std::string> seen;
    char buffer[37];
    for (int i = 0; i < 100; ++i) {
        ASSERT_EQ(0, np_uniq_s64(buffer, sizeof buffer));
        EXPECT_TRUE(hasForm(buffer, "xxxxxxxx-xxxx-4xxx-vxxx-xxxxxxxxxxxx")) << buffer;
        EXPECT_TRUE(seen.insert(buffer).second);
    }
    EXPECT_EQ(1, np_uniq_s64(buffer, 36));
}

TEST(KqssysStamp, IsMonotonicInBothModes) {
    long long last = np_stamp_get();
    for (int i = 0; i < 2000; ++i) {
        if (i == 1000) np_stamp_set_safe_mode();
        long long const now = np_stamp_get();
        EXPECT_LE(last, now);
        last = now;
    }
    usleep(2000);
    EXPECT_LE(last + 2'000'000, np_stamp_get()) << "nanoseconds";
}

}  // namespace
