// One character of UTF-8, in and out (RFC 3629).
#pragma once

#include <cstddef>

namespace kqschr {

constexpr char32_t kMaxCodePoint = 0x10ffff;

inline unsigned byteAt(char const *text, std::size_t index) {
    return static_cast<unsigned char>(text[index]);
}

inline bool isContinuation(unsigned byte) { return (byte & 0xc0) == 0x80; }

// Decodes the character at text, which has size bytes, at least one. Returns its bytes, or 0 when
// it is ill-formed or cut. A byte is only looked at when the bytes before it ask for it, so that
// a NUL protects what lies behind.
inline unsigned decodeUtf8(char const *text, std::size_t size, char32_t &codePoint) {
    unsigned const lead = byteAt(text, 0);
    if (lead < 0x80) return codePoint = lead, 1;
    if (lead < 0xc2 || size < 2 || !isContinuation(byteAt(text, 1))) return 0;
    char32_t value = byteAt(text, 1) & 0x3f;
    if (lead < 0xe0) return codePoint = (lead & 0x1f) << 6 | value, 2;
    if (size < 3 || !isContinuation(byteAt(text, 2))) return 0;
    value = value << 6 | (byteAt(text, 2) & 0x3f);
    if (lead < 0xf0) {
        value |= (lead & 0x0f) << 12;
        if (value < 0x800 || value - 0xd800 < 0x800) return 0;
        return codePoint = value, 3;
    }
    if (size < 4 || lead > 0xf4 || !isContinuation(byteAt(text, 3))) return 0;
    value = (lead & 0x07) << 18 | value << 6 | (byteAt(text, 3) & 0x3f);
    if (value < 0x10000 || value > kMaxCodePoint) return 0;
    return codePoint = value, 4;
}

inline unsigned encodedSize(char32_t codePoint) {
    return 1u + (codePoint >= 0x80) + (codePoint >= 0x800) + (codePoint >= 0x10000);
}

// Writes 1 to 4 bytes and returns how many.
inline unsigned encodeUtf8(char32_t codePoint, char *out) {
    auto const put = [=](int index, char32_t bits) { out[index] = static_cast<char>(bits); };
    auto const tail = [=](int shift) { return 0x80 | (codePoint >> shift & 0x3f); };
    if (codePoint < 0x80) return put(0, codePoint), 1;
    if (codePoint < 0x800) return put(0, 0xc0 | codePoint >> 6), put(1, tail(0)), 2;
    if (codePoint < 0x10000) {
        return put(0, 0xe0 | codePoint >> 12), put(1, tail(6)), put(2, tail(0)), 3;
    }
    put(0, 0xf0 | codePoint >> 18);
    return put(1, tail(12)), put(2, tail(6)), put(3, tail(0)), 4;
}

// What stands at the start of a text: a character, one that the end of the text cuts off, or an
// ill-formed sequence, whose size is the largest part that could have begun a character.
struct Utf8Span {
    enum Kind { kWhole, kCut, kIllFormed } kind;
    unsigned size;
};

inline Utf8Span spanUtf8(char const *text, std::size_t size) {
    unsigned const lead = byteAt(text, 0);
    if (lead < 0x80) return {Utf8Span::kWhole, 1};
    if (lead < 0xc2 || lead > 0xf4) return {Utf8Span::kIllFormed, 1};
    unsigned const length = lead < 0xe0 ? 2 : lead < 0xf0 ? 3 : 4;
    unsigned from = lead == 0xe0 ? 0xa0 : lead == 0xf0 ? 0x90 : 0x80;
    unsigned to = lead == 0xed ? 0x9f : lead == 0xf4 ? 0x8f : 0xbf;
    for (unsigned i = 1; i < length; ++i) {
        if (i == size) return {Utf8Span::kCut, i};
        if (byteAt(text, i) < from || byteAt(text, i) > to) return {Utf8Span::kIllFormed, i};
        from = 0x80;
        to = 0xbf;
    }
    return {Utf8Span::kWhole, length};
}

// Bytes at the start of the text that are well-formed characters.
std::size_t wellFormedPrefix(char const *text, std::size_t size);

}  // namespace kqschr
