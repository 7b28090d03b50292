#include <utility>

#include "backends/decnumber/decnumber_core.h"

namespace decnumber {
namespace {

// --- Multiply ---------------------------------------------------------------------------------

[[gnu::always_inline]] inline decSext *finishProduct(decSext *result, Sign sign,
                                                     std::int64_t exponent, Words6 const &product,
                                                     decContext *context) {
    int const dropped = digitsOf(product) - kDigits;
    if (dropped <= 0) {
        return finishExact(result, sign, exponent, resized<3>(product), context);
    }
    return finishRounded(result, sign, exponent + dropped, dropDigits(product, dropped), context);
}

[[gnu::always_inline]] inline decSext *multiplyFinite(decSext *result, Finite const &a,
                                                      Finite const &b, decContext *context) {
    std::int64_t const exponent = a.exponent + b.exponent - DECSEXT_Bias;
    Sign const sign = a.sign * b.sign;
    Words3 const &x = a.coefficient, &y = b.coefficient;
    if ((x[2] | y[2]) != 0) {
        return finishProduct(result, sign, exponent, multiply(x, y), context);
    }
    if ((x[1] | y[1]) == 0) {
        Words<2> const product = multiply(resized<1>(x), resized<1>(y));
        return finishExact(result, sign, exponent, resized<3>(product), context);
    }
    Words<4> const product = multiply(resized<2>(x), resized<2>(y));
    if (product[3] == 0 && product[2] < kCoefficientLimit[2]) {
        return finishExact(result, sign, exponent, resized<3>(product), context);
    }
    return finishProduct(result, sign, exponent, resized<6>(product), context);
}

// The product of two of which one at least is an infinity, and none a NaN.
decSext *multiplyInfinity(decSext *result, decSext const &left, decSext const &right,
                          decContext *context) {
    if (decSextIsZero(&left) || decSextIsZero(&right)) {
        return setInvalid(result, context, DEC_Invalid_operation);
    }
    return setInfinity(result, signOf(left) * signOf(right));
}

[[gnu::noinline]] decSext *multiplyAny(decSext *result, decSext const *left, decSext const *right,
                                       decContext *context) {
    if (passNaN(result, {left, right}, context)) return result;
    if (isFinite(*left) && isFinite(*right)) {
        return multiplyFinite(result, partsOf(*left), partsOf(*right), context);
    }
    return multiplyInfinity(result, *left, *right, context);
}

// --- Multiply and add -------------------------------------------------------------------------

// Room for a product moved up by as many digits as can matter: 104 + 110, or 52 + 165 of them.
using Long = Words<12>;
constexpr int kProductReach = 110;
constexpr int kAddendReach = 165;

void scaleUp(Long &a, std::int64_t power) {
    constexpr int kStep = 19;
    for (; power >= kStep; power -= kStep) multiplySmall(a, kPowers[kStep][0], 0);
    multiplySmall(a, kPowers[power][0], 0);
}

// Brings two numbers to one exponent. Where the lower one lies so far below that it can no more
// than tip the balance, the least number does that as well.
std::int64_t alignLong(Long &high, std::int64_t highExponent, Long &low, std::int64_t lowExponent,
                       int reach) {
    std::int64_t gap = highExponent - lowExponent;
    if (gap > reach) {
        gap = reach;
        low = {{isZero(low) ? Word{0} : Word{1}}};
    }
    scaleUp(high, gap);
    return highExponent - gap;
}

// Drops digits by 19 until there are 104 at most, and still more than 52.
Words6 shortened(Long &a, std::int64_t &exponent, Rest &rest) {
    constexpr int kStep = 19;
    constexpr int kMostBits = 345;
    while (bitLength(a) > kMostBits) {
        if (divideSmall(a, kPowers[kStep][0])) rest = Rest::belowHalf;
        exponent += kStep;
    }
    return resized<6>(a);
}

decSext *finishLong(decSext *result, Long &sum, Finite parts, decContext *context) {
    Rest earlier = Rest::none;
    Words6 const six = shortened(sum, parts.exponent, earlier);
    int const dropped = digitsOf(six) - kDigits;
    if (dropped <= 0) {
        return finishExact(result, parts.sign, parts.exponent, resized<3>(six), context);
    }
    Kept kept = dropDigits(six, dropped);
    kept.rest = joined(kept.rest, earlier);
    return finishRounded(result, parts.sign, parts.exponent + dropped, kept, context);
}

decSext *fmaLong(decSext *result, Words6 const &product, Finite const &parts, Finite const &c,
                 decContext *context) {
    Long a = resized<12>(product);
    Long b = resized<12>(c.coefficient);
    Finite sum = parts;
    if (isZero(b) && parts.exponent <= c.exponent) return finishLong(result, a, sum, context);
    sum.exponent = parts.exponent >= c.exponent
                       ? alignLong(a, parts.exponent, b, c.exponent, kProductReach)
                       : alignLong(b, c.exponent, a, parts.exponent, kAddendReach);
    if (parts.sign == c.sign) {
        add(a, b);
        return finishLong(result, a, sum, context);
    }
    if (isLess(a, b)) {
        sum.sign = c.sign;
        std::swap(a, b);
    }
    subtract(a, b);
    if (isZero(a)) sum.sign = signOf(context->round == DEC_ROUND_FLOOR);
    return finishLong(result, a, sum, context);
}

decSext *fmaFinite(decSext *result, Finite const &a, Finite const &b, Finite const &c,
                   decContext *context) {
    Words6 const product = multiply(a.coefficient, b.coefficient);
    Finite parts = {resized<3>(product), a.exponent + b.exponent - DECSEXT_Bias, a.sign * b.sign};
    if (bitLength(product) <= kCoefficientBits) {
        return addFinite(result, parts, c, context);
    }
    return fmaLong(result, product, parts, c, context);
}

decSext *fmaSpecial(decSext *result, decSext const *left, decSext const *right,
                    decSext const *addend, decContext *context) {
    if (decSextIsNaN(left) || decSextIsNaN(right)) {
        passNaN(result, {left, right, addend}, context);
        return result;
    }
    decSext product;
    if (isFinite(*left) && isFinite(*right)) return decSextPlus(result, addend, context);
    multiplyInfinity(&product, *left, *right, context);
    if (decSextIsNaN(&product)) return decSextNaN(result);
    return decSextAdd(result, &product, addend, context);
}

}  // namespace
}  // namespace decnumber

using namespace decnumber;

decSext *decSextMultiply(decSext *result, decSext const *left, decSext const *right,
                         decContext *context) {
    Finite a, b;
    if (unpackPlain(*left, a) && unpackPlain(*right, b)) [[likely]] {
        return multiplyFinite(result, a, b, context);
    }
    return multiplyAny(result, left, right, context);
}

decSext *decSextFMA(decSext *result, decSext const *left, decSext const *right,
                    decSext const *addend, decContext *context) {
    Finite a, b, c;
    if (unpack(*left, a) && unpack(*right, b) && unpack(*addend, c)) [[likely]] {
        return fmaFinite(result, a, b, c, context);
    }
    return fmaSpecial(result, left, right, addend, context);
}
