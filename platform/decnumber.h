// Decimals: 192-bit decimal floating point, and general decimal numbers for what needs more room.
//
// A decSext is the IEEE 754-2008 interchange format decimal192 in its binary-integer encoding:
// 1 sign bit, 18 bits of exponent and combination, 173 bits of coefficient. 52 digits, largest
// exponent (adjusted) 98304, least -98303, bias 98354, so the quantum's exponent runs from -98354
// to 98253. Words are least significant first. Texts and results follow the General Decimal
// Arithmetic Specification, which is what IEEE 754-2008 asks for, with its conditions.
//
// General rules
// - Nothing throws, nothing allocates, nothing depends on the locale; every operation is
//   reentrant. Pointers must be valid; a result may be the same object as an operand.
// - An operation sets status bits in its context and never clears any. It rounds as the context's
//   `round` says, to the format's own 52 digits and exponent range: digits, emax, emin and clamp
//   of the context describe the format and are not read by the decSext operations. There are no
//   traps: `traps` is kept for the caller and never read.
// - A non-canonical encoding (a coefficient of 10^52 or more, unused bits of an infinity or NaN)
//   is read as the standard says: such a coefficient is zero. Results are canonical.
// - A signaling NaN as operand sets DEC_Invalid_operation and gives a quiet NaN with its payload;
//   a quiet NaN passes through with its payload (the first one, a signaling one before a quiet one).
// - A payload has at most 51 digits.
// - An operation that would have to round and whose rounding is none of the eight gives NaN (0 when
//   it gives an integer) with DEC_Invalid_context.
#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/decsext.h"

// --- Contexts ---------------------------------------------------------------------------------

enum rounding : int {
    DEC_ROUND_CEILING = 0,    // towards +infinity
    DEC_ROUND_UP = 1,         // away from zero
    DEC_ROUND_HALF_UP = 2,    // to nearest, a tie away from zero
    DEC_ROUND_HALF_EVEN = 3,  // to nearest, a tie to the even digit
    DEC_ROUND_HALF_DOWN = 4,  // to nearest, a tie towards zero
    DEC_ROUND_DOWN = 5,       // towards zero
    DEC_ROUND_FLOOR = 6,      // towards -infinity
    DEC_ROUND_05UP = 7,       // towards zero, save that a last digit 0 or 5 goes away from zero
};

// Status bits.
enum : std::uint32_t {
    DEC_Conversion_syntax = 0x1,      // text that is not a number
    DEC_Division_by_zero = 0x2,       // a finite number other than 0 by 0: infinity
    DEC_Division_impossible = 0x4,    // an integer quotient of more than 52 digits
    DEC_Division_undefined = 0x8,     // 0 by 0
    DEC_Insufficient_storage = 0x10,  // never set here
    DEC_Inexact = 0x20,               // digits other than 0 were lost
    DEC_Invalid_context = 0x40,       // a context whose rounding is none of the above
    DEC_Invalid_operation = 0x80,     // no useful result: NaN
    DEC_Lost_digits = 0x100,          // never set here
    DEC_Overflow = 0x200,             // beyond the largest number
    DEC_Clamped = 0x400,              // the exponent was moved to fit, without loss
    DEC_Rounded = 0x800,              // digits, zeros maybe, were dropped
    DEC_Subnormal = 0x1000,           // the adjusted exponent is below -98303
    DEC_Underflow = 0x2000,           // subnormal and inexact
    // All that the standard counts as an invalid operation.
    DEC_IEEE_Invalid_operation = DEC_Conversion_syntax | DEC_Division_impossible |
                                 DEC_Division_undefined | DEC_Insufficient_storage |
                                 DEC_Invalid_context | DEC_Invalid_operation,
    // Those that make a result wrong or undefined; the others describe a sound result.
    DEC_Errors = DEC_IEEE_Invalid_operation | DEC_Division_by_zero | DEC_Overflow | DEC_Underflow,
};

struct decContext {
    std::int32_t digits;  // precision
    std::int32_t emax;    // largest adjusted exponent
    std::int32_t emin;    // least adjusted exponent of a normal number
    rounding round;
    std::uint32_t traps;
    std::uint32_t status;
    std::uint8_t clamp;  // 1: exponents are bounded as in the interchange format
};

// Kinds of context.
enum { DEC_INIT_DECIMAL192 = 192 };

