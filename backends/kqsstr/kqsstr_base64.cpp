// Base-64. Whole vectors where the processor has byte shuffles, after the method of Wojciech Mula:
// 12 bytes are spread over four words, cut into 6-bit numbers by two multiplications, and turned
// into characters by adding an offset that a shuffle looks up. Decoding runs the same way back.
#include <algorithm>
#include <array>
#include <cstdint>

#ifdef __SSSE3__
#include <tmmintrin.h>
#endif

#include "platform/kqsstr.h"

namespace {

using Byte = unsigned char;

constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr Byte kNoCharacter = 0xFF;

constexpr auto kValues = [] {
    std::array<Byte, 256> values{};
    values.fill(kNoCharacter);
    for (Byte i = 0; i < 64; ++i) values[static_cast<Byte>(kAlphabet[i])] = i;
    return values;
}();

// --- A few bytes at a time --------------------------------------------------------------------

char characterOf(std::uint32_t bits, int shift) { return kAlphabet[(bits >> shift) & 63]; }

char *encodeThree(Byte const *data, char *text) {
    std::uint32_t const bits = static_cast<std::uint32_t>(data[0]) << 16 |
                               static_cast<std::uint32_t>(data[1]) << 8 | data[2];
    for (int shift = 18; shift >= 0; shift -= 6) *text++ = characterOf(bits, shift);
    return text;
}

// The last one or two bytes.
char *encodeRest(Byte const *data, std::size_t size, char *text) {
    Byte const padded[3] = {data[0], size > 1 ? data[1] : Byte{0}, 0};
    char *const end = encodeThree(padded, text);
    end[-1] = '=';
    if (size == 1) end[-2] = '=';
    return end;
}

// Four characters; false when one of them is none.
bool decodeFour(char const *text, Byte *data) {
    std::uint32_t bits = 0;
    Byte wrong = 0;
    for (int i = 0; i < 4; ++i) {
        Byte const value = kValues[static_cast<Byte>(text[i])];
        wrong |= value;
        bits = bits << 6 | value;
    }
    data[0] = static_cast<Byte>(bits >> 16);
    data[1] = static_cast<Byte>(bits >> 8);
    data[2] = static_cast<Byte>(bits);
    return (wrong & 0xC0) == 0;
}

// The last four characters, which may be padded: the bytes they hold, or -1.
int decodeLast(char const *text, Byte *data) {
    int const padding = text[3] != '=' ? 0 : text[2] != '=' ? 1 : 2;
    char whole[4] = {text[0], text[1], text[2], text[3]};
    for (int i = 4 - padding; i < 4; ++i) whole[i] = 'A';
    Byte bytes[3];
    if (!decodeFour(whole, bytes)) return -1;
    for (int i = 3 - padding; i < 3; ++i) {
        if (bytes[i] != 0) return -1;
    }
    for (int i = 0; i < 3 - padding; ++i) data[i] = bytes[i];
    return 3 - padding;
}

// --- Vectors ----------------------------------------------------------------------------------

#ifdef __SSSE3__

__m128i load(void const *from) { return _mm_loadu_si128(static_cast<__m128i const *>(from)); }
void store(void *to, __m128i value) { _mm_storeu_si128(static_cast<__m128i *>(to), value); }

// Characters of the 12 bytes that spread brings into big-endian order, word by word.
__m128i characters(__m128i data, __m128i spread) {
    __m128i const words = _mm_shuffle_epi8(data, spread);
    __m128i const upper = _mm_mulhi_epu16(_mm_and_si128(words, _mm_set1_epi32(0x0FC0FC00)),
                                          _mm_set1_epi32(0x04000040));
    __m128i const lower = _mm_mullo_epi16(_mm_and_si128(words, _mm_set1_epi32(0x003F03F0)),
                                          _mm_set1_epi32(0x01000010));
    __m128i const values = _mm_or_si128(upper, lower);
    // 13 for A to Z, 0 for a to z, 1 to 12 for the rest.
    __m128i const isUpper = _mm_cmpgt_epi8(_mm_set1_epi8(26), values);
    __m128i const range = _mm_or_si128(_mm_subs_epu8(values, _mm_set1_epi8(51)),
                                       _mm_and_si128(isUpper, _mm_set1_epi8(13)));
    __m128i const offsets =
        _mm_setr_epi8('a' - 26, '0' - 52, '0' - 52, '0' - 52, '0' - 52, '0' - 52, '0' - 52,
                      '0' - 52, '0' - 52, '0' - 52, '0' - 52, '+' - 62, '/' - 63, 'A', 0, 0);
    return _mm_add_epi8(values, _mm_shuffle_epi8(offsets, range));
}

// Encodes whole threes and moves both pointers; a few bytes may be left. The last vector looks back
// at bytes that were encoded before, so that a mail's line of 57 bytes takes five.
void encodeVectors(Byte const *&data, Byte const *end, char *&text) {
    __m128i const first = _mm_setr_epi8(1, 0, 2, 1, 4, 3, 5, 4, 7, 6, 8, 7, 10, 9, 11, 10);
    __m128i const last = _mm_add_epi8(first, _mm_set1_epi8(4));
    if (end - data < 16) return;
    for (; end - data >= 16; data += 12, text += 16) store(text, characters(load(data), first));
    auto const rest = std::min<std::ptrdiff_t>((end - data) / 3 * 3, 12);
    if (rest == 3) return;  // the vector would begin before the data
    data += rest;
    text += rest / 3 * 4;
    store(text - 16, characters(load(data - 16), last));
}

// Decodes as long as a whole vector may be stored; stops at what is no character.
void decodeVectors(char const *&text, char const *end, Byte *&data) {
    // By the upper and by the lower half of a byte: they share a bit when it is no character.
    __m128i const upperKinds = _mm_setr_epi8(0x10, 0x10, 0x01, 0x02, 0x04, 0x08, 0x04, 0x08, 0x10,
                                             0x10, 0x10, 0x10, 0x10, 0x10, 0x10, 0x10);
    __m128i const lowerKinds = _mm_setr_epi8(0x15, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11,
                                             0x11, 0x13, 0x1A, 0x1B, 0x1B, 0x1B, 0x1A);
    __m128i const offsets = _mm_setr_epi8(0, 63 - '/', 62 - '+', 52 - '0', -'A', -'A', 26 - 'a',
                                          26 - 'a', 0, 0, 0, 0, 0, 0, 0, 0);
    __m128i const gather = _mm_setr_epi8(2, 1, 0, 6, 5, 4, 10, 9, 8, 14, 13, 12, -1, -1, -1, -1);
    __m128i const half = _mm_set1_epi8(0x0F);
    for (; end - text >= 24; text += 16, data += 12) {
        __m128i const bytes = load(text);
        __m128i const upper = _mm_and_si128(_mm_srli_epi32(bytes, 4), half);
        __m128i const lower = _mm_and_si128(bytes, half);
        __m128i const shared =
            _mm_and_si128(_mm_shuffle_epi8(upperKinds, upper), _mm_shuffle_epi8(lowerKinds, lower));
        if (_mm_movemask_epi8(_mm_cmpgt_epi8(shared, _mm_setzero_si128())) != 0) return;
        __m128i const isSlash = _mm_cmpeq_epi8(bytes, _mm_set1_epi8('/'));
        __m128i const values =
            _mm_add_epi8(bytes, _mm_shuffle_epi8(offsets, _mm_add_epi8(isSlash, upper)));
        __m128i const pairs = _mm_maddubs_epi16(values, _mm_set1_epi32(0x01400140));
        __m128i const words = _mm_madd_epi16(pairs, _mm_set1_epi32(0x00011000));
        store(data, _mm_shuffle_epi8(words, gather));
    }
}

#else

void encodeVectors(Byte const *&, Byte const *, char *&) {}
void decodeVectors(char const *&, char const *, Byte *&) {}

#endif

}  // namespace

std::size_t kqs_b64_encode(void const *data, std::size_t size, char *text) {
    auto const *bytes = static_cast<Byte const *>(data);
    Byte const *const end = bytes + size;
    char *to = text;
    encodeVectors(bytes, end, to);
    for (; end - bytes >= 3; bytes += 3) to = encodeThree(bytes, to);
    if (bytes < end) to = encodeRest(bytes, static_cast<std::size_t>(end - bytes), to);
    return static_cast<std::size_t>(to - text);
}

std::ptrdiff_t kqs_b64_decode(char const *text, std::size_t size, void *data) {
    if (size % 4 != 0) return -1;
    if (size == 0) return 0;
    char const *const end = text + size;
    auto *to = static_cast<Byte *>(data);
    decodeVectors(text, end, to);
    for (; end - text > 4; text += 4, to += 3) {
        if (!decodeFour(text, to)) return -1;
    }
    int const last = decodeLast(text, to);
    return last < 0 ? -1 : to - static_cast<Byte *>(data) + last;
}
