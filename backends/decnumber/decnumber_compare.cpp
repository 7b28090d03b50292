#include "backends/decnumber/decnumber_core.h"

namespace decnumber {
namespace {

// Powers of two in a power of ten, and of the difference that tells which of two numbers with so
// many bits is larger; both scaled by 2^16.
constexpr std::int64_t kBitsOfTen = 217706;
constexpr std::int64_t kEnough = 3 << 15;

// Of magnitudes that are not 0 and whose leading digits are in the same place: the one with the
// larger exponent has fewer digits.
int compareAligned(Finite const &a, Finite const &b) {
    std::int64_t const gap = a.exponent - b.exponent;
    if (gap > 0) return compare(scaledUp(a.coefficient, gap), b.coefficient);
    return compare(a.coefficient, scaledUp(b.coefficient, -gap));
}

// Of numbers with different exponents or signs.
int compareApart(Finite const &a, Finite const &b) {
    int const bitsA = bitLength(a.coefficient), bitsB = bitLength(b.coefficient);
    int const signA = isMinus(a.sign) ? -1 : 1;
    if (bitsA == 0 && bitsB == 0) return 0;
    if (bitsA == 0) return isMinus(b.sign) ? 1 : -1;
    if (bitsB == 0 || a.sign != b.sign) return signA;
    std::int64_t const gap = a.exponent - b.exponent;
    std::int64_t const size = (std::int64_t{bitsA - bitsB} << 16) + gap * kBitsOfTen;
    if (size > kEnough || size < -kEnough) [[likely]]
        return size < 0 ? -signA : signA;
    std::int64_t const digits = gap + digitsOf(a.coefficient) - digitsOf(b.coefficient);
    if (digits != 0) return digits < 0 ? -signA : signA;
    return signA * compareAligned(a, b);
}

int compareFinite(Finite const &a, Finite const &b) {
    if (a.exponent != b.exponent || a.sign != b.sign) return compareApart(a, b);
    Words3 rest = a.coefficient;
    bool const isBelow = subtract(rest, b.coefficient) != 0;
    int const magnitude = isBelow ? -1 : !isZero(rest);
    return isMinus(a.sign) ? -magnitude : magnitude;
}

int orderOf(decSext const &infinity) { return isNegative(infinity) ? -1 : 1; }

// Of two of which one at least is an infinity, and none a NaN.
int compareInfinity(decSext const &left, decSext const &right) {
    if (isFinite(left)) return -orderOf(right);
    if (isFinite(right) || signOf(left) != signOf(right)) return orderOf(left);
    return 0;
}

}  // namespace
}  // namespace decnumber

using namespace decnumber;

int decSextOrder(decSext const *left, decSext const *right) {
    Finite a, b;
    if (unpack(*left, a) && unpack(*right, b)) [[likely]]
        return compareFinite(a, b);
    if (decSextIsNaN(left) || decSextIsNaN(right)) return DECSEXT_Unordered;
    return compareInfinity(*left, *right);
}

decSext *decSextCompare(decSext *result, decSext const *left, decSext const *right,
                        decContext *context) {
    int const order = decSextOrder(left, right);
    if (order != DECSEXT_Unordered) return decSextFromInt64(result, order);
    passNaN(result, {left, right}, context);
    return result;
}
