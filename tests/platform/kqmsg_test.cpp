#include "platform/kqmsg.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <unicode/uloc.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "support/alloc_faults.h"

namespace {

constexpr char kBase[] = "Base Services";
constexpr char kEvent[] = "Event Plugin";

// The built catalogues, opened in the locale and at the level that a test asks for.
class KqMsg : public testing::Test {
protected:
    void SetUp() override {
        char const *const built = getenv("KQB_TEST_MESSAGES");
        ASSERT_NE(built, nullptr) << "the folder of the compiled catalogues";
        location_ = built;
    }
    void TearDown() override {
        kqmsgTerminate();
        for (auto name : {"LOCATION", "LOCALE", "LEVEL"}) unset(name);
    }

    static void set(char const *name, std::string const &value) {
        setenv((std::string("VANTOREX_ERROR_") + name).c_str(), value.c_str(), 1);
    }
    static void unset(char const *name) {
        unsetenv((std::string("VANTOREX_ERROR_") + name).c_str());
    }

    std::string start(char const *locale, char const *level) const {
        set("LOCATION", location_);
        set("LOCALE", locale);
        set("LEVEL", level);
        char reason[256] = "";
        int const result = kqmsgInitialize(reason, sizeof reason);
        EXPECT_EQ(result != 0, reason[0] != '\0') << reason;
        return reason;
    }

