// KqbReal: numbers as text.
#include <algorithm>
#include <charconv>
#include <cstdint>
#include <cstdlib>

#include "core/kqbstring_internal.h"
#include "kqb/kqbreal.h"
#include "platform/decnumber.h"

namespace {

// The width that forms are chosen for, and the most digits that stand before the point.
constexpr int kMostWidth = 61;
constexpr int kMostWhole = DECSEXT_Pmax;

// The fraction zeros of a number below 1 are at most the width, so no text is longer.
constexpr std::size_t kText = 128;
constexpr std::size_t kExponentText = 8;

// A finite number other than zero, without trailing zeros: 0.digits x 10^point, with the digits as
// characters.
struct Number {
    explicit Number(decSext const &value) {
        decContext context;
        decSext reduced;
        decContextDefault(&context, DEC_INIT_DECIMAL192);
        decSextReduce(&reduced, &value, &context);
        count = decSextDigits(&reduced);
        sign = decSextToBCD(&reduced, &exponent, bcd);
        for (std::uint8_t &digit : bcd) digit = static_cast<std::uint8_t>(digit + '0');
        whole = std::max(exponent + count, 0);
    }

    char const *digits() const {
        return reinterpret_cast<char const *>(bcd) + DECSEXT_Pmax - count;
    }

    std::uint8_t bcd[DECSEXT_Pmax];
    int sign;   // 1 for a negative number
    int count;  // of digits
    int exponent;
    int whole;  // digits before the point
};

enum class Form { kNone, kPlain, kExponent };

Form chooseForm(Number const &number, int width) {
    if (number.whole + number.sign > width || number.whole > kMostWhole) {
        bool const digitsFit = number.exponent >= 1 && width >= number.sign + number.count;
        return digitsFit ? Form::kExponent : Form::kNone;
    }
    bool const isBelowOne = number.exponent < 0 && number.whole == 0;
    int const needed = 3 + number.sign - number.exponent - number.count;
    return isBelowOne && width < needed ? Form::kExponent : Form::kPlain;
}

// Puts a text together.
class Writer {
public:
    explicit Writer(Number const &number) : number_(number) {
        if (number.sign != 0) *end_++ = '-';
    }

    // From the digits, starting at `first`; what lies outside them is zeros.
    void digits(int first, int count) {
        int const before = std::min(std::max(-first, 0), count);
        int const from = std::max(first, 0);
        int const inside = std::min(std::max(number_.count - from, 0), count - before);
        end_ = std::fill_n(end_, before, '0');
        end_ = std::copy_n(number_.digits() + from, inside, end_);
        end_ = std::fill_n(end_, count - before - inside, '0');
    }

    // The digits behind the point, at most `room` characters with it. Nothing is rounded.
    void fraction(int first, int count, int room) {
        if (count <= 0 || room <= 1) return;
        *end_++ = '.';
        char const *const one = end_ + 1;
        digits(first, std::min(count, room - 1));
        while (end_ > one && end_[-1] == '0') --end_;
    }

    void text(char const *from, int count) { end_ = std::copy_n(from, count, end_); }

    int written() const { return static_cast<int>(end_ - text_); }

    KqbString string() const {
        KqbString result;
        KqbStringAccess::assign(result, {text_, static_cast<std::size_t>(end_ - text_)});
        return result;
    }

private:
    Number const &number_;
    char text_[kText];
    char *end_ = text_;
};

KqbString plainText(Number const &number, int width) {
    Writer writer(number);
    if (number.whole == 0) {
        writer.text("0", 1);
        writer.fraction(number.count + number.exponent, -number.exponent, width - writer.written());
    } else {
        writer.digits(0, number.whole);
        writer.fraction(number.whole, number.count - number.whole, width - writer.written());
    }
    return writer.string();
}

// "E", a sign and the exponent of the first digit. Returns its length.
int exponentText(Number const &number, char *text) {
    int const exponent = number.exponent + number.count - 1;
    text[0] = 'E';
    text[1] = exponent < 0 ? '-' : '+';
    char const *const end = std::to_chars(text + 2, text + kExponentText, std::abs(exponent)).ptr;
    return static_cast<int>(end - text);
}

// The digits that must find room beside the exponent: all of them for large numbers, with their
// zeros where those are fewer; the first one for small numbers.
int neededDigits(Number const &number) {
    if (number.exponent >= number.count) return number.count;
    return std::max(number.whole, 1);
}

KqbString exponentText(Number const &number, int width) {
    char exponent[kExponentText];
    int const size = exponentText(number, exponent);
    int const needed = neededDigits(number);
    int const planned = std::min(width, kMostWidth);
    if (planned < size + needed + (needed > 1 ? 1 : 0)) return {};
    if (width < number.sign + 1 + size) return {};
    Writer writer(number);
    writer.digits(0, 1);
    writer.fraction(1, number.count - 1, width - writer.written() - size);
    writer.text(exponent, size);
    return writer.string();
}

KqbString infinityText(bool isNegative, int width) {
    KqbString const text(isNegative ? "-Infinity" : "Infinity", true);
    return static_cast<int>(text.length()) <= width ? text : KqbString();
}

}  // namespace

KqbString KqbReal::asString(int width) const {
    if (width < 1 || isNull()) return {};
    if (decSextIsZero(&value_)) return KqbString("0", true);
    if (decSextIsInfinite(&value_)) return infinityText(decSextIsNegative(&value_), width);
    Number const number(value_);
    switch (chooseForm(number, std::min(width, kMostWidth))) {
        case Form::kPlain:
            return plainText(number, width);
        case Form::kExponent:
            return exponentText(number, width);
        default:
            return {};
    }
}
