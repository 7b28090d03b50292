// Arithmetic expressions over decimals of 52 digits.
#pragma once

#include <string>

#include "kqb/kqbreal.h"

struct DecimalResult {
    KqbReal value;
    bool isRounded = false;  // some step, or a number of the expression, lost digits
};

// Evaluates + - * / with the usual precedence, signs, parentheses, and the functions sqrt(x),
// round(x, places), floor(x), ceiling(x), abs(x) and mod(x, y), which are those of KqbReal. Throws
// Failure, with the position in characters: kUsage for what is no expression, kLibraryFailure for
// an operation without a result.
DecimalResult evaluateDecimal(std::string const &expression);

// The value with all its digits: KqbReal's own text where that has them, else exponent form.
std::string allDigits(KqbReal const &value);
