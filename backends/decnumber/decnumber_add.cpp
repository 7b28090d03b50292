#include "backends/decnumber/decnumber_core.h"

namespace decnumber {
namespace {

// Of two numbers that are in order, the one with the larger exponent first.
struct Aligned {
    Words3 high;
    Words3 low;
    std::int64_t exponent;
    Rest rest = Rest::none;  // of the low one
    bool isRounded = false;
};

bool fits(Words3 const &a, std::int64_t power) {
    if (power >= kDigits) return false;
    return bitLength(a) + bitLength(kPowers[power]) <= kCoefficientBits ||
           digitsOf(a) + power <= kDigits;
}

// The high one is brought to `digits` digits, and what the low one has below them becomes a rest.
Aligned alignTo(Finite const &high, Finite const &low, int digits) {
    int const raised = digits - digitsOf(high.coefficient);
    std::int64_t const dropped = high.exponent - low.exponent - raised;
    Aligned result = {scaledUp(high.coefficient, raised), low.coefficient, high.exponent - raised};
    if (dropped <= 0) return result;
    result.low = dropAnyDigits(low.coefficient, dropped, result.rest);
    result.isRounded = true;
    return result;
}

Aligned align(Finite const &high, Finite const &low) {
    std::int64_t const gap = high.exponent - low.exponent;
    if (isZero(high.coefficient)) return {{}, low.coefficient, low.exponent};
    if (!fits(high.coefficient, gap)) return alignTo(high, low, kDigits);
    return {scaledUp(high.coefficient, static_cast<int>(gap)), low.coefficient, low.exponent};
}

decSext *finishSum(decSext *result, bool isNegative, Aligned const &sum, decContext *context) {
    if (!sum.isRounded) [[likely]] {
        return finishExact(result, isNegative, sum.exponent, sum.high, context);
    }
    return finishRounded(result, {sum.high, sum.exponent, isNegative}, sum.rest, true, context);
}

decSext *addMagnitudes(decSext *result, bool isNegative, Aligned &sum, decContext *context) {
    add(sum.high, sum.low);
    if (!isLess(sum.high, kCoefficientLimit)) {
        Rest rest;
        sum.high = dropDigits(sum.high, 1, rest);
        sum.rest = joined(rest, sum.rest);
        ++sum.exponent;
        sum.isRounded = true;
    }
    return finishSum(result, isNegative, sum, context);
}

// high - low, a rest of low taken into account. False when high is the smaller.
bool subtractLow(Aligned &sum) {
    Word borrow = subtract(sum.high, sum.low);
    if (sum.rest != Rest::none) {
        borrow |= subtractSmall(sum.high, 1);
        sum.rest = complement(sum.rest);
    }
    return !borrow;
}

void negate(Words3 &a) {
    Words3 negated = {};
    subtract(negated, a);
    a = negated;
}

decSext *subtractMagnitudes(decSext *result, Finite const &high, Finite const &low,
                            decContext *context) {
    Aligned sum = align(high, low);
    bool isNegative = high.isNegative;
    if (sum.isRounded) {
        subtractLow(sum);
        // The leading digit is lost: one more has to take its place. It cannot be two unless the
        // low one is moved by one digit only, when the other digit is all there is.
        if (isLess(sum.high, kPowers[kDigits - 1])) {
            sum = alignTo(high, low, kDigits + 1);
            subtractLow(sum);
        }
    } else if (!subtractLow(sum)) {
        negate(sum.high);
        isNegative = !isNegative;
    }
    if (isZero(sum.high) && sum.rest == Rest::none) isNegative = context->round == DEC_ROUND_FLOOR;
    return finishSum(result, isNegative, sum, context);
}

// Infinities and NaN.
decSext *addSpecial(decSext *result, decSext const *left, decSext const *right, bool isSubtracted,
                    decContext *context) {
    if (passNaN(result, {left, right}, context)) return result;
    bool const leftSign = isNegative(*left);
    bool const rightSign = isNegative(*right) != isSubtracted;
    if (isFinite(*left)) return setInfinity(result, rightSign);
    if (!isFinite(*right) && leftSign != rightSign) {
        return setInvalid(result, context, DEC_Invalid_operation);
    }
    return setInfinity(result, leftSign);
}

decSext *addOrSubtract(decSext *result, decSext const *left, decSext const *right,
                       bool isSubtracted, decContext *context) {
    Finite a, b;
    if (!unpack(*left, a) || !unpack(*right, b)) [[unlikely]] {
        return addSpecial(result, left, right, isSubtracted, context);
    }
    b.isNegative ^= isSubtracted;
    return addFinite(result, a, b, context);
}

// 0 + value or 0 - value.
decSext *withSign(decSext *result, decSext const *value, bool isNegated, decContext *context) {
    Finite parts;
    if (!unpack(*value, parts)) {
        if (passNaN(result, {value}, context)) return result;
        return setInfinity(result, isNegative(*value) != isNegated);
    }
    parts.isNegative ^= isNegated;
    if (isZero(parts.coefficient) && context->round != DEC_ROUND_FLOOR) parts.isNegative = false;
    return finishExact(result, parts.isNegative, parts.exponent, parts.coefficient, context);
}

}  // namespace

decSext *addFinite(decSext *result, Finite const &a, Finite const &b, decContext *context) {
    Finite const &high = a.exponent < b.exponent ? b : a;
    Finite const &low = a.exponent < b.exponent ? a : b;
    if (a.isNegative != b.isNegative) return subtractMagnitudes(result, high, low, context);
    Aligned sum = align(high, low);
    return addMagnitudes(result, a.isNegative, sum, context);
}

}  // namespace decnumber

using namespace decnumber;

decSext *decSextAdd(decSext *result, decSext const *left, decSext const *right,
                    decContext *context) {
    return addOrSubtract(result, left, right, false, context);
}

decSext *decSextSubtract(decSext *result, decSext const *left, decSext const *right,
                         decContext *context) {
    return addOrSubtract(result, left, right, true, context);
}

decSext *decSextMinus(decSext *result, decSext const *value, decContext *context) {
    return withSign(result, value, true, context);
}

decSext *decSextPlus(decSext *result, decSext const *value, decContext *context) {
    return withSign(result, value, false, context);
}

decSext *decSextAbs(decSext *result, decSext const *value, decContext *context) {
    return withSign(result, value, isNegative(*value) && !decSextIsNaN(value), context);
}
