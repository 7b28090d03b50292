// Division of whole numbers of several words.
#pragma once

#include "backends/decnumber/decnumber_words.h"

namespace decnumber {

struct Quotient {
    Words3 quotient;
    Words3 remainder;
};

// n / divisor, which is not 0; the quotient must fit in three words.
Quotient divide(Words6 const &n, Words3 const &divisor);

}  // namespace decnumber
