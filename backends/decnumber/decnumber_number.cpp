// General numbers and their square root.
#include <algorithm>
#include <cmath>

#include "backends/decnumber/decnumber_core.h"
#include "backends/decnumber/decnumber_quotient.h"

namespace decnumber {
namespace {

// Too large a coefficient does not count, as in a decimal.
Words3 coefficientOf(decNumber const &value) {
    Words3 const coefficient = {{value.coefficient[0], value.coefficient[1], value.coefficient[2]}};
    return isLess(coefficient, kCoefficientLimit) ? coefficient : Words3{};
}

void setNumber(decNumber *result, Words3 const &coefficient, std::int64_t exponent,
               std::uint8_t bits) {
    *result = {{coefficient[0], coefficient[1], coefficient[2]},
               static_cast<std::int32_t>(exponent),
               bits};
}

decNumber *setInvalid(decNumber *result, decContext *context, std::uint32_t status) {
    context->status |= status;
    setNumber(result, {}, 0, DECNAN);
    return result;
}

// --- Square root ------------------------------------------------------------------------------

// floor(sqrt(n)) for n of 103 or 104 digits, by Newton's iteration from above: 50 bits, then 100,
// then more than the root's 173.
Words3 rootOf(Words6 const &n) {
    double const leading = std::ldexp(static_cast<double>(n[5]), 64) + static_cast<double>(n[4]);
    double const estimate = std::sqrt(leading) * (1 + 0x1p-48);  // times 2^128
    int power;
    auto const bits = static_cast<Word>(std::ldexp(std::frexp(estimate, &power), 53));
    // bits * 2^(power - 53 + 128)
    Words3 root = shiftedUp(Words3{{0, bits, 0}}, power - 53 + 64);
    for (int i = 0; i < 2; ++i) {
        Words3 const other = divide(n, root).quotient;
        add(root, other);
        root = shiftedDown(root, 1);
    }
    while (isLess(n, multiply(root, root))) subtractSmall(root, 1);
    return root;
}

// The root of a coefficient that is not 0 times 10^exponent, with 52 digits.
Rest setRoot(Words3 const &coefficient, std::int64_t exponent, Finite &root) {
    int raised = 2 * kDigits - digitsOf(coefficient);
    if ((exponent - raised) % 2 != 0) --raised;
    Words6 const n = multiply(scaledUp(coefficient, std::max(raised - kDigits, 0)),
                              kPowers[std::min(raised, kDigits)]);
    root = {rootOf(n), (exponent - raised) / 2, false};
    Words6 rest = n;
    subtract(rest, multiply(root.coefficient, root.coefficient));
    if (isZero(rest)) return Rest::none;
    // (root + 1/2)^2 lies between n = root^2 + root and the next whole number.
    return isLess(root.coefficient, resized<3>(rest)) ? Rest::aboveHalf : Rest::belowHalf;
}

// Rounds a root to so many digits.
void roundRoot(Finite &root, int digits, Rest rest, decContext *context) {
    int const dropped = digitsOf(root.coefficient) - digits;
    if (dropped > 0) {
        Rest later;
        root.coefficient = dropDigits(root.coefficient, dropped, later);
        root.exponent += dropped;
        rest = joined(later, rest);
    }
    if (isRoundedUp(DEC_ROUND_HALF_EVEN, false, root.coefficient, rest)) {
        addSmall(root.coefficient, 1);
        Words3 const &limit = kPowers[digits];
        if (root.coefficient == limit) {
            root.coefficient = kPowers[digits - 1];
            ++root.exponent;
        }
    }
    if (dropped > 0 || rest != Rest::none) context->status |= DEC_Rounded;
    if (rest != Rest::none) context->status |= DEC_Inexact;
}

std::int64_t preferredExponent(std::int64_t exponent) { return exponent >> 1; }

decNumber *rootSpecial(decNumber *result, decNumber const *value, decContext *context) {
    if (value->bits & DECSNAN) context->status |= DEC_Invalid_operation;
    bool const isNaN = value->bits & (DECNAN | DECSNAN);
    if (!isNaN && (value->bits & DECNEG)) {
        return setInvalid(result, context, DEC_Invalid_operation);
    }
    *result = *value;
    if (isNaN) result->bits = static_cast<std::uint8_t>((value->bits & DECNEG) | DECNAN);
    return result;
}

}  // namespace
}  // namespace decnumber

using namespace decnumber;

decNumber *decimal192ToNumber(decimal192 const *value, decNumber *result) {
    std::uint8_t const sign = isNegative(*value) ? DECNEG : 0;
    switch (kindOf(*value)) {
        case Kind::finite: {
            Finite const parts = partsOf(*value);
            setNumber(result, parts.coefficient, parts.exponent - DECSEXT_Bias, sign);
            break;
        }
        case Kind::infinite:
            setNumber(result, {}, 0, sign | DECINF);
            break;
        case Kind::quiet:
            setNumber(result, payloadOf(*value), 0, sign | DECNAN);
            break;
        case Kind::signaling:
            setNumber(result, payloadOf(*value), 0, sign | DECSNAN);
            break;
    }
    return result;
}

decimal192 *decimal192FromNumber(decimal192 *result, decNumber const *value, decContext *context) {
    bool const isNegative = value->bits & DECNEG;
    Words3 const coefficient = coefficientOf(*value);
    if (value->bits & DECINF) return setInfinity(result, isNegative);
    if (value->bits & (DECNAN | DECSNAN)) {
        bool const isPayload = isLess(coefficient, kPowers[kPayloadDigits]);
        return setNaN(result, isNegative, value->bits & DECSNAN,
                      isPayload ? coefficient : Words3{});
    }
    return finishExact(result, isNegative, std::int64_t{value->exponent} + DECSEXT_Bias,
                       coefficient, context);
}

decNumber *decNumberSquareRoot(decNumber *result, decNumber const *value, decContext *context) {
    if (context->digits < 1 || context->digits > kDigits) {
        return setInvalid(result, context, DEC_Invalid_context);
    }
    if (value->bits & (DECINF | DECNAN | DECSNAN)) return rootSpecial(result, value, context);
    Words3 const coefficient = coefficientOf(*value);
    std::int64_t const preferred = preferredExponent(value->exponent);
    if (isZero(coefficient)) {
        setNumber(result, {}, preferred, value->bits & DECNEG);
        return result;
    }
    if (value->bits & DECNEG) return setInvalid(result, context, DEC_Invalid_operation);
    Finite root;
    Rest const rest = setRoot(coefficient, value->exponent, root);
    if (rest == Rest::none) {
        root.exponent += removeZeros(root.coefficient, preferred - root.exponent);
    }
    roundRoot(root, context->digits, rest, context);
    setNumber(result, root.coefficient, root.exponent, 0);
    return result;
}
