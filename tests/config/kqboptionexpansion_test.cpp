#include "config/kqboptionexpansion_internal.h"

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <string>

namespace {

using Options = std::map<std::string, std::string, std::less<>>;

struct Expanded {
    bool isComplete;
    std::string text;
    bool operator==(Expanded const &) const = default;
};

Expanded expand(Options const &options, std::string const &text) {
    KqbOptionExpansion expansion(text);
    bool const isComplete = expansion.run([&](std::string_view key, std::string_view *value) {
        auto const found = options.find(key);
        if (found == options.end()) return false;
        *value = found->second;
        return true;
    });
    return {isComplete, expansion.text()};
}

// The same from the start of the whole text after every replacement.
Expanded expandPlainly(Options const &options, std::string text) {
    for (int i = 0;; ++i) {
        std::size_t const open = text.find("%%");
        if (open == std::string::npos) return {true, text};
        std::size_t const close = text.find("%%", open + 2);
        if (close == std::string::npos) return {true, text};
        auto const found = options.find(text.substr(open + 2, close - open - 2));
        if (found == options.end() || i == KqbOptionExpansion::kMaxReplacements) {
            return {false, text};
        }
        text = text.substr(0, open) + found->second + text.substr(close + 2);
    }
}

TEST(OptionExpansionTest, references) {
    Options const options = {
        {"B", "1%%C%%"}, {"C", "2"}, {"open", "%%"}, {"%C", "p"}, {"", "none"}};
    std::pair<char const *, Expanded> const cases[] = {
        {"x%%B%%y", {true, "x12y"}},         {"a%%b", {true, "a%%b"}},
        {"%%C%%-%%D%%", {false, "2-%%D%%"}}, {"%%%%", {true, "none"}},
        {"x%%%C%%", {true, "xp"}},           {"%%open%%C%%open%%", {true, "2open%%"}}};
    for (auto const &[text, expected] : cases) {
        EXPECT_EQ(expandPlainly(options, text), expected) << text;
        EXPECT_EQ(expand(options, text), expected) << text;
    }
}

TEST(OptionExpansionTest, randomTextsAsPlainly) {
    static constexpr char kAlphabet[] = "%%%%AB";
    std::mt19937 random(7);
    auto const randomText = [&](std::size_t longest) {
        std::string text;
        for (std::size_t size = random() % (longest + 1); size > 0; --size) {
            text += kAlphabet[random() % (sizeof kAlphabet - 1)];
        }
        return text;
    };
    for (int round = 0; round < 20000; ++round) {
        Options options;
        for (char const *key : {"", "A", "B", "AB", "%", "%A"}) options[key] = randomText(5);
        // Leaving out what only grows keeps the plain way quick.
        for (auto &[key, value] : options) {
            if (value.find("%%") != std::string::npos && random() % 4 != 0) value = "A%";
        }
        std::string const text = randomText(24);
        Expanded const quick = expand(options, text);
        if (quick.text.size() > 2000) continue;
        ASSERT_EQ(quick, expandPlainly(options, text)) << text;
    }
}

TEST(OptionExpansionTest, selfReferenceEnds) {
    Options const options = {{"A", "x%%A%%"},
                             {"B", "%%C%%"},
                             {"C", "%%B%%"},
                             {"big", std::string(1 << 20, 'b') + "%%big%%"}};
    EXPECT_EQ(expand(options, "%%A%%"),
              (Expanded{false, std::string(KqbOptionExpansion::kMaxReplacements, 'x') + "%%A%%"}));
    EXPECT_EQ(expand(options, "%%B%%").isComplete, false);
    Expanded const big = expand(options, "%%big%%");
    EXPECT_FALSE(big.isComplete);
    EXPECT_TRUE(big.text.size() <= KqbOptionExpansion::kMaxBytes && big.text.ends_with("b%%big%%"));
}

}  // namespace