// Sets a context up for a kind and returns it: for 192, 52 digits, emax 98304, emin -98303,
// half-even, no traps, no status, clamp 1. Any other kind gives the same with
// DEC_Invalid_context in its status.
inline decContext *decContextDefault(decContext *context, std::int32_t kind) {
    std::uint32_t const status =
        kind == DEC_INIT_DECIMAL192 ? 0u : std::uint32_t{DEC_Invalid_context};
    *context = {52, 98304, -98303, DEC_ROUND_HALF_EVEN, 0, status, 1};
    return context;
}
rounding decContextGetRounding(decContext const *context);
decContext *decContextSetRounding(decContext *context, rounding round);
std::uint32_t decContextGetStatus(decContext const *context);
decContext *decContextClearStatus(decContext *context, std::uint32_t bits);
decContext *decContextSetStatus(decContext *context, std::uint32_t bits);

// The name of the status when one bit is set ("Division by zero"), "No status" for 0, "Multiple
// status" for several.
char const *decContextStatusToString(decContext const *context);

// --- 192-bit decimals -------------------------------------------------------------------------

enum {
    DECSEXT_Pmax = 52,
    DECSEXT_Emax = 98304,
    DECSEXT_Emin = -98303,
    DECSEXT_Bias = 98354,
    DECSEXT_String = 72,  // bytes that the longest text takes, with its NUL
};

// Constants. The NaN is the canonical quiet one: positive, without payload.
decSext *decSextZero(decSext *result);  // +0, exponent 0
decSext *decSextNaN(decSext *result);

// What a number is. decSextIsZero is true for zeros of either sign and any exponent;
// decSextIsSigned for a set sign bit, whatever the rest; decSextIsNegative for numbers below 0
// (infinity included, zeros and NaN not).
bool decSextIsNaN(decSext const *value);
bool decSextIsSignaling(decSext const *value);
bool decSextIsInfinite(decSext const *value);
bool decSextIsFinite(decSext const *value);
bool decSextIsZero(decSext const *value);
bool decSextIsSigned(decSext const *value);
bool decSextIsNegative(decSext const *value);
bool decSextIsSubnormal(decSext const *value);
bool decSextIsCanonical(decSext const *value);

// Parts. Digits of the coefficient: 1 to 52, 1 for zero, infinity and NaN. The exponent of the
// quantum; for infinity and NaN DECSEXT_SpecialExponent.
enum { DECSEXT_SpecialExponent = 0x7fffffff };
std::int32_t decSextDigits(decSext const *value);
std::int32_t decSextGetExponent(decSext const *value);

// The same coefficient and sign with another exponent: the value is multiplied by a power of ten.
// Brought into range as any result is (overflow, subnormal, clamping). Infinity stays, NaN passes.
decSext *decSextSetExponent(decSext *result, decSext const *value, decContext *context,
                            std::int32_t exponent);

// The coefficient as DECSEXT_Pmax decimal digits (bytes 0 to 9, most significant first, leading
// zeros), and the exponent. Returns 1 for a negative sign, else 0. Infinity and NaN give zeros
// and DECSEXT_SpecialExponent.
std::int32_t decSextToBCD(decSext const *value, std::int32_t *exponent, std::uint8_t *digits);

// All 24 bytes in opposite order: what a machine of the other byte order stores.
decSext *decSextByteSwap(decSext *result, decSext const *value);

// Conversions of binary numbers. Whole numbers are exact, exponent 0. A double is the shortest
// decimal that reads back to it (at most 17 digits), so that 0.1 gives 0.1, its last digit not 0;
// but a whole number below 2^53 has exponent 0. Infinities and the sign of zero pass; any NaN is
// the constant one.
decSext *decSextFromInt64(decSext *result, std::int64_t value);
decSext *decSextFromUInt64(decSext *result, std::uint64_t value);
decSext *decSextFromDouble(decSext *result, double value, decContext *context);

// Rounded to a whole number as `round` says, whatever the context says. Out of range, infinity
// and NaN: DEC_Invalid_operation and 0. DEC_Inexact is not set.
std::int64_t decSextToInt64(decSext const *value, decContext *context, rounding round);
std::uint64_t decSextToUInt64(decSext const *value, decContext *context, rounding round);
std::uint32_t decSextToUInt32(decSext const *value, decContext *context, rounding round);

// The nearest double, a tie to even; infinity beyond the largest, with DEC_Overflow and
// DEC_Inexact. DEC_Inexact when the double is not exactly the value. NaN gives NaN, a signaling one
// with DEC_Invalid_operation.
double decSextToDouble(decSext const *value, decContext *context);

