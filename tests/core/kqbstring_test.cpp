#include "kqb/kqbstring.h"

#include <gtest/gtest.h>

#include <bit>
#include <climits>
#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <random>
#include <regex>
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
    {"append no text", [](KqbString &s, bool *e) { s.append("", e); }, "owned:", kSame},
    {"append text", [](KqbString &s, bool *e) { s.append(kTail, e); }, owned(kTail), kBoth},
    {"append more than text", [](KqbString &s, bool *e) { s.append(kTail, 99, e); }, owned(kTail),
     kBoth},
    {"append 18 of text", [](KqbString &s, bool *e) { s.append(kTail, 18, e); },
     owned("0123456789ABCDEFGH"), owned(std::string(kText) + "0123456789ABCDEFGH")},
    {"trim nothing", [](KqbString &s, bool *) { s.trim(true, false); }, "null", kSame},
    {"trim", [](KqbString &s, bool *) { s.trim(); }, "null", owned(kCut)},
    {"trimChar", [](KqbString &s, bool *) { s.trimChar('a'); }, "null", owned(kText + 1)},
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
    std::vector<unsigned short> units(2000, 'u');
    units.push_back(0);
    KqbString s(large.c_str()), assigned("before");
    bool error = false;
    AllocFaults::failFrom(1);
    s.append(large.c_str(), &error);
    KqbString const replaced = s.replace(borrow("x"), borrow("yy"));
    bool const mapped = s.uppercase();
    assigned.assign(large.c_str());
    s.fromUCS2(units.data());
    KqUtf8ToUC *const none = s.asUCS2();
    AllocFaults::failAt(2);
    KqUtf8ToUC *const withoutBuffer = s.asUCS2();
    AllocFaults::off();
    EXPECT_TRUE(error && replaced.isNull() && !mapped && assigned.isNull());
    EXPECT_TRUE(none == nullptr && withoutBuffer == nullptr);
    EXPECT_EQ(state(s), owned(large));
    EXPECT_EQ(state(s.fromUCS2(units.data())), owned(std::string(2000, 'u')));
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

TEST_F(KqbStringTest, assignsBytesByWholeCharacters) {
    std::tuple<char const *, int, char const *> const cases[] = {
        {"abc", 0, ""}, {"abc", -1, ""},      {"abc", 50, "abc"}, {"ä", 1, ""},
        {"äz", 2, "ä"}, {"ab\xFFz", 4, "ab"}, {"a€", 3, "a"},     {"a\xE2\x82", 9, "a"}};
    for (auto const &[text, maxBytes, expected] : cases) {
        EXPECT_EQ(state(KqbString().assignBytes(text, maxBytes)), owned(expected));
    }
    std::unique_ptr<char[]> const unterminated(new char[2]{'h', 'i'});
    EXPECT_EQ(state(KqbString().assignBytes(unterminated.get(), 2)), owned("hi"));
    EXPECT_EQ(state(KqbString().assignBytes(nullptr, 2)), "owned:");
}

