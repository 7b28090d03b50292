// What the operations share: numbers in their parts, digits dropped, results rounded and packed.
#pragma once

#include <initializer_list>

#include "backends/decnumber/decnumber_tables.h"
#include "platform/decnumber.h"

namespace decnumber {

// --- The encoding -----------------------------------------------------------------------------

// Sign, then 18 bits of biased exponent, then 173 bits of coefficient; but where the two bits
// behind the sign are set it is another layout, whose coefficients are all too large to count,
// or, with two more bits, an infinity or a NaN.
constexpr Word kSign = Word{1} << 63;
constexpr int kExponentShift = 45;
constexpr Word kCoefficientTop = (Word{1} << kExponentShift) - 1;
constexpr Word kOtherLayout = Word{3} << 61;
constexpr int kOtherExponentShift = kExponentShift - 2;
constexpr Word kInfinity = Word{0xf} << 59;
constexpr Word kNaN = Word{0x1f} << 58;
constexpr Word kSignaling = Word{0x3f} << 57;
constexpr Word kPayloadTop = (Word{1} << 42) - 1;
constexpr int kPayloadDigits = kDigits - 1;

// Exponents are the quantum's, biased.
constexpr std::int64_t kExponentMask = (1 << 18) - 1;
constexpr std::int64_t kMaxExponent = 3 * (1 << 16) - 1;

enum class Kind { finite, infinite, quiet, signaling };

struct Finite {
    Words3 coefficient;
    std::int64_t exponent;
    bool isNegative;
};

inline bool isFinite(decSext const &value) { return (value.words[2] & kInfinity) != kInfinity; }
inline bool isNegative(decSext const &value) { return value.words[2] >> 63; }
Kind kindOf(decSext const &value);

// The parts of a finite number, its coefficient 0 when it is too large to be one.
Finite partsOf(decSext const &value);

// The same, quickly; false for what is not finite or not canonical.
inline bool unpackPlain(decSext const &value, Finite &parts) {
    Word const top = value.words[2];
    parts.coefficient = {{value.words[0], value.words[1], top & kCoefficientTop}};
    parts.exponent = static_cast<std::int64_t>(top >> kExponentShift) & kExponentMask;
    parts.isNegative = top >> 63;
    return (top & kOtherLayout) != kOtherLayout && parts.coefficient[2] < kCoefficientLimit[2];
}

inline bool unpack(decSext const &value, Finite &parts) {
    if (unpackPlain(value, parts)) [[likely]]
        return true;
    if (!isFinite(value)) return false;
    parts = partsOf(value);
    return true;
}

inline decSext *pack(decSext *result, bool isNegative, std::int64_t exponent,
                     Words3 const &coefficient) {
    result->words[0] = coefficient[0];
    result->words[1] = coefficient[1];
    result->words[2] =
        Word{isNegative} << 63 | static_cast<Word>(exponent) << kExponentShift | coefficient[2];
    return result;
}

// --- Infinities and NaN -----------------------------------------------------------------------

decSext *setInfinity(decSext *result, bool isNegative);
decSext *setInvalid(decSext *result, decContext *context, std::uint32_t status);
// The payload of a NaN, 0 when it has too many digits.
Words3 payloadOf(decSext const &value);
decSext *setNaN(decSext *result, bool isNegative, bool isSignaling, Words3 const &payload);

// If one of the operands is a NaN: the result is made of the first one, a signaling one first.
bool passNaN(decSext *result, std::initializer_list<decSext const *> operands, decContext *context);

// --- Dropping digits --------------------------------------------------------------------------

// What was dropped, as a part of the last digit kept.
enum class Rest { none, belowHalf, half, aboveHalf };

// The whole rest, when more digits were dropped after the first ones.
constexpr Rest joined(Rest later, Rest earlier) {
    if (earlier == Rest::none) return later;
    if (later == Rest::none) return Rest::belowHalf;
    return later == Rest::half ? Rest::aboveHalf : later;
}

constexpr Rest complement(Rest rest) {
    if (rest == Rest::belowHalf) return Rest::aboveHalf;
    return rest == Rest::aboveHalf ? Rest::belowHalf : rest;
}

// Of the remainder of a division, as a part of the divisor.
inline Rest restOf(Words3 const &remainder, Words3 const &divisor) {
    if (isZero(remainder)) return Rest::none;
    Words3 rest = divisor;
    subtract(rest, remainder);
    int const order = compare(remainder, rest);
    return order < 0 ? Rest::belowHalf : order > 0 ? Rest::aboveHalf : Rest::half;
}

// Brings a quotient that may be too small by one, with its divisor 10^m, to the true one.
Rest settleQuotient(Words3 const &low, int m, Words3 &quotient);

// n without its last m digits. n has at most 52 digits more than m, which is from 1 to 52.
template <int N>
inline Words3 dropDigits(Words<N> const &n, int m, Rest &rest) {
    static_assert(N == 3 || N == 6);
    constexpr int kReach = 7;
    Reciprocal const &reciprocal = kReciprocals[m];
    Word padded[kReach + 1] = {};
    for (int i = 0; i < N; ++i) padded[i + 1] = n[i];
    int const position = reciprocal.shift + 64;
    Word const *const from = padded + position / 64;
    int const bits = position % 64;
    Words3 top;
    for (int i = 0; i < 3; ++i) top[i] = lowWord(wide(from[i + 1], from[i]) >> bits);
    Words6 const product = multiply(top, reciprocal.factor);
    constexpr int kShift = kQuotientShift % 64;
    Words3 quotient = {{lowWord(wide(product[4], product[3]) >> kShift),
                        lowWord(wide(product[5], product[4]) >> kShift), product[5] >> kShift}};
    Word const fraction = lowWord(wide(product[3], product[2]) >> kShift);
    // Just below or at a whole or a half, the fraction alone does not tell.
    constexpr Word kDoubt = Word{1} << 49;
    constexpr Word kHalf = Word{1} << 63;
    if (((fraction + kDoubt) & (kHalf - 1)) <= kDoubt) [[unlikely]] {
        rest = settleQuotient(resized<3>(n), m, quotient);
    } else {
        rest = fraction < kHalf ? Rest::belowHalf : Rest::aboveHalf;
    }
    return quotient;
}

// The same for any m from 0 on.
Words3 dropAnyDigits(Words3 const &n, std::int64_t m, Rest &rest);

// a * 10^power, which must fit in three words.
Words3 scaledUp(Words3 const &a, int power);

// a without its trailing zeros, at most so many; how many were removed.
int removeZeros(Words3 &a, std::int64_t atMost);

// --- Rounding and packing ---------------------------------------------------------------------

bool isRounding(rounding round);

// Whether a coefficient of which `rest` was dropped takes its next larger value.
bool isRoundedUp(rounding round, bool isNegative, Words3 const &coefficient, Rest rest);

// A coefficient below 10^52 of which `rest` was dropped (`isRounded`: digits were dropped, zeros
// maybe), any exponent: rounds, brings into range, sets the conditions.
decSext *finishRounded(decSext *result, Finite const &value, Rest rest, bool isRounded,
                       decContext *context);

// The same for a coefficient below 10^52 that is exact.
inline decSext *finishExact(decSext *result, bool isNegative, std::int64_t exponent,
                            Words3 const &coefficient, decContext *context) {
    // Nothing is subnormal where even one digit is enough.
    constexpr Word kPlain = kDigits - 1;
    if (static_cast<Word>(exponent) - kPlain <= kMaxExponent - kPlain) [[likely]] {
        return pack(result, isNegative, exponent, coefficient);
    }
    return finishRounded(result, {coefficient, exponent, isNegative}, Rest::none, false, context);
}

// The sum of any two, whose exponents may be out of range.
decSext *addFinite(decSext *result, Finite const &a, Finite const &b, decContext *context);

}  // namespace decnumber
