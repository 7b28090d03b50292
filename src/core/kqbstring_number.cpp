// KqbString: numbers as text and text as numbers.
#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>

#include "core/kqbstring_internal.h"
#include "platform/kqsstr.h"

namespace {

// Significant digits of a double's text; whole numbers below 10 to this power are written exactly.
constexpr int kDigits = 15;
constexpr double kLargestWhole = 1e15;

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

// The digits of a decimal number, the point behind the first, and its exponent.
struct Decimal {
    char const *digits;
    int count;
    int exponent;
};

char *copy(char *out, char const *from, int count) {
    std::memcpy(out, from, static_cast<std::size_t>(count));
    return out + count;
}

char *zeros(char *out, int count) {
    std::memset(out, '0', static_cast<std::size_t>(count));
    return out + count;
}

// As a decimal fraction, without an exponent.
char *writePlain(char *out, Decimal const &decimal) {
    int const whole = decimal.exponent + 1;
    if (whole <= 0) {
        out = zeros(copy(out, "0.", 2), -whole);
        return copy(out, decimal.digits, decimal.count);
    }
    if (whole >= decimal.count) {
        return zeros(copy(out, decimal.digits, decimal.count), whole - decimal.count);
    }
    *std::copy_n(decimal.digits, whole, out) = '.';
    return copy(out + whole + 1, decimal.digits + whole, decimal.count - whole);
}

// The shortest decimal that reads back as value is what "%.15g" writes, if it has no more than 15
// digits: so many survive the way into a double and back. It is found much faster than 15 digits
// are. Null when it has more.
char *writeShortest(double value, char *out) {
    char text[kKqbDoubleText];
    char *const end =
        std::to_chars(text, text + sizeof text, std::fabs(value), std::chars_format::scientific)
            .ptr;
    char *const mark = end[-4] == 'e' ? end - 4 : end - 5;
    int exponent = 0;
    std::from_chars(mark + 2, end, exponent);
    if (mark[1] == '-') exponent = -exponent;
    if (value < 0) *out++ = '-';
    if (exponent < -4 || exponent >= kDigits) {
        if (mark - text > kDigits + 1) return nullptr;
        return std::copy(text, end, out);
    }
    text[1] = text[0];
    char const *const digits = mark - text > 1 ? text + 1 : text;
    if (mark - digits > kDigits) return nullptr;
    return writePlain(out, {digits, static_cast<int>(mark - digits), exponent});
}

char *writeDouble(double value, char *out) {
    if (std::fabs(value) < kLargestWhole) {
        auto const whole = static_cast<long long>(value);
        bool const isWhole = static_cast<double>(whole) == value;
        if (isWhole && (whole != 0 || !std::signbit(value))) {
            return std::to_chars(out, out + kKqbDoubleText, whole).ptr;
        }
    }
    char *const end = std::isnormal(value) ? writeShortest(value, out) : nullptr;
    if (end != nullptr) return end;
    return std::to_chars(out, out + kKqbDoubleText, value, std::chars_format::general, kDigits).ptr;
}

}  // namespace

std::size_t kqbDoubleText(double value, char *text) {
    char *end = writeDouble(value, text);
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
