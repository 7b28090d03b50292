// Coefficients as strings of decimal digits.
#pragma once

#include "backends/decnumber/decnumber_tables.h"

namespace decnumber {

// The 52 digits of a coefficient below 10^52, most significant first with leading zeros; `zero` is
// the value of the byte for 0.
void writeDigits(Words3 const &coefficient, std::uint8_t zero, std::uint8_t *digits);

// The number that `length` ASCII digits, at most 52, stand for.
Words3 readDigits(char const *digits, int length);

// Where a run of ASCII digits ends.
char const *skipDigits(char const *from, char const *end);

}  // namespace decnumber