TEST_F(KqbStringTest, losesNoByteOfIllFormedText) {
    KqbString s("x");
    s.append("\x80\x80");
    EXPECT_EQ(state(s.append("\xA4")), owned("x\x80\x80\xA4"));
    EXPECT_EQ(s.length(), 1U);
    EXPECT_EQ(s.find(KqbString("\x80")), 1);
    EXPECT_EQ(state(KqbString("\x80z").replace("\x80", "-")), owned("\x80-z"));
    EXPECT_EQ(state(KqbString("z\x80y").replace("z", "-")), owned("-y"));
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

TEST_F(KqbStringTest, writesDoublesAsTheCRuntimeDoes) {
    std::mt19937_64 random(11);
    double const infinity = std::numeric_limits<double>::infinity();
    std::vector<double> values = {-0.0, 1e15,   999999999999999.9,      1e-4,
                                  1e-5, 5e-324, 1.7976931348623157e308, -infinity};
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
    EXPECT_EQ(KqbString("3000000000").asInt64(&error), 3000000000LL);
    EXPECT_FALSE(error);
    EXPECT_EQ(KqbString("18446744073709551615").asSize(&error), ULLONG_MAX);
    EXPECT_FALSE(error);
    EXPECT_EQ(KqbString("1.5e3").asDouble(&error), 1500.0);
    EXPECT_FALSE(error);
    for (char const *text : {static_cast<char const *>(nullptr), "", "12x", "3000000000"}) {
        error = false;
        EXPECT_EQ(KqbString(text).asInt(&error), 0);
        EXPECT_TRUE(error) << (text != nullptr ? text : "null");
    }
    EXPECT_EQ(KqbString("-1").asSize(), 0U);
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
    EXPECT_EQ(KqbString("straße").compare("STRASSE", false), 0);
    EXPECT_EQ(KqbString("b").compare("A", false), 1);
    EXPECT_EQ(KqbString().compare("", false), -1);
    EXPECT_EQ(KqbString("").compare(KqbString(), false), 1);
    EXPECT_TRUE(KqbStringLessInsensitive()("a", "B") && !KqbStringLessInsensitive()("a", "A"));
}

TEST_F(KqbStringTest, findsByCharacters) {
    std::tuple<char const *, char const *, int, int, int> const cases[] = {
        {"abcabc", "bc", 2, 4, 4}, {"abcabc", "bc", -5, 1, 4},  {"abc", "c", 4, -1, 2},
        {"abc", "", 0, -1, -1},    {"abc", nullptr, 0, -1, -1}, {nullptr, "a", 0, -1, -1},
        {"äöxö", "ö", 2, 3, 3},    {"abc", "abcd", 0, -1, -1}};
    for (auto const &[text, needle, start, first, last] : cases) {
        EXPECT_EQ(KqbString(text).find(needle, start), first) << text;
        EXPECT_EQ(KqbString(text).rfind(needle), last) << text;
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
    std::tuple<char const *, unsigned, int, char const *> const cases[] = {
        {"abc", 3, -1, "owned:"}, {"abc", 1, 9, "owned:bc"},       {"abc", 1, 0, "owned:"},
        {nullptr, 0, -1, "null"}, {"abc", UINT_MAX, -1, "owned:"}, {"äxö", 1, 2, "owned:xö"},
        {"äxö", 0, 2, "owned:äx"}};
    for (auto const &[text, start, count, expected] : cases) {
        EXPECT_EQ(state(KqbString(text).mid(start, count)), expected);
    }
    for (auto const &[count, expected] :
         {std::pair{5, "äxö"}, {2, "xö"}, {0, ""}, {-1, ""}, {INT_MIN, ""}}) {
        EXPECT_EQ(state(KqbString("äxö").right(count)), owned(expected));
    }
    EXPECT_EQ(state(KqbString().right(2)), "null");
    EXPECT_EQ(state(borrow(kText).mid(0)), owned(kText));
}

TEST_F(KqbStringTest, replaces) {
    std::tuple<char const *, char const *, char const *, unsigned, int, char const *> const
        cases[] = {{"aaa", "a", "b", 0, 1, "owned:baa"},   {"aaa", "a", "b", 1, -1, "owned:abb"},
                   {"aaa", "a", "b", 0, 0, "owned:aaa"},   {"aaa", "a", "b", 9, -1, "owned:aaa"},
                   {"aaa", "", "b", 0, -1, "owned:aaa"},   {"aaa", nullptr, "b", 0, 1, "owned:aaa"},
                   {"aaa", "a", nullptr, 0, -1, "owned:"}, {"aaaa", "aa", "a", 0, -1, "owned:aa"},
                   {nullptr, "a", "b", 0, -1, "null"},     {"ä.ä", "ä", "ae", 1, -1, "owned:ä.ae"},
                   {"a.b", ".", "€", 0, 5, "owned:a€b"}};
    for (auto const &[text, from, to, start, count, expected] : cases) {
        KqbString const s(text);
        EXPECT_EQ(state(s.replace(from, to, start, count)), expected) << text;
        EXPECT_STREQ(s.asCstr(), text != nullptr ? text : "");
    }
    EXPECT_EQ(state(borrow(kText).replace("?", "!")), owned(kText));
}

// --- Editing --------------------------------------------------------------------------------------

TEST_F(KqbStringTest, trims) {
    std::tuple<char const *, bool, bool, int, char const *> const cases[] = {
        {"  x  ", true, false, 2, "x  "},    {"  x  ", false, true, 2, "  x"},
        {"  x  ", false, false, 0, "  x  "}, {"   ", true, true, 3, ""},
        {"   ", false, true, 3, ""},         {"\t\n\u00A0\u3000ä\u2003", true, true, 5, "ä"}};
    for (auto const &[text, leading, trailing, removed, expected] : cases) {
        KqbString s(text);
        EXPECT_EQ(s.trim(leading, trailing), removed) << text;
        EXPECT_EQ(state(s), owned(expected));
    }
    EXPECT_EQ(kqbTrimmed(" \u00A0x y\t"), "x y");
    KqbString euros("€€5€");
    EXPECT_EQ(euros.trimChar(0x20AC, true, false), 2);
    EXPECT_EQ(euros.trimChar(0x20AC), 1);
    EXPECT_EQ(state(euros), owned("5"));
    EXPECT_EQ(euros.trimChar(0), 0);
}

TEST_F(KqbStringTest, mapsCaseAlsoWhereSizesChange) {
    KqbString shrinking("\u212A");  // the Kelvin sign
    EXPECT_TRUE(shrinking.lowercase());
    EXPECT_EQ(state(shrinking), owned("k"));
    KqbString growing;
    for (int i = 0; i < 30; ++i) growing.append("\u0390");  // 2 bytes to 6
    EXPECT_TRUE(growing.uppercase());
    EXPECT_EQ(growing.cStrSize(), 181U);
    EXPECT_EQ(state(growing), owned(growing.asCstr()));
}

TEST_F(KqbStringTest, exchangesUtf16) {
    unsigned short const units[] = {'a', 0xD83D, 0xDE00, 0x20AC, 0}, lone[] = {'a', 0xD83D, 0};
    KqbString s;
    EXPECT_EQ(state(s.fromUCS2(units)), owned("a😀€"));
    for (int length : {5, 1}) {
        KqUtf8ToUC *const converter = s.asUCS2();
        EXPECT_EQ(converter->bufLength(), length);
        EXPECT_TRUE(length == 1 || std::memcmp(converter->ucString(), units, sizeof units) == 0);
        converter->release();
        s.setNull();
    }
    EXPECT_EQ(state(KqbString("old").fromUCS2(lone)), "owned:");
    EXPECT_EQ(state(KqbString("old").fromUCS2(nullptr)), "owned:");
}

TEST_F(KqbStringTest, makesUniqueIdentifiers) {
    std::regex const form("[0-9a-f]{8}-[0-9a-f]{4}-4[0-9a-f]{3}-[89ab][0-9a-f]{3}-[0-9a-f]{12}");
    std::set<std::string> seen;
    for (int i = 0; i < 100; ++i) {
        EXPECT_TRUE(std::regex_match(*seen.insert(kqbGetUUID().asCstr()).first, form));
    }
    EXPECT_EQ(seen.size(), 100U);
}

// --- Against a model ------------------------------------------------------------------------------

// Characters of the model stand for themselves, save a and e for longer ones.
std::string rendered(std::string const &model) {
    std::string text;
    for (char c : model) text += c == 'a' ? "ä" : c == 'e' ? "€" : std::string(1, c);
    return text;
}

void step(unsigned kind, unsigned n, KqbString &s, std::string &model, KqbString const &other,
          std::string const &otherModel) {
    auto const count = static_cast<int>(n % 7);
    std::size_t const most = n % 7, start = n % 9;
    if (kind == 0) s.append(other), model += otherModel;
    if (kind == 1) s.append(other.asCstr(), count), model += otherModel.substr(0, most);
    if (kind == 2) s.assign(other.asCstr(), count), model = otherModel.substr(0, most);
    if (kind == 3) s = s.mid(n % 9, count), model.erase(0, start), model = model.substr(0, most);
    if (kind == 4) s.truncate(n % 40), model.resize(std::min<std::size_t>(model.size(), n % 40));
    if (kind == 5) s = other, model = otherModel;
    if (kind == 6) s.append("ä"), model += "a";
    if (kind == 7) s.append("x"), model += "x";
    if (kind != 8) return;
    s = s.replace("x", "€-", n % 5, count);
    for (std::size_t p = n % 5, left = most; left-- > 0 && p <= model.size(); p += 2) {
        p = model.find('x', p);
        if (p == std::string::npos) break;
        model.replace(p, 1, "e-");
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
