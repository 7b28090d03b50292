#include "kqb/kqbdatavar.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <climits>
#include <cmath>
#include <cstring>
#include <limits>
#include <string>
#include <thread>
#include <vector>

#include "config/kqbconfigoptions_internal.h"
#include "config/kqbsingleton_internal.h"
#include "core/kqbdate_internal.h"
#include "kqb/kqbhost.h"
#include "support/pool_faults.h"
#include "support/pool_test.h"

namespace {

// Blobs keep their pages with a service of the process, which asks the options.
class KqbDatavarTest : public PoolTest {
protected:
    void SetUp() override {
        PoolTest::SetUp();
        ASSERT_TRUE(kqbConfigOptionsStart() && kqbSingletonsStart());
    }
    void TearDown() override {
        kqbSingletonsStop();
        kqbConfigOptionsStop();
        PoolTest::TearDown();
    }
};
using KqbDatavarTestThreads = KqbDatavarTest;

constexpr kqbType kTypes[] = {KqbTypeUnknown, KqbTypeBoolean, KqbTypeInteger, KqbTypeReal,
                              KqbTypeString,  KqbTypeDate,    KqbTypeBinary};
constexpr auto kNoType = static_cast<kqbType>(9);

template <class Value>
KqbDatavar var(Value const &value) {
    return KqbDatavar().assign(value);
}

// Type and text of a value: "3:1.5"; what has no text is "-".
std::string state(KqbDatavar const &value) {
    if (value.isNull()) return "null";
    KqbString const text = value.asString();
    return std::to_string(value.type()) + ":" + (text.isNull() ? "-" : text.asCstr());
}

std::string bytesOf(KqbBlob blob) {
    std::string bytes(static_cast<std::size_t>(blob.size()), '\0');
    blob.rewind();
    blob.read(bytes.data(), blob.size());
    return bytes;
}

TEST(KqbTypeTest, namesAndCodes) {
    struct {
        char const *name;
        int code, order;
        char const *first;
    } const cases[] = {
        {"unknown", 0, 0, "Unknown"}, {"BOOLEAN", 1, 0, "Boolean"}, {"Integer", 2, 0, "Integer"},
        {"real", 3, 0, "Real"},       {"String", 4, 0, "String"},   {"Date", 5, 0, "Date"},
        {"Date (mdy)", 5, 0, "Date"}, {"date (DMY)", 5, 1, "Date"}, {"date (ymd)", 5, 2, "Date"},
        {"binary", 6, 0, "Binary"},   {"Numeric", 0, 0, "Unknown"}, {"", 0, 0, "Unknown"},
        {nullptr, 0, 0, "Unknown"}};
    for (auto const &c : cases) {
        int order = 7;
        kqbType const type = kqbTypeFromString(c.name, &order);
        EXPECT_EQ(type, c.code) << c.name;
        EXPECT_EQ(order, c.order) << c.name;
        EXPECT_EQ(kqbTypeFromString(c.name), type);
        EXPECT_STREQ(kqbTypeToString(type), c.first);
    }
    EXPECT_STREQ(kqbTypeToString(kNoType), "");
}

// --- Conversions ------------------------------------------------------------------------------

// Every conversion that answers with a number, as text; "!" for an error.
std::string conversions(KqbDatavar const &value) {
    std::string result;
    auto const add = [&](auto convert) {
        bool error = true;
        auto const number = (value.*convert)(&error);
        EXPECT_EQ((value.*convert)(nullptr), number);
        EXPECT_TRUE(!error || number == decltype(number){});
        result += (result.empty() ? "" : " ") +
                  (error ? "!" : std::string(KqbReal(number).asString(30).asCstr()));
    };
    add(&KqbDatavar::asInt);
    add(&KqbDatavar::asInt64);
    add(&KqbDatavar::asSize);
    add(&KqbDatavar::asDouble);
    add(&KqbDatavar::asBool);
    bool error = true;
    KqbReal const real = value.asReal(&error);
    result += error ? " !" : std::string(" ") + (real.isNull() ? "null" : real.asString().asCstr());
    return result;
}

TEST_F(KqbDatavarTest, convertsByTheTable) {
    KqbDatavar unknown, nullReal;
    unknown.setType(KqbTypeUnknown);
    nullReal.setType(KqbTypeReal);
    struct {
        KqbDatavar value;
        std::string state, conversions;
    } const cases[] = {
        {KqbDatavar(), "null", "0 0 0 0 0 null"},
        {unknown, "0:-", "! ! ! ! ! !"},
        {var(true), "1:true", "1 1 1 1 1 1"},
        {var(false), "1:false", "0 0 0 0 0 0"},
        {var(-7), "2:-7", "-7 -7 ! -7 1 -7"},
        {var(4294967297), "2:4294967297", "1 4294967297 4294967297 4294967297 1 4294967297"},
        {var(LLONG_MIN), "2:-9223372036854775808",
         "0 -9223372036854775808 ! -9223372036854776000 1 -9223372036854775808"},
        {var(0.5), "3:0.5", "0 0 0 0.5 0 0.5"},
        {var(-0.5), "3:-0.5", "-1 -1 ! -0.5 1 -0.5"},
        {var(3e9), "3:3000000000", "! 3000000000 3000000000 3000000000 1 3000000000"},
        {var(1e30), "3:1" + std::string(30, '0'), "! ! ! 1E+30 ! 1" + std::string(30, '0')},
        {nullReal, "3:-", "! ! ! ! ! null"},
        {var("12"), "4:12", "12 12 12 12 1 12"},
        {var(" -3 "), "4: -3 ", "-3 -3 ! -3 ! -3"},
        {var("2.5"), "4:2.5", "! ! ! 2.5 1 2.5"},
        {var("99999999999999999999"), "4:99999999999999999999",
         "! ! ! 100000000000000000000 1 99999999999999999999"},
        {var("on"), "4:on", "! ! ! ! 1 !"},
        {var("Off"), "4:Off", "! ! ! ! 0 !"},
        {var("7x"), "4:7x", "! ! ! ! 1 !"},
        {var("x"), "4:x", "! ! ! ! ! !"},
        {var(""), "4:", "! ! ! ! ! !"},
        {var(KqbDate(-1.25)), "5:12/28/1899 18:00:00", "-1 -1 ! -1.25 ! -1.25"},
    };
    for (auto const &c : cases) {
        EXPECT_EQ(state(c.value), c.state);
        EXPECT_EQ(conversions(c.value), c.conversions) << c.state;
    }
}

TEST_F(KqbDatavarTest, floatsAreShortAndRefuseWhatIsTooLarge) {
    EXPECT_EQ(state(var(0.1F)), "3:0.1");
    EXPECT_EQ(var(0.1F).asFloat(), 0.1F);
    EXPECT_EQ(var(FLT_MAX).asFloat(), FLT_MAX);
    EXPECT_EQ(var(-HUGE_VAL).asFloat(), -HUGE_VALF);
    bool error = false;
    EXPECT_EQ(var(1e39).asFloat(&error), 0);
    EXPECT_TRUE(error);
    EXPECT_TRUE(var(std::nan("")).isNull() && var(std::nanf("")).isNull());
}

TEST_F(KqbDatavarTest, datesComeFromTextAndNumbers) {
    KqbDate const date(2017, 5, 5, 9, 3, 7);
    for (KqbDatavar const &from : {var(date), var("2017-05-05T09:03:07"), var(date.asDouble())}) {
        EXPECT_EQ(from.asDate().compare(date), 0) << state(from);
    }
    EXPECT_EQ(var(42860).asDate().compare(KqbDate(2017, 5, 5, 0, 0, 0)), 0);
    for (KqbDatavar const &from : {KqbDatavar(), var(true), var("no date"), var(1e9)}) {
        EXPECT_TRUE(from.asDate().isNull()) << state(from);
    }
    kqbDateOptions().iso = true;
    EXPECT_EQ(state(var(date)), "5:2017-05-05T09:03:07");
    kqbDateOptions().milliseconds = true;
    EXPECT_EQ(state(var(date)), "5:2017-05-05T09:03:07.000");
    kqbDateOptions() = {};
}

TEST_F(KqbDatavarTest, unsignedNumbersLoseNothing) {
    EXPECT_EQ(state(var(18446744073709551615ULL)), "3:18446744073709551615");
    EXPECT_EQ(var(18446744073709551615ULL).asSize(), 18446744073709551615ULL);
    EXPECT_EQ(state(var(9223372036854775807UL)), "2:9223372036854775807");
    EXPECT_EQ(state(var(4294967295U)), "2:4294967295");
    EXPECT_EQ(state(var(-5L)) + state(var(short{-6})) + state(var('\1')), "2:-52:-62:1");
}

// --- Storing ----------------------------------------------------------------------------------

TEST_F(KqbDatavarTest, countsAndCutsText) {
    char const text[] = "gr\u00fc\u00dfe";  // 5 characters, 7 bytes
    struct {
        int characters, bytes;
        std::string expected;
    } const cases[] = {{-1, -1, text}, {9, 9, text},        {5, 7, text}, {4, -1, "gr\u00fc\u00df"},
                       {-1, 3, "gr"},  {-1, 4, "gr\u00fc"}, {2, 5, "gr"}, {3, 3, "gr"},
                       {0, -1, ""},    {-1, 0, ""}};
    for (auto const &c : cases) {
        KqbDatavar alone = var(text), shared = alone, copy = alone;
        alone.setNull();
        alone.assign(text);
        for (KqbDatavar *value : {&alone, &shared}) {
            EXPECT_TRUE(value->truncate(c.characters, c.bytes));
            EXPECT_EQ(state(*value), "4:" + c.expected);
            EXPECT_EQ(value->length(), var(c.expected.c_str()).length());
        }
        EXPECT_EQ(state(copy), std::string("4:") + text);
    }
    EXPECT_EQ(var(text).length(), 5);
    EXPECT_EQ(state(KqbDatavar().assign(text, 3)), "4:gr\u00fc");
    EXPECT_EQ(state(KqbDatavar().assign(text, 99)), std::string("4:") + text);
    EXPECT_EQ(state(KqbDatavar().assignBytes(text, 3)), "4:gr");
    EXPECT_EQ(state(KqbDatavar().assignBytes(text, UINT_MAX)), std::string("4:") + text);
    KqbDatavar number = var(5);
    EXPECT_FALSE(number.truncate(0, 0) || KqbDatavar().truncate(0, 0));
    EXPECT_EQ(number.length(), -1);
}

TEST_F(KqbDatavarTest, nullsMakeNull) {
    char const *const noText = nullptr;
    KqbDatavar value = var(1);
    EXPECT_TRUE(value.assign(noText).isNull() && value.assign(noText, 3).isNull());
    EXPECT_TRUE(value.assignBytes(noText, 3).isNull() && value.assign(KqbString()).isNull());
    EXPECT_TRUE(value.assign(KqbReal()).isNull() && value.assign(KqbDate()).isNull());
    EXPECT_TRUE(value.assign(KqbBlob()).isNull());
    EXPECT_EQ(value.type(), KqbTypeUnknown);
    EXPECT_EQ(value.length(), -1);
    unsigned size = 7;
    EXPECT_EQ(value.getRaw(&size), nullptr);
    EXPECT_EQ(size, 0U);
}

KqbDatavar sample(kqbType type) {
    KqbDatavar value;
    switch (type) {
        case KqbTypeBoolean:
            return value.assign(true);
        case KqbTypeInteger:
            return value.assign(-42);
        case KqbTypeReal:
            return value.assign(KqbReal("-1.5e-70"));
        case KqbTypeString:
            return value.assign("gr\u00fc\u00dfe!!");
        case KqbTypeDate:
            return value.assign(KqbDate(2017, 5, 5, 9, 3, 7));
        default:
            value.assign(type, "a\0b", 3);
            return value;
    }
}

bool equal(KqbDatavar const &a, KqbDatavar const &b) {
    if (a.type() == KqbTypeBinary) return bytesOf(a.asBlob()) == bytesOf(b.asBlob());
    unsigned sizeA = 0, sizeB = 0;
    void const *const rawA = a.getRaw(&sizeA), *const rawB = b.getRaw(&sizeB);
    return a.type() == b.type() && sizeA == sizeB && std::memcmp(rawA, rawB, sizeA) == 0;
}

TEST_F(KqbDatavarTest, rawBytesReadBackInEitherOrder) {
    for (kqbType type : kTypes) {
        KqbDatavar const value = sample(type);
        KqbDatavar back = var("something else");
        unsigned size = 0;
        auto const *raw = static_cast<char const *>(value.getRaw(&size));
        unsigned const required = KqbDatavar::getRawSizeReq(type);
        EXPECT_TRUE(required == 0 || size == required);
        if (type == KqbTypeBinary) {
            EXPECT_EQ(raw, nullptr);
            EXPECT_EQ(bytesOf(value.asBlob()), std::string("a\0b", 3));
            continue;
        }
        std::string bytes(raw, size);
        ASSERT_TRUE(back.assign(type, bytes.data(), size));
        EXPECT_TRUE(equal(back, value)) << type;
        ASSERT_TRUE(back.assign(type, back.getRaw(nullptr), size));  // its own bytes
        EXPECT_TRUE(equal(back, value)) << type;
        bool const turns = required == 8 || required == 24;
        if (turns) bytes.assign(bytes.rbegin(), bytes.rend());
        ASSERT_TRUE(back.assign(type, bytes.data(), size, true));
        EXPECT_TRUE(equal(back, value)) << type;
    }
    EXPECT_EQ(KqbDatavar::getRawSizeReq(kNoType), 0U);
}

TEST_F(KqbDatavarTest, refusesBytesThatAreNoValue) {
    double const noDate = std::nan(""), farDate = 1e9;
    KqbDatavar value = var("kept");
    EXPECT_FALSE(value.assign(kNoType, "x", 1) || value.assign(KqbTypeInteger, "1234567", 7));
    EXPECT_FALSE(value.assign(KqbTypeBoolean, "", 0) || value.assign(KqbTypeReal, &noDate, 8));
    EXPECT_FALSE(value.assign(KqbTypeString, "a\0b", 4) || value.assign(KqbTypeString, nullptr, 1));
    EXPECT_FALSE(value.assign(KqbTypeDate, &noDate, 8) || value.build(kNoType, "x", 1));
    EXPECT_FALSE(value.assign(KqbTypeDate, &farDate, 8) || value.build(kNoType, nullptr, 0));
    EXPECT_EQ(state(value), "4:kept");
    EXPECT_TRUE(value.assign(KqbTypeBoolean, "\x80", 1));
    EXPECT_EQ(state(value), "1:true");
    EXPECT_TRUE(value.assign(KqbTypeString, "text", 2));
    EXPECT_EQ(state(value), "4:te");
    unsigned long long const nan[3] = {1, 2, ~0ULL};
    EXPECT_TRUE(value.assign(KqbTypeReal, nan, 24) && value.isNull());
    EXPECT_TRUE(value.assign(KqbTypeBinary, nullptr, 0) && value.isNull());
}

TEST_F(KqbDatavarTest, setTypeConvertsOrRefuses) {
    struct {
        KqbDatavar value;
        kqbType type;
        std::string expected;  // empty: refused
    } const cases[] = {{var("42"), KqbTypeInteger, "2:42"},
                       {var("4.2"), KqbTypeInteger, ""},
                       {var("4.2 "), KqbTypeReal, "3:4.2"},
                       {var("x"), KqbTypeReal, ""},
                       {var(1.5), KqbTypeInteger, "2:1"},
                       {var(true), KqbTypeString, "4:true"},
                       {var(7), KqbTypeBoolean, "1:true"},
                       {var(42860), KqbTypeDate, "5:05/05/2017 00:00:00"},
                       {var(true), KqbTypeDate, ""},
                       {var("x"), KqbTypeBinary, ""},
                       {var("x"), KqbTypeUnknown, ""},
                       {var("x"), kNoType, ""},
                       {var("x"), KqbTypeString, "4:x"},
                       {sample(KqbTypeBinary), KqbTypeString, ""},
                       {KqbDatavar(), KqbTypeBoolean, "1:false"},
                       {KqbDatavar(), KqbTypeInteger, "2:0"},
                       {KqbDatavar(), KqbTypeReal, "3:-"},
                       {KqbDatavar(), KqbTypeString, "4:"},
                       {KqbDatavar(), KqbTypeDate, "5:12/30/1899 00:00:00"},
                       {KqbDatavar(), KqbTypeBinary, "6:-"},
                       {KqbDatavar(), KqbTypeUnknown, "0:-"}};
    for (auto const &c : cases) {
        KqbDatavar value = c.value;
        EXPECT_EQ(value.setType(c.type), !c.expected.empty()) << state(c.value) << " to " << c.type;
        EXPECT_EQ(state(value), c.expected.empty() ? state(c.value) : c.expected);
        if (c.value.type() != KqbTypeString) continue;
        // The same text, without a NUL behind it.
        std::string const text = c.value.asString().asCstr();
        bool const isBytes = c.type == KqbTypeBinary || c.type == KqbTypeUnknown;
        EXPECT_EQ(value.build(c.type, (text + "9").data(), static_cast<unsigned>(text.size())),
                  !c.expected.empty() || isBytes);
        EXPECT_TRUE(isBytes || state(value) == (c.expected.empty() ? state(c.value) : c.expected));
    }
}

// --- Sharing ----------------------------------------------------------------------------------

TEST_F(KqbDatavarTest, everyTypeTurnsIntoEveryOtherAndLeavesCopiesAlone) {
    for (kqbType from : kTypes) {
        for (kqbType to : kTypes) {
            for (bool isShared : {false, true}) {
                KqbDatavar value = sample(from);
                KqbDatavar const copy = isShared ? value : KqbDatavar();
                unsigned size = 0;
                KqbDatavar const target = sample(to);
                if (void const *const raw = target.getRaw(&size)) {
                    ASSERT_TRUE(value.assign(to, raw, size));
                } else {
                    value.assign(target.asBlob());
                }
                EXPECT_TRUE(equal(value, target)) << from << " to " << to;
                EXPECT_TRUE(!isShared || equal(copy, sample(from)));
            }
        }
    }
    KqbDatavar value = var("abc");
    value = *&value;
    KqbDatavar moved = std::move(value);
    EXPECT_TRUE(value.isNull());
    value = std::move(moved);
    value.assign(static_cast<char const *>(value.getRaw(nullptr)) + 1);
    EXPECT_EQ(state(value), "4:bc");
}

// All blocks that this takes are of 64 bytes; none smaller can be had.
TEST_F(KqbDatavarTest, missingMemoryLosesNoMoreThanItSays) {
    refusesRequests_ = true;
    unsigned const freeBlocks = PoolFaults(0).drained();
    std::string const before = "4:           12.50       ";
    struct {
        bool becomesNull;
        std::string expected;  // with memory enough
        bool (*change)(KqbDatavar &value);
    } const changes[] = {
        {true, "4:another, longer text",
         [](KqbDatavar &v) { return !v.assign("another, longer text").isNull(); }},
        {true, "3:1.5", [](KqbDatavar &v) { return !v.assign(1.5).isNull(); }},
        {true, "", [](KqbDatavar &v) { return !v.assign(5).isNull(); }},
        {true, "0:-", [](KqbDatavar &v) { return v.assign(KqbTypeUnknown, &v, 17); }},
        {true, "", [](KqbDatavar &v) { return v.assign(KqbTypeBinary, "123", 3); }},
        {false, "3:12.5", [](KqbDatavar &v) { return v.setType(KqbTypeReal); }},
        {false, "", [](KqbDatavar &v) { return v.build(KqbTypeInteger, "12", 2); }},
        {false, before.substr(0, 20), [](KqbDatavar &v) { return v.truncate(18, -1); }}};
    for (auto const &c : changes) {
        for (unsigned tries = 0; tries < 20; ++tries) {
            KqbDatavar value = var(before.c_str() + 2);
            KqbDatavar const copy = tries % 2 == 0 ? value : KqbDatavar();
            bool done = false;
            {
                PoolFaults const faults(tries / 2);
                done = c.change(value);
            }
            EXPECT_EQ(state(value), done ? c.expected : c.becomesNull ? "null" : before);
            EXPECT_TRUE(done || tries < 18 || c.expected.empty()) << c.expected;
            EXPECT_TRUE(copy.isNull() || state(copy) == before);
        }
    }
    EXPECT_GE(PoolFaults(0).drained(), freeBlocks);
}

TEST_F(KqbDatavarTestThreads, copiesMayBeOnDifferentThreads) {
    std::vector<KqbDatavar> values;
    for (kqbType type : kTypes) values.push_back(sample(type));
    auto const work = [](std::vector<KqbDatavar> mine) {
        for (int i = 0; i < 2000; ++i) {
            for (KqbDatavar &value : mine) {
                KqbDatavar copy = value;
                copy.assign(i);
                KqbDatavar const other = value;
                value = other;
                EXPECT_EQ(copy.asInt() + value.asBlob().isNull(),
                          i + (value.type() != KqbTypeBinary));
            }
        }
    };
    std::thread first(work, values), second(work, values);
    work(std::move(values));
    first.join();
    second.join();
}

// --- Order ------------------------------------------------------------------------------------

TEST_F(KqbDatavarTest, ordersValuesOfOneType) {
    std::string const longText(300, 'b');
    struct {
        KqbDatavar lesser, greater;
    } const cases[] = {{KqbDatavar(), var(false)},
                       {var(false), var(true)},
                       {var(LLONG_MIN), var(1)},
                       {var(1.25), var(1.5)},
                       {var(""), var("a")},
                       {var("a"), var("ab")},
                       {var("Z"), var("a")},
                       {var("z"), var("\u00e9")},
                       {var("az"), var(longText.c_str())},
                       {var(KqbDate(1.0)), var(KqbDate(1.5))}};
    for (auto const &c : cases) {
        EXPECT_EQ(c.lesser.compare(c.greater), -1) << state(c.lesser);
        EXPECT_EQ(c.greater.compare(c.lesser), 1) << state(c.lesser);
        EXPECT_EQ(c.lesser.compare(c.lesser), 0) << state(c.lesser);
        EXPECT_TRUE(KqbDatavarLess()(c.lesser, c.greater));
        EXPECT_FALSE(KqbDatavarLess()(c.greater, c.lesser) || KqbDatavarLess()(c.lesser, c.lesser));
    }
    KqbDatavar other;
    other.assign(KqbTypeBinary, "other", 5);
    EXPECT_EQ(sample(KqbTypeBinary).compare(other), 0);
}

TEST_F(KqbDatavarTest, comparingTypesIsReported) {
    static std::string report;
    static bool listens = true;
    kqbRegisterAssertionHandler(
        [](char const *message, char const *file, int line, void *) {
            if (listens) report = std::string(message) + "|" + file + "|" + std::to_string(line);
        },
        nullptr);
    EXPECT_EQ(var("1").compare(var(1)), -1);
    EXPECT_EQ(report, "compare type mismatch|kqbdatavar|532");
    listens = false;
}

}  // namespace
