// KqbReal: an exact decimal number of up to 52 digits, or null; the ODBC numeric record.
#pragma once

#include <type_traits>

#include "kqb/kqbstring.h"
#include "platform/decsext.h"

// The numeric record of ODBC (SQL_NUMERIC_STRUCT), 19 bytes: magnitude x 10^-scale, negated when
// sign is 0.
struct KQ_SQL_NUMERIC_STRUCT {
    unsigned char precision;
    signed char scale;
    unsigned char sign;           // 1 positive, 0 negative
    unsigned char magnitude[16];  // unsigned, least significant byte first
};
static_assert(sizeof(KQ_SQL_NUMERIC_STRUCT) == 19, "the record has no gaps");

// A decimal floating-point number in the interchange format decimal192 of IEEE 754-2008: 52 digits,
// magnitudes from 10^-98354 to below 10^98305, both signs, infinities; or null, which is the
// format's NaN. 0.1 is 0.1, and every result is the exact one rounded once, half-even, to 52 digits.
//
// Errors: nothing throws. Where an operation takes a bool *error, which may be null, it is set
// false or true. An operation with a null operand that reports no error gives null.
//
// Inexactness: add, subtract, multiply, divide and their operators record in their left operand
// whether the result was rounded: truncated() of that operand tells, until its next operation, and
// truncated() of the result is false. An inexact result is no error, also where it overflowed to an
// infinity or underflowed to zero. A left operand that is constant keeps its flag as it is.
//
// Numbers convert by themselves, so that every operation and comparison takes a KqbReal, any
// standard integer (exactly, unsigned ones beyond the signed range too) or a double.
//
// Thread safety: plain data; distinct objects may be used on different threads. An object that is
// the left operand of an arithmetic operation is written to unless it is constant.
class KQB_API KqbReal {
public:
    // --- Making and assigning -----------------------------------------------------------------

    // Null.
    KqbReal() noexcept : value_{{0, 0, kNaN}} {}
    // Integers are taken exactly, with exponent 0. A double becomes the shortest decimal that reads
    // back to it, at most 17 digits; its NaN becomes null.
    KqbReal(int value) noexcept { assign(value); }
    KqbReal(unsigned int value) noexcept { assign(value); }
    KqbReal(long value) noexcept { assign(value); }
    KqbReal(unsigned long value) noexcept { assign(value); }
    KqbReal(long long value) noexcept { assign(value); }
    KqbReal(unsigned long long value) noexcept { assign(value); }
    KqbReal(double value) noexcept { assign(value); }
    // Text, see assign.
    explicit KqbReal(char const *text) noexcept { assign(text); }

    KqbReal(KqbReal const &) noexcept = default;
    KqbReal &operator=(KqbReal const &) noexcept = default;
    virtual ~KqbReal() = default;

    KqbReal &assign(int value) noexcept { return assign(static_cast<long long>(value)); }
    KqbReal &assign(unsigned int value) noexcept { return assign(static_cast<long long>(value)); }
    KqbReal &assign(long value) noexcept { return assign(static_cast<long long>(value)); }
    KqbReal &assign(unsigned long value) noexcept {
        return assign(static_cast<unsigned long long>(value));
    }
    KqbReal &assign(long long value) noexcept;
    KqbReal &assign(unsigned long long value) noexcept;
    KqbReal &assign(double value) noexcept;

    // White space (Unicode White_Space), then a number to the end of the text: an optional sign,
    // digits with at most one point, an optional exponent ("-1.50", ".5", "1e-7"), or "Infinity" or
    // "Inf" in any case. Any number of digits is read; truncated() tells whether they had to be
    // rounded. Trailing zeros of the coefficient are removed. Anything else, and null text, gives
    // null.
    KqbReal &assign(char const *text) noexcept;

    // magnitude x 10^-scale, exactly; precision is not looked at. Sign 0 is negative, anything else
    // positive. A null pointer gives null.
    KqbReal &assign(KQ_SQL_NUMERIC_STRUCT const *record) noexcept;

    // The three words of the format's binary-integer encoding, least significant first. swap: they
    // come from a machine of the other byte order, so all 24 bytes are turned about. Every NaN, and
    // a null pointer, gives null.
    KqbReal &assign(unsigned __int64 const (*words)[3], bool swap) noexcept;

