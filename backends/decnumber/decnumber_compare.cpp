#include "backends/decnumber/decnumber_core.h"

namespace decnumber {
namespace {

int orderOf(Sign sign) { return isMinus(sign) ? -1 : 1; }

constexpr int kUndecided = 3;

// Of numbers with one sign whose exponents differ by `gap`, the first one's being larger: by their
// first words, of which the first one's stands for what lies from it up to the next.
[[gnu::always_inline]] inline int orderByFirstWords(Words3 const &a, Words3 const &b, Word power) {
    int const first = a[2] | b[2] ? 2 : a[1] | b[1] ? 1 : 0;
    Wide const least = Wide{a[first]} * power;
    if (least > b[first]) return 1;
    if (first == 0) return least < b[0] ? -1 : 0;
    return least + power <= b[first] ? -1 : kUndecided;
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

// In a function of its own, where it is not in the way of the usual.
[[gnu::noinline]] int compareFinite(decSext const &left, decSext const &right) {
    Finite const a = partsOf(left), b = partsOf(right);
    bool const isZeroA = isZero(a.coefficient), isZeroB = isZero(b.coefficient);
    if (isZeroA) return isZeroB ? 0 : -orderOf(b.sign);
    if (isZeroB || a.sign != b.sign) return orderOf(a.sign);
    return orderOf(a.sign) * compareMagnitudes(a, b);
}

[[gnu::noinline]] int compareAny(decSext const &left, decSext const &right, int unordered) {
    if (decSextIsNaN(&left) || decSextIsNaN(&right)) return unordered;
    bool const isFiniteLeft = isFinite(left), isFiniteRight = isFinite(right);
    if (isFiniteLeft && isFiniteRight) return compareFinite(left, right);
    if (isFiniteLeft) return -orderOf(signOf(right));
    if (isFiniteRight || signOf(left) != signOf(right)) return orderOf(signOf(left));
    return 0;
}

// Of plain numbers whose signs or exponents differ.
[[gnu::noinline]] int compareApart(decSext const &left, decSext const &right) {
    constexpr std::int64_t kNear = 19;  // the powers of ten of one word
    Words3 const a = coefficientOf(left), b = coefficientOf(right);
    int const positive = isNegative(left) ? -1 : 1;
    if (isNegative(left) != isNegative(right)) return isZero(a) && isZero(b) ? 0 : positive;
    std::int64_t const gap = exponentOf(left) - exponentOf(right);
    if (gap < -kNear || gap > kNear) return compareFinite(left, right);
    int const order = gap > 0 ? orderByFirstWords(a, b, kPowers[gap][0])
                              : -orderByFirstWords(b, a, kPowers[-gap][0]);
    bool const isDecided = order != kUndecided && order != -kUndecided;
    return isDecided ? order * positive : compareFinite(left, right);
}

}  // namespace
}  // namespace decnumber

using namespace decnumber;

int decSextOrder(decSext const *left, decSext const *right, int unordered) {
    if (!isPlain(*left) || !isPlain(*right)) [[unlikely]]
        return compareAny(*left, *right, unordered);
    Words3 const a = coefficientOf(*left), b = coefficientOf(*right);
    Word const differing = left->words[2] ^ right->words[2];
    if (differing >> kExponentShift != 0) return compareApart(*left, *right);
    if (a == b) return 0;
    return isLess(a, b) != isNegative(*left) ? -1 : 1;
}

decSext *decSextCompare(decSext *result, decSext const *left, decSext const *right,
                        decContext *context) {
    constexpr int unordered = 2;
    int const order = decSextOrder(left, right, unordered);
    if (order != unordered) return decSextFromInt64(result, order);
    passNaN(result, {left, right}, context);
    return result;
}
