// KqbString: numbers as text and text as numbers.
#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>

#include "core/kqbstring_internal.h"
#include "platform/kqsstr.h"

namespace {

// Significant digits of a double's text.
constexpr int kDigits = 15;
constexpr double kLargestWhole = 1e15;
constexpr int kFewPlaces = 8;

// Room for the digits and the sign of any 64-bit integer.
constexpr std::size_t kIntegerText = 24;

template <class Integer>
KqbString &assignInteger(KqbString &string, Integer value) {
    char text[kIntegerText];
    char const *const end = std::to_chars(text, text + sizeof text, value).ptr;
    KqbStringAccess::assign(string, {text, static_cast<std::size_t>(end - text)});
    return string;
}

// Runs a parser over the text. A null string is no number.
template <class Number, class Parse>
Number parsed(KqbString const &string, bool *error, Parse parse) {
    Number value = 0;
    bool const succeeded = !string.isNull() && parse(string.asCstr(), &value) > 0;
    if (error != nullptr) *error = !succeeded;
    return succeeded ? value : Number{0};
}

char *toChars(char *out, long long value) {
    return std::to_chars(out, out + kIntegerText, value).ptr;
}

// value divided by 10 to the power of places, without zeros at the end: a product with fewer places
// may have missed being whole by its rounding.
char *writeDecimal(char *out, long long value, int places) {
    for (; places > 0 && value % 10 == 0; --places) value /= 10;
    if (places == 0) return toChars(out, value);
    char digits[kIntegerText];
    auto const count = static_cast<int>(toChars(digits, value) - digits);
    int const whole = count - places;
    if (whole <= 0) {
        *out++ = '0';
        *out++ = '.';
        out = std::fill_n(out, -whole, '0');
        return std::copy_n(digits, count, out);
    }
    out = std::copy_n(digits, whole, out);
    *out++ = '.';
    return std::copy_n(digits + whole, places, out);
}

// Nearly all numbers that are written have few decimal places. When the product with a power of ten
// is whole and below 10 to the 15th, its digits are the text: rounding moved the product by at most
// 2 to the -53rd of itself, and the nearest other text of 15 digits is four times as far away.
// Null when the number is another.
char *writeFewPlaces(double value, char *out) {
    double const magnitude = std::fabs(value);
    if (!(magnitude < kLargestWhole) || (magnitude < 1e-4 && magnitude != 0)) return nullptr;
    double scaled = magnitude;
    double scale = 1;
    for (int places = 0; places <= kFewPlaces && scaled < kLargestWhole; ++places) {
        auto const whole = static_cast<long long>(scaled);
        if (static_cast<double>(whole) == scaled) {
            if (std::signbit(value)) *out++ = '-';
            return writeDecimal(out, whole, places);
        }
        scale *= 10;
        scaled = magnitude * scale;
    }
    return nullptr;
}

}  // namespace

std::size_t kqbDoubleText(double value, char *text) {
    if (char const *const end = writeFewPlaces(value, text)) {
        return static_cast<std::size_t>(end - text);
    }
    char *end =
        std::to_chars(text, text + kKqbDoubleText, value, std::chars_format::general, kDigits).ptr;
    bool const hasShortExponent = end - text > 4 && end[-4] == 'e';
    if (hasShortExponent) {
        std::memmove(end - 1, end - 2, 2);
        end[-2] = '0';
        ++end;
    }
    return static_cast<std::size_t>(end - text);
}

KqbString &KqbString::assign(int value) { return assignInteger(*this, value); }
KqbString &KqbString::assign(unsigned int value) { return assignInteger(*this, value); }
KqbString &KqbString::assign(long value) { return assignInteger(*this, value); }
KqbString &KqbString::assign(unsigned long value) { return assignInteger(*this, value); }
KqbString &KqbString::assign(long long value) { return assignInteger(*this, value); }
KqbString &KqbString::assign(unsigned long long value) { return assignInteger(*this, value); }

KqbString &KqbString::assign(double value) {
    char text[kKqbDoubleText];
    KqbStringAccess::assign(*this, {text, kqbDoubleText(value, text)});
    return *this;
}

int KqbString::asInt(bool *error) const {
    auto const parse = [](char const *text, int *value) {
        using Limits = std::numeric_limits<int>;
        long long wide = 0;
        if (kqs_numparse64(text, &wide, 0, 0) <= 0) return 0;
        if (wide < Limits::min() || wide > Limits::max()) return 0;
        *value = static_cast<int>(wide);
        return 1;
    };
    return parsed<int>(*this, error, parse);
}

long long KqbString::asInt64(bool *error) const {
    auto const parse = [](char const *text, long long *value) {
        return kqs_numparse64(text, value, 0, 0);
    };
    return parsed<long long>(*this, error, parse);
}

unsigned long long KqbString::asSize(bool *error) const {
    auto const parse = [](char const *text, unsigned long long *value) {
        return kqs_numparseU64(text, value, 0, 0);
    };
    return parsed<unsigned long long>(*this, error, parse);
}

double KqbString::asDouble(bool *error) const {
    return parsed<double>(*this, error, kqs_numparsedbl);
}
