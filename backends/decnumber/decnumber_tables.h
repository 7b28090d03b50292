// Powers of ten, their reciprocals, and the digits that a number of so many bits has; all computed
// by the compiler.
#pragma once

#include "backends/decnumber/decnumber_words.h"

namespace decnumber {

constexpr int kDigits = 52;            // of a coefficient
constexpr int kCoefficientBits = 172;  // what has no more is below 10^52
constexpr int kLargePower = 57;        // the largest power of ten in three words
constexpr int kWidePower = 115;        // and in six

template <typename Row, int Count>
struct Table {
    Row rows[Count];

    constexpr Row &operator[](std::int64_t i) { return rows[i]; }
    constexpr Row const &operator[](std::int64_t i) const { return rows[i]; }
};

template <int N, int Count>
constexpr Table<Words<N>, Count> powersOfTen() {
    Table<Words<N>, Count> powers = {};
    powers[0][0] = 1;
    for (int i = 1; i < Count; ++i) {
        powers[i] = powers[i - 1];
        multiplySmall(powers[i], 10, 0);
    }
    return powers;
}

inline constexpr auto kPowers = powersOfTen<3, kLargePower + 1>();
inline constexpr auto kWidePowers = powersOfTen<6, kWidePower + 1>();
inline constexpr Words3 kCoefficientLimit = kPowers[kDigits];

// The digits of the least number of so many bits.
inline constexpr auto kDigitsOfBits = [] {
    constexpr int kBits = 64 * 6;
    Table<std::uint8_t, kBits + 1> digits = {};
    int count = 1;
    for (int bits = 0; bits <= kBits; ++bits) {
        if (count <= kWidePower && bitLength(kWidePowers[count]) < bits) ++count;
        digits[bits] = static_cast<std::uint8_t>(count);
    }
    return digits;
}();

// Digits of a coefficient; 1 for zero.
inline int digitsOf(Words3 const &a) {
    int const digits = kDigitsOfBits[bitLength(a)];
    return digits + !isLess(a, kPowers[digits]);
}

inline int digitsOf(Words6 const &a) {
    int const digits = kDigitsOfBits[bitLength(a)];
    return digits + (digits <= kWidePower && !isLess(a, kWidePowers[digits]));
}

// To drop `m` digits of n, which has at most 52 more: with b the bits of 10^m, the words of
// n >> (b - 18), at most three, times `factor` = 2^(190 + b) / 10^m give the quotient and its
// fraction, scaled by 2^208, and too small by less than 2^-16 of the quotient's unit: 2^-17 from
// each of the two factors' own fractions.
struct Reciprocal {
    Words3 factor;
    int shift;
};

inline constexpr int kQuotientShift = 208;
inline constexpr int kBitsKept = 18;

inline constexpr auto kReciprocals = [] {
    Table<Reciprocal, kDigits + 1> reciprocals = {};
    Words6 inverse = {{~Word{0}, ~Word{0}, ~Word{0}, ~Word{0}, ~Word{0}, ~Word{0}}};
    for (int m = 1; m <= kDigits; ++m) {
        Wide rest = 0;
        for (int i = 5; i >= 0; --i) {
            rest = wide(lowWord(rest), inverse[i]);
            inverse[i] = lowWord(rest / 10);
            rest %= 10;
        }
        int const bits = bitLength(kPowers[m]);
        int const surplus = 384 - kQuotientShift + kBitsKept - bits;
        Words6 shifted = {};
        for (int i = surplus / 64; i < 6; ++i) shifted[i - surplus / 64] = inverse[i];
        reciprocals[m] = {resized<3>(shiftedDown(shifted, surplus % 64)), bits - kBitsKept};
    }
    return reciprocals;
}();

}  // namespace decnumber
