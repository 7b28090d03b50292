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

TEST(DecContextTest, WrongRoundingIsRefusedWhereItMatters) {
    auto const wrong = static_cast<rounding>(99);
    decSext const one = number("1"), three = number("3"), half = number("0.5");
    decSext result;
    decContext context = freshContext();
    decContextSetRounding(&context, wrong);
    decSextAdd(&result, &one, &three, &context);
    EXPECT_EQ(context.status, 0u);
    for (auto const operation : {decSextDivide, decSextQuantize}) {
        context.status = 0;
        EXPECT_TRUE(decSextIsNaN(operation(&result, &half, &three, &context)));
        EXPECT_EQ(context.status, DEC_Invalid_context + 0u);
    }
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
    // NaN, signaling, infinite, finite, zero, signed, negative, subnormal.
    constexpr int kNone = DECSEXT_SpecialExponent;
    std::tuple<char const *, char const *, int, int> const cases[] = {
        {"-0E+7", "---FZS--", 1, 7},         {"-12.50", "---F-SN-", 4, -2},
        {"9E-98304", "---F---s", 1, -98304}, {"1.0E-98303", "---F----", 2, -98304},
        {"-Inf", "--I--SN-", 1, kNone},      {"-NaN123", "N----S--", 1, kNone},
        {"snan", "NS------", 1, kNone}};
    for (auto const &[text, kinds, digits, exponent] : cases) {
        decSext const value = number(text);
        std::string found;
        for (auto const &[is, letter] : {std::pair{&decSextIsNaN, 'N'},
                                         {decSextIsSignaling, 'S'},
                                         {decSextIsInfinite, 'I'},
                                         {decSextIsFinite, 'F'},
                                         {decSextIsZero, 'Z'},
                                         {decSextIsSigned, 'S'},
                                         {decSextIsNegative, 'N'},
                                         {decSextIsSubnormal, 's'}}) {
            found += is(&value) ? letter : '-';
        }
        EXPECT_EQ(found, kinds) << text;
        EXPECT_EQ(decSextDigits(&value), digits) << text;
        EXPECT_EQ(decSextGetExponent(&value), exponent) << text;
    }
}

// --- Text -------------------------------------------------------------------------------------

TEST(DecSextTextTest, RefusesWhatIsAlmostANumber) {
    using namespace std::string_literals;
    for (std::string const &text :
         {""s,      "."s,      "-"s,      "+-1"s,       "1..2"s, "1.2.3"s,
          "1e"s,    "1e+"s,    "1e1.0"s,  "e5"s,        ".e5"s,  " 1"s,
          "1 "s,    "1\n"s,    "1\0"s,    "1\0002"s,    "0x10"s, "1,5"s,
          "infi"s,  "in"s,     "s"s,      "infinityy"s, "１"s,   "−1"s,
          "nan-1"s, "nan1.0"s, "snan x"s, "1e5e5"s,     "@1"s,   "NaN1" + std::string(51, '0')}) {
        decContext context = freshContext();
        decSext value;
        decSextFromBytes(&value, text.data(), text.size(), &context);
        EXPECT_EQ(context.status, DEC_Conversion_syntax + 0u) << text;
        EXPECT_EQ(textOf(value), "NaN") << text;
    }
}

TEST(DecSextTextTest, ReadsAndWritesScientificText) {
    std::string const eights(51, '8'), zeros(10000, '0');
    std::string const half = "1" + zeros.substr(0, 51) + "5";
    std::tuple<std::string, std::string, std::uint32_t> const cases[] = {
        {"-sNaN" + eights, "-sNaN" + eights, 0},  // the longest
        {"-8." + eights + "E-98303", "-8." + eights + "E-98303", 0},
        {"-0.00000" + eights + "8", "-0.00000" + eights + "8", 0},
        {half + "." + zeros, "1." + zeros.substr(0, 51) + "E+52", DEC_Inexact | DEC_Rounded},
        {half + "." + zeros + "1", "1." + zeros.substr(0, 50) + "1E+52", DEC_Inexact | DEC_Rounded},
        {"0." + zeros + "7e10001", "7", 0},
        {"7" + zeros + "e-10000", "7." + zeros.substr(0, 51), DEC_Rounded},
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
        EXPECT_EQ(textOf(*decSextFromString(&value, text.c_str(), &context)), expected);
        EXPECT_EQ(context.status, status) << expected;
    }
}

// --- Conversions ------------------------------------------------------------------------------

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
        {decSextDivideInteger, "1", "-0", "-Infinity", DEC_Division_by_zero},
        {decSextDivideInteger, "1E+52", "1", "NaN", DEC_Division_impossible},
        {decSextRemainder, "1", "0", "NaN", DEC_Invalid_operation},
        {decSextRemainder, "0", "0", "NaN", DEC_Division_undefined},
        {decSextRemainderNear, "9999999999999999999999999999999999999999999999999999.5", "1", "NaN",
         DEC_Division_impossible},
    };
    for (auto const &[operation, left, right, expected, status] : cases) {
        decContext context = freshContext();
        decSext const a = number(left), b = number(right);
        decSext result;
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
