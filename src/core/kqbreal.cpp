// KqbReal: the decimal library does the arithmetic; here is how it is driven: a fresh context for
// each operation, and which of its conditions count as inexact and which as errors.
#include "kqb/kqbreal.h"

#include <cstdint>

#include "platform/decnumber.h"
#include "platform/kqschr.h"

namespace {

class Context : public decContext {
public:
    Context() { decContextDefault(this, DEC_INIT_DECIMAL192); }

    bool shows(std::uint32_t bits) const { return (status & bits) != 0; }

    // Whether a result is wrong or undefined. One that lost digits is merely inexact, whatever came
    // with it.
    bool showsError() const { return !shows(DEC_Inexact) && shows(DEC_Errors); }
};

void report(bool *error, bool failed) {
    if (error != nullptr) *error = failed;
}

constexpr int kLeastExponent = DECSEXT_Emin - DECSEXT_Pmax + 1;
constexpr int kGreatestExponent = DECSEXT_Emax - DECSEXT_Pmax + 1;

// Brings a value to an exponent. Null if it then needs too many digits.
void quantize(decSext &value, int exponent, Context &context) {
    decSext quantum;
    decSextSetExponent(&quantum, decSextFromUInt64(&quantum, 1), &context, exponent);
    decSextQuantize(&value, &value, &quantum, &context);
}

}  // namespace

// --- Assigning ------------------------------------------------------------------------------------

KqbReal &KqbReal::assign(long long value) noexcept {
    flags_ = 0;
    decSextFromInt64(&value_, value);
    return *this;
}

KqbReal &KqbReal::assign(unsigned long long value) noexcept {
    flags_ = 0;
    decSextFromUInt64(&value_, value);
    return *this;
}

KqbReal &KqbReal::assign(double value) noexcept {
    Context context;
    flags_ = 0;
    decSextFromDouble(&value_, value, &context);
    dropNaNPayload();
    return *this;
}

KqbReal &KqbReal::assign(char const *text) noexcept {
    if (text == nullptr) return *this = KqbReal();
    while (int const blank = np_uchar_isspace(text)) text += blank;
    Context context;
    decSextFromString(&value_, text, &context);
    flags_ = context.shows(DEC_Inexact) ? kTruncated : 0;
    decSextReduce(&value_, &value_, &context);
    dropNaNPayload();
    return *this;
}

KqbReal &KqbReal::assign(unsigned __int64 const (*words)[3], bool swap) noexcept {
    if (words == nullptr) return *this = KqbReal();
    flags_ = 0;
    for (int i = 0; i < 3; ++i) value_.words[i] = (*words)[i];
    if (swap) decSextByteSwap(&value_, &value_);
    dropNaNPayload();
    return *this;
}

// Every null is the same NaN.
void KqbReal::dropNaNPayload() noexcept {
    if (isNull()) decSextNaN(&value_);
}

// --- Looking --------------------------------------------------------------------------------------

long long KqbReal::asInt64(bool *error) const noexcept {
    Context context;
    std::int64_t const result = decSextToInt64(&value_, &context, DEC_ROUND_FLOOR);
    report(error, context.shows(DEC_Invalid_operation));
    return result;
}

unsigned long long KqbReal::asSize(bool *error) const noexcept {
    Context context;
    std::uint64_t const result = decSextToUInt64(&value_, &context, DEC_ROUND_FLOOR);
    report(error, context.shows(DEC_Invalid_operation));
    return result;
}

double KqbReal::asDouble(bool *error) const noexcept {
    report(error, isNull());
    if (isNull()) return 0;
    Context context;
    return decSextToDouble(&value_, &context);
}

// Adding zero to a reduced value moves its exponent towards 0 as far as the digits allow.
void KqbReal::asFD(unsigned __int64 (*words)[3]) noexcept {
    if (!isNull()) {
        Context context;
        decSext zero;
        decSextReduce(&value_, &value_, &context);
        decSextAdd(&value_, &value_, decSextZero(&zero), &context);
    }
    if (words == nullptr) return;
    for (int i = 0; i < 3; ++i) (*words)[i] = value_.words[i];
}

// --- Arithmetic -----------------------------------------------------------------------------------

template <auto operation>
KqbReal KqbReal::compute(KqbReal const &other, bool *error) noexcept {
    KqbReal result;
    Context context;
    operation(&result.value_, &value_, &other.value_, &context);
    flags_ = context.shows(DEC_Inexact) ? kTruncated : 0;
    report(error, context.showsError());
    return result;
}

KqbReal KqbReal::add(KqbReal const &other, bool *error) noexcept {
    return compute<decSextAdd>(other, error);
}

KqbReal KqbReal::subtract(KqbReal const &other, bool *error) noexcept {
    return compute<decSextSubtract>(other, error);
}

KqbReal KqbReal::multiply(KqbReal const &other, bool *error) noexcept {
    return compute<decSextMultiply>(other, error);
}

KqbReal KqbReal::divide(KqbReal const &other, bool *error) noexcept {
    return compute<decSextDivide>(other, error);
}

KqbReal KqbReal::sqrt(bool *error) const noexcept {
    KqbReal result;
    report(error, true);
    if (isNull()) return result;
    Context context;
    decNumber number;
    decimal192ToNumber(&value_, &number);
    decNumberSquareRoot(&number, &number, &context);
    if (context.shows(DEC_Invalid_operation)) return result;
    decimal192FromNumber(&result.value_, &number, &context);
    if (context.shows(DEC_Underflow | DEC_Overflow | DEC_Inexact)) result.flags_ = kTruncated;
    report(error, false);
    return result;
}

