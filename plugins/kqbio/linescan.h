// The scan that text files live on.
#pragma once

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace kqbio {

// The first LF, CR or NUL in [from, end), or end. *nonAscii becomes true when a byte above 0x7F
// stands before it, else it is left alone. Bytes behind end are read, up to 15 of them.
inline char *findLineEnd(char *from, char *end, bool *nonAscii) {
#if defined(__SSE2__)
    __m128i const lf = _mm_set1_epi8('\n');
    __m128i const cr = _mm_set1_epi8('\r');
    __m128i const nul = _mm_setzero_si128();
    unsigned high = 0;
    for (char *at = from; at < end; at += 16) {
        __m128i const bytes = _mm_loadu_si128(reinterpret_cast<__m128i const *>(at));
        __m128i const ends =
            _mm_or_si128(_mm_or_si128(_mm_cmpeq_epi8(bytes, lf), _mm_cmpeq_epi8(bytes, cr)),
                         _mm_cmpeq_epi8(bytes, nul));
        unsigned hits = static_cast<unsigned>(_mm_movemask_epi8(ends));
        if (end - at < 16) hits |= 1U << (end - at);  // the end ends the scan like a line end
        unsigned const above = static_cast<unsigned>(_mm_movemask_epi8(bytes));
        if (hits != 0) {
            high |= above & (hits - 1) & ~hits;
            if (high != 0) *nonAscii = true;
            return at + __builtin_ctz(hits);
        }
        high |= above;
    }
    if (high != 0) *nonAscii = true;
    return end;
#else
    for (; from < end; ++from) {
        if (*from == '\n' || *from == '\r' || *from == '\0') return from;
        if (static_cast<unsigned char>(*from) >= 0x80) *nonAscii = true;
    }
    return end;
#endif
}

}  // namespace kqbio
