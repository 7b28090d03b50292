// Schoolbook division by words (D. Knuth, "The Art of Computer Programming", 4.3.1, algorithm D),
// each word of the quotient by a reciprocal of the divisor's leading words, after N. Möller and
// T. Granlund, "Improved division by invariant integers".
#include "backends/decnumber/decnumber_quotient.h"

namespace decnumber {
namespace {

constexpr Word kAllOnes = ~Word{0};
constexpr int kQuotientWords = 3;

// floor((2^128 - 1) / d) - 2^64, for d with its top bit set.
Word reciprocalOf(Word d) {
#if defined(__x86_64__)
    Word quotient, remainder;
    __asm__("divq %4" : "=a"(quotient), "=d"(remainder) : "0"(kAllOnes), "1"(~d), "r"(d) : "cc");
    return quotient;
#else
    return lowWord(wide(~d, kAllOnes) / d);
#endif
}

// floor((2^192 - 1) / (d1, d0)) - 2^64.
Word reciprocalOf(Word d1, Word d0) {
    Word v = reciprocalOf(d1);
    Word p = d1 * v + d0;
    if (p < d0) {
        --v;
        if (p >= d1) {
            --v;
            p -= d1;
        }
        p -= d1;
    }
    Wide const t = Wide{d0} * v;
    p += highWord(t);
    if (p < highWord(t)) {
        --v;
        if (wide(p, lowWord(t)) >= wide(d1, d0)) --v;
    }
    return v;
}

// (n1, n0) / d with n1 < d; n1 becomes the remainder.
Word divideTwo(Word &n1, Word n0, Word d, Word reciprocal) {
    Wide const product = Wide{n1} * reciprocal + wide(n1, n0);
    Word quotient = highWord(product) + 1;
    Word remainder = n0 - quotient * d;
    if (remainder > lowWord(product)) {
        --quotient;
        remainder += d;
    }
    if (remainder >= d) [[unlikely]] {
        ++quotient;
        remainder -= d;
    }
    n1 = remainder;
    return quotient;
}

// (n, n0) / d with n < d; n becomes the remainder.
Word divideThree(Wide &n, Word n0, Wide d, Word reciprocal) {
    Wide const product = Wide{highWord(n)} * reciprocal + n;
    Word quotient = highWord(product);
    Word const r1 = lowWord(n) - quotient * highWord(d);
    Wide remainder = wide(r1, n0) - d - Wide{lowWord(d)} * quotient;
    ++quotient;
    if (highWord(remainder) >= lowWord(product)) {
        --quotient;
        remainder += d;
    }
    if (remainder >= d) [[unlikely]] {
        ++quotient;
        remainder -= d;
    }
    n = remainder;
    return quotient;
}

// The divisor's top bit is set, and n is below the divisor times 2^192, in each of the three.
Quotient divideByOne(Words6 const &n, Word d) {
    Word const reciprocal = reciprocalOf(d);
    Quotient result = {};
    Word rest = n[kQuotientWords];
    for (int i = kQuotientWords - 1; i >= 0; --i) {
        result.quotient[i] = divideTwo(rest, n[i], d, reciprocal);
    }
    result.remainder[0] = rest;
    return result;
}

Quotient divideByTwo(Words6 const &n, Wide d) {
    Word const reciprocal = reciprocalOf(highWord(d), lowWord(d));
    Quotient result = {};
    Wide rest = wide(n[kQuotientWords + 1], n[kQuotientWords]);
    for (int i = kQuotientWords - 1; i >= 0; --i) {
        result.quotient[i] = divideThree(rest, n[i], d, reciprocal);
    }
    result.remainder = {{lowWord(rest), highWord(rest), 0}};
    return result;
}

// One word of a quotient by three words; n becomes the remainder, moved up by the next word.
Word divideFour(Words3 &n, Word next, Words3 const &d, Word reciprocal) {
    Wide const leading = wide(d[2], d[1]);
    Wide rest = wide(n[2], n[1]);
    Word quotient = kAllOnes;
    if (rest != leading) [[likely]] {
        quotient = divideThree(rest, n[0], leading, reciprocal);
        Wide const product = Wide{d[0]} * quotient;
        Words3 remainder = {{next, lowWord(rest), highWord(rest)}};
        n = remainder;
        if (!subtract(n, {{lowWord(product), highWord(product), 0}})) return quotient;
        --quotient;
        if (!add(n, d)) {
            --quotient;
            add(n, d);
        }
        return quotient;
    }
    Words<4> long_ = {{next, n[0], n[1], n[2]}};
    subtract(long_, multiply(d, Words<1>{{quotient}}));
    while (long_[3]) {
        --quotient;
        add(long_, resized<4>(d));
    }
    n = resized<3>(long_);
    return quotient;
}

Quotient divideByThree(Words6 const &n, Words3 const &d) {
    Word const reciprocal = reciprocalOf(d[2], d[1]);
    Quotient result = {};
    result.remainder = {{n[3], n[4], n[5]}};
    for (int i = kQuotientWords - 1; i >= 0; --i) {
        result.quotient[i] = divideFour(result.remainder, n[i], d, reciprocal);
    }
    return result;
}

}  // namespace

Quotient divide(Words6 const &n, Words3 const &divisor) {
    int const words = divisor[2] ? 3 : divisor[1] ? 2 : 1;
    int const shift = std::countl_zero(divisor[words - 1]);
    Words3 const d = shiftedUp(divisor, shift);
    Words6 const shifted = shiftedUp(n, shift);
    Quotient result = words == 3   ? divideByThree(shifted, d)
                      : words == 2 ? divideByTwo(shifted, wide(d[1], d[0]))
                                   : divideByOne(shifted, d[0]);
    result.remainder = shiftedDown(result.remainder, shift);
    return result;
}

}  // namespace decnumber
