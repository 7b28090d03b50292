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

// In its place, since a flag that is stored as a byte and loaded as a word has to be waited for.
enum class Sign : Word { plus = 0, minus = kSign };

constexpr Sign signOf(bool isNegative) { return isNegative ? Sign::minus : Sign::plus; }
constexpr Sign signOf(decSext const &value) { return Sign{value.words[2] & kSign}; }
constexpr bool isMinus(Sign sign) { return sign == Sign::minus; }
// The sign of a product.
constexpr Sign operator*(Sign a, Sign b) {
    return Sign{static_cast<Word>(a) ^ static_cast<Word>(b)};
}

struct Finite {
    Words3 coefficient;
    std::int64_t exponent;
    Sign sign;
};

inline bool isFinite(decSext const &value) { return (value.words[2] & kInfinity) != kInfinity; }
inline bool isNegative(decSext const &value) { return value.words[2] >> 63; }
Kind kindOf(decSext const &value);

// The parts of a finite number, its coefficient 0 when it is too large to be one.
Finite partsOf(decSext const &value);

[[gnu::always_inline]] inline Words3 coefficientOf(decSext const &value) {
    return {{value.words[0], value.words[1], value.words[2] & kCoefficientTop}};
}

// Whether a number is finite, its coefficient small enough to count and not nearly too large.
[[gnu::always_inline]] inline bool isPlain(decSext const &value) {
    Word const top = value.words[2];
    return (top & kOtherLayout) != kOtherLayout && (top & kCoefficientTop) < kCoefficientLimit[2];
}

[[gnu::always_inline]] inline std::int64_t exponentOf(decSext const &value) {
    return static_cast<std::int64_t>(value.words[2] >> kExponentShift) & kExponentMask;
}

// The parts of a number, quickly; false for what is not finite, or too large to count, or nearly so.
// What then follows belongs into a function of its own, where it is not in the way of the usual.
[[gnu::always_inline]] inline bool unpackPlain(decSext const &value, Finite &parts) {
    parts = {coefficientOf(value), exponentOf(value), signOf(value)};
    return isPlain(value);
}

inline bool unpack(decSext const &value, Finite &parts) {
    if (unpackPlain(value, parts)) [[likely]]
        return true;
    if (!isFinite(value)) return false;
    parts = partsOf(value);
    return true;
}

[[gnu::always_inline]] inline decSext *pack(decSext *result, Sign sign, std::int64_t exponent,
                                            Words3 const &coefficient) {
    result->words[0] = coefficient[0];
    result->words[1] = coefficient[1];
    result->words[2] =
        static_cast<Word>(sign) | static_cast<Word>(exponent) << kExponentShift | coefficient[2];
    return result;
}

// --- Infinities and NaN -----------------------------------------------------------------------

decSext *setInfinity(decSext *result, Sign sign);
decSext *setInvalid(decSext *result, decContext *context, std::uint32_t status);
// The payload of a NaN, 0 when it has too many digits.
Words3 payloadOf(decSext const &value);
decSext *setNaN(decSext *result, Sign sign, bool isSignaling, Words3 const &payload);

// If one of the operands is a NaN: the result is made of the first one, a signaling one first.
bool passNaN(decSext *result, std::initializer_list<decSext const *> operands, decContext *context);

// --- Dropping digits --------------------------------------------------------------------------

// What was dropped, as a part of the last digit kept; in order, and negated modulo 4 when the other
// part of the digit is meant.
enum class Rest : unsigned { none, belowHalf, half, aboveHalf };

// The whole rest, when more digits were dropped after the first ones.
constexpr Rest joined(Rest later, Rest earlier) {
    if (earlier == Rest::none) return later;
    if (later == Rest::none) return Rest::belowHalf;
    return later == Rest::half ? Rest::aboveHalf : later;
}

constexpr Rest complement(Rest rest) {
    return static_cast<Rest>((4 - static_cast<unsigned>(rest)) % 4);
}

// Of the remainder of a division, as a part of the divisor.
inline Rest restOf(Words3 const &remainder, Words3 const &divisor) {
    if (isZero(remainder)) return Rest::none;
    Words3 rest = divisor;
    subtract(rest, remainder);
    int const order = compare(remainder, rest);
    return order < 0 ? Rest::belowHalf : order > 0 ? Rest::aboveHalf : Rest::half;
}

// A coefficient of which digits were dropped.
struct Kept {
    Words3 coefficient;
    Rest rest;
};

// Brings a quotient that may be too small by one, with its divisor 10^m, to the true one.
Kept settled(Words3 const &low, std::int64_t m, Words3 const &quotient);

