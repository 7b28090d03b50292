// What a number is, and its parts.
#include <algorithm>
#include <cstring>

#include "backends/decnumber/decnumber_core.h"
#include "backends/decnumber/decnumber_digits.h"

using namespace decnumber;

decSext *decSextZero(decSext *result) { return pack(result, false, DECSEXT_Bias, {}); }

decSext *decSextNaN(decSext *result) { return setNaN(result, false, false, {}); }

bool decSextIsNaN(decSext const *value) { return (value->words[2] & kNaN) == kNaN; }

bool decSextIsSignaling(decSext const *value) { return kindOf(*value) == Kind::signaling; }

bool decSextIsInfinite(decSext const *value) { return kindOf(*value) == Kind::infinite; }

bool decSextIsFinite(decSext const *value) { return isFinite(*value); }

bool decSextIsZero(decSext const *value) {
    Finite parts;
    return unpack(*value, parts) && isZero(parts.coefficient);
}

bool decSextIsSigned(decSext const *value) { return isNegative(*value); }

bool decSextIsNegative(decSext const *value) {
    return isNegative(*value) && !decSextIsNaN(value) && !decSextIsZero(value);
}

bool decSextIsSubnormal(decSext const *value) {
    Finite parts;
    return unpack(*value, parts) && !isZero(parts.coefficient) &&
           parts.exponent + digitsOf(parts.coefficient) < kDigits;
}

bool decSextIsCanonical(decSext const *value) {
    decSext canonical;
    switch (kindOf(*value)) {
        case Kind::finite: {
            Finite const parts = partsOf(*value);
            pack(&canonical, parts.isNegative, parts.exponent, parts.coefficient);
            break;
        }
        case Kind::infinite:
            setInfinity(&canonical, isNegative(*value));
            break;
        default:
            setNaN(&canonical, isNegative(*value), decSextIsSignaling(value), payloadOf(*value));
    }
    return std::equal(value->words, value->words + 3, canonical.words);
}

std::int32_t decSextDigits(decSext const *value) {
    Finite parts;
    return unpack(*value, parts) ? digitsOf(parts.coefficient) : 1;
}

std::int32_t decSextGetExponent(decSext const *value) {
    if (!isFinite(*value)) return DECSEXT_SpecialExponent;
    return static_cast<std::int32_t>(partsOf(*value).exponent) - DECSEXT_Bias;
}

decSext *decSextSetExponent(decSext *result, decSext const *value, decContext *context,
                            std::int32_t exponent) {
    if (!isFinite(*value)) return decSextPlus(result, value, context);
    Finite parts = partsOf(*value);
    parts.exponent = std::int64_t{exponent} + DECSEXT_Bias;
    return finishExact(result, parts.isNegative, parts.exponent, parts.coefficient, context);
}

std::int32_t decSextToBCD(decSext const *value, std::int32_t *exponent, std::uint8_t *digits) {
    *exponent = decSextGetExponent(value);
    Finite parts;
    if (unpack(*value, parts)) {
        writeDigits(parts.coefficient, 0, digits);
    } else {
        std::memset(digits, 0, kDigits);
    }
    return isNegative(*value);
}

decSext *decSextByteSwap(decSext *result, decSext const *value) {
    decSext const from = *value;
    for (int i = 0; i < 3; ++i) result->words[i] = __builtin_bswap64(from.words[2 - i]);
    return result;
}