KqbReal KqbReal::modulo(KqbReal const &other) const noexcept {
    KqbReal result;
    Context context;
    decSextRemainderNear(&result.value_, &value_, &other.value_, &context);
    return context.showsError() ? KqbReal() : result;
}

template <auto operation, class... Rest>
KqbReal KqbReal::derive(Rest... rest) const noexcept {
    KqbReal result;
    Context context;
    operation(&result.value_, &value_, &context, rest...);
    return result;
}

KqbReal KqbReal::negative() const noexcept { return derive<decSextMinus>(); }

KqbReal KqbReal::absolute() const noexcept { return derive<decSextAbs>(); }

KqbReal KqbReal::ceiling() const noexcept {
    return derive<decSextToIntegralValue>(DEC_ROUND_CEILING);
}

KqbReal KqbReal::floor() const noexcept {
    if (decSextIsNegative(&value_)) return absolute().floor().negative();
    return derive<decSextToIntegralValue>(DEC_ROUND_FLOOR);
}

KqbReal KqbReal::round(int places) const noexcept {
    if (places < -kGreatestExponent || places > -kLeastExponent) return {};
    KqbReal result;
    result.value_ = value_;
    if (places == 0) return result;
    Context context;
    decContextSetRounding(&context, DEC_ROUND_HALF_UP);
    quantize(result.value_, -places, context);
    return result;
}

int KqbReal::compare(KqbReal const &other) const noexcept {
    return decSextOrder(&value_, &other.value_, 1);
}

// --- The ODBC record ------------------------------------------------------------------------------

namespace {

constexpr int kHalf = 8;  // bytes of the magnitude that are handled at a time

std::uint64_t readHalf(unsigned char const *bytes) {
    std::uint64_t half = 0;
    for (int i = kHalf - 1; i >= 0; --i) half = half << 8 | bytes[i];
    return half;
}

void writeHalf(unsigned char *bytes, std::uint64_t half) {
    for (int i = 0; i < kHalf; ++i, half >>= 8) bytes[i] = static_cast<unsigned char>(half);
}

// 2^64.
decSext halfRange(Context &context) {
    decSext range;
    decSext one;
    decSextFromUInt64(&range, UINT64_MAX);
    decSextAdd(&range, &range, decSextFromUInt64(&one, 1), &context);
    return range;
}

// The magnitude of a whole number below 2^128.
void writeMagnitude(decSext value, unsigned char *magnitude, Context &context) {
    decSext const range = halfRange(context);
    decSext low;
    decSextRemainder(&low, &value, &range, &context);
    decSextDivideInteger(&value, &value, &range, &context);
    writeHalf(magnitude, decSextToUInt64(&low, &context, DEC_ROUND_FLOOR));
    writeHalf(magnitude + kHalf, decSextToUInt64(&value, &context, DEC_ROUND_FLOOR));
}

// What the record can hold: digits that count, precision and scale as numbers.
constexpr int kMostDigits = 38;
constexpr int kMostPrecision = 255;
constexpr int kMostScale = 127;
constexpr int kDefaultScale = 10;

// The digits before the point and those that scale puts behind it.
int digitsAtScale(decSext const &value, int scale) {
    return decSextGetExponent(&value) + decSextDigits(&value) + scale;
}

// Brings a finite value other than zero to -scale as its exponent. False when it then has more
// than `digits` digits or has become zero.
bool fitScale(decSext &value, int scale, int digits, Context &context) {
    if (digitsAtScale(value, scale) > digits) return false;
    if (decSextGetExponent(&value) != -scale) quantize(value, -scale, context);
    return decSextDigits(&value) <= digits && !decSextIsZero(&value);
}

}  // namespace

KqbReal &KqbReal::assign(KQ_SQL_NUMERIC_STRUCT const *record) noexcept {
    if (record == nullptr) return *this = KqbReal();
    Context context;
    decSext low;
    decSext const range = halfRange(context);
    flags_ = 0;
    decSextFromUInt64(&low, readHalf(record->magnitude));
    decSextFromUInt64(&value_, readHalf(record->magnitude + kHalf));
    decSextFMA(&value_, &value_, &range, &low, &context);
    if (record->scale != 0) decSextSetExponent(&value_, &value_, &context, -record->scale);
    if (record->sign == 0) decSextMinus(&value_, &value_, &context);
    return *this;
}

void KqbReal::asSQLNumeric(KQ_SQL_NUMERIC_STRUCT *out, bool *error, int precision,
                           int scale) const noexcept {
    report(error, true);
    if (out == nullptr) return;
    *out = {};
    out->sign = 1;
    if (!decSextIsFinite(&value_)) return;
    report(error, false);
    if (decSextIsZero(&value_)) return;
    if (precision < 0) precision = kMostDigits;
    if (scale < 0) scale = kDefaultScale;
    Context context;
    decSext value = value_;
    int const digits = precision < kMostDigits ? precision : kMostDigits;
    if (precision < scale || precision > kMostPrecision || scale > kMostScale ||
        !fitScale(value, scale, digits, context)) {
        return report(error, true);
    }
    out->precision = static_cast<unsigned char>(precision);
    out->scale = static_cast<signed char>(scale);
    out->sign = decSextIsNegative(&value) ? 0 : 1;
    decSextAbs(&value, &value, &context);
    decSextSetExponent(&value, &value, &context, 0);
    writeMagnitude(value, out->magnitude, context);
}
