// Decimals from and to binary integers and doubles.
#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <limits>

#include "backends/decnumber/decnumber_core.h"

namespace decnumber {
namespace {

// --- Integers ---------------------------------------------------------------------------------

// The magnitude rounded to a whole number; false when it is above `most`.
bool toMagnitude(Finite const &parts, rounding round, Word most, Word &magnitude) {
    constexpr std::int64_t kWordDigits = 19;
    Words3 whole = parts.coefficient;
    std::int64_t const power = parts.exponent - DECSEXT_Bias;
    if (power > 0 && !isZero(whole)) {
        if (power > kWordDigits || whole[1] || whole[2]) return false;
        whole = scaledUp(whole, static_cast<int>(power));
    } else if (power < 0) {
        Rest rest;
        whole = dropAnyDigits(whole, -power, rest);
        if (isRoundedUp(round, parts.isNegative, whole, rest)) addSmall(whole, 1);
    }
    magnitude = whole[0];
    return !whole[1] && !whole[2] && magnitude <= most;
}

// The whole number as a word, in two's complement when negative; 0 when it is out of range.
Word toWord(decSext const *value, decContext *context, rounding round, Word most,
            Word mostNegative) {
    Finite parts;
    Word magnitude = 0;
    if (!isRounding(round)) {
        context->status |= DEC_Invalid_context;
        return 0;
    }
    if (!unpack(*value, parts) ||
        !toMagnitude(parts, round, parts.isNegative ? mostNegative : most, magnitude)) {
        context->status |= DEC_Invalid_operation;
        return 0;
    }
    return parts.isNegative ? 0 - magnitude : magnitude;
}

// --- Doubles ----------------------------------------------------------------------------------

constexpr Word kDoubleLimit = Word{1} << std::numeric_limits<double>::digits;
constexpr int kExactPower = 22;  // the largest power of ten that a double is exactly
constexpr double kTens[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,  1e8,  1e9,  1e10, 1e11,
                            1e12, 1e13, 1e14, 1e15, 1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};

// The shortest digits that read back, and the exponent of the last of them.
decSext *fromShortest(decSext *result, double value) {
    char text[32];
    auto const end =
        std::to_chars(text, text + sizeof text, std::fabs(value), std::chars_format::scientific)
            .ptr;
    char const *const mark = std::find(text, end, 'e');
    Word digits = 0;
    for (char const *p = text; p != mark; ++p) {
        if (*p != '.') digits = digits * 10 + static_cast<Word>(*p - '0');
    }
    int exponent = 0;
    std::from_chars(mark + (mark[1] == '+' ? 2 : 1), end, exponent);
    int const fraction = static_cast<int>(std::max<std::ptrdiff_t>(mark - text - 2, 0));
    return pack(result, value < 0, DECSEXT_Bias + exponent - fraction, {{digits, 0, 0}});
}

// Whether 5^power divides the coefficient, and what it leaves then.
bool divideByFives(Words3 &a, std::int64_t power) {
    for (; power > 0; --power) {
        Words3 quotient = a;
        Word rest = 0;
        for (int i = 2; i >= 0; --i) {
            Wide const n = wide(rest, quotient[i]);
            quotient[i] = lowWord(n / 5);
            rest = lowWord(n % 5);
        }
        if (rest) return false;
        a = quotient;
    }
    return true;
}

// Whether a number that is not 0 is a double exactly: an odd number below 2^53, but for a power
// of two. (The range cannot fail: 52 digits with so few fives are no extreme number.)
bool isDouble(Finite const &parts) {
    constexpr int kMostFives = 74;  // in 52 digits
    std::int64_t const power = parts.exponent - DECSEXT_Bias;
    if (power > kExactPower || power < -kMostFives) return false;
    Words3 odd = parts.coefficient;
    int const zeros = trailingZeroBits(odd);
    for (int left = zeros; left > 0; left -= 63) odd = shiftedDown(odd, std::min(left, 63));
    if (power < 0) return divideByFives(odd, -power) && bitLength(odd) <= 53;
    for (std::int64_t i = 0; i < power && bitLength(odd) <= 53; ++i) multiplySmall(odd, 5, 0);
    return bitLength(odd) <= 53;
}

double magnitudeFromText(Finite const &parts) {
    decSext magnitude;
    char text[DECSEXT_String];
    pack(&magnitude, false, parts.exponent, parts.coefficient);
    decSextToString(&magnitude, text);
    double value = 0;
    char const *const end = std::find(text, text + sizeof text, '\0');
    if (std::from_chars(text, end, value).ec == std::errc()) return value;
    bool const isLarge = parts.exponent + digitsOf(parts.coefficient) > DECSEXT_Bias;
    return isLarge ? std::numeric_limits<double>::infinity() : 0;
}

double toMagnitude(Finite const &parts) {
    std::int64_t const power = parts.exponent - DECSEXT_Bias;
    Words3 const &c = parts.coefficient;
    // A double times or over a power of ten that is one too is rounded once.
    if (c[0] < kDoubleLimit && !c[1] && !c[2] && std::abs(power) <= kExactPower) {
        auto const whole = static_cast<double>(c[0]);
        return power < 0 ? whole / kTens[-power] : whole * kTens[power];
    }
    return magnitudeFromText(parts);
}

double specialToDouble(decSext const *value, decContext *context) {
    using Limits = std::numeric_limits<double>;
    if (decSextIsSignaling(value)) context->status |= DEC_Invalid_operation;
    double const magnitude = decSextIsNaN(value) ? Limits::quiet_NaN() : Limits::infinity();
    return isNegative(*value) ? -magnitude : magnitude;
}

}  // namespace
}  // namespace decnumber

