// Decimals from text.
#include <algorithm>
#include <cstring>
#include <utility>

#include "backends/decnumber/decnumber_core.h"
#include "backends/decnumber/decnumber_digits.h"

namespace decnumber {
namespace {

// Far beyond any exponent that a text of possible length could bring back into range.
constexpr std::int64_t kFarExponent = std::int64_t{1} << 61;

struct Cursor {
    char const *at;
    char const *end;

    bool isAtEnd() const { return at == end; }
    std::size_t left() const { return static_cast<std::size_t>(end - at); }
    bool take(char wanted) {
        if (at == end || *at != wanted) return false;
        ++at;
        return true;
    }
};

// A run of digits in the text.
struct Run {
    char const *from;
    char const *end;

    std::int64_t length() const { return end - from; }
    void skipZeros() {
        while (from != end && *from == '0') ++from;
    }
};

Run takeDigits(Cursor &text) {
    char const *const from = text.at;
    text.at = skipDigits(text.at, text.end);
    return {from, text.at};
}

bool takeSign(Cursor &text) {
    if (text.take('-')) return true;
    text.take('+');
    return false;
}

// Takes a word of ASCII letters in any case, given in lower case.
bool takeWord(Cursor &text, char const *word) {
    std::size_t const length = std::strlen(word);
    if (text.left() < length) return false;
    for (std::size_t i = 0; i < length; ++i) {
        if ((text.at[i] | 0x20) != word[i]) return false;
    }
    text.at += length;
    return true;
}

// --- Digits to a coefficient ------------------------------------------------------------------

Rest restOf(Run first, Run second) {
    if (first.from == first.end) first = std::exchange(second, {second.end, second.end});
    if (first.from == first.end) return Rest::none;
    char const leading = *first.from++;
    auto const isNotZero = [](char digit) { return digit != '0'; };
    bool const isMore = std::any_of(first.from, first.end, isNotZero) ||
                        std::any_of(second.from, second.end, isNotZero);
    if (leading == '5') return isMore ? Rest::aboveHalf : Rest::half;
    if (leading > '5') return Rest::aboveHalf;
    return leading != '0' || isMore ? Rest::belowHalf : Rest::none;
}

// The first 52 digits of the two runs together; the runs keep what is left of them.
Words3 takeCoefficient(Run &whole, Run &fraction) {
    char digits[kDigits];
    auto const inWhole = std::min<std::int64_t>(whole.length(), kDigits);
    auto const inFraction = std::min<std::int64_t>(fraction.length(), kDigits - inWhole);
    std::memcpy(digits, whole.from, static_cast<std::size_t>(inWhole));
    std::memcpy(digits + inWhole, fraction.from, static_cast<std::size_t>(inFraction));
    whole.from += inWhole;
    fraction.from += inFraction;
    return readDigits(digits, static_cast<int>(inWhole + inFraction));
}

decSext *finishNumber(decSext *result, bool isNegative, Run whole, Run fraction,
                      std::int64_t exponent, decContext *context) {
    exponent += DECSEXT_Bias - fraction.length();
    whole.skipZeros();
    if (whole.from == whole.end) fraction.skipZeros();
    Words3 const coefficient = takeCoefficient(whole, fraction);
    std::int64_t const dropped = whole.length() + fraction.length();
    if (dropped == 0) return finishExact(result, isNegative, exponent, coefficient, context);
    return finishRounded(result, {coefficient, exponent + dropped, isNegative},
                         restOf(whole, fraction), true, context);
}

// --- The grammar ------------------------------------------------------------------------------

// What stands behind the digits: nothing, or an exponent. False for anything else.
bool takeExponent(Cursor &text, std::int64_t &exponent) {
    exponent = 0;
    if (text.isAtEnd()) return true;
    if (!text.take('E') && !text.take('e')) return false;
    bool const isNegative = takeSign(text);
    Run run = takeDigits(text);
    if (run.length() == 0 || !text.isAtEnd()) return false;
    for (run.skipZeros(); run.from != run.end && exponent < kFarExponent / 10; ++run.from) {
        exponent = exponent * 10 + (*run.from - '0');
    }
    if (run.from != run.end) exponent = kFarExponent;
    if (isNegative) exponent = -exponent;
    return true;
}

bool readNumber(decSext *result, bool isNegative, Cursor &text, decContext *context) {
    Run const whole = takeDigits(text);
    Run fraction = {text.at, text.at};
    if (text.take('.')) fraction = takeDigits(text);
    std::int64_t exponent;
    if (whole.length() + fraction.length() == 0 || !takeExponent(text, exponent)) return false;
    finishNumber(result, isNegative, whole, fraction, exponent, context);
    return true;
}

bool readNaN(decSext *result, bool isNegative, Cursor &text) {
    bool const isSignaling = takeWord(text, "s");
    if (!takeWord(text, "nan")) return false;
    Run payload = takeDigits(text);
    payload.skipZeros();
    if (!text.isAtEnd() || payload.length() > kPayloadDigits) return false;
    setNaN(result, isNegative, isSignaling,
           readDigits(payload.from, static_cast<int>(payload.length())));
    return true;
}

bool readSpecial(decSext *result, bool isNegative, Cursor &text) {
    if (!takeWord(text, "inf")) return readNaN(result, isNegative, text);
    if (!text.isAtEnd() && !takeWord(text, "inity")) return false;
    setInfinity(result, isNegative);
    return text.isAtEnd();
}

}  // namespace
}  // namespace decnumber

using namespace decnumber;

decSext *decSextFromString(decSext *result, char const *text, decContext *context) {
    return decSextFromBytes(result, text, std::strlen(text), context);
}

decSext *decSextFromBytes(decSext *result, char const *text, std::size_t length,
                          decContext *context) {
    Cursor cursor = {text, text + length};
    bool const isNegative = takeSign(cursor);
    Cursor const start = cursor;
    if (readNumber(result, isNegative, cursor, context)) [[likely]]
        return result;
    cursor = start;
    if (readSpecial(result, isNegative, cursor)) return result;
    return setInvalid(result, context, DEC_Conversion_syntax);
}