// Text to number: optional sign, digits with at most one point (one digit at least), optional
// exponent; or "Infinity", "Inf", "NaN", "sNaN" in any case, NaN with an optional payload of
// at most 51 digits. The whole text, no blanks. Anything else is a quiet NaN with
// DEC_Conversion_syntax.
// Any number of digits is read, and rounded once. The second form takes a length and accepts
// any bytes, a NUL being one that no number has.
decSext *decSextFromString(decSext *result, char const *text, decContext *context);
decSext *decSextFromBytes(decSext *result, char const *text, std::size_t length,
                          decContext *context);

// The scientific text ("123.45", "1E+60", "-0.00", "Infinity", "NaN12") into
// a buffer of DECSEXT_String bytes, which is returned. It reads back to the same sign, coefficient
// and exponent.
char *decSextToString(decSext const *value, char *text);

// Arithmetic: the result is the exact one, rounded once.
decSext *decSextAdd(decSext *result, decSext const *left, decSext const *right, decContext *);
decSext *decSextSubtract(decSext *result, decSext const *left, decSext const *right, decContext *);
decSext *decSextMultiply(decSext *result, decSext const *left, decSext const *right, decContext *);
decSext *decSextDivide(decSext *result, decSext const *left, decSext const *right, decContext *);
// left x right + addend, rounded once.
decSext *decSextFMA(decSext *result, decSext const *left, decSext const *right,
                    decSext const *addend, decContext *);
// The whole part of the quotient (exponent 0), the remainder with the sign of the left operand,
// and the remainder of the quotient rounded to the nearest whole number, ties to even.
// A quotient of more than 52 digits: NaN with DEC_Division_impossible.
decSext *decSextDivideInteger(decSext *result, decSext const *left, decSext const *right,
                              decContext *);
decSext *decSextRemainder(decSext *result, decSext const *left, decSext const *right, decContext *);
decSext *decSextRemainderNear(decSext *result, decSext const *left, decSext const *right,
                              decContext *);
// 0 - value, |value|, 0 + value: results of arithmetic, so a NaN keeps its sign and a zero is +0
// (save with DEC_ROUND_FLOOR, where 0 - 0 is -0).
decSext *decSextMinus(decSext *result, decSext const *value, decContext *);
decSext *decSextAbs(decSext *result, decSext const *value, decContext *);
decSext *decSextPlus(decSext *result, decSext const *value, decContext *);
// Trailing zeros of the coefficient removed as far as the exponent range allows; zero gets
// exponent 0.
decSext *decSextReduce(decSext *result, decSext const *value, decContext *);
// value at the exponent of `quantum`, rounded as the context says. More than 52 digits, or just
// one of the two infinite: NaN with DEC_Invalid_operation.
decSext *decSextQuantize(decSext *result, decSext const *value, decSext const *quantum,
                         decContext *);
// A whole number, rounded as `round` says; a number that is whole already stays as it is.
// DEC_Inexact is not set.
decSext *decSextToIntegralValue(decSext *result, decSext const *value, decContext *,
                                rounding round);
// -1, 0 or 1 as a decimal; NaN when one of the two is.
decSext *decSextCompare(decSext *result, decSext const *left, decSext const *right, decContext *);
// The same as an integer, and quicker; `unordered` when one of the two is NaN, of either kind.
int decSextOrder(decSext const *left, decSext const *right, int unordered);

// --- General numbers --------------------------------------------------------------------------

// A number outside any interchange format, its exponent not bounded by one: an intermediate.
using decimal192 = decSext;

struct decNumber {
    std::uint64_t coefficient[3];  // least significant word first; 10^52 and above count as 0
    std::int32_t exponent;
    std::uint8_t bits;  // DECNEG, DECINF, DECNAN, DECSNAN
};

enum : std::uint8_t { DECNEG = 0x80, DECINF = 0x40, DECNAN = 0x20, DECSNAN = 0x10 };

decNumber *decimal192ToNumber(decimal192 const *value, decNumber *result);

// Brings the number into the format: rounded, clamped, overflowed as any result is.
decimal192 *decimal192FromNumber(decimal192 *result, decNumber const *value, decContext *context);

// The square root, correctly rounded half-even to the context's digits whatever the context's
// rounding, with the exponent that an exact root prefers: half of the operand's, rounded down.
// Negative (zero apart): NaN with DEC_Invalid_operation. Digits other than 1 to 52: NaN with
// DEC_Invalid_context.
decNumber *decNumberSquareRoot(decNumber *result, decNumber const *value, decContext *context);