    std::string location_;
};

std::string fragment(int number, char const *catalog = kBase) {
    char buffer[512];
    int const length = kqmsgGetFragment(catalog, number, buffer, sizeof buffer);
    return length < 0 ? "none" : buffer;
}

std::string message(int number, std::vector<char const *> const &arguments,
                    char const *source = nullptr) {
    char buffer[512];
    int const length = kqmsgGetMessage(kBase, number, source, arguments.data(),
                                       static_cast<int>(arguments.size()), buffer, sizeof buffer);
    EXPECT_EQ(length, length < 0 ? -1 : static_cast<int>(std::strlen(buffer)));
    return length < 0 ? "none" : buffer;
}

TEST_F(KqMsg, StartsOnlyWithALocationAndSoundSettings) {
    char reason[256];
    unset("LOCATION");
    EXPECT_GT(kqmsgInitialize(reason, sizeof reason), 0);
    EXPECT_STREQ(reason, "The message location VANTOREX_ERROR_LOCATION is not set.");
    EXPECT_EQ(fragment(444), "none");
    EXPECT_GT(kqmsgInitialize(nullptr, 0), 0);
    set("LOCATION", "/nowhere/at/all");
    EXPECT_GT(kqmsgInitialize(reason, sizeof reason), 0);
    EXPECT_NE(std::string(reason).find("'/nowhere/at/all'"), std::string::npos) << reason;
    EXPECT_NE(start("../de", "0").find("'../de'"), std::string::npos);
    EXPECT_NE(start("de", "loud").find("'loud'"), std::string::npos);
    EXPECT_EQ(start("de", "0"), "");
    kqmsgTerminate();
    EXPECT_EQ(fragment(444), "none");
}

TEST_F(KqMsg, LocationWithoutCataloguesHasNoTexts) {
    std::string folder = testing::TempDir() + "kqmsgXXXXXX";
    ASSERT_NE(mkdtemp(folder.data()), nullptr);
    std::swap(folder, location_);
    EXPECT_EQ(start("", ""), "");
    EXPECT_EQ(fragment(444), "none");
    // Catalogues that are installed later are seen by the next start.
    std::filesystem::copy(folder, location_, std::filesystem::copy_options::recursive);
    EXPECT_EQ(start("", ""), "");
    EXPECT_EQ(fragment(444), "There is not enough memory");
    std::filesystem::remove_all(location_);
}

TEST_F(KqMsg, AskedLocaleThenItsLanguageThenEnglish) {
    std::string const english = "There is not enough memory";
    std::string const german = "Der Speicher reicht nicht aus";
    std::map<std::string, std::string> const cases = {
        {"", english},   {"de", german},         {"de_AT", german},       {"DE-at", german},
        {"en", english}, {"fr", english},        {"de_DE.UTF-8", german}, {"de@euro", german},
        {"C", english},  {"zh_Hant_TW", english}};
    UErrorCode status = U_ZERO_ERROR;
    std::string const processLocale = uloc_getDefault();
    uloc_setDefault("de_DE", &status);  // must not come in between
    start("", "");
    for (auto const &[locale, text] : cases) {
        EXPECT_EQ(kqmsgSetLocale(locale.c_str()), 0) << locale;
        EXPECT_EQ(fragment(444), text) << locale;
    }
    EXPECT_EQ(kqmsgSetLocale(nullptr), 0);
    EXPECT_EQ(fragment(444), english);
    uloc_setDefault(processLocale.c_str(), &status);
}

TEST_F(KqMsg, WhatIsNoLocaleNameChangesNothing) {
    start("de", "");
    for (auto name : {"..", "../de", "d", "german", "de__AT", "de_", "de/AT", "1", ".UTF-8", "@x",
                      "de_waytoolongsubtag", "dé"}) {
        EXPECT_EQ(kqmsgSetLocale(name), 1) << name;
    }
    EXPECT_EQ(kqmsgSetLocale(std::string(4000, 'a').c_str()), 1);
    EXPECT_EQ(fragment(450), "Die Mail hat keinen Empfänger");
}

TEST_F(KqMsg, UnknownNumbersAndCatalogues) {
    start("", "");
    EXPECT_EQ(fragment(1), "none");
    EXPECT_EQ(fragment(-1), "none");
    EXPECT_EQ(message(1, {}), "none");
    for (auto catalog : {"", "No Such", "../base_services", "base_services/.", "Base\tServices"}) {
        EXPECT_EQ(fragment(444, catalog), "none") << catalog;
    }
    EXPECT_EQ(kqmsgGetFragment(nullptr, 444, nullptr, 0), -1);
    EXPECT_EQ(fragment(29, kEvent), "There is not enough memory to run the command");
}

TEST_F(KqMsg, ArgumentsAreFilledInLiterally) {
    start("", "");
    EXPECT_EQ(message(332, {"2", "/tmp", "No such file"}),
              "A temporary file could not be created in '/tmp': No such file (error 2)");
    EXPECT_EQ(message(1776, {"column", "O'Neil {0} {1}"}),
              "There is already a column named 'O'Neil {0} {1}'");
    EXPECT_EQ(message(1776, {"column"}), "There is already a column named ''");
    EXPECT_EQ(message(1776, {nullptr, "x"}), "There is already a  named 'x'");
    EXPECT_EQ(message(444, {"too", "many"}), "There is not enough memory");
}

TEST_F(KqMsg, LevelDecorates) {
    start("", "1");
    EXPECT_EQ(message(450, {}, "kqbemail"), "Base Services 450: The mail has no recipient");
    EXPECT_EQ(fragment(450), "The mail has no recipient");
    start("de", "2");
    EXPECT_EQ(message(450, {}, "kqbemail"),
              "Base Services 450 (kqbemail): Die Mail hat keinen Empfänger");
    EXPECT_EQ(message(450, {}), "Base Services 450: Die Mail hat keinen Empfänger");
}

TEST_F(KqMsg, ShortBufferCutsAtACharacter) {
    start("de", "");
    std::string const whole = "Die Mail hat keinen Empfänger";
    int const length = static_cast<int>(whole.size());
    EXPECT_EQ(kqmsgGetFragment(kBase, 450, nullptr, 0), length);
    for (int size = 1; size <= length + 1; ++size) {
        std::vector<char> buffer(static_cast<std::size_t>(size), 'x');
        ASSERT_EQ(kqmsgGetFragment(kBase, 450, buffer.data(), size), length);
        std::string const cut = buffer.data();
        EXPECT_EQ(whole.compare(0, cut.size(), cut), 0);
        EXPECT_LE(static_cast<int>(cut.size()), size - 1);
        EXPECT_GE(static_cast<int>(cut.size()), size - 2);
        EXPECT_NE(cut.back(), '\xC3') << size;
    }
}

// The texts of a bundle by number, as its source has them: m444 { "..." }
std::map<int, std::string> textsOf(std::string const &source) {
    std::ifstream file(source);
    std::map<int, std::string> texts;
    for (std::string line; std::getline(file, line);) {
        int number = 0;
        auto const from = line.find('"');
        if (std::sscanf(line.c_str(), " m%d {", &number) != 1 || from == line.npos) continue;
        texts[number] = line.substr(from + 1, line.rfind('"') - from - 1);
    }
    return texts;
}

std::string placeholdersIn(std::string const &text) {
    std::string found;
    for (auto at = text.find('{'); at != text.npos; at = text.find('{', at + 1))
        found += text[at + 1];
    std::sort(found.begin(), found.end());
    return found;
}

TEST_F(KqMsg, GermanIsCompleteAndTakesTheSameArguments) {
    std::filesystem::path const sources =
        std::filesystem::path(__FILE__).parent_path() / "../../home/share/msg";
    for (auto catalog : {"base_services", "event_plugin"}) {
        auto const english = textsOf(sources / catalog / "root.txt");
        auto const german = textsOf(sources / catalog / "de.txt");
        ASSERT_FALSE(english.empty());
        EXPECT_EQ(english.size(), german.size());
        start("de", "");
        for (auto const &[number, text] : english) {
            ASSERT_TRUE(german.count(number)) << number;
            EXPECT_EQ(placeholdersIn(german.at(number)), placeholdersIn(text)) << number;
            EXPECT_EQ(fragment(number, catalog), german.at(number));
        }
    }
}

TEST_F(KqMsg, WithoutMemoryThereIsNoTextAndNoLeak) {
    char const *const arguments[] = {"a", "b"};
    char buffer[64];
    bool failed = true;
    for (int n = 1; failed; ++n) {
        start("de", "2");
        AllocFaults::failAt(n);
        int const length = kqmsgGetMessage(kBase, 1776, "s", arguments, 2, buffer, sizeof buffer);
        AllocFaults::off();
        failed = AllocFaults::hit();
        EXPECT_EQ(failed, length == -1) << n;
    }
}

class KqMsgThreads : public KqMsg {};

TEST_F(KqMsgThreads, LookUpsWhileTheLocaleChanges) {
    start("", "");
    std::atomic<bool> stop{false};
    std::vector<std::thread> threads;
    for (int t = 0; t < 3; ++t) {
        threads.emplace_back([&stop] {
            while (!stop) {
                std::string const text = message(380, {"x"});
                bool const isWhole = text == "The mail command could not be started: x" ||
                                     text == "Der Mailbefehl konnte nicht gestartet werden: x";
                EXPECT_TRUE(isWhole) << text;
            }
        });
    }
    for (int i = 0; i < 500; ++i) EXPECT_EQ(kqmsgSetLocale(i % 2 == 0 ? "de" : "en"), 0);
    stop = true;
    for (auto &thread : threads) thread.join();
}

}  // namespace
