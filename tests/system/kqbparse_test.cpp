#include "kqb/kqbparse.h"

#include <algorithm>
#include <new>
#include <random>
#include <string>
#include <vector>

#include "kqb/kqbmessage.h"
#include "support/alloc_faults.h"
#include "support/pool_test.h"

namespace {

// How a failure shows a string: null is told from empty.
std::string shown(KqbString const &text) { return text.isNull() ? "<null>" : text.asCstr(); }

std::string raw(KqbParse &list, int index) {
    KqbString piece("left");
    EXPECT_TRUE(list.getAttributeRaw(index, &piece));
    return shown(piece);
}

// "name|value"
std::string attribute(KqbParse &list, int index) {
    KqbString name("left"), value("left");
    EXPECT_TRUE(list.getAttribute(index, &name, &value));
    return shown(name) + "|" + shown(value);
}

std::vector<std::string> attributes(std::string const &text, char separator = 0) {
    KqbParse list;
    EXPECT_TRUE(list.parse(text.c_str(), separator));
    std::vector<std::string> all;
    for (int i = 0; i < list.getAttributeCount(); ++i) all.push_back(attribute(list, i));
    return all;
}

using ParseTest = PoolTest;

TEST_F(ParseTest, listsOfEveryKind) {
    struct {
        char const *text;
        char separator;
        std::vector<std::string> attributes;
    } const cases[] = {
        {"", 0, {}},
        {";;;", 0, {}},
        {"a=1; b = 2 ;;c", 0, {"a|1", "b| 2", "<null>|c"}},
        {"x=1|y=2", '|', {"x|1", "y|2"}},
        {"x=1|y=2", 0, {"x|1|y=2"}},
        {"\t ;a", 0, {"<null>|", "<null>|a"}},
        {"name=;=v;=; = ", 0, {"name|<null>", "<null>|v", "<null>|<null>", "<null>|<null>"}},
        {"f(a=b)=c;{a=b}=c;(a=b", 0, {"f(a=b)|c", "<null>|{a=b}=c", "<null>|(a=b"}},
        {"a)=(b=c;}a=b;a={=", 0, {"a)=(b|c", "}a|b", "a|{="}},
        {"a%3Db;a%3Bb=%25;%20x%20=1;%zz=%", 0, {"a|b", "a;b|%", "x|1", "%zz|%"}},
        {"a=%00;%00", 0, {"a|<null>", "<null>|"}},
        // As many characters as bytes: a piece runs on, and so does a name.
        {"\xC3\xA4;b;c", 0, {"<null>|\xC3\xA4;", "<null>|b", "<null>|c"}},
        {"\xE2\x82\xAC=1;b", 0, {"\xE2\x82\xAC=1|1;b", "<null>|b"}},
        {"x=\xC3\xA4", 0, {"x|\xC3\xA4"}},
    };
    for (auto const &c : cases) EXPECT_EQ(attributes(c.text, c.separator), c.attributes) << c.text;
}

TEST_F(ParseTest, placesOutsideFail) {
    KqbParse list;
    list.parse("a=1", 0);
    KqbString const expected = kqb_get_message(KQB_BASE_SERVICES, 1516, "kqbparse");
    for (int index : {-1, 1}) {
        KqbString name("left"), value("left"), piece("left");
        EXPECT_FALSE(list.getAttribute(index, &name, &value));
        EXPECT_FALSE(list.getAttributeRaw(index, &piece));
        EXPECT_TRUE(name.isNull() && value.isNull() && piece.isNull());
        EXPECT_EQ(shown(list.getErrorMessage()), shown(expected));
    }
    EXPECT_FALSE(list.getAttributeRaw(1, nullptr));
    EXPECT_TRUE(list.getAttributeRaw(0, nullptr) && list.getAttribute(0, nullptr, nullptr));
    EXPECT_TRUE(list.parse(KqbString(), 0));
    EXPECT_EQ(list.getAttributeCount(), 0);
    EXPECT_TRUE(list.getErrorMessage().isNull());
}

// The rules once more, byte by byte.
class ListModel {
public:
    static std::vector<std::string> attributes(std::string const &text) {
        std::vector<std::string> all;
        for (std::size_t begin = 0; begin <= text.size();) {
            std::size_t const end = std::min(text.find(';', begin), text.size());
            if (end > begin)
                all.push_back(split(unescaped(trimmed(taken(text, begin, end - begin)))));
            begin = end + 1;
        }
        return all;
    }

private:
    // A character is a byte and the continuation bytes behind it; those that have no such byte in
    // front of them belong to the first one.
    static std::string taken(std::string const &text, std::size_t begin, std::size_t count) {
        auto const behind = [&](std::size_t at) {
            while (at < text.size() && (text[at] & 0xC0) == 0x80) ++at;
            return at;
        };
        std::size_t end = behind(begin);
        for (; count > 0 && end < text.size(); --count) end = behind(end + 1);
        return text.substr(begin, end - begin);
    }

