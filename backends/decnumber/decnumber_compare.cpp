#include "backends/decnumber/decnumber_core.h"

namespace decnumber {
namespace {

// Of coefficients that are not 0.
int compareMagnitudes(Finite const &a, Finite const &b) {
    std::int64_t const gap = a.exponent - b.exponent;
    if (gap == 0) return compare(a.coefficient, b.coefficient);
    std::int64_t const size = gap + digitsOf(a.coefficient) - digitsOf(b.coefficient);
    if (size != 0) return size < 0 ? -1 : 1;
    // As many digits before the point: the one with the larger exponent has fewer in all.
    if (gap > 0) return compare(scaledUp(a.coefficient, static_cast<int>(gap)), b.coefficient);
    return compare(a.coefficient, scaledUp(b.coefficient, static_cast<int>(-gap)));
}

int compareFinite(Finite const &a, Finite const &b) {
    bool const isZeroA = isZero(a.coefficient), isZeroB = isZero(b.coefficient);
    if (isZeroA && isZeroB) return 0;
    if (isZeroA) return b.isNegative ? 1 : -1;
    if (isZeroB || a.isNegative != b.isNegative) return a.isNegative ? -1 : 1;
    int const order = compareMagnitudes(a, b);
    return a.isNegative ? -order : order;
}

int signOf(decSext const &infinity) { return isNegative(infinity) ? -1 : 1; }

// Of two of which one at least is an infinity, and none a NaN.
int compareInfinity(decSext const &left, decSext const &right) {
    if (isFinite(left)) return -signOf(right);
    if (isFinite(right) || isNegative(left) != isNegative(right)) return signOf(left);
    return 0;
}

}  // namespace
}  // namespace decnumber

using namespace decnumber;

decSext *decSextCompare(decSext *result, decSext const *left, decSext const *right,
                        decContext *context) {
    Finite a, b;
    int order;
    if (unpack(*left, a) && unpack(*right, b)) [[likely]] {
        order = compareFinite(a, b);
    } else {
        if (passNaN(result, {left, right}, context)) return result;
        order = compareInfinity(*left, *right);
    }
    return pack(result, order < 0, DECSEXT_Bias, {{order != 0, 0, 0}});
}
