// The contract's corners. Arithmetic itself is compared with an oracle, in decnumber_oracle.py.
#include "platform/decnumber.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "backends/decnumber/decnumber_core.h"
#include "backends/decnumber/decnumber_quotient.h"

namespace {

using namespace decnumber;

decContext freshContext() {
    decContext context;
    return *decContextDefault(&context, DEC_INIT_DECIMAL192);
}

decSext number(std::string const &text) {
    decContext context = freshContext();
    decSext value;
    decSextFromBytes(&value, text.data(), text.size(), &context);
    EXPECT_EQ(context.status & DEC_Errors, 0u) << text;
    return value;
}

std::string textOf(decSext const &value) {
    char text[DECSEXT_String];
    return decSextToString(&value, text);
}

std::vector<std::uint64_t> wordsOf(decSext const &value) { return {value.words, value.words + 3}; }

// --- Contexts ---------------------------------------------------------------------------------

TEST(DecContextTest, DefaultsAreThoseOfTheFormat) {
    decContext context = freshContext();
    EXPECT_EQ(context.digits, 52);
    EXPECT_EQ(context.emax, 98304);
    EXPECT_EQ(context.emin, -98303);
    EXPECT_EQ(context.clamp, 1);
    EXPECT_EQ(decContextGetRounding(&context), DEC_ROUND_HALF_EVEN);
    EXPECT_EQ(decContextGetStatus(&context), 0u);
    EXPECT_EQ(decContextDefault(&context, 128)->status, DEC_Invalid_context + 0u);
    EXPECT_EQ(context.digits, 52);
}

TEST(DecContextTest, StatusHasNames) {
    decContext context = freshContext();
    EXPECT_STREQ(decContextStatusToString(&context), "No status");
    decContextSetStatus(&context, DEC_Division_by_zero);
    EXPECT_STREQ(decContextStatusToString(&context), "Division by zero");
    decContextSetStatus(&context, DEC_Inexact);
    EXPECT_STREQ(decContextStatusToString(&context), "Multiple status");
    decContextClearStatus(&context, DEC_Division_by_zero);
    EXPECT_STREQ(decContextStatusToString(&context), "Inexact");
    context.status = 0x80000000;
    EXPECT_STREQ(decContextStatusToString(&context), "Unknown status");
}

TEST(DecContextTest, WrongRoundingIsRefusedWhereItMatters) {
    auto const wrong = static_cast<rounding>(99);
    decContext context = freshContext();
    decContextSetRounding(&context, wrong);
    decSext const one = number("1"), three = number("3"), half = number("0.5");
    decSext result;
    decSextAdd(&result, &one, &three, &context);
    EXPECT_EQ(context.status, 0u);
    EXPECT_TRUE(decSextIsNaN(decSextDivide(&result, &one, &three, &context)));
    EXPECT_EQ(context.status, DEC_Invalid_context + 0u);
    context = freshContext();
    decContextSetRounding(&context, wrong);
    EXPECT_TRUE(decSextIsNaN(decSextQuantize(&result, &half, &one, &context)));
    EXPECT_EQ(context.status, DEC_Invalid_context + 0u);
    context = freshContext();
    EXPECT_TRUE(decSextIsNaN(decSextToIntegralValue(&result, &half, &context, wrong)));
    EXPECT_EQ(decSextToInt64(&three, &context, wrong), 0);
    EXPECT_EQ(context.status, DEC_Invalid_context + 0u);
}

// --- The encoding -----------------------------------------------------------------------------

constexpr std::uint64_t kExponentZero = std::uint64_t{98354} << 45;

TEST(DecSextEncodingTest, WordsAreTheInterchangeFormat) {
    std::pair<std::string, std::vector<std::uint64_t>> const cases[] = {
        {"0", {0, 0, kExponentZero}},
        {"-1", {1, 0, kExponentZero | kSign}},
        {"18446744073709551616", {0, 1, kExponentZero}},
        {"1E-98354", {1, 0, 0}},
        {"1.00E+98255", {100, 0, std::uint64_t{196607} << 45}},
        {std::string(52, '9'),
         {0xdb0fffffffffffff, 0x300d0e549208b31a, kExponentZero | 0x1aba4714957d}},
        {"-Infinity", {0, 0, 0xf800000000000000}},
        {"NaN", {0, 0, 0x7c00000000000000}},
        {"-sNaN5", {5, 0, 0xfe00000000000000}},
    };
    for (auto const &[text, words] : cases) {
        decSext const value = number(text);
        EXPECT_EQ(wordsOf(value), words) << text;
        EXPECT_TRUE(decSextIsCanonical(&value)) << text;
        EXPECT_EQ(textOf(value), text);
    }
}

TEST(DecSextEncodingTest, WhatIsNotCanonicalIsReadAsTheStandardSays) {
    Words3 const limit = kPowers[52], payloadLimit = kPowers[51];
    std::pair<decSext, char const *> const cases[] = {
        {{{limit[0], limit[1], limit[2] | kExponentZero | kSign}}, "-0"},
        {{{~Word{0}, ~Word{0}, kCoefficientTop | kExponentZero}}, "0"},
        {{{7, 0, kOtherLayout | Word{98355} << 43}}, "0E+1"},
        {{{0, 0, kOtherLayout | Word{98353} << 43 | 1}}, "0.0"},
        {{{1, 2, kInfinity | 3}}, "Infinity"},
        {{{payloadLimit[0], payloadLimit[1], payloadLimit[2] | kNaN | kSign}}, "-NaN"},
        {{{5, 0, kNaN | Word{1} << 56}}, "NaN5"},
        {{{~Word{0}, ~Word{0}, ~Word{0}}}, "-sNaN"},
    };
    decContext context = freshContext();
    for (auto const &[words, text] : cases) {
        EXPECT_FALSE(decSextIsCanonical(&words)) << text;
        EXPECT_EQ(textOf(words), text);
        decSext const one = number("1");
        for (auto operation : {decSextAdd, decSextMultiply, decSextDivide, decSextRemainder,
                               decSextQuantize, decSextCompare}) {
            decSext result;
            EXPECT_TRUE(decSextIsCanonical(operation(&result, &words, &one, &context))) << text;
            EXPECT_TRUE(decSextIsCanonical(operation(&result, &one, &words, &context))) << text;
        }
    }
}

TEST(DecSextEncodingTest, TellsKindsApart) {
    struct Case {
        char const *text;
        bool isNaN, isSignaling, isInfinite, isZero, isSigned, isNegative, isSubnormal;
        int digits, exponent;
    };
    constexpr int kNone = DECSEXT_SpecialExponent;
    Case const cases[] = {
        {"-0E+7", false, false, false, true, true, false, false, 1, 7},
        {"-12.50", false, false, false, false, true, true, false, 4, -2},
        {"9E-98304", false, false, false, false, false, false, true, 1, -98304},
        {"1.0E-98303", false, false, false, false, false, false, false, 2, -98304},
        {"-Inf", false, false, true, false, true, true, false, 1, kNone},
        {"-NaN123", true, false, false, false, true, false, false, 1, kNone},
        {"snan", true, true, false, false, false, false, false, 1, kNone},
    };
    for (Case const &c : cases) {
        decSext const value = number(c.text);
        EXPECT_EQ(decSextIsNaN(&value), c.isNaN) << c.text;
        EXPECT_EQ(decSextIsSignaling(&value), c.isSignaling) << c.text;
        EXPECT_EQ(decSextIsInfinite(&value), c.isInfinite) << c.text;
        EXPECT_EQ(decSextIsFinite(&value), !c.isNaN && !c.isInfinite) << c.text;
        EXPECT_EQ(decSextIsZero(&value), c.isZero) << c.text;
        EXPECT_EQ(decSextIsSigned(&value), c.isSigned) << c.text;
        EXPECT_EQ(decSextIsNegative(&value), c.isNegative) << c.text;
        EXPECT_EQ(decSextIsSubnormal(&value), c.isSubnormal) << c.text;
        EXPECT_EQ(decSextDigits(&value), c.digits) << c.text;
        EXPECT_EQ(decSextGetExponent(&value), c.exponent) << c.text;
    }
}

TEST(DecSextEncodingTest, ByteSwapTurnsAll24Bytes) {
    decSext value = {{0x0102030405060708, 0x1112131415161718, 0x2122232425262728}};
    decSextByteSwap(&value, &value);
    EXPECT_EQ(wordsOf(value), (std::vector<std::uint64_t>{0x2827262524232221, 0x1817161514131211,
                                                          0x0807060504030201}));
}

// --- Text -------------------------------------------------------------------------------------

TEST(DecSextTextTest, RefusesWhatIsAlmostANumber) {
    using namespace std::string_literals;
    for (std::string const &text : {""s,      " "s,         "."s,
                                    "-"s,     "+-1"s,       "1..2"s,
                                    "1.2.3"s, "1e"s,        "1e+"s,
                                    "1e1.0"s, "e5"s,        ".e5"s,
                                    " 1"s,    "1 "s,        "1\n"s,
                                    "1\0"s,   "1\0002"s,    "\0"s,
                                    "1_000"s, "0x10"s,      "1,5"s,
                                    "infi"s,  "infinityy"s, "in"s,
                                    "nan-1"s, "nan1.0"s,    "snan x"s,
                                    "s"s,     "１２"s,      "٣"s,
                                    "1²"s,    "−1"s,        "NaN1" + std::string(51, '0'),
                                    "1e5e5"s, "--1"s,       "@1"s,
                                    "N\0N"s}) {
        decContext context = freshContext();
        decSext value;
        decSextFromBytes(&value, text.data(), text.size(), &context);
        EXPECT_EQ(context.status, DEC_Conversion_syntax + 0u) << text;
        EXPECT_EQ(textOf(value), "NaN") << text;
    }
}

TEST(DecSextTextTest, ReadsAndWritesScientificText) {
    std::tuple<char const *, char const *, std::uint32_t> const cases[] = {
        {"+1.50", "1.50", 0},
        {".5", "0.5", 0},
        {"5.", "5", 0},
        {"-00.000001", "-0.000001", 0},
        {"0.0000001", "1E-7", 0},
        {"123e3", "1.23E+5", 0},
        {"1E+0000000000000000000000000000000000005", "1E+5", 0},
        {"-INFINITY", "-Infinity", 0},
        {"NaN0007", "NaN7", 0},
        {"-0e-99999", "-0E-98354", DEC_Clamped},
        {"0e99999999999999999999", "0E+98253", DEC_Clamped},
        {"1e99999999999999999999", "Infinity", DEC_Overflow | DEC_Inexact | DEC_Rounded},
        {"1e-99999999999999999999", "0E-98354",
         DEC_Underflow | DEC_Inexact | DEC_Rounded | DEC_Subnormal | DEC_Clamped},
    };
    for (auto const &[text, expected, status] : cases) {
        decContext context = freshContext();
        decSext value;
        EXPECT_EQ(textOf(*decSextFromString(&value, text, &context)), expected) << text;
        EXPECT_EQ(context.status, status) << text;
    }
}

TEST(DecSextTextTest, RoundsOnceHoweverLongTheText) {
    std::string const half = "1" + std::string(51, '0') + "5";
    std::string const even = "1." + std::string(51, '0') + "E+52";
    std::string const next = "1." + std::string(50, '0') + "1E+52";
    std::string const zeros(10000, '0');
    std::tuple<std::string, std::string, std::uint32_t> const cases[] = {
        {half, even, DEC_Inexact | DEC_Rounded},
        {half + "." + zeros + "1", next, DEC_Inexact | DEC_Rounded},
        {half + "." + zeros, even, DEC_Inexact | DEC_Rounded},
        {zeros + "7", "7", 0},
        {"0." + zeros + "7e10001", "7", 0},
        {"7" + zeros + "e-10000", "7." + std::string(51, '0'), DEC_Rounded},
        {std::string(10000, '9'), "1." + std::string(51, '0') + "E+10000",
         DEC_Inexact | DEC_Rounded},
    };
    for (auto const &[text, expected, status] : cases) {
        decContext context = freshContext();
        decSext value;
        EXPECT_EQ(textOf(*decSextFromString(&value, text.c_str(), &context)), expected);
        EXPECT_EQ(context.status, status) << expected;
    }
}

TEST(DecSextTextTest, LongestTextsFit) {
    std::string const digits(51, '8');
    for (std::string const &text : {"-sNaN" + digits, "-0.00000" + digits + "8",
                                    "-8." + digits + "E-98303", "-8." + digits + "E+98304"}) {
        std::string const written = textOf(number(text));
        EXPECT_EQ(written, text);
        EXPECT_LT(written.size(), DECSEXT_String + 0u);
    }
}

// --- Conversions ------------------------------------------------------------------------------

TEST(DecSextConversionTest, WholeNumbersUpToTheirLimits) {
    using Limits64 = std::numeric_limits<std::int64_t>;
    std::tuple<char const *, std::int64_t, std::uint64_t, std::uint32_t> const cases[] = {
        // rounded down; 0 for all that is out of range
        {"9223372036854775807.9", Limits64::max(), Limits64::max(), 0},
        {"9223372036854775808", 0, std::uint64_t{1} << 63, 0},
        {"-9223372036854775808", Limits64::min(), 0, 0},
        {"-9223372036854775808.1", 0, 0, 0},
        {"18446744073709551615.9", 0, ~std::uint64_t{0}, 0},
        {"18446744073709551616", 0, 0, 0},
        {"4294967295", 4294967295, 4294967295, 4294967295},
        {"4.294967296E+9", 4294967296, 4294967296, 0},
        {"-1E-98354", -1, 0, 0},
        {"1E+98253", 0, 0, 0},
        {"0E+98253", 0, 0, 0},
        {"Infinity", 0, 0, 0},
        {"NaN1", 0, 0, 0},
    };
    for (auto const &[text, i64, u64, u32] : cases) {
        decSext const value = number(text);
        bool const isZero = decSextIsZero(&value);
        decContext context = freshContext();
        EXPECT_EQ(decSextToInt64(&value, &context, DEC_ROUND_FLOOR), i64) << text;
        EXPECT_EQ(context.status, i64 || isZero ? 0u : DEC_Invalid_operation) << text;
        context = freshContext();
        EXPECT_EQ(decSextToUInt64(&value, &context, DEC_ROUND_FLOOR), u64) << text;
        EXPECT_EQ(context.status, u64 || isZero ? 0u : DEC_Invalid_operation) << text;
        context = freshContext();
        EXPECT_EQ(decSextToUInt32(&value, &context, DEC_ROUND_FLOOR), u32) << text;
        EXPECT_EQ(context.status, u32 || isZero ? 0u : DEC_Invalid_operation) << text;
    }
    decSext value;
    EXPECT_EQ(textOf(*decSextZero(&value)), "0");
    EXPECT_EQ(textOf(*decSextFromInt64(&value, Limits64::min())), "-9223372036854775808");
    EXPECT_EQ(textOf(*decSextFromUInt64(&value, ~std::uint64_t{0})), "18446744073709551615");
}

TEST(DecSextConversionTest, GeneralNumbersComeIntoRange) {
    std::tuple<decNumber, char const *, std::uint32_t> const cases[] = {
        {{{15, 0, 0}, std::numeric_limits<std::int32_t>::max(), DECNEG},
         "-Infinity",
         DEC_Overflow | DEC_Inexact | DEC_Rounded},
        {{{15, 0, 0}, -98355, 0},
         "2E-98354",
         DEC_Underflow | DEC_Inexact | DEC_Rounded | DEC_Subnormal},
        {{{~Word{0}, ~Word{0}, ~Word{0}}, 3, 0}, "0E+3", 0},
        {{{~Word{0}, ~Word{0}, ~Word{0}}, 3, DECSNAN}, "sNaN", 0},
        {{{7, 0, 0}, 0, DECINF | DECNEG}, "-Infinity", 0},
    };
    for (auto const &[general, expected, status] : cases) {
        decContext context = freshContext();
        decSext value;
        EXPECT_EQ(textOf(*decimal192FromNumber(&value, &general, &context)), expected);
        EXPECT_EQ(context.status, status) << expected;
    }
}

TEST(DecSextConversionTest, SquareRootsNeedDigitsAndASign) {
    for (int digits : {0, 53, -1}) {
        decContext context = freshContext();
        context.digits = digits;
        decNumber root = {{4, 0, 0}, 0, 0};
        EXPECT_EQ(decNumberSquareRoot(&root, &root, &context)->bits, DECNAN) << digits;
        EXPECT_EQ(context.status, DEC_Invalid_context + 0u) << digits;
    }
    decContext context = freshContext();
    decNumber root = {{4, 0, 0}, 0, DECNEG};
    EXPECT_EQ(decNumberSquareRoot(&root, &root, &context)->bits, DECNAN);
    EXPECT_EQ(context.status, DEC_Invalid_operation + 0u);
}

// --- Kinds of error ---------------------------------------------------------------------------

TEST(DecSextErrorTest, EachKindHasItsBit) {
    using Binary = decltype(&decSextAdd);
    std::tuple<Binary, char const *, char const *, char const *, std::uint32_t> const cases[] = {
        {decSextDivide, "-1", "0", "-Infinity", DEC_Division_by_zero},
        {decSextDivide, "0", "0", "NaN", DEC_Division_undefined},
        {decSextDivide, "Inf", "Inf", "NaN", DEC_Invalid_operation},
        {decSextDivideInteger, "1", "-0", "-Infinity", DEC_Division_by_zero},
        {decSextDivideInteger, "1E+52", "1", "NaN", DEC_Division_impossible},
        {decSextDivideInteger, "1E+98253", "1E-98354", "NaN", DEC_Division_impossible},
        {decSextRemainder, "1", "0", "NaN", DEC_Invalid_operation},
        {decSextRemainder, "0", "0", "NaN", DEC_Division_undefined},
        {decSextRemainderNear, "1E+98253", "3", "NaN", DEC_Division_impossible},
        {decSextRemainderNear, "9999999999999999999999999999999999999999999999999999.5", "1", "NaN",
         DEC_Division_impossible},
        {decSextRemainderNear, "5", "3", "-1", 0},
        {decSextSubtract, "Inf", "Inf", "NaN", DEC_Invalid_operation},
        {decSextMultiply, "-0", "Inf", "NaN", DEC_Invalid_operation},
        {decSextQuantize, "1", "1E-52", "NaN", DEC_Invalid_operation},
        {decSextAdd, "NaN1", "-sNaN2", "-NaN2", DEC_Invalid_operation},
        {decSextCompare, "1", "NaN3", "NaN3", 0},
        {decSextCompare, "-Inf", "-Inf", "0", 0},
        {decSextQuantize, "-Inf", "Inf", "-Infinity", 0},
    };
    for (auto const &[operation, left, right, expected, status] : cases) {
        decContext context = freshContext();
        decContext exact = freshContext();
        decSext a, b, result;
        decSextFromString(&a, left, &exact);
        decSextFromString(&b, right, &exact);
        operation(&result, &a, &b, &context);
        EXPECT_EQ(textOf(result), expected) << left << ' ' << right;
        EXPECT_EQ(context.status, status) << left << ' ' << right;
    }
}

// --- The kernel against plain arithmetic ------------------------------------------------------

Words3 randomWords(std::mt19937_64 &random, Words3 const &limit) {
    Words3 value = {{random(), random(), random()}};
    int const bits = static_cast<int>(random() % 192);
    for (int left = bits; left > 0; left -= 63) value = shiftedDown(value, std::min(left, 63));
    return isLess(value, limit) ? value : Words3{{random(), 0, 0}};
}

// quotient * 10^m + offset, where it is not negative.
bool compose(Words3 const &quotient, int m, Words3 const &offset, bool isBelow, Words6 &n) {
    n = multiply(quotient, kPowers[m]);
    return isBelow ? !subtract(n, resized<6>(offset)) : !add(n, resized<6>(offset));
}

// For every m: at, about and halfway between multiples of 10^m.
TEST(DecimalKernelTest, DropsDigitsAsDivisionDoes) {
    std::mt19937_64 random(52);
    for (int m = 1; m <= kDigits; ++m) {
        Words3 half = kPowers[m - 1];
        multiplySmall(half, 5, 0);
        Words3 const offsets[] = {{}, {{1, 0, 0}}, half, kPowers[m - 1]};
        for (int round = 0; round < 2000; ++round) {
            Words3 const quotient = randomWords(random, kCoefficientLimit);
            Words3 offset = offsets[random() % 4];
            if (random() % 3 == 0) addSmall(offset, 1);
            Words6 n;
            if (!compose(quotient, m, offset, random() % 2, n)) continue;
            if (digitsOf(n) > kDigits + m) continue;
            Quotient const expected = divide(n, kPowers[m]);
            Kept const kept = dropDigits(n, m);
            ASSERT_EQ(kept.coefficient, expected.quotient) << m;
            ASSERT_EQ(kept.rest, restOf(expected.remainder, kPowers[m])) << m;
        }
    }
}

TEST(DecimalKernelTest, QuotientsMultiplyBack) {
    std::mt19937_64 random(104);
    constexpr Words3 kMost = {{~Word{0}, ~Word{0}, ~Word{0}}};
    for (int round = 0; round < 200000; ++round) {
        Words3 divisor = randomWords(random, kMost);
        if (random() % 4 == 0) divisor[1] = random() % 2 ? ~Word{0} : 0;
        if (random() % 4 == 0) divisor[0] = random() % 2 ? ~Word{0} : 0;
        if (isZero(divisor)) continue;
        Words3 quotient = randomWords(random, kMost);
        if (random() % 4 == 0) quotient[1] = ~Word{0};
        if (random() % 4 == 0) quotient[0] = ~Word{0};
        Words3 remainder = divisor;
        subtractSmall(remainder, 1);
        if (random() % 2) remainder = randomWords(random, remainder);
        if (!isLess(remainder, divisor)) remainder = {};
        Words6 n = multiply(quotient, divisor);
        add(n, resized<6>(remainder));
        Quotient const result = divide(n, divisor);
        ASSERT_EQ(result.quotient, quotient);
        ASSERT_EQ(result.remainder, remainder);
    }
}

}  // namespace