    // Assigns null.
    void setNull() noexcept { *this = KqbReal(); }

    // --- Looking ------------------------------------------------------------------------------

    bool isNull() const noexcept { return (value_.words[2] & kNaN) == kNaN; }

    // Whether digits were lost: by assign from text, by sqrt (in its result), or by the arithmetic
    // operation whose left operand this was last.
    bool truncated() const noexcept { return (flags_ & kTruncated) != 0; }

    // The largest whole number that is not greater: -1.5 gives -2. 0 and *error true when null or
    // out of range; asSize refuses all below 0.
    long long asInt64(bool *error = nullptr) const noexcept;
    unsigned long long asSize(bool *error = nullptr) const noexcept;

    // The nearest double, an infinity beyond the largest. *error true, and 0, for null only.
    double asDouble(bool *error = nullptr) const noexcept;

    // Text of at most width characters, never rounded: fraction digits that do not fit are cut off,
    // then fraction zeros save one behind the point. Null when width is below 1, for null, and when
    // the digits before the point or the exponent do not fit. Zero is "0" and infinities are
    // "Infinity" and "-Infinity".
    //
    // Plain form, "-123.45", for whole parts of at most 52 digits that fit, unless the zeros behind
    // the point leave no room for a digit. Otherwise exponent form, "1.5E+60" or "1E-70": one digit
    // before the point, always the true exponent, and fraction digits as far as the exponent leaves
    // room. It is chosen for large numbers only where every digit without trailing zeros fits, and
    // a number of 53 digits or more whose trailing zeros are fewer than its other digits must fit
    // with all its digits; else the text is null. No text of more than 61 characters is planned
    // for, but a greater width gives room for more fraction digits in plain form.
    KqbString asString(int width) const;
    KqbString asString() const { return asString(61); }

    // Copies the words out, in the encoding that assign reads. A value that is not null is brought
    // to its canonical form first, in this object too: without trailing zeros, and with exponent 0
    // if it is a whole number of at most 52 digits. words may be null if only that is wanted.
    void asFD(unsigned __int64 (*words)[3]) noexcept;

    // Fills the ODBC record with the value at `scale` fraction digits, rounded half-even.
    // precision: the most digits the value may have, of which 38 count; negative means 38; the
    // record keeps it as given. A negative scale means 10. *error true when the value is null,
    // infinite or has more digits, when it is not zero but would round to zero, when precision is
    // below scale, and when the two exceed what the record holds (255 and 127). The record is then
    // all zero but for sign 1, as it is, without error, for zero.
    void asSQLNumeric(KQ_SQL_NUMERIC_STRUCT *out, bool *error, int precision,
                      int scale) const noexcept;

    // --- Arithmetic ---------------------------------------------------------------------------

    // *error true for what has no result: a number divided by 0 (the result is then an infinity),
    // 0 by 0, an infinity less itself (then null). See above for rounding.
    KqbReal add(KqbReal const &other, bool *error = nullptr) noexcept;
    KqbReal subtract(KqbReal const &other, bool *error = nullptr) noexcept;
    KqbReal multiply(KqbReal const &other, bool *error = nullptr) noexcept;
    KqbReal divide(KqbReal const &other, bool *error = nullptr) noexcept;
    KqbReal add(KqbReal const &other, bool *error = nullptr) const noexcept {
        return KqbReal(*this).add(other, error);
    }
    KqbReal subtract(KqbReal const &other, bool *error = nullptr) const noexcept {
        return KqbReal(*this).subtract(other, error);
    }
    KqbReal multiply(KqbReal const &other, bool *error = nullptr) const noexcept {
        return KqbReal(*this).multiply(other, error);
    }
    KqbReal divide(KqbReal const &other, bool *error = nullptr) const noexcept {
        return KqbReal(*this).divide(other, error);
    }

