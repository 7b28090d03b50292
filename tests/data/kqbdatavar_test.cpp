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

#include "core/kqbdate_internal.h"
#include "data/cursor_fixture.h"
#include "kqb/kqbhost.h"
#include "support/cases.h"
#include "support/pool_faults.h"

namespace {

class KqbDatavarTest : public CursorTest {};  // blobs need the same services
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

// The value of such a state.
KqbDatavar valueOf(std::string const &state) {
    KqbDatavar value;
    if (state == "null") return value;
    auto const type = static_cast<kqbType>(state[0] - '0');
    bool const isEmpty = state.substr(2) == "-";
    EXPECT_TRUE(isEmpty
                    ? value.setType(type)
                    : value.build(type, state.data() + 2, static_cast<unsigned>(state.size()) - 2));
    return value;
}

TEST(KqbTypeTest, namesAndCodes) {
    std::tuple<char const *, int, int, char const *> const cases[] = {
        {"BOOLEAN", 1, 0, "Boolean"},   {"Integer", 2, 0, "Integer"}, {"real", 3, 0, "Real"},
        {"String", 4, 0, "String"},     {"date", 5, 0, "Date"},       {"Date (MDY)", 5, 0, "Date"},
        {"date (dmy)", 5, 1, "Date"},   {"DATE (YMD)", 5, 2, "Date"}, {"binary", 6, 0, "Binary"},
        {"real (MDY)", 0, 0, "Unknown"}};
    for (auto const &[name, code, dateOrder, official] : cases) {
        int order = 7;
        EXPECT_EQ(kqbTypeFromString(name, &order), code) << name;
        EXPECT_EQ(order, dateOrder) << name;
        EXPECT_STREQ(kqbTypeToString(static_cast<kqbType>(code)), official);
    }
    EXPECT_EQ(kqbTypeFromString(nullptr), KqbTypeUnknown);
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
    kqbDateOptions().iso = true;
    // The value; as int, 64-bit integer, size, double, truth value and decimal; "!" for an error.
    for (auto const &c :
         cases("null 0 0 0 0 0 null; 0:- ! ! ! ! ! !; 6:- ! ! ! ! ! !; 3:- ! ! ! ! ! null; "
               "1:true 1 1 1 1 1 1; 1:false 0 0 0 0 0 0; 2:-7 -7 -7 ! -7 1 -7; "
               "2:4294967297 1 4294967297 4294967297 4294967297 1 4294967297; "
               "2:-9223372036854775808 0 -9223372036854775808 ! -9223372036854776000 1 "
               "-9223372036854775808; 3:0.5 0 0 0 0.5 0 0.5; 3:-0.5 -1 -1 ! -0.5 1 -0.5; "
               "3:3000000000 ! 3000000000 3000000000 3000000000 1 3000000000; "
               "3:1E+70 ! ! ! 1E+70 ! 1E+70; 4:12 12 12 12 12 1 12; 4:2.5 ! ! ! 2.5 1 2.5; "
               "4:99999999999999999999 ! ! ! 100000000000000000000 1 99999999999999999999; "
               "4:on ! ! ! ! 1 !; 4:Off ! ! ! ! 0 !; 4:7x ! ! ! ! 1 !; 4:x ! ! ! ! ! !; "
               "4: ! ! ! ! ! !; 4:Yes ! ! ! ! 1 !; 4:0x1 ! ! ! ! 0 !; 4:truer ! ! ! ! ! !; "
               "5:1899-12-28T18:00:00 -1 -1 ! -1.25 ! -1.25")) {
        KqbDatavar const value = valueOf(c[0]);
        EXPECT_EQ(state(value), c[0]);
        std::string expected = c[1];
        for (std::size_t i = 2; i < c.size(); ++i) expected += " " + c[i];
        EXPECT_EQ(conversions(value), expected) << c[0];
    }
    EXPECT_EQ(conversions(var(" -3 ")), "-3 -3 ! -3 ! -3");
    kqbDateOptions() = {};
}

TEST_F(KqbDatavarTest, numbersLoseNothingAndRefuseWhatIsTooLarge) {
    EXPECT_EQ(state(var(18446744073709551615ULL)), "3:18446744073709551615");
    EXPECT_EQ(state(var(9223372036854775807UL)), "2:9223372036854775807");
    EXPECT_EQ(state(var(4294967295U)) + state(var(short{-6})), "2:42949672952:-6");
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
    for (KqbDatavar const &from : {KqbDatavar(), var(true), var("no date"), var(1e9)}) {
        EXPECT_TRUE(from.asDate().isNull()) << state(from);
    }
}

// --- Storing ----------------------------------------------------------------------------------

TEST_F(KqbDatavarTest, countsAndCutsText) {
    std::string const text = "gr\u00fc\u00dfe", all = "4:" + text;  // 5 characters, 7 bytes
    std::tuple<int, int, char const *> const cases[] = {{9, 9, "gr\u00fc\u00dfe"},
                                                        {4, -1, "gr\u00fc\u00df"},
                                                        {-1, 3, "gr"},
                                                        {2, 5, "gr"},
                                                        {3, 3, "gr"},
                                                        {0, -1, ""}};
    for (auto const &[characters, bytes, left] : cases) {
        KqbDatavar alone = var(text.c_str()), shared = var(text.c_str()), copy = shared;
        for (KqbDatavar *value : {&alone, &shared}) {
            EXPECT_TRUE(value->truncate(characters, bytes));
            EXPECT_EQ(state(*value), std::string("4:") + left);
            EXPECT_EQ(value->length(), var(left).length());
        }
        EXPECT_EQ(state(copy), all);
    }
    EXPECT_EQ(var(text.c_str()).length(), 5);
    EXPECT_EQ(state(KqbDatavar().assign(text.c_str(), 3)), "4:gr\u00fc");
    EXPECT_EQ(state(KqbDatavar().assign(text.c_str(), 99)), all);
    EXPECT_EQ(state(KqbDatavar().assignBytes(text.c_str(), 3)), "4:gr");
    EXPECT_EQ(state(KqbDatavar().assignBytes(text.c_str(), UINT_MAX)), all);
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
    EXPECT_TRUE(value.getRaw(&size) == nullptr && size == 0);
}

KqbDatavar sample(kqbType type) {
    char const *const states[] = {"0:bytes",
                                  "1:true",
                                  "2:-42",
                                  "3:-1.5E-70",
                                  "4:gr\u00fc\u00dfe!!",
                                  "5:2017-05-05T09:03:07",
                                  "6:more bytes"};
    return valueOf(states[type]);
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
        if (type == KqbTypeBinary) continue;
        std::string bytes(raw, size);
        ASSERT_TRUE(back.assign(type, bytes.data(), size));
        ASSERT_TRUE(back.assign(type, back.getRaw(nullptr), size));  // its own bytes
        EXPECT_TRUE(equal(back, value)) << type;
        if (required >= 8) bytes.assign(bytes.rbegin(), bytes.rend());
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
    kqbDateOptions().iso = true;
    // From, the type, what comes of it; "!" when that is refused.
    for (auto const &c :
         cases("4:42 2 2:42; 4:4.2 2 !; 4:4.2 3 3:4.2; 4:x 3 !; 3:1.5 2 2:1; 1:true 4 4:true; "
               "2:7 1 1:true; 2:42860 5 5:2017-05-05T00:00:00; 4:2017-05-05 5 "
               "5:2017-05-05T00:00:00; 1:true 5 !; 4:x 6 !; 4:x 0 !; 4:x 9 !; 4:x 4 4:x; "
               "6:bytes 4 !; null 0 0:-; null 1 1:false; null 2 2:0; null 3 3:-; null 4 4:; "
               "null 5 5:1899-12-30T00:00:00; null 6 6:-; null 9 !")) {
        KqbDatavar value = valueOf(c[0]);
        std::string const expected = c[2] == "!" ? state(value) : c[2];
        EXPECT_EQ(value.setType(static_cast<kqbType>(std::stoi(c[1]))), c[2] != "!") << c[0];
        EXPECT_EQ(state(value), expected);
    }
    KqbDatavar kept = var("kept");
    EXPECT_FALSE(kept.build(KqbTypeInteger, "1x", 2) || kept.build(KqbTypeString, "a\0b", 3));
    EXPECT_EQ(state(kept), "4:kept");
    EXPECT_TRUE(kept.build(KqbTypeInteger, "12", 1));  // no NUL behind it
    EXPECT_EQ(state(kept), "2:1");
    kqbDateOptions() = {};
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
        {true, "0:-",
         [](KqbDatavar &v) { return v.assign(KqbTypeUnknown, "seventeen bytes..", 17); }},
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
    for (auto const &c :
         cases("null 1:false; 1:false 1:true; 2:-9223372036854775808 2:1; 3:1.25 3:1.5; 4: 4:a; "
               "4:a 4:ab; 4:Z 4:a; 4:z 4:\u00e9; 5:1900-01-01T12:00 5:1900-01-02")) {
        KqbDatavar const lesser = valueOf(c[0]), greater = valueOf(c[1]);
        EXPECT_EQ(lesser.compare(greater), -1) << c[0];
        EXPECT_EQ(greater.compare(lesser), 1) << c[0];
        EXPECT_EQ(lesser.compare(lesser), 0) << c[0];
        EXPECT_TRUE(KqbDatavarLess()(lesser, greater) && !KqbDatavarLess()(greater, lesser));
    }
    EXPECT_EQ(sample(KqbTypeBinary).compare(valueOf("6:other")), 0);
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
