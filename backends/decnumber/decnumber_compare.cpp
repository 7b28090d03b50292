#include "backends/decnumber/decnumber_core.h"

namespace decnumber {
namespace {

constexpr int kUndecided = 3;

int orderOf(Sign sign) { return isMinus(sign) ? -1 : 1; }

// Of numbers with one sign and different exponents, by their sizes in bits, where those are far
// enough apart. Both are scaled by 2^16: the bits of a power of ten, and a difference that one bit
// on either side and what the former lacks cannot make up for.
[[gnu::always_inline]] inline int orderBySize(Finite const &a, Finite const &b) {
    constexpr std::int64_t kBitsOfTen = 217706;
    constexpr std::int64_t kEnough = 3 << 15;
    int const bitsA = bitLength(a.coefficient), bitsB = bitLength(b.coefficient);
    if (bitsA == 0 || bitsB == 0) return kUndecided;
    std::int64_t const size =
        (std::int64_t{bitsA - bitsB} << 16) + (a.exponent - b.exponent) * kBitsOfTen;
    if (size > kEnough) return orderOf(a.sign);
    return size < -kEnough ? -orderOf(a.sign) : kUndecided;
}

// Of numbers with one sign, of one word each, whose exponents are near.
[[gnu::always_inline]] inline int orderOfSmall(Word a, Word b, std::int64_t gap, Sign sign) {
    Wide const first = gap > 0 ? Wide{a} * kPowers[gap][0] : a;
    Wide const second = gap > 0 ? b : Wide{b} * kPowers[-gap][0];
    if (first == second) return 0;
    return first < second ? -orderOf(sign) : orderOf(sign);
}

// What most comparisons need.
[[gnu::always_inline]] inline int quickOrder(Finite const &a, Finite const &b) {
    if (a.sign != b.sign) {
        Word const any = a.coefficient[0] | b.coefficient[0];
        return any ? orderOf(a.sign) : kUndecided;
    }
    if (a.exponent != b.exponent) {
        constexpr std::int64_t kNear = 19;
        std::int64_t const gap = a.exponent - b.exponent;
        bool const isSmall =
            !(a.coefficient[1] | a.coefficient[2] | b.coefficient[1] | b.coefficient[2]);
        if (isSmall && gap >= -kNear && gap <= kNear) {
            return orderOfSmall(a.coefficient[0], b.coefficient[0], gap, a.sign);
        }
        return orderBySize(a, b);
    }
    if (a.coefficient == b.coefficient) return 0;
    return isLess(a.coefficient, b.coefficient) ? -orderOf(a.sign) : orderOf(a.sign);
}

// Of numbers that are not 0.
int compareMagnitudes(Finite const &a, Finite const &b) {
    std::int64_t const gap = a.exponent - b.exponent;
    std::int64_t const size = gap + digitsOf(a.coefficient) - digitsOf(b.coefficient);
    if (size != 0) return size < 0 ? -1 : 1;
    // As many digits before the point: the one with the larger exponent has fewer in all.
    if (gap > 0) return compare(scaledUp(a.coefficient, gap), b.coefficient);
    return compare(a.coefficient, scaledUp(b.coefficient, -gap));
}

int compareFinite(Finite const &a, Finite const &b) {
    bool const isZeroA = isZero(a.coefficient), isZeroB = isZero(b.coefficient);
    if (isZeroA) return isZeroB ? 0 : -orderOf(b.sign);
    if (isZeroB || a.sign != b.sign) return orderOf(a.sign);
    return orderOf(a.sign) * compareMagnitudes(a, b);
}

[[gnu::noinline]] int compareAny(decSext const &left, decSext const &right) {
    if (decSextIsNaN(&left) || decSextIsNaN(&right)) return DECSEXT_Unordered;
    bool const isFiniteLeft = isFinite(left), isFiniteRight = isFinite(right);
    if (isFiniteLeft && isFiniteRight) return compareFinite(partsOf(left), partsOf(right));
    if (isFiniteLeft) return -orderOf(signOf(right));
    if (isFiniteRight || signOf(left) != signOf(right)) return orderOf(signOf(left));
    return 0;
}

}  // namespace
}  // namespace decnumber

using namespace decnumber;

int decSextOrder(decSext const *left, decSext const *right) {
    Finite a, b;
    if (unpackPlain(*left, a) && unpackPlain(*right, b)) [[likely]] {
        int const order = quickOrder(a, b);
        if (order != kUndecided) return order;
    }
    return compareAny(*left, *right);
}

decSext *decSextCompare(decSext *result, decSext const *left, decSext const *right,
                        decContext *context) {
    int const order = decSextOrder(left, right);
    if (order != DECSEXT_Unordered) return decSextFromInt64(result, order);
    passNaN(result, {left, right}, context);
    return result;
}
