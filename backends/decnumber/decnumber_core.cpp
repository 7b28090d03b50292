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
    for (int i = 0; i < power; ++i) divideSmall(most, 5);
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
    Kept const kept = dropAnyDigits(value.coefficient, count);
    value.coefficient = kept.coefficient;
    value.exponent += count;
    return joined(kept.rest, earlier);
}

void roundUp(Finite &value) {
    addSmall(value.coefficient, 1);
    if (value.coefficient != kCoefficientLimit) return;
    value.coefficient = kPowers[kDigits - 1];
    ++value.exponent;
}

decSext *overflowed(decSext *result, Sign sign, decContext *context) {
    context->status |= DEC_Overflow | DEC_Inexact | DEC_Rounded;
    bool isInfinite = true;
    switch (context->round) {
        case DEC_ROUND_DOWN:
        case DEC_ROUND_05UP:
            isInfinite = false;
            break;
        case DEC_ROUND_CEILING:
            isInfinite = !isMinus(sign);
            break;
        case DEC_ROUND_FLOOR:
            isInfinite = isMinus(sign);
            break;
        default:
            break;
    }
    if (isInfinite) return setInfinity(result, sign);
    Words3 largest = kCoefficientLimit;
    subtractSmall(largest, 1);
    return pack(result, sign, kMaxExponent, largest);
}

decSext *packZero(decSext *result, Finite const &value, decContext *context) {
    std::int64_t const exponent = std::clamp<std::int64_t>(value.exponent, 0, kMaxExponent);
    if (exponent != value.exponent) context->status |= DEC_Clamped;
    return pack(result, value.sign, exponent, {});
}

decSext *packInRange(decSext *result, Finite const &value, decContext *context) {
    if (value.exponent <= kMaxExponent) {
        return pack(result, value.sign, value.exponent, value.coefficient);
    }
    std::int64_t const excess = value.exponent - kMaxExponent;
    if (excess + digitsOf(value.coefficient) > kDigits) {
        return overflowed(result, value.sign, context);
    }
    context->status |= DEC_Clamped;
    return pack(result, value.sign, kMaxExponent, scaledUp(value.coefficient, excess));
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

decSext *setInfinity(decSext *result, Sign sign) {
    *result = {{0, 0, kInfinity | static_cast<Word>(sign)}};
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

decSext *setNaN(decSext *result, Sign sign, bool isSignaling, Words3 const &payload) {
    Word const kind = isSignaling ? kSignaling : kNaN;
    *result = {{payload[0], payload[1], kind | static_cast<Word>(sign) | payload[2]}};
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
    setNaN(result, signOf(*first), false, payloadOf(*first));
    return true;
}

// --- Dropping digits --------------------------------------------------------------------------

Kept settled(Words3 const &low, std::int64_t m, Words3 const &quotient) {
    Words3 const &divisor = kPowers[m];
    Words3 remainder = low, whole = quotient;
    subtract(remainder, multiplyInto<3>(whole, divisor));
    if (!isLess(remainder, divisor)) {
        subtract(remainder, divisor);
        addSmall(whole, 1);
    }
    return {whole, restOf(remainder, divisor)};
}

Kept dropAnyDigits(Words3 const &n, std::int64_t m) {
    if (m >= 1 && m <= kDigits) return dropDigits(n, m);
    if (m == 0 || isZero(n)) return {n, Rest::none};
    return {{}, Rest::belowHalf};
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

bool isRoundedUp(rounding round, Sign sign, Words3 const &coefficient, Rest rest) {
    if (rest == Rest::none) return false;
    switch (round) {
        case DEC_ROUND_HALF_EVEN:
            return rest > Rest::half || (rest == Rest::half && (coefficient[0] & 1));
        case DEC_ROUND_HALF_UP:
            return rest >= Rest::half;
        case DEC_ROUND_HALF_DOWN:
            return rest > Rest::half;
        case DEC_ROUND_CEILING:
            return !isMinus(sign);
        case DEC_ROUND_FLOOR:
            return isMinus(sign);
        case DEC_ROUND_UP:
            return true;
        case DEC_ROUND_05UP:  // a last digit of 0 or 5
            return isMultipleOfFive(coefficient);
        default:
            return false;
    }
}

decSext *finishAny(decSext *result, Finite const &value, Rest rest, bool isRounded,
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
    if (isRoundedUp(context->round, rounded.sign, rounded.coefficient, rest)) {
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
