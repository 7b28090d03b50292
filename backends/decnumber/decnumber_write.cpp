// Decimals to text.
#include <charconv>
#include <cstring>

#include "backends/decnumber/decnumber_core.h"
#include "backends/decnumber/decnumber_digits.h"

namespace decnumber {
namespace {

struct Digits {
    std::uint8_t bytes[kDigits];
    char const *from;
    int count;
};

void setDigits(Words3 const &coefficient, Digits &digits) {
    writeDigits(coefficient, '0', digits.bytes);
    digits.count = digitsOf(coefficient);
    digits.from = reinterpret_cast<char const *>(digits.bytes) + kDigits - digits.count;
}

char *put(char *to, char const *from, int count) {
    std::memcpy(to, from, static_cast<std::size_t>(count));
    return to + count;
}

char *putWord(char *to, char const *word) {
    return put(to, word, static_cast<int>(std::strlen(word)));
}

char *putExponent(char *to, int exponent) {
    *to++ = 'E';
    *to++ = exponent < 0 ? '-' : '+';
    return std::to_chars(to, to + 6, exponent < 0 ? -exponent : exponent).ptr;
}

// Digits with the point after `leading` of them.
char *putPlain(char *to, Digits const &digits, int leading) {
    if (leading <= 0) {
        to = putWord(to, "0.");
        std::memset(to, '0', static_cast<std::size_t>(-leading));
        return put(to - leading, digits.from, digits.count);
    }
    to = put(to, digits.from, leading);
    if (leading == digits.count) return to;
    *to++ = '.';
    return put(to, digits.from + leading, digits.count - leading);
}

char *putFinite(char *to, Finite const &parts) {
    constexpr int kLeastPlain = -6;
    Digits digits;
    setDigits(parts.coefficient, digits);
    int const exponent = static_cast<int>(parts.exponent) - DECSEXT_Bias;
    int const adjusted = exponent + digits.count - 1;
    if (exponent <= 0 && adjusted >= kLeastPlain) return putPlain(to, digits, adjusted + 1);
    return putExponent(putPlain(to, digits, 1), adjusted);
}

char *putNaN(char *to, decSext const &value) {
    to = putWord(to, decSextIsSignaling(&value) ? "sNaN" : "NaN");
    Words3 const payload = payloadOf(value);
    if (isZero(payload)) return to;
    Digits digits;
    setDigits(payload, digits);
    return put(to, digits.from, digits.count);
}

}  // namespace
}  // namespace decnumber

using namespace decnumber;

char *decSextToString(decSext const *value, char *text) {
    char *to = text;
    if (isNegative(*value)) *to++ = '-';
    if (isFinite(*value)) {
        to = putFinite(to, partsOf(*value));
    } else {
        to = decSextIsNaN(value) ? putNaN(to, *value) : putWord(to, "Infinity");
    }
    *to = '\0';
    return text;
}
