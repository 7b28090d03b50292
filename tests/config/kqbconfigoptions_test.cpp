#include "kqb/kqbconfigoptions.h"

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <random>
#include <thread>
#include <vector>

#include "config/config_fixture.h"
#include "kqb/kqbconfigfile.h"
#include "support/alloc_faults.h"

namespace {

class ConfigOptionsTest : public ConfigFixture {
protected:
    void SetUp() override {
        ConfigFixture::SetUp();
        options_ = kqbGetConfigOptions("");
        ASSERT_NE(options_, nullptr);
    }

    std::string get(KqbString const &key, bool expand = false) {
        KqbString value = "before";
        bool const isKnown = options_->getOption(key, &value, expand);
        return (isKnown ? "" : "!") + shown(value);
    }

    // "key=value" of all options in their order.
    std::string list() {
        std::string all;
        for (int i = 0; i < options_->getOptionCount(); ++i) {
            KqbString key;
            KqbString value;
            EXPECT_TRUE(options_->getOptionAt(i, &key, &value, false));
            all += shown(key) + "=" + shown(value) + ";";
        }
        return all;
    }

    KqbConfigOptions *options_ = nullptr;
};

TEST_F(ConfigOptionsTest, keysWithoutCaseInOrderOfArrival) {
    for (char const *key : {"Temp", "b", "TEMP", "c"}) EXPECT_TRUE(options_->setOption(key, key));
    EXPECT_EQ(list(), "Temp=TEMP;b=b;c=c;");
    options_->deleteOption("temp");
    options_->deleteOption("temp");
    EXPECT_EQ(list(), "b=b;c=c;");
    EXPECT_EQ(get("C"), "c");
    EXPECT_EQ(get("temp"), "!<null>");
    options_->setOption(KqbString(), "n");
    options_->setOption("", KqbString());
    EXPECT_EQ(get(KqbString()), "n");
    EXPECT_EQ(get(""), "<null>");
    EXPECT_TRUE(options_->getOption("b", nullptr, true));
}

TEST_F(ConfigOptionsTest, expansion) {
    options_->setOption("A", "x%%b%%y");
    options_->setOption("B", "1%%C%%");
    EXPECT_EQ(get("A", true), "!x1%%C%%y");
    options_->setOption("C", KqbString());
    EXPECT_EQ(get("A", true), "x1y");
    EXPECT_EQ(get("A"), "x%%b%%y");
    KqbString key, value;
    EXPECT_TRUE(options_->getOptionAt(1, nullptr, &value, true));
    EXPECT_EQ(shown(value), "1");
    EXPECT_TRUE(options_->getOptionAt(1, &key, nullptr, false));
    for (int index : {-1, 3}) EXPECT_FALSE(options_->getOptionAt(index, &key, &value, false));
    EXPECT_EQ(shown(key) + shown(value), "B1");
}

TEST_F(ConfigOptionsTest, randomChangesKeepListAndIndexTogether) {
    std::mt19937 random(5);
    std::vector<std::pair<std::string, std::string>> model;
    for (int step = 0; step < 20000; ++step) {
        std::string const key = "key" + std::to_string(random() % 60);
        auto place = model.begin();
        while (place != model.end() && place->first != key) ++place;
        if (random() % 2 == 0) {
            options_->deleteOption(key.c_str());
            if (place != model.end()) model.erase(place);
        } else {
            std::string const value = std::to_string(step);
            options_->setOption(key.c_str(), value.c_str());
            if (place != model.end()) {
                place->second = value;
            } else {
                model.emplace_back(key, value);
            }
        }
        std::string const probe = "KEY" + std::to_string(random() % 60);
        std::string expected = "!<null>";
        for (auto const &[k, v] : model) {
            if (k.substr(3) == probe.substr(3)) expected = v;
        }
        ASSERT_EQ(get(probe.c_str()), expected);
    }
    std::string all;
    for (auto const &[key, value] : model) all += key + "=" + value + ";";
    EXPECT_EQ(list(), all);
}

TEST_F(ConfigOptionsTest, registries) {
    KqbConfigOptions *const lower = kqbGetConfigOptions("a");
    KqbConfigOptions *const upper = kqbGetConfigOptions("A");
    EXPECT_NE(lower, upper);
    EXPECT_EQ(kqbGetConfigOptions("a"), lower);
    EXPECT_EQ(kqbGetConfigOptions(KqbString()), options_);
    lower->setOption("k", "1");
    EXPECT_EQ(upper->getOptionCount(), 0);
    kqbClearConfigOptions("unknown");
    kqbClearConfigOptions("a");
    EXPECT_EQ(kqbGetConfigOptions("a")->getOptionCount(), 0);
}

TEST_F(ConfigOptionsTest, optionsForC) {
    options_->setOption("k", "value");
    options_->setOption("empty", "");
    options_->setOption(KqbString(), "%%k%%");
    kqbGetConfigOptions("other")->setOption("k", "x");
    struct {
        char const *registry, *key;
        int size;  // -1: no buffer
        int result;
        char const *text;
    } const cases[] = {{nullptr, "K", 6, 0, "value"}, {"", "k", 5, -6, "?"},
                       {"", "k", -1, -6, "?"},        {"other", "k", 2, 0, "x"},
                       {"Other", "k", 2, 2, "?"},     {"", "empty", -1, 0, "?"},
                       {"", "empty", 0, 0, "?"},      {"", "empty", 1, 0, ""},
                       {"", nullptr, 9, 0, "%%k%%"},  {"", "", 9, 2, "?"}};
    for (auto const &c : cases) {
        char buffer[16] = "?";
        int const result = kqbGetOption(c.registry, c.key, c.size < 0 ? nullptr : buffer, c.size);
        EXPECT_EQ(result, c.result) << c.key << c.size;
        EXPECT_STREQ(buffer, c.text) << c.key << c.size;
    }
}

TEST_F(ConfigOptionsTest, downAnswersNothing) {
    kqbConfigOptionsStop();
    EXPECT_EQ(kqbGetConfigOptions(""), nullptr);
    kqbClearConfigOptions("");
    char buffer[4];
    EXPECT_EQ(kqbGetOption("", "k", buffer, 4), 1);
    kqbConfigOptionsStop();
    EXPECT_TRUE(kqbConfigOptionsStart());
    EXPECT_EQ(kqbGetConfigOptions("")->getOptionCount(), 0);
}

TEST_F(ConfigOptionsTest, environment) {
    constexpr int kVariables = 10000;
    auto const name = [](int i) { return "KQB_TEST_" + std::to_string(i); };
    for (int i = 0; i < kVariables; ++i) setenv(name(i).c_str(), "a=b", 1);
    std::string const longValue(10000, 'v');
    setenv(name(1).c_str(), longValue.c_str(), 1);
    setenv(name(2).c_str(), "", 1);
    char noPair[] = "KQB_TEST_BARE";
    putenv(noPair);
    options_->addEnvironment();
    for (int i = 0; i < kVariables; ++i) unsetenv(name(i).c_str());
    EXPECT_GE(options_->getOptionCount(), kVariables);
    EXPECT_EQ(get("kqb_test_9999"), "a=b");
    EXPECT_EQ(get("KQB_TEST_1"), longValue);
    EXPECT_EQ(get("KQB_TEST_2"), "");
    EXPECT_EQ(get("KQB_TEST_BARE"), "!<null>");
}

TEST_F(ConfigOptionsTest, configDirectory) {
    file("d/1.CFG", "a=1\nb=1\n");
    file("d/2.cfg", "A=2\n");
    file("d/3.cfg", std::string_view("c=3\n\0", 5));
    file("d/4.xml", "x=4\n");
    file("d/cfg", "y=5\n");
    file("d/folder.cfg/6.cfg", "z=6\n");
    EXPECT_TRUE(options_->addConfigDirectory(path("d"), "cfg"));
    EXPECT_EQ(list(), "a=2;b=1;c=3;");
    EXPECT_TRUE(options_->getErrorMessage().isNull());
    EXPECT_TRUE(options_->addConfigDirectory(path("d"), KqbString()));
    EXPECT_EQ(get("x") + get("y") + get("z"), "45!<null>");
    EXPECT_FALSE(options_->addConfigDirectory(path("none"), "cfg"));
    EXPECT_FALSE(options_->getErrorMessage().isNull());
}

// Every allocation fails in turn: an option is set wholly or not at all.
TEST_F(ConfigOptionsTest, withoutMemory) {
    options_->setOption("a", "%%b%%");
    options_->setOption("b", string(std::string(2000, 'x')));  // beyond the pool's stock
    std::string const before = list();
    bool isDone = false;
    for (long nth = 1; !isDone; ++nth) {
        KqbString value;
        AllocFaults::failAt(nth);
        bool const isSet = options_->setOption("new", "1");
        bool const isRead = options_->getOption("a", &value, true);
        AllocFaults::off();
        isDone = !AllocFaults::hit();
        EXPECT_EQ(list(), before + (isSet ? "new=1;" : ""));
        EXPECT_EQ(shown(value), isRead ? get("b") : "<null>");
        options_->deleteOption("new");
    }
}

using ConfigOptionsThreads = ConfigOptionsTest;

TEST_F(ConfigOptionsThreads, readersSeeWholeStates) {
    options_->setOption("pair", "%%left%%%%right%%");
    options_->setOption("left", "L");
    options_->setOption("right", "R");
    std::atomic<bool> isOver{false};
    std::vector<std::thread> readers;
    for (int i = 0; i < 3; ++i) {
        readers.emplace_back([&] {
            while (!isOver) {
                EXPECT_EQ(get("pair", true), "LR");
                KqbString key;
                KqbString value;
                EXPECT_TRUE(options_->getOptionAt(0, &key, &value, false));
                char buffer[64];
                int const result = kqbGetOption("", "moving", buffer, sizeof buffer);
                EXPECT_TRUE(result == 2 || (result == 0 && std::strlen(buffer) == 30)) << result;
                EXPECT_GE(options_->getOptionCount(), 3);
                EXPECT_NE(kqbGetConfigOptions("shared"), nullptr);
            }
        });
    }
    for (int i = 0; i < 2000; ++i) {
        std::string const value(30, static_cast<char>('a' + i % 26));
        options_->setOption("moving", value.c_str());
        if (i % 3 == 0) options_->deleteOption("MOVING");
        if (i % 100 == 0) kqbGetConfigOptions(KqbString().assign(i))->setOption("x", "y");
        if (i % 200 == 0) kqbClearConfigOptions(KqbString().assign(i));
        if (i % 500 == 0) options_->addConfigDirectory(path("none"), "cfg");
    }
    isOver = true;
    for (std::thread &reader : readers) reader.join();
}

}  // namespace
