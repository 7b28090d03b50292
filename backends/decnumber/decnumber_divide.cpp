#include <algorithm>

#include "backends/decnumber/decnumber_core.h"
#include "backends/decnumber/decnumber_quotient.h"

namespace decnumber {
namespace {

// --- Divide -----------------------------------------------------------------------------------

// Both are not 0. The quotient is made to have 52 digits just so.
decSext *divideNonzero(decSext *result, Finite const &a, Finite const &b, decContext *context) {
    int const digitsA = digitsOf(a.coefficient);
    int const digitsB = digitsOf(b.coefficient);
    Words3 const high = scaledUp(a.coefficient, kDigits - digitsA);
    Words3 const low = scaledUp(b.coefficient, kDigits - digitsB);
    int const power = isLess(high, low) ? digitsB : digitsB - 1;
    Quotient const division = divide(multiply(high, kPowers[power]), b.coefficient);

    int const raised = power + kDigits - digitsA;
    Sign const sign = a.sign * b.sign;
    std::int64_t const exponent = a.exponent - b.exponent + DECSEXT_Bias - raised;
    Rest const rest = restOf(division.remainder, b.coefficient);
    if (rest != Rest::none) {
        return finishRounded(result, sign, exponent, {division.quotient, rest}, context);
    }
    // An exact quotient has no more zeros than its operands' exponents ask for.
    Words3 quotient = division.quotient;
    int const removed = removeZeros(quotient, raised);
    return finishExact(result, sign, exponent + removed, quotient, context);
}

decSext *divideFinite(decSext *result, Finite const &a, Finite const &b, decContext *context) {
    Sign const sign = a.sign * b.sign;
    if (isZero(b.coefficient)) [[unlikely]] {
        if (isZero(a.coefficient)) return setInvalid(result, context, DEC_Division_undefined);
        context->status |= DEC_Division_by_zero;
        return setInfinity(result, sign);
    }
    if (isZero(a.coefficient)) {
        return finishExact(result, sign, a.exponent - b.exponent + DECSEXT_Bias, {}, context);
    }
    return divideNonzero(result, a, b, context);
}

[[gnu::noinline]] decSext *divideAny(decSext *result, decSext const *left, decSext const *right,
                                     decContext *context) {
    if (passNaN(result, {left, right}, context)) return result;
    Sign const sign = signOf(*left) * signOf(*right);
    if (isFinite(*right)) {
        if (!isFinite(*left)) return setInfinity(result, sign);
        return divideFinite(result, partsOf(*left), partsOf(*right), context);
    }
    if (!isFinite(*left)) return setInvalid(result, context, DEC_Invalid_operation);
    // Nothing over infinity: the least zero there is.
    context->status |= DEC_Clamped;
    return pack(result, sign, 0, {});
}

// --- Whole quotients and remainders -----------------------------------------------------------

// A division to a whole quotient, of numbers that are not 0. The exponent is the lower one of the
// two, which remainder and divisor are in units of.
struct WholeDivision {
    Quotient parts;
    Words3 divisor;
    std::int64_t exponent;
    bool isBelowTenth;  // when the divisor is not brought to the exponent
};

std::int64_t leadingExponent(Finite const &a) { return a.exponent + digitsOf(a.coefficient); }

// False when the quotient has more than 53 digits.
bool divideWhole(Finite const &a, Finite const &b, WholeDivision &division) {
    std::int64_t const gap = a.exponent - b.exponent;
    std::int64_t const size = leadingExponent(a) - leadingExponent(b);
    division.exponent = gap < 0 ? a.exponent : b.exponent;
    division.divisor = b.coefficient;
    if (size > kDigits) return false;
    division.isBelowTenth = size <= -2;
    if (division.isBelowTenth) {
        Words3 remainder = a.coefficient;
        if (gap > 0) remainder = scaledUp(remainder, gap);
        division.parts = {{}, remainder};
        return true;
    }
    Words6 dividend = resized<6>(a.coefficient);
    if (gap <= 0) {
        division.divisor = scaledUp(b.coefficient, -gap);
    } else if (gap <= kDigits) {
        dividend = multiply(a.coefficient, kPowers[gap]);
    } else {
        dividend = multiply(scaledUp(a.coefficient, gap - kDigits), kPowers[kDigits]);
    }
    division.parts = divide(dividend, division.divisor);
    return true;
}

// |remainder| at most half the divisor, a tie to an even quotient. True when the remainder's sign
// turns about.
bool takeNearest(WholeDivision &division) {
    if (division.isBelowTenth) return false;
    auto &[quotient, remainder] = division.parts;
    Rest const rest = restOf(remainder, division.divisor);
    if (!isRoundedUp(DEC_ROUND_HALF_EVEN, Sign::plus, quotient, rest)) return false;
    Words3 complement = division.divisor;
    subtract(complement, remainder);
    remainder = complement;
    addSmall(quotient, 1);
    return true;
}

// NaN, infinities and zeros, for which there is no division. False for all others.
bool remainderSpecial(decSext *result, decSext const *left, decSext const *right,
                      decContext *context) {
    if (passNaN(result, {left, right}, context)) return true;
    if (!isFinite(*left)) {
        setInvalid(result, context, DEC_Invalid_operation);
        return true;
    }
    if (decSextIsZero(right)) {
        setInvalid(result, context,
                   decSextIsZero(left) ? DEC_Division_undefined : DEC_Invalid_operation);
        return true;
    }
    Finite const a = partsOf(*left);
    bool const isWhole = !isFinite(*right);
    if (!isWhole && !isZero(a.coefficient)) return false;
    std::int64_t exponent = a.exponent;
    if (!isWhole) exponent = std::min(exponent, partsOf(*right).exponent);
    finishExact(result, a.sign, exponent, a.coefficient, context);
    return true;
}

decSext *remainderOf(decSext *result, decSext const *left, decSext const *right, bool isNearest,
                     decContext *context) {
    if (remainderSpecial(result, left, right, context)) return result;
    Finite const a = partsOf(*left), b = partsOf(*right);
    WholeDivision division;
    bool isPossible = divideWhole(a, b, division);
    bool const isTurned = isPossible && isNearest && takeNearest(division);
    isPossible = isPossible && isLess(division.parts.quotient, kCoefficientLimit);
    if (!isPossible) return setInvalid(result, context, DEC_Division_impossible);
    return finishExact(result, a.sign * signOf(isTurned), division.exponent,
                       division.parts.remainder, context);
}

decSext *wholeQuotient(decSext *result, Finite const &a, Finite const &b, decContext *context) {
    Sign const sign = a.sign * b.sign;
    WholeDivision division = {};
    if (!isZero(a.coefficient) &&
        (!divideWhole(a, b, division) || !isLess(division.parts.quotient, kCoefficientLimit))) {
        return setInvalid(result, context, DEC_Division_impossible);
    }
    return pack(result, sign, DECSEXT_Bias, division.parts.quotient);
}

}  // namespace
}  // namespace decnumber

using namespace decnumber;

decSext *decSextDivide(decSext *result, decSext const *left, decSext const *right,
                       decContext *context) {
    Finite a, b;
    if (unpackPlain(*left, a) && unpackPlain(*right, b)) [[likely]] {
        return divideFinite(result, a, b, context);
    }
    return divideAny(result, left, right, context);
}

decSext *decSextDivideInteger(decSext *result, decSext const *left, decSext const *right,
                              decContext *context) {
    if (isFinite(*left) && isFinite(*right)) {
        Finite const a = partsOf(*left), b = partsOf(*right);
        if (isZero(b.coefficient)) return divideFinite(result, a, b, context);
        return wholeQuotient(result, a, b, context);
    }
    if (isFinite(*left) && !decSextIsNaN(right) && !decSextIsNaN(left)) {
        return pack(result, signOf(*left) * signOf(*right), DECSEXT_Bias, {});
    }
    return divideAny(result, left, right, context);
}

decSext *decSextRemainder(decSext *result, decSext const *left, decSext const *right,
                          decContext *context) {
    return remainderOf(result, left, right, false, context);
}

decSext *decSextRemainderNear(decSext *result, decSext const *left, decSext const *right,
                              decContext *context) {
    return remainderOf(result, left, right, true, context);
}