using namespace decnumber;

decSext *decSextFromInt64(decSext *result, std::int64_t value) {
    auto const bits = static_cast<Word>(value);
    return pack(result, value < 0, DECSEXT_Bias, {{value < 0 ? 0 - bits : bits, 0, 0}});
}

decSext *decSextFromUInt64(decSext *result, std::uint64_t value) {
    return pack(result, false, DECSEXT_Bias, {{value, 0, 0}});
}

std::int64_t decSextToInt64(decSext const *value, decContext *context, rounding round) {
    constexpr Word kMost = std::numeric_limits<std::int64_t>::max();
    return static_cast<std::int64_t>(toWord(value, context, round, kMost, kMost + 1));
}

std::uint64_t decSextToUInt64(decSext const *value, decContext *context, rounding round) {
    return toWord(value, context, round, std::numeric_limits<std::uint64_t>::max(), 0);
}

std::uint32_t decSextToUInt32(decSext const *value, decContext *context, rounding round) {
    constexpr Word kMost = std::numeric_limits<std::uint32_t>::max();
    return static_cast<std::uint32_t>(toWord(value, context, round, kMost, 0));
}

decSext *decSextFromDouble(decSext *result, double value, decContext *) {
    if (std::isnan(value)) return decSextNaN(result);
    if (std::isinf(value)) return setInfinity(result, value < 0);
    // A small whole number is its own digits.
    double const magnitude = std::fabs(value);
    if (magnitude < static_cast<double>(kDoubleLimit)) {
        auto const whole = static_cast<Word>(magnitude);
        if (static_cast<double>(whole) == magnitude) {
            return pack(result, std::signbit(value), DECSEXT_Bias, {{whole, 0, 0}});
        }
    }
    return fromShortest(result, value);
}

double decSextToDouble(decSext const *value, decContext *context) {
    Finite parts;
    if (!unpack(*value, parts)) return specialToDouble(value, context);
    if (isZero(parts.coefficient)) return parts.isNegative ? -0.0 : 0.0;
    double const magnitude = toMagnitude(parts);
    if (std::isinf(magnitude)) context->status |= DEC_Overflow;
    if (!isDouble(parts)) context->status |= DEC_Inexact;
    return parts.isNegative ? -magnitude : magnitude;
}
