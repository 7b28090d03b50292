// Strings: numbers from text, calendar dates and their texts, base-64.
//
// General rules
// - Nothing throws, nothing depends on the locale. Null text is empty text.
// - Number parsing takes the whole text: blanks (ASCII white space) around it, one sign, digits.
#pragma once

#include <cstddef>

// --- Numbers ----------------------------------------------------------------------------------

// Parse a whole number. base 2 to 36, or 0 for decimal; flags must be 0. Positive result: the
// number of bytes of the text, and *value is set. 0: not a number. -1: out of the type's range.
// A negative number is out of range for the unsigned form.
int kqs_numparse(char const *text, int *value, int base, int flags);
int kqs_numparse64(char const *text, long long *value, int base, int flags);
int kqs_numparseU64(char const *text, unsigned long long *value, int base, int flags);

// Parses a decimal floating-point number, with "." as the point and an optional exponent, to the
// nearest double. Results as above; infinities and NaN are not numbers here, and a magnitude
// beyond the largest double is out of range. One too small becomes zero.
int kqs_numparsedbl(char const *text, double *value);

// --- Dates ------------------------------------------------------------------------------------

// The date number is days since 1899-12-30T00:00, a linear count: the fraction is the time of day,
// also before that day. Calendar: proleptic Gregorian (ISO 8601), years 1 to 9999, no leap
// seconds. Parts out of range are refused. Exact to the millisecond both ways.

// Return 1 and set *value, or 0 when a part is out of range.
int kqs_compose_date(int year, int month, int day, int hour, int minute, int second, double *value);
int kqs_compose_date_milli(int year, int month, int day, int hour, int minute, int second,
                           int millisecond, double *value);

// Rounds to the nearest millisecond. Returns 1 and sets the parts; 0 when value is no date (NaN,
// or outside the years), leaving them. Every pointer must be valid.
int kqs_decompose_date(double value, int *year, int *month, int *day, int *hour, int *minute,
                       int *second);
int kqs_decompose_date_milli(double value, int *year, int *month, int *day, int *hour, int *minute,
                             int *second, int *millisecond);

// Day of the week of a calendar day, 0 Sunday to 6; -1 when it is no day of the calendar.
int kqs_weekday(int year, int month, int day);

// Formats of date texts.
enum kqs_date_format {
    KQS_DATE_NONE = 0,  // not recognised
    KQS_DATE_ISO = 1,   // ISO 8601, extended or basic
    KQS_DATE_MDY = 2,   // numbers or month name, month first
    KQS_DATE_DMY = 3,
    KQS_DATE_YMD = 4,
};

// Finds the format of a date text. ISO 8601: 2017-05-05, 20170505, either with "T" or blanks and
// a time (09:03, 09:03:07, 090307, fraction with "." or ","), and a zone (Z, +05, +05:30, +0530),
// which is accepted and does not move the value: a date has no zone. Otherwise numbers separated
// by "/", "-" or ".", or with an English month name, and an optional time with an optional
// AM or PM. Where month and day cannot be told apart the month is first. Two-digit years are
// 1950 to 2049 outside ISO texts; in ISO texts years are as written. In ISO texts with dashes and
// a "T" the year may have one digit or more. Such a text is ISO by its form: it is reading it that
// then tells whether it is right. In all other texts every part was found to be in its range.
kqs_date_format kqs_get_date_format(char const *text);

// Reads the text in a format. Returns 0 on success; the parts are then in range, save that a day
// may exceed its month, which composing refuses. Digits beyond the millisecond are cut off.
int kqs_string_to_date_milli(char const *text, kqs_date_format format, int *year, int *month,
                             int *day, int *hour, int *minute, int *second, int *millisecond);

// Writes a date number as text. Mode 0: "MM/DD/YYYY HH:MM:SS", with ".mmm" when the milliseconds
// are not 0. Mode 1: ISO 8601 "YYYY-MM-DDTHH:MM:SS.mmm". Mode 17: the same without milliseconds.
// Returns the length; 0 and an empty buffer when the value is no date or the buffer too small.
int kqs_date_to_string(double value, int mode, char *buffer, int size);

// The present moment as a date number, to the millisecond: local time, and UTC.
double kqs_timetoday();
double kqs_gmtimetoday();

// --- Base-64 ----------------------------------------------------------------------------------

// RFC 4648 with the ordinary alphabet and padding, no line ends.

// The characters that so many bytes become.
constexpr std::size_t kqs_b64_size(std::size_t size) { return (size + 2) / 3 * 4; }

// Writes kqs_b64_size(size) characters and no NUL; returns their number. text must not overlap
// data.
std::size_t kqs_b64_encode(void const *data, std::size_t size, char *text);

// Undoes it: data has room for size / 4 * 3 bytes. Returns the bytes written; -1, with data
// undefined, for every text that no encoding gives, also where only spare bits are set.
std::ptrdiff_t kqs_b64_decode(char const *text, std::size_t size, void *data);
