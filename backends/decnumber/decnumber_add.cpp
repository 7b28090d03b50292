#include "backends/decnumber/decnumber_core.h"

namespace decnumber {
namespace {

// Sums are built in one go, whatever the signs: what is subtracted is added as its complement.
// high + low, or high - low where `isOther`; false when high is the smaller. `rest` of the low one
// was dropped, and becomes what the sum lacks.
[[gnu::always_inline]] inline bool addLow(Words3 &high, Words3 const &low, bool isOther,
                                          Rest &rest) {
    Word const mask = 0 - Word{isOther};
    Word carry = isOther && rest == Rest::none;
    eachWord<3>([&](int i) { high[i] = addWithCarry(high[i], low[i] ^ mask, carry); });
    if (isOther) rest = complement(rest);
    return !isOther || carry;
}

void negate(Words3 &a) {
    Words3 negated = {};
    subtract(negated, a);
    a = negated;
}

// A sum of 52 digits, or 53.
[[gnu::always_inline]] inline decSext *finishCarried(decSext *result, Sign sign,
                                                     std::int64_t exponent, Kept const &sum,
                                                     decContext *context) {
    if (isLess(sum.coefficient, kCoefficientLimit)) {
        return finishRounded(result, sign, exponent, sum, context);
    }
    Kept const kept = dropDigits(sum.coefficient, 1);
    return finishRounded(result, sign, exponent + 1,
                         {kept.coefficient, joined(kept.rest, sum.rest)}, context);
}

// high, brought to its exponent less `raised`, and what low has above that exponent.
[[gnu::always_inline]] inline Kept addCut(Finite const &high, Finite const &low,
                                          std::int64_t raised) {
    Words3 sum = scaledUp(high.coefficient, raised);
    std::int64_t const dropped = high.exponent - low.exponent - raised;
    Kept cut = dropped > kDigits ? dropAnyDigits(low.coefficient, dropped)
                                 : dropDigits(low.coefficient, dropped);
    addLow(sum, cut.coefficient, high.sign != low.sign, cut.rest);
    return {sum, cut.rest};
}

// The leading digit is lost: one more takes its place. It cannot be two unless the low one was cut
// by one digit only, when that digit is all there is.
[[gnu::noinline]] decSext *addCancelled(decSext *result, Finite const &high, Finite const &low,
                                        std::int64_t raised, decContext *context) {
    std::int64_t const exponent = high.exponent - raised;
    if (exponent > low.exponent) {
        return finishRounded(result, high.sign, exponent, addCut(high, low, raised), context);
    }
    Words3 sum = scaledUp(high.coefficient, raised);
    subtract(sum, low.coefficient);
    return finishExact(result, high.sign, exponent, sum, context);
}

// A sum that needs more digits than there are.
[[gnu::always_inline]] inline decSext *addRounded(decSext *result, Finite const &high,
                                                  Finite const &low, std::int64_t raised,
                                                  decContext *context) {
    Kept const sum = addCut(high, low, raised);
    if (isLess(sum.coefficient, kPowers[kDigits - 1])) [[unlikely]] {
        return addCancelled(result, high, low, raised + 1, context);
    }
    return finishCarried(result, high.sign, high.exponent - raised, sum, context);
}

// The low one, of which there is nothing to cut, and the high one brought to its exponent.
[[gnu::always_inline]] inline decSext *addExact(decSext *result, Finite const &high,
                                                Finite const &low, std::int64_t raised,
                                                decContext *context) {
    Words3 sum = scaledUp(high.coefficient, raised);
    bool const isOther = high.sign != low.sign;
    Sign sign = high.sign;
    Rest rest = Rest::none;
    if (!addLow(sum, low.coefficient, isOther, rest)) {
        negate(sum);
        sign = low.sign;
    }
    if (isOther && isZero(sum)) sign = signOf(context->round == DEC_ROUND_FLOOR);
    if (isLess(sum, kCoefficientLimit)) [[likely]] {
        return finishExact(result, sign, low.exponent, sum, context);
    }
    return finishCarried(result, sign, low.exponent, {sum, Rest::none}, context);
}

[[gnu::always_inline]] inline decSext *addInOrder(decSext *result, Finite const &high,
                                                  Finite const &low, decContext *context) {
    std::int64_t const gap = high.exponent - low.exponent;
    if (gap == 0) return addExact(result, high, low, 0, context);
    std::int64_t const raised = kDigits - digitsOf(high.coefficient);
    if (gap <= raised) return addExact(result, high, low, gap, context);
    if (isZero(high.coefficient)) return addExact(result, high, low, 0, context);
    return addRounded(result, high, low, raised, context);
}

[[gnu::always_inline]] inline decSext *addParts(decSext *result, Finite const &a, Finite const &b,
                                                decContext *context) {
    return a.exponent < b.exponent ? addInOrder(result, b, a, context)
                                   : addInOrder(result, a, b, context);
}

[[gnu::noinline]] decSext *addAny(decSext *result, decSext const *left, decSext const *right,
                                  decContext *context) {
    if (passNaN(result, {left, right}, context)) return result;
    if (isFinite(*left) && isFinite(*right)) {
        return addFinite(result, partsOf(*left), partsOf(*right), context);
    }
    if (isFinite(*left)) return setInfinity(result, signOf(*right));
    if (!isFinite(*right) && signOf(*left) != signOf(*right)) {
        return setInvalid(result, context, DEC_Invalid_operation);
    }
    return setInfinity(result, signOf(*left));
}

// 0 + value or 0 - value; a NaN keeps its sign.
decSext *withFactor(decSext *result, decSext const *value, Sign factor, decContext *context) {
    Finite parts;
    if (!unpack(*value, parts)) {
        if (passNaN(result, {value}, context)) return result;
        return setInfinity(result, signOf(*value) * factor);
    }
    parts.sign = parts.sign * factor;
    if (isZero(parts.coefficient) && context->round != DEC_ROUND_FLOOR) parts.sign = Sign::plus;
    return finishExact(result, parts.sign, parts.exponent, parts.coefficient, context);
}

}  // namespace

decSext *addFinite(decSext *result, Finite const &a, Finite const &b, decContext *context) {
    return addParts(result, a, b, context);
}

}  // namespace decnumber

using namespace decnumber;

decSext *decSextAdd(decSext *result, decSext const *left, decSext const *right,
                    decContext *context) {
    Finite a, b;
    if (unpackPlain(*left, a) && unpackPlain(*right, b)) [[likely]] {
        return addParts(result, a, b, context);
    }
    return addAny(result, left, right, context);
}

decSext *decSextSubtract(decSext *result, decSext const *left, decSext const *right,
                         decContext *context) {
    decSext other = *right;
    if (!decSextIsNaN(right)) other.words[2] ^= kSign;
    return decSextAdd(result, left, &other, context);
}

decSext *decSextMinus(decSext *result, decSext const *value, decContext *context) {
    return withFactor(result, value, Sign::minus, context);
}

decSext *decSextPlus(decSext *result, decSext const *value, decContext *context) {
    return withFactor(result, value, Sign::plus, context);
}

decSext *decSextAbs(decSext *result, decSext const *value, decContext *context) {
    return withFactor(result, value, signOf(*value), context);
}