    KqbReal operator+(KqbReal const &other) noexcept { return add(other); }
    KqbReal operator-(KqbReal const &other) noexcept { return subtract(other); }
    KqbReal operator*(KqbReal const &other) noexcept { return multiply(other); }
    KqbReal operator/(KqbReal const &other) noexcept { return divide(other); }
    KqbReal operator+(KqbReal const &other) const noexcept { return add(other); }
    KqbReal operator-(KqbReal const &other) const noexcept { return subtract(other); }
    KqbReal operator*(KqbReal const &other) const noexcept { return multiply(other); }
    KqbReal operator/(KqbReal const &other) const noexcept { return divide(other); }

    // This object becomes the result, its flag false, and a copy is returned.
    KqbReal operator+=(KqbReal const &other) noexcept { return *this = add(other); }
    KqbReal operator-=(KqbReal const &other) noexcept { return *this = subtract(other); }
    KqbReal operator*=(KqbReal const &other) noexcept { return *this = multiply(other); }
    KqbReal operator/=(KqbReal const &other) noexcept { return *this = divide(other); }

    // The square root, correctly rounded; truncated() of the result tells whether it was. Null and
    // *error true for null and below 0.
    KqbReal sqrt(bool *error = nullptr) const noexcept;

    // The remainder of the division whose quotient is rounded to the nearest whole number, a tie to
    // the even one: 5 by 3 leaves -1. Null where a quotient has no value or more than 52 digits.
    KqbReal modulo(KqbReal const &other) const noexcept;

    // The flag of these results is false.
    KqbReal negative() const noexcept;
    KqbReal absolute() const noexcept;

    // The nearest whole number above. floor goes down for what is not negative, and towards zero
    // for what is: floor of -1.5 is -1.
    KqbReal ceiling() const noexcept;
    KqbReal floor() const noexcept;

    // Rounded to so many decimal places, a tie away from zero; negative places round to tens,
    // hundreds and so on. 0 places give the value unchanged, not a whole number. Null when the
    // result needs more than 52 digits, counting those behind the point up to places.
    KqbReal round(int places) const noexcept;

    // --- Order --------------------------------------------------------------------------------

    // -1, 0 or 1. A null on either side gives 1: it is greater than everything, and everything is
    // greater than it, null too. So keep nulls out of ordered containers.
    int compare(KqbReal const &other) const noexcept;

private:
    // The bits, in the last word, that are all set in a NaN and in nothing else.
    static constexpr unsigned long kNaN = 0x7C00000000000000;
    static constexpr unsigned int kTruncated = 1;

    template <auto operation>
    KqbReal compute(KqbReal const &other, bool *error) noexcept;
    template <auto operation, class... Rest>
    KqbReal derive(Rest... rest) const noexcept;
    void dropNaNPayload() noexcept;

    friend class KqbRealAccess;  // the library's own view of the decimal

    unsigned int flags_ = 0;
    decSext value_;
};

// By compare().
inline bool operator==(KqbReal const &a, KqbReal const &b) noexcept { return a.compare(b) == 0; }
inline bool operator!=(KqbReal const &a, KqbReal const &b) noexcept { return a.compare(b) != 0; }
inline bool operator<(KqbReal const &a, KqbReal const &b) noexcept { return a.compare(b) < 0; }
inline bool operator>(KqbReal const &a, KqbReal const &b) noexcept { return a.compare(b) > 0; }
inline bool operator<=(KqbReal const &a, KqbReal const &b) noexcept { return a.compare(b) < 1; }
inline bool operator>=(KqbReal const &a, KqbReal const &b) noexcept { return a.compare(b) >= 0; }

// A plain number as left operand.
template <class Number, std::enable_if_t<std::is_arithmetic_v<Number>, int> = 0>
KqbReal operator+(Number left, KqbReal const &right) noexcept {
    return KqbReal(left).add(right);
}
template <class Number, std::enable_if_t<std::is_arithmetic_v<Number>, int> = 0>
KqbReal operator-(Number left, KqbReal const &right) noexcept {
    return KqbReal(left).subtract(right);
}
template <class Number, std::enable_if_t<std::is_arithmetic_v<Number>, int> = 0>
KqbReal operator*(Number left, KqbReal const &right) noexcept {
    return KqbReal(left).multiply(right);
}
template <class Number, std::enable_if_t<std::is_arithmetic_v<Number>, int> = 0>
KqbReal operator/(Number left, KqbReal const &right) noexcept {
    return KqbReal(left).divide(right);
}
