// Numbers from text, by std::from_chars.
#include <charconv>
#include <climits>
#include <cstdint>
#include <limits>
#include <string_view>

#include "platform/kqsstr.h"

namespace {

constexpr int kNotANumber = 0;
constexpr int kOutOfRange = -1;

bool isBlank(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }
bool isDigit(char c) { return c >= '0' && c <= '9'; }

// A text without the blanks around it and without its sign.
struct SignedText {
    std::string_view rest;
    bool negative = false;
    int size;  // of the whole text

    explicit SignedText(char const *text) : rest(text ? text : "") {
        size = rest.size() < INT_MAX ? static_cast<int>(rest.size()) : INT_MAX;
        while (!rest.empty() && isBlank(rest.front())) rest.remove_prefix(1);
        while (!rest.empty() && isBlank(rest.back())) rest.remove_suffix(1);
        if (rest.empty() || (rest.front() != '-' && rest.front() != '+')) return;
        negative = rest.front() == '-';
        rest.remove_prefix(1);
    }

    char const *begin() const { return rest.data(); }
    char const *end() const { return rest.data() + rest.size(); }
};

// --- Whole numbers ----------------------------------------------------------------------------

int parseMagnitude(SignedText const &text, unsigned long long &value, int base, int flags) {
    if (base == 0) base = 10;
    if (base < 2 || base > 36 || flags != 0) return kNotANumber;
    auto const [end, error] = std::from_chars(text.begin(), text.end(), value, base);
    if (error == std::errc::invalid_argument || end != text.end()) return kNotANumber;
    return error == std::errc{} ? text.size : kOutOfRange;
}

template <class Integer>
int parseSigned(char const *text, Integer *value, int base, int flags) {
    SignedText const number(text);
    unsigned long long magnitude = 0;
    int const result = parseMagnitude(number, magnitude, base, flags);
    if (result <= 0) return result;
    auto const limit = static_cast<unsigned long long>(std::numeric_limits<Integer>::max());
    if (magnitude > limit + number.negative) return kOutOfRange;
    *value = static_cast<Integer>(number.negative ? 0 - magnitude : magnitude);
    return result;
}

// --- Floating-point numbers -------------------------------------------------------------------

// Whether a decimal number that no double can hold is too large rather than too small: it is of
// the order of ten to the places before its point, less its leading zeros, plus its exponent.
bool isHuge(std::string_view number) {
    std::size_t const mantissaEnd = number.find_first_of("eE");
    std::string_view const mantissa = number.substr(0, mantissaEnd);
    auto const first = static_cast<std::int64_t>(mantissa.find_first_of("123456789"));
    std::size_t const point = mantissa.find('.');
    auto const whole =
        static_cast<std::int64_t>(point == std::string_view::npos ? mantissa.size() : point);
    if (mantissaEnd == std::string_view::npos) return first < whole;

    std::string_view exponent = number.substr(mantissaEnd + 1);
    bool const negative = exponent.front() == '-';
    if (negative || exponent.front() == '+') exponent.remove_prefix(1);
    std::int64_t power = 0;
    auto const parsed = std::from_chars(exponent.begin(), exponent.end(), power);
    if (parsed.ec != std::errc{}) return !negative;
    return (negative ? -power : power) > first - whole;
}

}  // namespace

int kqs_numparse(char const *text, int *value, int base, int flags) {
    return parseSigned(text, value, base, flags);
}

int kqs_numparse64(char const *text, long long *value, int base, int flags) {
    return parseSigned(text, value, base, flags);
}

int kqs_numparseU64(char const *text, unsigned long long *value, int base, int flags) {
    SignedText const number(text);
    unsigned long long magnitude = 0;
    int const result = parseMagnitude(number, magnitude, base, flags);
    if (result <= 0) return result;
    if (number.negative && magnitude != 0) return kOutOfRange;
    *value = magnitude;
    return result;
}

int kqs_numparsedbl(char const *text, double *value) {
    SignedText const number(text);
    std::string_view const digits = number.rest;
    if (digits.empty() || (!isDigit(digits.front()) && digits.front() != '.')) return kNotANumber;
    double magnitude = 0;
    auto const [end, error] = std::from_chars(number.begin(), number.end(), magnitude);
    if (error == std::errc::invalid_argument || end != number.end()) return kNotANumber;
    bool const isExtreme = error != std::errc{};
    if (isExtreme && isHuge(digits)) return kOutOfRange;
    if (isExtreme) magnitude = 0;
    *value = number.negative ? -magnitude : magnitude;
    return number.size;
}
