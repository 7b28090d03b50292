#include "platform/kqmsg.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "support/test_messages.h"

namespace {

constexpr char kBase[] = "Base Services";

// The built catalogues, opened in the locale and at the level that a test asks for.
class KqMsg : public testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(useTestMessages()); }
    ~KqMsg() override {
        kqmsgTerminate();
        for (auto name : {"LOCATION", "LOCALE", "LEVEL"})
            unsetenv((std::string("VANTOREX_ERROR_") + name).c_str());
    }

    static std::string start(char const *locale, char const *level) {
        setenv("VANTOREX_ERROR_LOCALE", locale, 1);
        setenv("VANTOREX_ERROR_LEVEL", level, 1);
        char reason[256] = "";
        int const result = kqmsgInitialize(reason, sizeof reason);
        EXPECT_EQ(result != 0, reason[0] != '\0') << reason;
        return reason;
    }
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
    unsetenv("VANTOREX_ERROR_LOCATION");
    EXPECT_GT(kqmsgInitialize(reason, sizeof reason), 0);
    EXPECT_STREQ(reason, "The message location VANTOREX_ERROR_LOCATION is not set.");
    useTestMessages();
    EXPECT_NE(start("../de", "0").find("'../de'"), std::string::npos);
    EXPECT_NE(start("de", "loud").find("'loud'"), std::string::npos);
    EXPECT_EQ(fragment(444), "none");
    EXPECT_EQ(start("de", "0"), "");
    for (auto catalog : {"", "No Such", "../base_services", "base_services/."}) {
        EXPECT_EQ(fragment(444, catalog), "none") << catalog;
    }
}

TEST_F(KqMsg, AskedLocaleThenItsLanguageThenEnglish) {
    std::string const english = "There is not enough memory";
    std::string const german = "Der Speicher reicht nicht aus";
    std::map<std::string, std::string> const cases = {
        {"", english},   {"de_AT", german},       {"DE-at", german}, {"en", english},
        {"fr", english}, {"de_DE.UTF-8", german}, {"C", english}};
    start("", "");
    for (auto const &[locale, text] : cases) {
        EXPECT_EQ(kqmsgSetLocale(locale.c_str()), 0) << locale;
        EXPECT_EQ(fragment(444), text) << locale;
    }
}

TEST_F(KqMsg, ArgumentsAreFilledInLiterally) {
    start("de", "2");
    for (auto name : {"../de", "german", "de__AT", "de/AT", ".UTF-8", "dé"}) {
        EXPECT_EQ(kqmsgSetLocale(name), 1) << name;
    }
    std::string const whole = "Base Services 450 (mail): Die Mail hat keinen Empfänger";
    EXPECT_EQ(message(450, {}, "mail"), whole);
    char cut[52];  // in the middle of the umlaut
    kqmsgGetMessage(kBase, 450, "mail", nullptr, 0, cut, sizeof cut);
    EXPECT_EQ(whole.substr(0, whole.find("ä")), cut);
    start("", "");
    EXPECT_EQ(message(1776, {"column", "O'Neil {0} {1}"}),
              "There is already a column named 'O'Neil {0} {1}'");
    EXPECT_EQ(message(1776, {nullptr}), "There is already a  named ''");
}

std::string placeholdersIn(std::string const &text) {
    std::string found;
    for (auto at = text.find('{'); at != text.npos; at = text.find('{', at + 1))
        found += text[at + 1];
    std::sort(found.begin(), found.end());
    return found;
}

TEST_F(KqMsg, GermanIsCompleteAndTakesTheSameArguments) {
    for (auto catalog : {kBase, "Event Plugin"}) {
        std::map<int, std::string> english;
        start("en", "");
        for (int number = 0; number < 10'000; ++number) english[number] = fragment(number, catalog);
        std::erase_if(english, [](auto &entry) { return entry.second == "none"; });
        ASSERT_FALSE(english.empty());
        start("de", "");
        for (auto const &[number, text] : english) {
            EXPECT_NE(fragment(number, catalog), text) << number;
            EXPECT_EQ(placeholdersIn(fragment(number, catalog)), placeholdersIn(text)) << number;
        }
    }
}

class KqMsgThreads : public KqMsg {};

TEST_F(KqMsgThreads, LookUpsWhileTheLocaleChanges) {
    start("", "");
    std::vector<std::jthread> threads;
    for (int t = 0; t < 3; ++t) {
        threads.emplace_back([](std::stop_token stop) {
            while (!stop.stop_requested()) {
                std::string const text = message(380, {"x"});
                bool const isWhole = text == "The mail command could not be started: x" ||
                                     text == "Der Mailbefehl konnte nicht gestartet werden: x";
                EXPECT_TRUE(isWhole) << text;
            }
        });
    }
    for (int i = 0; i < 500; ++i) EXPECT_EQ(kqmsgSetLocale(i % 2 == 0 ? "de" : "en"), 0);
}

}  // namespace
