#include "kqb/kqbreal.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstring>
#include <random>
#include <string>
#include <utility>

#include "support/cases.h"
#include "support/pool_faults.h"
#include "support/pool_test.h"

namespace {

using KqbRealTest = PoolTest;
using Words = unsigned long long[3];
__extension__ using U128 = unsigned __int128;

static_assert(sizeof(KqbReal) == sizeof(void *) + 8 + 24, "table, flags, three words");

std::string const kNull = "null";

std::string textOf(KqbString const &string) {
    return string.isNull() ? kNull : std::string(string.asCstr());
}
std::string textOf(KqbReal const &value, int width = 61) { return textOf(value.asString(width)); }

KqbReal real(std::string const &text) { return KqbReal(text.c_str()); }

bool is(std::string const &word) { return word == "true" || word == "!"; }

// --- Text -------------------------------------------------------------------------------------

// 51 digits.
std::string const kDigits = "123456789012345678901234567890123456789012345678901";

TEST_F(KqbRealTest, readsNumbersAndNothingElse) {
    std::string const many(10000, '9');
    // Text, the text of the number, "!" when it was truncated.
    for (auto const &c :
         cases("+.5e1 5; 5. 5; -0.000 0; 1e-98354 1E-98354; 1e-98355 0 !; 1e98305 Infinity !; "
               "-inf -Infinity; 7" +
               kDigits + ".4 7" + kDigits + " !; 7" + kDigits + ".0 7" + kDigits + ";" + many +
               " 1E+10000 !; 0." + many + " 1 !")) {
        EXPECT_EQ(textOf(real(c[0])), c[1]) << c[0];
        EXPECT_EQ(real(c[0]).truncated(), c.size() > 2) << c[0];
    }
    EXPECT_EQ(textOf(real("  1.50")) + textOf(real("\t\n\u00a0\u3000-7")), "1.5-7");
    for (char const *text : {"", " ", "1.5 ", "1.2.3", "-", ".", "1e", "e5", "1e+", "--1", "1,5",
                             "0x10", "\uff11\uff12", "nan", "-NaN123", "sNaN"}) {
        EXPECT_TRUE(KqbReal(text).isNull()) << text;
    }
    EXPECT_TRUE(KqbReal(5).assign(static_cast<char const *>(nullptr)).isNull());
    EXPECT_TRUE(KqbReal(std::nan("7")).isNull());
}

TEST_F(KqbRealTest, writesWhatFits) {
    // Text, width, the text in that width.
    for (auto const &c :
         cases("0.5 61 0.5; 100 3 100; 100 2 null; 123.45 5 123.4; 123.45 4 123; 123.45 2 null; "
               "1.05 3 1.0; -1.5 3 -1; 1.5E60 7 1.5E+60; 1.5E60 6 null; -1.5E60 7 -1E+60; "
               "-1E60 6 -1E+60; -1E60 5 null; 1e-70 61 1E-70; -1e-70 5 null; "
               "1.2345e-70 7 1.2E-70; 1.0005e-70 8 1.0E-70; 0.05 4 0.05; 0.0512 3 null; "
               "0.0512 4 0.05; 1e52 61 1E+52; 7e-100 200 7E-100; inf 8 Infinity; -inf 8 null; "
               "-9.9999e98304 2147483647 -9.9999E+98304; 0 1 0; 1 0 null; nan 61 null; "
               "-1 -2147483648 null")) {
        EXPECT_EQ(textOf(real(c[0]), std::stoi(c[1])), c[2]) << c[0];
    }
    std::string const nine = "9" + kDigits;
    EXPECT_EQ(textOf(real(nine + "000")), "9." + kDigits + "E+54");
    EXPECT_EQ(textOf(real(nine + "00000")), kNull);
    EXPECT_EQ(textOf(real(nine + "e60"), 58), "9." + kDigits + "E+111");
    EXPECT_EQ(textOf(real(nine + "e60"), 57), kNull);
}

TEST_F(KqbRealTest, textIsTheNumberOrTheNumberCutOff) {
    std::mt19937 random(20171);
    auto const below = [&](int limit) {
        return static_cast<int>(random() % static_cast<unsigned>(limit));
    };
    int const spans[] = {1, 12, 70, 130, 90000};
    for (int i = 0; i < 60000; ++i) {
        std::string digits(1, static_cast<char>('1' + below(9)));
        for (int more = below(52); more > 0; --more) {
            digits += static_cast<char>('0' + (below(3) == 0 ? 0 : below(10)));
        }
        int const span = spans[below(5)], width = below(4) == 0 ? 200 : below(130);
        KqbReal const value = real((below(2) == 0 ? "-" : "") + digits + "e" +
                                   std::to_string(below(2 * span + 1) - span));
        std::string const text = textOf(value, width);
        ASSERT_TRUE(text != kNull || width < 61 || digits.size() > 25) << digits;
        if (text == kNull) continue;
        ASSERT_LE(static_cast<int>(text.size()), width);
        std::string shown = text.substr(0, text.find('E'));
        std::erase_if(shown, [](char c) { return c == '-' || c == '.'; });
        shown = shown.substr(shown.find_first_not_of('0'));
        shown.resize(shown.find_last_not_of('0') + 1);
        KqbReal const ratio = value / real(text);
        ASSERT_TRUE(digits.starts_with(shown) && ratio >= 1 && ratio < 10) << text;
        ASSERT_TRUE(width < 130 || real(text) == value) << text;
    }
}

TEST_F(KqbRealTest, textWithoutMemoryIsNull) {
    refusesRequests_ = true;
    KqbReal const value(1.5);
    PoolFaults const faults(1);
    EXPECT_TRUE(value.asString().isNull());
}

// --- Numbers ----------------------------------------------------------------------------------

TEST_F(KqbRealTest, takesEveryIntegerExactly) {
    auto const expectExact = [](auto... values) {
        std::string const expected[] = {std::to_string(values)...};
        std::string const found[] = {textOf(KqbReal(values))...};
        std::string const assigned[] = {textOf(KqbReal().assign(values))...};
        for (std::size_t i = 0; i < sizeof...(values); ++i) {
            EXPECT_EQ(found[i] + assigned[i], expected[i] + expected[i]);
        }
        EXPECT_TRUE(((values + real("0.5") == real("0.5") + values) && ...));
    };
    expectExact(true, '\x7F', short{-2}, INT_MIN, UINT_MAX, LONG_MIN, ULONG_MAX, LLONG_MIN,
                LLONG_MAX, ULLONG_MAX);
    EXPECT_EQ(textOf(KqbReal(0.1)), "0.1");
    EXPECT_EQ(textOf(KqbReal(0.5F)), "0.5");
    EXPECT_EQ(textOf(1.0 / KqbReal(8)), "0.125");
}

TEST_F(KqbRealTest, convertsWithinTheLimits) {
    // Text, asInt64, asSize; "!" for an error.
    for (auto const &c :
         cases("-1.5 -2 !; 1.999 1 1; -0.1 -1 !; 0 0 0; 1e98304 ! !; -inf ! !; nan ! !; "
               "9223372036854775807.9 9223372036854775807 9223372036854775807; "
               "9223372036854775808 ! 9223372036854775808; -9223372036854775808.1 ! !; "
               "-9223372036854775808 -9223372036854775808 !; 18446744073709551616 ! !; "
               "18446744073709551615.5 ! 18446744073709551615")) {
        bool integerError = !is(c[1]), sizeError = !is(c[2]);
        long long const integer = real(c[0]).asInt64(&integerError);
        unsigned long long const size = real(c[0]).asSize(&sizeError);
        EXPECT_EQ(integerError ? "!" : std::to_string(integer), c[1]) << c[0];
        EXPECT_EQ(sizeError ? "!" : std::to_string(size), c[2]) << c[0];
        EXPECT_TRUE((!integerError || integer == 0) && (!sizeError || size == 0)) << c[0];
        EXPECT_EQ(real(c[0]).asInt64(), integer);
    }
    bool error = true;
    EXPECT_EQ(real("0.1").asDouble(&error), 0.1);
    EXPECT_EQ(real("1e400").asDouble(&error), HUGE_VAL);
    EXPECT_EQ(real("9007199254740993").asDouble(&error), 9007199254740992.0);
    EXPECT_FALSE(error);
    EXPECT_EQ(KqbReal().asDouble(&error), 0);
    EXPECT_TRUE(error);
}

// --- Arithmetic -------------------------------------------------------------------------------

template <class Left>
KqbReal compute(Left &left, char operation, KqbReal const &right, bool *error) {
    if (operation == '+') return left.add(right, error);
    if (operation == '-') return left.subtract(right, error);
    return operation == '*' ? left.multiply(right, error) : left.divide(right, error);
}

TEST_F(KqbRealTest, recordsInexactnessInTheLeftOperand) {
    // Left, operation, right, result, whether it was truncated, whether it is an error.
    for (auto const &c :
         cases("0.1 + 0.2 0.3 false false; 1 - 2.5 -1.5 false false; "
               "1.20 * 0.5 0.6 false false; "
               "1 / 3 0.3333333333333333333333333333333333333333333333333333 true false; "
               "1 / 8 0.125 false false; 1 / 0 Infinity false true; "
               "-1 / 0 -Infinity false true; 0 / 0 null false true; inf - inf null false true; "
               "1e60 + 1 1E+60 true false; 9e98304 * 10 Infinity true false; "
               "1e-98354 / 10 0 true false; 1e-98304 / 10 1E-98305 false false; "
               "nan + 1 null false false; 1 * nan null false false")) {
        bool error = !is(c[5]);
        KqbReal left = real(c[0]), constantLeft = left;
        left / 3;  // leaves a flag that is to be cleared
        KqbReal const result = compute(left, c[1][0], real(c[2]), &error);
        EXPECT_EQ(textOf(result), c[3]) << c[0];
        EXPECT_EQ(left.truncated(), is(c[4])) << c[0];
        EXPECT_EQ(error, is(c[5])) << c[0];
        EXPECT_FALSE(result.truncated());
        EXPECT_EQ(textOf(compute(std::as_const(constantLeft), c[1][0], real(c[2]), nullptr)), c[3]);
        EXPECT_FALSE(constantLeft.truncated());
    }
}

TEST_F(KqbRealTest, operatorsFollowTheOperations) {
    KqbReal a(7), b(2);
    EXPECT_EQ(textOf(a + 0.1) + textOf(1 - a) + textOf(a * -1) + textOf(1 / b), "7.1-6-70.5");
    a / 3;
    EXPECT_TRUE(a.truncated());
    KqbReal const copy = a;
    EXPECT_TRUE(copy.truncated());
    EXPECT_EQ(textOf(a /= 3), textOf(copy / 3));
    EXPECT_FALSE(a.truncated());
    std::string const steps[] = {textOf(a *= 0), textOf(a += 5), textOf(a -= 6), textOf(a + a)};
    EXPECT_EQ(steps[0] + steps[1] + steps[2] + steps[3], "05-1-2");
    KqbReal chain(1);
    KqbReal const result = (chain += 2) *= 3;
    EXPECT_EQ(textOf(result) + textOf(chain), "93");  // a copy is what goes on
}

TEST_F(KqbRealTest, roundsAsItSays) {
    // Text, places, the value rounded to them, its floor and ceiling.
    for (auto const &c :
         cases("2.5 0 2.5 2 3; 0.25 1 0.3 0 1; -0.25 1 -0.3 0 0; 15 -1 20 15 15; "
               "-1.5 0 -1.5 -1 -1; 1.5 60 null 1 2; 12.5 51 null 12 13; 1.5 51 1.5 1 2; "
               "0 98354 0 0 0; 7 -98253 0 7 7; 7 -98254 null 7 7; 7 2147483647 null 7 7; "
               "7 -2147483648 null 7 7; inf 2 null Infinity Infinity; nan 2 null null null; "
               "-inf 0 -Infinity -Infinity -Infinity")) {
        EXPECT_EQ(textOf(real(c[0]).round(std::stoi(c[1]))), c[2]) << c[0];
        EXPECT_EQ(textOf(real(c[0]).floor()), c[3]) << c[0];
        EXPECT_EQ(textOf(real(c[0]).ceiling()), c[4]) << c[0];
    }
    KqbReal const cut = real("1" + kDigits + ".4");
    EXPECT_TRUE(cut.truncated());
    EXPECT_FALSE(cut.round(0).truncated() || cut.negative().truncated() ||
                 cut.absolute().truncated());
    EXPECT_EQ(textOf(KqbReal(-7).absolute()) + textOf(KqbReal(7).negative()), "7-7");
}

TEST_F(KqbRealTest, rootsAndRemainders) {
    // Text, its root, whether that was truncated, whether it is an error.
    for (auto const &c :
         cases("16 4 false false; 0.0001 0.01 false false; 0 0 false false; -4 null false true; "
               "2 1.414213562373095048801688724209698078569671875376948 true false; "
               "nan null false true; inf Infinity false false")) {
        bool error = !is(c[3]);
        KqbReal const root = real(c[0]).sqrt(&error);
        EXPECT_EQ(textOf(root), c[1]) << c[0];
        EXPECT_EQ(root.truncated(), is(c[2])) << c[0];
        EXPECT_EQ(error, is(c[3])) << c[0];
    }
    for (auto const &c :
         cases("5 3 -1; 4 3 1; -5 3 1; 3 2 -1; 1 2 1; 5 0 null; 1e60 1 null; nan 1 null; "
               "2.5 0.3 0.1; 1e-98354 3 1E-98354")) {
        EXPECT_EQ(textOf(real(c[0]).modulo(real(c[1]))), c[2]) << c[0];
    }
}

TEST_F(KqbRealTest, comparesNullAsGreaterThanAnything) {
    for (auto const &c :
         cases("1 2 -1; 2 1.0 1; 1.0 1.00 0; -0 0 0; -inf 0 -1; inf inf 0; 1e-98354 0 1; "
               "nan 0 1; 0 nan 1; nan nan 1")) {
        KqbReal const a = real(c[0]), b = real(c[1]);
        int const order = a.compare(b);
        EXPECT_EQ(std::to_string(order), c[2]) << c[0];
        EXPECT_TRUE((a == b) == (order == 0) && (a != b) == (order != 0)) << c[0];
        EXPECT_TRUE((a < b) == (order < 0) && (a > b) == (order > 0)) << c[0];
        EXPECT_TRUE((a <= b) == (order <= 0) && (a >= b) == (order >= 0)) << c[0];
    }
    EXPECT_TRUE(KqbReal(0.1) == 0.1 && 2 > KqbReal(1.5) && KqbReal(3) >= 3U);
}

// --- The ODBC record --------------------------------------------------------------------------

KQ_SQL_NUMERIC_STRUCT recordOf(U128 magnitude, int scale, bool isNegative) {
    KQ_SQL_NUMERIC_STRUCT record{};
    record.scale = static_cast<signed char>(scale);
    record.sign = isNegative ? 0 : 1;
    for (unsigned char &byte : record.magnitude) {
        byte = static_cast<unsigned char>(magnitude);
        magnitude >>= 8;
    }
    return record;
}

std::string digitsOf(U128 magnitude) {
    std::string digits;
    do digits.insert(digits.begin(), static_cast<char>('0' + static_cast<int>(magnitude % 10)));
    while ((magnitude /= 10) != 0);
    return digits;
}

TEST_F(KqbRealTest, recordsOfAllScalesPassBothWays) {
    std::mt19937_64 random(4711);
    for (int scale = -128; scale < 128; ++scale) {
        for (int bits : {0, 1, 32, 63, 64, 96, 128}) {
            U128 magnitude = static_cast<U128>(random()) << 64 | random();
            magnitude = bits == 0 ? 0 : magnitude >> (128 - bits);
            if (bits == 128 && scale % 3 == 0) magnitude = ~static_cast<U128>(0);
            KQ_SQL_NUMERIC_STRUCT const record = recordOf(magnitude, scale, scale % 2 == 0);
            KqbReal const value = KqbReal().assign(&record);
            std::string const digits = digitsOf(magnitude);
            ASSERT_EQ(value,
                      real((record.sign == 0 ? "-" : "") + digits + "e" + std::to_string(-scale)));
            if (scale < 0 || scale > 38 || magnitude == 0 || digits.size() > 38) continue;
            KQ_SQL_NUMERIC_STRUCT back;
            bool error = true;
            value.asSQLNumeric(&back, &error, 38, scale);
            KQ_SQL_NUMERIC_STRUCT expected = record;
            expected.precision = 38;
            EXPECT_EQ(std::memcmp(&back, &expected, sizeof back), 0) << digits << ' ' << scale;
            EXPECT_FALSE(error);
        }
    }
    EXPECT_TRUE(KqbReal(1).assign(static_cast<KQ_SQL_NUMERIC_STRUCT *>(nullptr)).isNull());
}

TEST_F(KqbRealTest, recordsTakeWhatFitsTheirDigits) {
    // Text, precision, scale, the record's magnitude/precision/scale/sign; "!" for an error.
    for (auto const &c :
         cases("-12.345 10 2 1234/10/2/0; 12.355 10 2 1236/10/2/1; 0.001 10 2 !; "
               "0 10 2 0/0/0/1; -0 0 5 0/0/0/1; 1 0 0 !; 1e3 4 0 1000/4/0/1; 1e3 3 0 !; "
               "99.995 4 2 !; 99.99 4 2 9999/4/2/1; 1 2 3 !; 1.5 -1 -1 15000000000/38/10/1; "
               "1e37 38 0 10000000000000000000000000000000000000/38/0/1; 1e38 38 0 !; 7 256 0 !; "
               "7 255 0 7/255/0/1; 1e38 255 0 !; 1e-127 200 127 1/200/127/1; 1e-127 200 128 !; "
               "1 2147483647 2147483647 !; inf 38 0 !; nan 38 0 !")) {
        KQ_SQL_NUMERIC_STRUCT record;
        std::memset(&record, 0xAA, sizeof record);
        bool error = !is(c[3]);
        real(c[0]).asSQLNumeric(&record, &error, std::stoi(c[1]), std::stoi(c[2]));
        EXPECT_EQ(error, is(c[3])) << c[0];
        U128 magnitude = 0;
        for (int i = 15; i >= 0; --i) magnitude = magnitude << 8 | record.magnitude[i];
        EXPECT_EQ(digitsOf(magnitude) + "/" + std::to_string(record.precision) + "/" +
                      std::to_string(record.scale) + "/" + std::to_string(record.sign),
                  error ? "0/0/0/1" : c[3]);
    }
    bool error = false;
    KqbReal(1).asSQLNumeric(nullptr, &error, 1, 0);
    EXPECT_TRUE(error);
}

// --- Raw words --------------------------------------------------------------------------------

TEST_F(KqbRealTest, wordsPassBothWaysInEitherOrder) {
    for (char const *text : {"0", "-1.5", "1e98304", "1e-98354", "-inf", "nan",
                             "9999999999999999999999999999999999999999999999999999"}) {
        KqbReal value(text);
        Words words, swapped;
        value.asFD(&words);
        unsigned char bytes[24];
        std::memcpy(bytes, words, sizeof bytes);
        std::reverse(bytes, bytes + sizeof bytes);
        std::memcpy(swapped, bytes, sizeof bytes);
        EXPECT_EQ(textOf(KqbReal().assign(&words, false)), textOf(value));
        EXPECT_EQ(textOf(KqbReal().assign(&swapped, true)), textOf(value));
    }
    for (auto const &c : cases("1.50 15e-1; 100 1e2; 0 -0e7; 1e60 10e59")) {
        Words canonical, words;
        real(c[0]).asFD(&canonical);
        real(c[1]).asFD(&words);
        EXPECT_EQ(std::memcmp(words, canonical, sizeof words), 0) << c[0];
    }
    KqbReal(5).asFD(nullptr);
    Words const signaling = {77, 5, 0xFE00000000000000};
    KqbReal null = KqbReal().assign(&signaling, false);
    Words words, canonical;
    null.asFD(&words);
    KqbReal().asFD(&canonical);
    EXPECT_TRUE(null.isNull() && std::memcmp(words, canonical, sizeof words) == 0);
    EXPECT_TRUE(KqbReal(1).assign(static_cast<Words *>(nullptr), true).isNull());
}

}  // namespace
