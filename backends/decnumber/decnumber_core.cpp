#include "backends/decnumber/decnumber_core.h"

#include <algorithm>

namespace decnumber {
namespace {

constexpr Words3 kOne = {{1, 0, 0}};
constexpr std::int64_t kPlainExponent = kDigits - 1;

// Powers of five are odd: a number divisible by one is what its inverse modulo 2^192 makes small.
struct FiveTest {
    int power;
    Words3 inverse;
    Words3 most;  // quotients of numbers of three words
};

constexpr FiveTest fiveTest(int power) {
    Words3 five = kOne;
    for (int i = 0; i < power; ++i) multiplySmall(five, 5, 0);
    Words3 inverse = five;
    for (int i = 0; i < 7; ++i) {  // each step doubles the bits that are right
        Words3 error = multiplyInto<3>(five, inverse);
        Words3 correction = {{2, 0, 0}};
        subtract(correction, error);
        inverse = multiplyInto<3>(inverse, correction);
    }
    Words3 most = {{~Word{0}, ~Word{0}, ~Word{0}}};
    for (int i = 0; i < power; ++i) {
        Wide rest = 0;
        for (int j = 2; j >= 0; --j) {
            rest = wide(lowWord(rest), most[j]);
            most[j] = lowWord(rest / 5);
            rest %= 5;
        }
    }
    return {power, inverse, most};
}

constexpr FiveTest kFives[] = {fiveTest(32), fiveTest(16), fiveTest(8),
                               fiveTest(4),  fiveTest(2),  fiveTest(1)};

bool divideByTens(Words3 &a, FiveTest const &five) {
    Words3 const quotient = multiplyInto<3>(a, five.inverse);
    if (isLess(five.most, quotient)) return false;
    a = shiftedDown(quotient, five.power);
    return true;
}

// 2^64 leaves 1 when divided by 5.
bool isMultipleOfFive(Words3 const &a) { return (a[0] % 5 + a[1] % 5 + a[2] % 5) % 5 == 0; }

Rest takeDigits(Finite &value, std::int64_t count, Rest earlier) {
    Rest rest;
    value.coefficient = dropAnyDigits(value.coefficient, count, rest);
    value.exponent += count;
    return joined(rest, earlier);
}

void roundUp(Finite &value) {
    addSmall(value.coefficient, 1);
    if (value.coefficient != kCoefficientLimit) return;
    value.coefficient = kPowers[kDigits - 1];
    ++value.exponent;
}

decSext *overflowed(decSext *result, bool isNegative, decContext *context) {
    context->status |= DEC_Overflow | DEC_Inexact | DEC_Rounded;
    bool isInfinite = true;
    switch (context->round) {
        case DEC_ROUND_DOWN:
        case DEC_ROUND_05UP:
            isInfinite = false;
            break;
        case DEC_ROUND_CEILING:
            isInfinite = !isNegative;
            break;
        case DEC_ROUND_FLOOR:
            isInfinite = isNegative;
            break;
        default:
            break;
    }
    if (isInfinite) return setInfinity(result, isNegative);
    Words3 largest = kCoefficientLimit;
    subtractSmall(largest, 1);
    return pack(result, isNegative, kMaxExponent, largest);
}

decSext *packZero(decSext *result, Finite const &value, decContext *context) {
    std::int64_t const exponent = std::clamp<std::int64_t>(value.exponent, 0, kMaxExponent);
    if (exponent != value.exponent) context->status |= DEC_Clamped;
    return pack(result, value.isNegative, exponent, {});
}

decSext *packInRange(decSext *result, Finite const &value, decContext *context) {
    if (value.exponent <= kMaxExponent) {
        return pack(result, value.isNegative, value.exponent, value.coefficient);
    }
    std::int64_t const excess = value.exponent - kMaxExponent;
    if (excess + digitsOf(value.coefficient) > kDigits) {
        return overflowed(result, value.isNegative, context);
    }
    context->status |= DEC_Clamped;
    return pack(result, value.isNegative, kMaxExponent,
                scaledUp(value.coefficient, static_cast<int>(excess)));
}

}  // namespace

Kind kindOf(decSext const &value) {
    Word const top = value.words[2];
    if ((top & kInfinity) != kInfinity) return Kind::finite;
    if ((top & kNaN) != kNaN) return Kind::infinite;
    return (top & kSignaling) == kSignaling ? Kind::signaling : Kind::quiet;
}

Finite partsOf(decSext const &value) {
    Finite parts;
    if (!unpackPlain(value, parts)) {
        if ((value.words[2] & kOtherLayout) == kOtherLayout) {
            parts.exponent =
                static_cast<std::int64_t>(value.words[2] >> kOtherExponentShift) & kExponentMask;
            parts.coefficient = {};
        } else if (!isLess(parts.coefficient, kCoefficientLimit)) {
            parts.coefficient = {};
        }
    }
    return parts;
}

// --- Infinities and NaN -----------------------------------------------------------------------

decSext *setInfinity(decSext *result, bool isNegative) {
    *result = {{0, 0, kInfinity | Word{isNegative} << 63}};
    return result;
}

decSext *setInvalid(decSext *result, decContext *context, std::uint32_t status) {
    context->status |= status;
    return decSextNaN(result);
}

Words3 payloadOf(decSext const &value) {
    Words3 const payload = {{value.words[0], value.words[1], value.words[2] & kPayloadTop}};
    return isLess(payload, kPowers[kPayloadDigits]) ? payload : Words3{};
}

decSext *setNaN(decSext *result, bool isNegative, bool isSignaling, Words3 const &payload) {
    Word const kind = isSignaling ? kSignaling : kNaN;
    *result = {{payload[0], payload[1], kind | Word{isNegative} << 63 | payload[2]}};
    return result;
}

bool passNaN(decSext *result, std::initializer_list<decSext const *> operands,
             decContext *context) {
    decSext const *first = nullptr;
    for (decSext const *operand : operands) {
        Kind const kind = kindOf(*operand);
        if (kind == Kind::signaling) {
            context->status |= DEC_Invalid_operation;
            first = operand;
            break;
        }
        if (kind == Kind::quiet && !first) first = operand;
    }
    if (!first) return false;
    setNaN(result, isNegative(*first), false, payloadOf(*first));
    return true;
}

// --- Dropping digits --------------------------------------------------------------------------

Rest settleQuotient(Words3 const &low, int m, Words3 &quotient) {
    Words3 const &divisor = kPowers[m];
    Words3 remainder = low;
    subtract(remainder, multiplyInto<3>(quotient, divisor));
    if (!isLess(remainder, divisor)) {
        subtract(remainder, divisor);
        addSmall(quotient, 1);
    }
    return restOf(remainder, divisor);
}

Words3 dropAnyDigits(Words3 const &n, std::int64_t m, Rest &rest) {
    if (m >= 1 && m <= kDigits) return dropDigits(n, static_cast<int>(m), rest);
    bool const isKept = m == 0 || isZero(n);
    rest = isKept ? Rest::none : Rest::belowHalf;
    return isKept ? n : Words3{};
}

Words3 scaledUp(Words3 const &a, int power) {
    Words3 const &ten = kPowers[power];
    if (ten[2]) return multiplyInto<3>(a, ten);
    if (ten[1]) return multiplyInto<3>(a, resized<2>(ten));
    return multiplyInto<3>(a, resized<1>(ten));
}

int removeZeros(Words3 &a, std::int64_t atMost) {
    if ((a[0] & 1) || atMost < 1 || !isMultipleOfFive(a) || isZero(a)) return 0;
    std::int64_t left = std::min<std::int64_t>(atMost, trailingZeroBits(a));
    int removed = 0;
    for (FiveTest const &five : kFives) {
        if (five.power > left || !divideByTens(a, five)) continue;
        left -= five.power;
        removed += five.power;
    }
    return removed;
}

// --- Rounding and packing ---------------------------------------------------------------------

bool isRounding(rounding round) { return round >= DEC_ROUND_CEILING && round <= DEC_ROUND_05UP; }

bool isRoundedUp(rounding round, bool isNegative, Words3 const &coefficient, Rest rest) {
    if (rest == Rest::none) return false;
    switch (round) {
        case DEC_ROUND_HALF_EVEN:
            return rest > Rest::half || (rest == Rest::half && (coefficient[0] & 1));
        case DEC_ROUND_HALF_UP:
            return rest >= Rest::half;
        case DEC_ROUND_HALF_DOWN:
            return rest > Rest::half;
        case DEC_ROUND_CEILING:
            return !isNegative;
        case DEC_ROUND_FLOOR:
            return isNegative;
        case DEC_ROUND_UP:
            return true;
        case DEC_ROUND_05UP:  // a last digit of 0 or 5
            return isMultipleOfFive(coefficient);
        default:
            return false;
    }
}

decSext *finishRounded(decSext *result, Finite const &value, Rest rest, bool isRounded,
                       decContext *context) {
    Finite rounded = value;
    bool const isNothing = isZero(rounded.coefficient) && rest == Rest::none;
    if (isNothing) return packZero(result, rounded, context);
    std::int64_t const digits = isZero(rounded.coefficient) ? 0 : digitsOf(rounded.coefficient);
    bool const isSubnormal = rounded.exponent + digits <= kPlainExponent;
    if (rounded.exponent < 0) {
        rest = takeDigits(rounded, -rounded.exponent, rest);
        isRounded = true;
    }
    if (rest != Rest::none && !isRounding(context->round)) {
        return setInvalid(result, context, DEC_Invalid_context);
    }
    if (isRoundedUp(context->round, rounded.isNegative, rounded.coefficient, rest)) {
        roundUp(rounded);
    }
    if (isRounded) context->status |= DEC_Rounded;
    if (rest != Rest::none) context->status |= DEC_Inexact;
    if (isSubnormal) context->status |= DEC_Subnormal;
    if (isSubnormal && rest != Rest::none) context->status |= DEC_Underflow;
    if (isSubnormal && isZero(rounded.coefficient)) context->status |= DEC_Clamped;
    return packInRange(result, rounded, context);
}

}  // namespace decnumber
