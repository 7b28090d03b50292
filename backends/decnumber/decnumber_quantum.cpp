// Results at another exponent: reduced, quantized, whole.
#include "backends/decnumber/decnumber_core.h"

namespace decnumber {
namespace {

decSext *quantizeFinite(decSext *result, Finite const &value, std::int64_t exponent,
                        decContext *context) {
    if (isZero(value.coefficient)) return pack(result, value.isNegative, exponent, {});
    std::int64_t const dropped = exponent - value.exponent;
    if (dropped <= 0) {
        if (digitsOf(value.coefficient) - dropped > kDigits) {
            return setInvalid(result, context, DEC_Invalid_operation);
        }
        return finishExact(result, value.isNegative, exponent,
                           scaledUp(value.coefficient, static_cast<int>(-dropped)), context);
    }
    Rest rest;
    Finite quantized = value;
    quantized.exponent = exponent;
    quantized.coefficient = dropAnyDigits(value.coefficient, dropped, rest);
    if (rest != Rest::none && !isRounding(context->round)) {
        return setInvalid(result, context, DEC_Invalid_context);
    }
    // At least one digit was dropped, so that there is room for the carry.
    if (isRoundedUp(context->round, value.isNegative, quantized.coefficient, rest)) {
        addSmall(quantized.coefficient, 1);
    }
    context->status |= rest == Rest::none ? DEC_Rounded : DEC_Rounded | DEC_Inexact;
    return finishExact(result, value.isNegative, exponent, quantized.coefficient, context);
}

// NaN and infinities.
decSext *quantizeSpecial(decSext *result, decSext const *value, decSext const *quantum,
                         decContext *context) {
    if (passNaN(result, {value, quantum}, context)) return result;
    if (isFinite(*value) || isFinite(*quantum)) {
        return setInvalid(result, context, DEC_Invalid_operation);
    }
    return setInfinity(result, isNegative(*value));
}

}  // namespace
}  // namespace decnumber

using namespace decnumber;

decSext *decSextReduce(decSext *result, decSext const *value, decContext *context) {
    Finite parts;
    if (!unpack(*value, parts)) return decSextPlus(result, value, context);
    if (isZero(parts.coefficient)) return pack(result, parts.isNegative, DECSEXT_Bias, {});
    if (decSextIsSubnormal(value)) context->status |= DEC_Subnormal;
    parts.exponent += removeZeros(parts.coefficient, kMaxExponent - parts.exponent);
    return pack(result, parts.isNegative, parts.exponent, parts.coefficient);
}

decSext *decSextQuantize(decSext *result, decSext const *value, decSext const *quantum,
                         decContext *context) {
    Finite parts, unit;
    if (unpack(*value, parts) && unpack(*quantum, unit)) {
        return quantizeFinite(result, parts, unit.exponent, context);
    }
    return quantizeSpecial(result, value, quantum, context);
}

decSext *decSextToIntegralValue(decSext *result, decSext const *value, decContext *context,
                                rounding round) {
    Finite parts;
    if (!unpack(*value, parts)) return decSextPlus(result, value, context);
    if (parts.exponent >= DECSEXT_Bias) {
        return pack(result, parts.isNegative, parts.exponent, parts.coefficient);
    }
    decContext own = {};
    own.round = round;
    quantizeFinite(result, parts, DECSEXT_Bias, &own);
    context->status |= own.status & DEC_Invalid_context;
    return result;
}