    static std::string trimmed(std::string const &text) {
        std::size_t const begin = text.find_first_not_of(' ');
        if (begin == std::string::npos) return "";
        return text.substr(begin, text.find_last_not_of(' ') + 1 - begin);
    }

    static std::string unescaped(std::string const &text) {
        std::string out;
        for (std::size_t i = 0; i < text.size();) {
            bool const isWhole = text[i] == '%' && i + 2 < text.size();
            bool const isByte = isWhole && isxdigit(text[i + 1]) && isxdigit(text[i + 2]);
            std::size_t const step = isWhole ? 3 : 1;
            if (isByte)
                out += static_cast<char>(std::stoi(text.substr(i + 1, 2), nullptr, 16));
            else
                out += text.substr(i, step);
            i += step;
        }
        return out;
    }

    static std::string split(std::string const &piece) {
        int depth = 0;
        int braces = 0;
        for (std::size_t i = 0; i < piece.size(); ++i) {
            depth += piece[i] == '(' ? 1 : piece[i] == ')' ? -1 : 0;
            braces += piece[i] == '{';
            if (piece[i] != '=' || depth != 0 || braces != 0) continue;
            std::string const value = piece.substr(i + 1);
            return (i == 0 ? "<null>" : trimmed(taken(piece, 0, i))) + "|" +
                   (value.empty() ? "<null>" : value);
        }
        return "<null>|" + piece;
    }
};

TEST_F(ParseTest, randomListsFollowTheRules) {
    static char const *const parts[] = {"a", "bc", "=", ";",   ";",   "(",   ")",        "{",
                                        "}", " ",  "%", "%3B", "%3d", "%28", "\xC3\xA4", "%C3%A4"};
    std::mt19937 random(1516);
    for (int round = 0; round < 20000; ++round) {
        std::string text;
        for (unsigned n = random() % 16; n > 0; --n) text += parts[random() % std::size(parts)];
        ASSERT_EQ(attributes(text), ListModel::attributes(text)) << text;
    }
}

TEST_F(ParseTest, tenMegabytes) {
    constexpr std::size_t kSize = 10'000'000;
    struct {
        char const *unit;
        int count;
    } const cases[] = {{";", 0}, {"a;", kSize / 2}, {"a", 1}, {"(=", 1}, {"\xC3\xA4;", 3'333'334}};
    for (auto const &[unit, count] : cases) {
        std::string text;
        while (text.size() < kSize) text += unit;
        KqbParse list;
        ASSERT_TRUE(list.parse(text.c_str(), 0));
        ASSERT_EQ(list.getAttributeCount(), count) << unit;
        KqbString value;
        for (int i = 0; i < count; i += 1 + count / 1000)
            ASSERT_TRUE(list.getAttribute(i, nullptr, &value));
    }
}

// A copy shares the list; only one of the two is destroyed.
TEST_F(ParseTest, copiesShareTheirList) {
    alignas(KqbParse) unsigned char place[sizeof(KqbParse)];
    alignas(KqbParse) unsigned char emptyPlace[sizeof(KqbParse)];
    auto *const first = new (place) KqbParse;
    first->parse(KqbString("a=1;b", true), 0);
    auto *const second = new (emptyPlace) KqbParse(*first);
    EXPECT_EQ(raw(*second, 1), "b");
    second->parse(KqbString("c", true), 0);
    EXPECT_EQ(first->getAttributeCount(), 1);
    EXPECT_EQ(raw(*first, 0), "c");
    *first = *second;
    EXPECT_EQ(raw(*first, 0), "c");
    second->~KqbParse();
}

// Every allocation fails in turn: the answer is the right one or a failure that says so.
TEST_F(ParseTest, withoutMemory) {
    refusesRequests_ = true;
    std::string const longText(2000, 'x');  // goes to the heap, beyond the pool's stock
    KqbString const text(("a=" + longText + ";" + longText + "%3D" + longText).c_str());
    bool isDone = false;
    for (long nth = 1; !isDone; ++nth) {
        KqbString name[2], value[2], piece;
        AllocFaults::failAt(nth);
        KqbParse list;
        bool isRead = list.parse(text, 0) && list.getAttribute(0, &name[0], &value[0]);
        isRead = isRead && list.getAttributeRaw(1, &piece);
        isRead = isRead && list.getAttribute(1, &name[1], &value[1]);
        AllocFaults::off();
        isDone = !AllocFaults::hit();
        EXPECT_EQ(list.getErrorMessage().isNull(), isRead) << nth;
        for (int i : {0, 1}) EXPECT_EQ(name[i].isNull(), value[i].isNull()) << nth;
        if (isRead) {
            EXPECT_EQ(shown(value[0]) + shown(value[1]), longText + longText);
            EXPECT_EQ(shown(piece), longText + "=" + longText);
        }
    }
}

}  // namespace
