// KqbString: numbers as text and text as numbers.
#include <charconv>
#include <cstring>
#include <limits>

#include "core/kqbstring_internal.h"
#include "platform/kqsstr.h"

namespace {

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

}  // namespace

std::size_t kqbDoubleText(double value, char *text) {
    char *end =
        std::to_chars(text, text + kKqbDoubleText, value, std::chars_format::general, 15).ptr;
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