// The words of n, moved down by `shift` bits (or up, where it is negative, by fewer than 64).
template <int N>
[[gnu::always_inline]] inline Words3 leadingWords(Words<N> const &n, int shift) {
    Word padded[8] = {};
    eachWord<N>([&](int i) { padded[i + 1] = n[i]; });
    auto const position = static_cast<unsigned>(shift + 64);
    Word const *const from = padded + position / 64;
    int const bits = static_cast<int>(position % 64);
    return {{shiftedPair(from[1], from[0], bits), shiftedPair(from[2], from[1], bits),
             shiftedPair(from[3], from[2], bits)}};
}

// n without its last m digits. n has at most 52 digits more than m, which is from 1 to 52.
template <int N>
[[gnu::always_inline]] inline Kept dropDigits(Words<N> const &n, std::int64_t m) {
    static_assert(N == 3 || N == 6);
    Reciprocal const &reciprocal = kReciprocals[m];
    Words3 const product = multiplyLeading(leadingWords(n, reciprocal.shift), reciprocal.factor);
    constexpr int kFractionBits = kQuotientShift - 192;
    Words3 const quotient = shiftedDown(product, kFractionBits);
    // The fraction is too small by less than 7: just below or at a whole or a half it does not tell.
    constexpr Word kDoubt = 8;
    constexpr Word kHalf = Word{1} << (kFractionBits - 1);
    if (((product[0] + kDoubt) & (kHalf - 1)) <= kDoubt) [[unlikely]] {
        return settled(resized<3>(n), m, quotient);
    }
    return {quotient, product[0] & kHalf ? Rest::aboveHalf : Rest::belowHalf};
}

// The same for any m from 0 on.
Kept dropAnyDigits(Words3 const &n, std::int64_t m);

// a * 10^power, which must fit in three words.
inline Words3 scaledUp(Words3 const &a, std::int64_t power) {
    Words3 const &ten = kPowers[power];
    if (power == 0) return a;
    if (ten[2]) return multiplyInto<3>(a, ten);
    if (ten[1]) return multiplyInto<3>(a, resized<2>(ten));
    return multiplyInto<3>(a, resized<1>(ten));
}

// a without its trailing zeros, at most so many; how many were removed.
int removeZeros(Words3 &a, std::int64_t atMost);

// --- Rounding and packing ---------------------------------------------------------------------

bool isRounding(rounding round);

// Whether a coefficient of which `rest` was dropped takes its next larger value.
bool isRoundedUp(rounding round, Sign sign, Words3 const &coefficient, Rest rest);

// A coefficient below 10^52 of which `rest` was dropped (`isRounded`: digits were dropped, zeros
// maybe), any exponent: rounds, brings into range, sets the conditions.
decSext *finishAny(decSext *result, Finite const &value, Rest rest, bool isRounded,
                   decContext *context);

// The same where digits were dropped: at once when the rounding is the usual one and the exponent
// is in the middle of the range.
[[gnu::always_inline]] inline decSext *finishRounded(decSext *result, Sign sign,
                                                     std::int64_t exponent, Kept const &kept,
                                                     decContext *context) {
    constexpr Word kPlain = kDigits;
    if (context->round == DEC_ROUND_HALF_EVEN &&
        static_cast<Word>(exponent) - kPlain < kMaxExponent - kPlain) [[likely]] {
        Words3 rounded = kept.coefficient;
        addSmall(rounded, static_cast<Word>(kept.rest) + (rounded[0] & 1) > Word{2});
        if (rounded[0] != kCoefficientLimit[0] || rounded != kCoefficientLimit) [[likely]] {
            context->status |= kept.rest == Rest::none ? DEC_Rounded : DEC_Rounded | DEC_Inexact;
            return pack(result, sign, exponent, rounded);
        }
    }
    return finishAny(result, {kept.coefficient, exponent, sign}, kept.rest, true, context);
}

// The same for a coefficient below 10^52 that is exact.
[[gnu::always_inline]] inline decSext *finishExact(decSext *result, Sign sign,
                                                   std::int64_t exponent, Words3 const &coefficient,
                                                   decContext *context) {
    // Nothing is subnormal where even one digit is enough.
    constexpr Word kPlain = kDigits - 1;
    if (static_cast<Word>(exponent) - kPlain <= kMaxExponent - kPlain) [[likely]] {
        return pack(result, sign, exponent, coefficient);
    }
    return finishAny(result, {coefficient, exponent, sign}, Rest::none, false, context);
}

// The sum of any two, whose exponents may be out of range.
decSext *addFinite(decSext *result, Finite const &a, Finite const &b, decContext *context);

}  // namespace decnumber
