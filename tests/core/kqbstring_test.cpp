#include "kqb/kqbstring.h"

#include <gtest/gtest.h>

#include <bit>
#include <climits>
#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "core/kqbstring_internal.h"
#include "kqb/kqbunicodeconv.h"
#include "support/pool_faults.h"
#include "support/pool_test.h"

namespace {

using KqbStringTest = PoolTest;
using KqbStringTestThreads = PoolTest;

// Record and block of these, and of both together, come from the pool's class of 64 bytes.
constexpr char kText[] = "aBcdefghijklmnopqrs ";
constexpr char kTail[] = "0123456789ABCDEFGHIJ";
std::string const kLower = "abcdefghijklmnopqrs ";
std::string const kUpper = "ABCDEFGHIJKLMNOPQRS ";
std::string const kCut = "aBcdefghijklmnopqrs";

KqbString borrow(char const *text) { return KqbString(text, true); }

unsigned charactersOf(std::string const &text) {
    unsigned count = 0;
    for (char c : text) count += (c & 0xC0) != 0x80 ? 1U : 0U;
    return count;
}

// State and text, after checking that the lengths fit the text.
std::string state(KqbString const &s) {
    std::string const text = s.asCstr();
    EXPECT_EQ(s.cStrSize(), text.size() + 1);
    EXPECT_EQ(s.length(), charactersOf(text));
    if (s.isNull()) return "null";
    return (s.asCstr() == kText ? "borrowed:" : "owned:") + text;
}

// --- Every change in every state --------------------------------------------------------------

struct Change {
    char const *name;
    void (*apply)(KqbString &s, bool *error);
    std::string onNull;
    std::string onText;  // borrowed kText; an owner's text is the same
    bool nullOnFailure = false;
};

std::string owned(std::string const &text) { return "owned:" + text; }
std::string const kSame = std::string("borrowed:") + kText;
std::string const kBoth = owned(std::string(kText) + kTail);

std::vector<Change> const kChanges = {
    {"assign text", [](KqbString &s, bool *) { s.assign(kTail); }, owned(kTail), owned(kTail),
     true},
    {"assign null", [](KqbString &s, bool *) { s.assign(nullptr); }, "owned:", "owned:", true},
    {"assign own tail", [](KqbString &s, bool *) { s.assign(s.asCstr() + (s.isNull() ? 0 : 1)); },
     "owned:", owned(kText + 1), true},
    {"assign itself", [](KqbString &s, bool *) { s = *&s; }, "null", kSame},
    {"set null", [](KqbString &s, bool *) { s.setNull(); }, "null", "null"},
    {"append null string", [](KqbString &s, bool *e) { s.append(KqbString(), e); }, "null",
     owned(kText)},
    {"append empty string", [](KqbString &s, bool *e) { s.append(borrow(""), e); },
     "owned:", owned(kText)},
    {"append string", [](KqbString &s, bool *e) { s.append(borrow(kTail), e); }, owned(kTail),
     kBoth},
    {"append borrower", [](KqbString &s, bool *e) { s.append(borrow(kText), e); }, kSame,
     owned(std::string(kText) + kText)},
    {"append itself", [](KqbString &s, bool *e) { s.append(s, e); }, "null",
     owned(std::string(kText) + kText)},
    {"append own text", [](KqbString &s, bool *e) { s.append(s.asCstr(), 2, e); },
     "owned:", owned(std::string(kText) + "aB")},
    {"append null text", [](KqbString &s, bool *e) { s.append(nullptr, e); },
     "owned:", owned(kText)},
    {"append no text", [](KqbString &s, bool *e) { s.append("", e); }, "owned:", kSame},
    {"append text", [](KqbString &s, bool *e) { s.append(kTail, e); }, owned(kTail), kBoth},
    {"append 0 of text", [](KqbString &s, bool *e) { s.append(kTail, 0, e); }, "owned:", kSame},
    {"append all of text", [](KqbString &s, bool *e) { s.append(kTail, -1, e); }, owned(kTail),
     kBoth},
    {"append more than text", [](KqbString &s, bool *e) { s.append(kTail, 99, e); }, owned(kTail),
     kBoth},
    {"append 18 of text", [](KqbString &s, bool *e) { s.append(kTail, 18, e); },
     owned("0123456789ABCDEFGH"), owned(std::string(kText) + "0123456789ABCDEFGH")},
    {"trim nothing", [](KqbString &s, bool *) { s.trim(true, false); }, "null", kSame},
    {"trim", [](KqbString &s, bool *) { s.trim(); }, "null", owned(kCut)},
    {"trim no end", [](KqbString &s, bool *) { s.trim(false, false); }, "null", kSame},
    {"trimChar", [](KqbString &s, bool *) { s.trimChar('a'); }, "null", owned(kText + 1)},
    {"lowercase", [](KqbString &s, bool *e) { *e = !s.lowercase(); }, "null", owned(kLower)},
    {"uppercase", [](KqbString &s, bool *e) { *e = !s.uppercase(); }, "null", owned(kUpper)},
    {"truncate", [](KqbString &s, bool *) { s.truncate(19); }, "null", owned(kCut), true},
    {"truncate nothing", [](KqbString &s, bool *) { s.truncate(20); }, "null", kSame, true}};

// Null, borrowing, owning; sharing as well when a copy is kept.
KqbString inState(int kind) { return kind == 0 ? KqbString() : KqbString(kText, kind == 1); }

std::string expected(Change const &change, int kind) {
    if (kind == 0) return change.onNull;
    return kind > 1 && change.onText == kSame ? owned(kText) : change.onText;
}

TEST_F(KqbStringTest, changesFollowTheStateAndLeaveCopiesAlone) {
    for (Change const &change : kChanges) {
        SCOPED_TRACE(change.name);
        for (int kind = 0; kind < 4; ++kind) {
            bool error = false;
            KqbString s = inState(kind);
            KqbString const copy = kind == 2 ? KqbString() : s;
            std::string const before = state(copy);
            change.apply(s, &error);
            EXPECT_EQ(state(s), expected(change, kind));
            EXPECT_EQ(state(copy), before);
            EXPECT_FALSE(error);
        }
    }
}

// With 0, 1, 2 ... blocks to be had a change either works or leaves what it promises, and says so.
TEST_F(KqbStringTest, changesSurviveMissingMemory) {
    refusesRequests_ = true;
    unsigned const freeBlocks = PoolFaults(0).drained();
    auto const attempt = [&](Change const &change, int kind, unsigned blocks) {
        bool error = false;
        KqbString s = inState(kind);
        KqbString const copy = kind == 2 ? KqbString() : s;
        std::string const before = state(s);
        {
            PoolFaults const faults(blocks);
            change.apply(s, &error);
        }
        bool const succeeded = state(s) == expected(change, kind);
        bool const isTold = std::strstr(change.name, "append") != nullptr;
        EXPECT_TRUE(succeeded || state(s) == (change.nullOnFailure ? "null" : before));
        EXPECT_TRUE(!isTold || error == !succeeded);
        return succeeded;
    };
    for (Change const &change : kChanges) {
        SCOPED_TRACE(change.name);
        if (change.onNull == "owned:") continue;  // needs a block of another class
        for (int kind = 0; kind < 4; ++kind) {
            unsigned blocks = 0;
            while (!attempt(change, kind, blocks)) ASSERT_LT(++blocks, 4U);
            EXPECT_EQ(PoolFaults(0).drained(), freeBlocks);
        }
    }
}

TEST_F(KqbStringTest, largeTextsSurviveMissingHeap) {
    std::string const large(3000, 'x');
    KqbString s(large.c_str());
    bool error = false;
    AllocFaults::failFrom(1);
    s.append(large.c_str(), &error);
    KqbString const replaced = s.replace(borrow("x"), borrow("yy"));
    bool const mapped = s.uppercase();
    KqbString assigned("before");
    assigned.assign(large.c_str());
    AllocFaults::off();
    EXPECT_TRUE(error);
    EXPECT_TRUE(replaced.isNull());
    EXPECT_FALSE(mapped);
    EXPECT_TRUE(assigned.isNull());
    EXPECT_EQ(state(s), owned(large));
    s.append("y", &error);
    EXPECT_FALSE(error);
    EXPECT_EQ(state(s), owned(large + "y"));
}

// --- Making, assigning ----------------------------------------------------------------------------

TEST_F(KqbStringTest, copiesAndMovesShare) {
    KqbString a(kTail);
    KqbString b(a);
    EXPECT_EQ(a.asCstr(), b.asCstr());
    KqbString c(std::move(b));
    EXPECT_EQ(state(b), "null");
    EXPECT_EQ(c.asCstr(), a.asCstr());
    b = std::move(c);
    b = std::move(*&b);
    EXPECT_EQ(state(b), owned(kTail));
    b = borrow(kText);
    EXPECT_EQ(state(b), kSame);
    EXPECT_TRUE(KqbString(nullptr).isNull());
    EXPECT_TRUE(KqbString(nullptr, true).isNull());
}

TEST_F(KqbStringTest, assignsFirstCharacters) {
    struct {
        int count;
        char const *expected;
    } const cases[] = {{0, ""},
                       {1, "\xC3\xA4"},
                       {2, "\xC3\xA4z"},
                       {4, "\xC3\xA4z\xE2\x82\xAC!"},
                       {9, "\xC3\xA4z\xE2\x82\xAC!"},
                       {-1, "\xC3\xA4z\xE2\x82\xAC!"}};
    for (auto const &c : cases) {
        EXPECT_EQ(state(KqbString().assign("\xC3\xA4z\xE2\x82\xAC!", c.count)), owned(c.expected));
    }
    EXPECT_EQ(state(KqbString().assign(nullptr, 3)), "owned:");
}

TEST_F(KqbStringTest, assignsBytesByWholeCharacters) {
    struct {
        std::string text;
        int maxBytes;
        char const *expected;
    } const cases[] = {{"abc", 2, "ab"},     {"abc", 0, ""},
                       {"abc", -1, ""},      {"abc", 50, "abc"},
                       {"\xC3\xA4z", 1, ""}, {"\xC3\xA4z", 2, "\xC3\xA4"},
                       {"ab\xFFz", 4, "ab"}, {"a\xE2\x82\xAC", 3, "a"},
                       {"a\xE2\x82", 9, "a"}};
    for (auto const &c : cases) {
        EXPECT_EQ(state(KqbString().assignBytes(c.text.c_str(), c.maxBytes)), owned(c.expected));
    }
    std::unique_ptr<char[]> const unterminated(new char[2]{'h', 'i'});
    EXPECT_EQ(state(KqbString().assignBytes(unterminated.get(), 2)), owned("hi"));
    EXPECT_EQ(state(KqbString().assignBytes(nullptr, 2)), "owned:");
}

TEST_F(KqbStringTest, losesNoByteOfIllFormedText) {
    KqbString s("x");
    EXPECT_EQ(state(s.append("\x80\x80")), owned("x\x80\x80"));
    EXPECT_EQ(state(s.append("\xA4")), owned("x\x80\x80\xA4"));
    EXPECT_EQ(s.length(), 1U);
    EXPECT_EQ(s.find(KqbString("\x80")), 1);
    EXPECT_EQ(state(KqbString("\x80"
                              "a")
                        .replace("\x80", "-")),
              owned("\x80-"
                    "a"));
    EXPECT_EQ(state(KqbString("a\x80"
                              "b")
                        .replace("a", "-")),
              owned("-b"));
    EXPECT_EQ(KqbString(" \x80").trim(), 0);
    EXPECT_EQ(KqbString("\x80 ").trim(), 1);
}

TEST_F(KqbStringTest, refusesTextsBeyond32Bits) {
    static char const byte = 'x';
    std::string_view const huge(&byte, 0x7FFFFFFE);
    KqbString s("old");
    EXPECT_FALSE(KqbStringAccess::append(s, huge));
    EXPECT_EQ(state(s), owned("old"));
    EXPECT_FALSE(KqbStringAccess::append(s, {&byte, 0x7FFFFFFB}));
    EXPECT_EQ(state(s), owned("old"));
    EXPECT_FALSE(KqbStringAccess::assign(s, huge));
    EXPECT_TRUE(s.isNull());
    EXPECT_TRUE(KqbStringAccess::append(s, {}));
    EXPECT_EQ(state(s), "owned:");
}

// --- Numbers --------------------------------------------------------------------------------------

TEST_F(KqbStringTest, writesNumbers) {
    KqbString s;
    EXPECT_STREQ(s.assign(INT_MIN).asCstr(), "-2147483648");
    EXPECT_STREQ(s.assign(UINT_MAX).asCstr(), "4294967295");
    EXPECT_STREQ(s.assign(-1L).asCstr(), "-1");
    EXPECT_STREQ(s.assign(ULLONG_MAX).asCstr(), "18446744073709551615");
    EXPECT_STREQ(s.assign(0.1).asCstr(), "0.1");
    EXPECT_STREQ(s.assign(1e20).asCstr(), "1e+020");
    EXPECT_STREQ(s.assign(-1.5e-7).asCstr(), "-1.5e-007");
    EXPECT_STREQ(s.assign(std::numeric_limits<double>::quiet_NaN()).asCstr(), "nan");
}

TEST_F(KqbStringTest, writesDoublesAsTheCRuntimeDoes) {
    std::mt19937_64 random(11);
    std::vector<double> values = {0.0,
                                  -0.0,
                                  1e15,
                                  999999999999999,
                                  999999999999999.9,
                                  1e-4,
                                  1e-5,
                                  5e-324,
                                  2.2250738585072011e-308,
                                  1.7976931348623157e308,
                                  -std::numeric_limits<double>::infinity(),
                                  9.9999999999999995e22};
    for (int i = 0; i < 20000; ++i) {
        auto const value = std::bit_cast<double>(static_cast<std::uint64_t>(random()));
        if (!std::isnan(value)) values.push_back(value);
        values.push_back(static_cast<double>(random() % 100000000) / std::pow(10, i % 9));
    }
    for (double value : values) {
        char expected[40];
        std::snprintf(expected, sizeof expected, "%.15g", value);
        std::string text = expected;
        std::size_t const e = text.find('e');
        if (e != std::string::npos && text.size() - e == 4) text.insert(e + 2, "0");
        ASSERT_EQ(KqbString().assign(value).asCstr(), text);
    }
}

TEST_F(KqbStringTest, readsNumbers) {
    bool error = true;
    EXPECT_EQ(KqbString("-42").asInt(&error), -42);
    EXPECT_FALSE(error);
    EXPECT_EQ(KqbString("3000000000").asInt64(&error), 3000000000LL);
    EXPECT_FALSE(error);
    EXPECT_EQ(KqbString("18446744073709551615").asSize(&error), ULLONG_MAX);
    EXPECT_FALSE(error);
    EXPECT_EQ(KqbString("1.5e3").asDouble(&error), 1500.0);
    EXPECT_FALSE(error);
    for (char const *text : {static_cast<char const *>(nullptr), "", "x", "12x", "3000000000"}) {
        error = false;
        EXPECT_EQ(KqbString(text).asInt(&error), 0);
        EXPECT_TRUE(error) << (text != nullptr ? text : "null");
    }
    EXPECT_EQ(KqbString("-1").asSize(&error), 0U);
    EXPECT_TRUE(error);
    EXPECT_EQ(KqbString("99999999999999999999").asInt64(), 0);
    EXPECT_EQ(KqbString("").asDouble(&error), 0);
    EXPECT_TRUE(error);
}

// --- Order and search -----------------------------------------------------------------------------

TEST_F(KqbStringTest, ordersNullThenBytes) {
    char const *const ascending[] = {nullptr, "", "A", "Aa", "B", "a", "\xC3\xA4", "\xFF"};
    int const size = static_cast<int>(std::size(ascending));
    for (int i = 0; i < size; ++i) {
        for (int k = 0; k < size; ++k) {
            KqbString const a(ascending[i]), b(ascending[k], true);
            int const expected = (i > k) - (i < k);
            EXPECT_EQ(a.compare(b), expected);
            EXPECT_EQ(a.compare(ascending[k]), expected);
            EXPECT_EQ(a < b, expected < 0);
            EXPECT_EQ(KqbStringLess()(a, b), expected < 0);
        }
    }
}

TEST_F(KqbStringTest, ordersWithoutCase) {
    EXPECT_EQ(KqbString("stra\xC3\x9F"
                        "e")
                  .compare("STRASSE", false),
              0);
    EXPECT_EQ(KqbString("b").compare("A", false), 1);
    EXPECT_EQ(KqbString().compare("", false), -1);
    EXPECT_EQ(KqbString("").compare(KqbString(), false), 1);
    EXPECT_TRUE(KqbStringLessInsensitive()("a", "B"));
    EXPECT_FALSE(KqbStringLessInsensitive()("a", "A"));
}

TEST_F(KqbStringTest, findsByCharacters) {
    struct {
        char const *text, *needle;
        int start, first, last;
    } const cases[] = {{"abcabc", "bc", 0, 1, 4},
                       {"abcabc", "bc", 2, 4, 4},
                       {"abcabc", "bc", -5, 1, 4},
                       {"abc", "c", 3, -1, 2},
                       {"abc", "c", 4, -1, 2},
                       {"abc", "", 0, -1, -1},
                       {"abc", nullptr, 0, -1, -1},
                       {nullptr, "a", 0, -1, -1},
                       {"", "a", 0, -1, -1},
                       {"aaa", "aa", 0, 0, 1},
                       {"\xC3\xA4\xC3\xB6x", "x", 0, 2, 2},
                       {"\xC3\xA4\xC3\xB6x\xC3\xB6", "\xC3\xB6", 2, 3, 3},
                       {"abc", "abcd", 0, -1, -1}};
    for (auto const &c : cases) {
        EXPECT_EQ(KqbString(c.text).find(c.needle, c.start), c.first) << c.text;
        EXPECT_EQ(KqbString(c.text).rfind(c.needle), c.last) << c.text;
    }
}

// Texts of few letters, in memory that ends with them, against the standard library's search.
TEST_F(KqbStringTest, findsInTextsOfEverySize) {
    std::mt19937 random(3);
    for (int round = 0; round < 4000; ++round) {
        std::string text(random() % 200, 'a');
        for (char &c : text) c = static_cast<char>('a' + random() % 2);
        std::string needle(1 + random() % 12, 'a');
        for (char &c : needle) c = static_cast<char>('a' + random() % 2);
        std::unique_ptr<char[]> const exact(new char[text.size() + 1]);
        std::memcpy(exact.get(), text.c_str(), text.size() + 1);
        KqbString const s = borrow(exact.get());
        KqbString const wanted = borrow(needle.c_str());
        auto const start = random() % 3 == 0 ? random() % (text.size() + 1) : 0;
        EXPECT_EQ(s.find(wanted, static_cast<int>(start)),
                  static_cast<int>(text.find(needle, start)));
        EXPECT_EQ(s.rfind(wanted), static_cast<int>(text.rfind(needle)));
    }
}

TEST_F(KqbStringTest, findsWhereNearlyEverythingFits) {
    std::string text(200000, 'a');
    std::string const needle = std::string(500, 'a') + "b" + std::string(500, 'a');
    EXPECT_EQ(KqbString(text.c_str()).find(needle.c_str()), -1);
    text[150000] = 'b';
    EXPECT_EQ(KqbString(text.c_str()).find(needle.c_str()), 149500);
}

// --- Parts and replacement ------------------------------------------------------------------------

TEST_F(KqbStringTest, takesParts) {
    struct {
        char const *text;
        unsigned start;
        int count;
        std::string expected;
    } const cases[] = {{"abc", 10, 2, "owned:"},
                       {"abc", 3, -1, "owned:"},
                       {"abc", 0, -1, "owned:abc"},
                       {"abc", 1, 1, "owned:b"},
                       {"abc", 1, 9, "owned:bc"},
                       {"abc", 1, 0, "owned:"},
                       {nullptr, 0, -1, "null"},
                       {"", 0, 2, "owned:"},
                       {"abc", UINT_MAX, -1, "owned:"},
                       {"\xC3\xA4x\xC3\xB6", 1, 2, "owned:x\xC3\xB6"},
                       {"\xC3\xA4x\xC3\xB6", 0, 2, "owned:\xC3\xA4x"}};
    for (auto const &c : cases)
        EXPECT_EQ(state(KqbString(c.text).mid(c.start, c.count)), c.expected);
    EXPECT_EQ(state(KqbString("abc").right(5)), "owned:abc");
    EXPECT_EQ(state(KqbString("\xC3\xA4x\xC3\xB6").right(2)), "owned:x\xC3\xB6");
    EXPECT_EQ(state(KqbString("abc").right(0)), "owned:");
    EXPECT_EQ(state(KqbString("abc").right(-1)), "owned:");
    EXPECT_EQ(state(KqbString("abc").right(INT_MIN)), "owned:");
    EXPECT_EQ(state(KqbString().right(2)), "null");
    EXPECT_EQ(state(borrow(kText).mid(0)), owned(kText));
}

TEST_F(KqbStringTest, replaces) {
    struct {
        char const *text, *from, *to;
        unsigned start;
        int count;
        std::string expected;
    } const cases[] = {{"aaa", "a", "b", 0, 1, "owned:baa"},
                       {"aaa", "a", "b", 0, -1, "owned:bbb"},
                       {"aaa", "a", "b", 1, -1, "owned:abb"},
                       {"aaa", "a", "b", 0, 0, "owned:aaa"},
                       {"aaa", "a", "b", 9, -1, "owned:aaa"},
                       {"aaa", "", "b", 0, -1, "owned:aaa"},
                       {"aaa", nullptr, "b", 0, -1, "owned:aaa"},
                       {"aaa", "a", nullptr, 0, -1, "owned:"},
                       {"aaaa", "aa", "a", 0, -1, "owned:aa"},
                       {nullptr, "a", "b", 0, -1, "null"},
                       {"", "a", "b", 0, -1, "owned:"},
                       {"x.y.z", ".", "::", 0, -1, "owned:x::y::z"},
                       {"\xC3\xA4.\xC3\xA4", "\xC3\xA4", "ae", 1, -1, "owned:\xC3\xA4.ae"},
                       {"a.b", ".", "\xE2\x82\xAC", 0, 5,
                        "owned:a\xE2\x82\xAC"
                        "b"}};
    for (auto const &c : cases) {
        KqbString const s(c.text);
        EXPECT_EQ(state(s.replace(c.from, c.to, c.start, c.count)), c.expected) << c.text;
        EXPECT_STREQ(s.asCstr(), c.text != nullptr ? c.text : "");
    }
    EXPECT_EQ(state(borrow(kText).replace("?", "!")), owned(kText));
}

// --- Editing --------------------------------------------------------------------------------------

TEST_F(KqbStringTest, trims) {
    struct {
        char const *text;
        bool leading, trailing;
        int removed;
        char const *expected;
    } const cases[] = {{"  x  ", true, true, 4, "x"},
                       {"  x  ", true, false, 2, "x  "},
                       {"  x  ", false, true, 2, "  x"},
                       {"  x  ", false, false, 0, "  x  "},
                       {"   ", true, true, 3, ""},
                       {"   ", false, true, 3, ""},
                       {"", true, true, 0, ""},
                       {"x y", true, true, 0, "x y"},
                       {"\t\n\xC2\xA0\xE3\x80\x80\xC3\xA4\xE2\x80\x83", true, true, 5, "\xC3\xA4"}};
    for (auto const &c : cases) {
        KqbString s(c.text);
        EXPECT_EQ(s.trim(c.leading, c.trailing), c.removed) << c.text;
        EXPECT_EQ(state(s), owned(c.expected));
    }
    EXPECT_EQ(kqbTrimmed(" \xC2\xA0"
                         "x y\t"),
              "x y");
    KqbString euros(
        "\xE2\x82\xAC\xE2\x82\xAC"
        "5\xE2\x82\xAC");
    EXPECT_EQ(euros.trimChar(0x20AC, true, false), 2);
    EXPECT_EQ(euros.trimChar(0x20AC), 1);
    EXPECT_EQ(state(euros), owned("5"));
    EXPECT_EQ(euros.trimChar(0), 0);
}

TEST_F(KqbStringTest, mapsCaseAlsoWhereSizesChange) {
    KqbString s(
        "stra\xC3\x9F"
        "e \xC5\x89");  // U+0149 grows to two characters
    EXPECT_TRUE(s.uppercase());
    EXPECT_EQ(state(s), owned("STRASSE \xCA\xBCN"));
    KqbString shrinking("\xE2\x84\xAA");  // the Kelvin sign
    EXPECT_TRUE(shrinking.lowercase());
    EXPECT_EQ(state(shrinking), owned("k"));
    KqbString growing;
    for (int i = 0; i < 30; ++i) growing.append("\xCE\x90");  // 2 bytes to 6
    EXPECT_TRUE(growing.uppercase());
    EXPECT_EQ(growing.cStrSize(), 181U);
    EXPECT_EQ(state(growing), owned(growing.asCstr()));
}

TEST_F(KqbStringTest, exchangesUtf16) {
    unsigned short const units[] = {'a', 0xD83D, 0xDE00, 0x20AC, 0};
    KqbString s;
    EXPECT_EQ(state(s.fromUCS2(units)), owned("a\xF0\x9F\x98\x80\xE2\x82\xAC"));
    KqUtf8ToUC *const converter = s.asUCS2();
    EXPECT_EQ(converter->bufLength(), 5);
    EXPECT_EQ(std::memcmp(converter->ucString(), units, sizeof units), 0);
    converter->release();
    unsigned short const lone[] = {'a', 0xD83D, 0};
    EXPECT_EQ(state(s.fromUCS2(lone)), "owned:");
    EXPECT_EQ(state(KqbString().fromUCS2(nullptr)), "owned:");
    KqUtf8ToUC *const empty = KqbString().asUCS2();
    EXPECT_EQ(empty->bufLength(), 1);
    empty->release();
}

TEST_F(KqbStringTest, utf16SurvivesMissingMemory) {
    refusesRequests_ = true;
    std::vector<unsigned short> units(2000, 'u');
    units.push_back(0);
    KqbString s(kText);
    KqbString const large(std::string(2000, 'x').c_str());
    AllocFaults::failFrom(1);
    s.fromUCS2(units.data());
    KqUtf8ToUC *const none = large.asUCS2();
    AllocFaults::failAt(2);
    KqUtf8ToUC *const withoutBuffer = large.asUCS2();
    AllocFaults::off();
    EXPECT_EQ(state(s), owned(kText));
    EXPECT_EQ(none, nullptr);
    EXPECT_EQ(withoutBuffer, nullptr);
    EXPECT_STREQ(s.fromUCS2(units.data()).asCstr(), std::string(2000, 'u').c_str());
}

TEST_F(KqbStringTest, makesUniqueIdentifiers) {
    std::set<std::string> seen;
    for (int i = 0; i < 100; ++i) seen.insert(kqbGetUUID().asCstr());
    EXPECT_EQ(seen.size(), 100U);
    EXPECT_EQ(seen.begin()->size(), 36U);
}

// --- Against a model ------------------------------------------------------------------------------

// Characters of the model stand for themselves, save a and e for longer ones.
std::string rendered(std::string const &model) {
    std::string text;
    for (char c : model)
        text += c == 'a' ? "\xC3\xA4" : c == 'e' ? "\xE2\x82\xAC" : std::string(1, c);
    return text;
}

void step(unsigned kind, unsigned n, KqbString &s, std::string &model, KqbString const &other,
          std::string const &otherModel) {
    auto const count = static_cast<int>(n % 7);
    switch (kind) {
        case 0:
            s.append(other), model += otherModel;
            break;
        case 1:
            s.append(other.asCstr(), count), model += otherModel.substr(0, n % 7);
            break;
        case 2:
            s.assign(other.asCstr(), count), model = otherModel.substr(0, n % 7);
            break;
        case 3:
            s = s.mid(n % 9, count);
            model = n % 9 < model.size() ? model.substr(n % 9, n % 7) : "";
            break;
        case 4:
            s.truncate(n % 40), model.resize(std::min<std::size_t>(model.size(), n % 40));
            break;
        case 5:
            s = other, model = otherModel;
            break;
        case 6:
            s.append("\xC3\xA4"), model += "a";
            break;
        case 7:
            s.append("x"), model += "x";
            break;
        default:
            s = s.replace("x", "\xE2\x82\xAC-", n % 5, count);
            for (std::size_t p = n % 5, left = n % 7; left-- > 0 && p <= model.size(); p += 2) {
                p = model.find('x', p);
                if (p == std::string::npos) break;
                model.replace(p, 1, "e-");
            }
    }
}

TEST_F(KqbStringTest, behavesLikeAModel) {
    constexpr unsigned kStrings = 4;
    KqbString strings[kStrings];
    std::string models[kStrings];
    for (KqbString &s : strings) s.assign("");
    std::mt19937 random(5);
    auto const next = [&](unsigned limit) { return static_cast<unsigned>(random() % limit); };
    for (int i = 0; i < 40000; ++i) {
        unsigned const a = next(kStrings), b = next(kStrings), kind = next(9);
        std::string const otherModel = models[b];
        step(kind, next(10000), strings[a], models[a], strings[b], otherModel);
        strings[a].truncate(300);
        models[a].resize(std::min<std::size_t>(models[a].size(), 300));
        for (unsigned k = 0; k < kStrings; ++k) {
            ASSERT_EQ(state(strings[k]), owned(rendered(models[k]))) << i << " kind " << kind;
        }
        std::size_t const found =
            models[b].empty() ? std::string::npos : models[a].find(models[b].substr(0, 2));
        EXPECT_EQ(strings[a].find(strings[b].mid(0, 2)), static_cast<int>(found));
    }
}

// --- Threads --------------------------------------------------------------------------------------

TEST_F(KqbStringTestThreads, sharedTextIsChangedByNobody) {
    KqbString const shared(kText);
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([copy = shared, t] {
            for (int i = 0; i < 20000; ++i) {
                KqbString own(copy);
                KqbString second = own;
                if (i % 2 == 0) own.setNull();
                second.append(t % 2 == 0 ? "even" : "odd");
                second.uppercase();
                ASSERT_EQ(copy.compare(kText), 0);
                ASSERT_EQ(second.length(), copy.length() + (t % 2 == 0 ? 4 : 3));
            }
        });
    }
    for (std::thread &thread : threads) thread.join();
    EXPECT_EQ(state(shared), owned(kText));
}

// The last reference may go on any thread, right after another thread wrote to its own copy.
TEST_F(KqbStringTestThreads, lastOwnerMayWriteInPlace) {
    for (int i = 0; i < 2000; ++i) {
        KqbString mine(kText);
        std::thread other([copy = mine]() mutable { copy.append("x"); });
        mine.append("y");
        other.join();
        ASSERT_EQ(state(mine), owned(std::string(kText) + "y"));
    }
}

}  // namespace
