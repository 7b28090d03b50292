// Decoding, classification and validation.
#include <unicode/uchar.h>

#include "backends/kqschr/kqschr_kernels.h"
#include "backends/kqschr/kqschr_utf8.h"
#include "platform/kqschr.h"

namespace kqschr {

std::size_t wellFormedPrefix(char const *text, std::size_t size) {
    std::size_t at = 0;
    while (at != size) {
        if (byteAt(text, at) < 0x80) {
            at += asciiPrefix(text + at, size - at);
            continue;
        }
        char32_t value;
        unsigned const bytes = decodeUtf8(text + at, size - at, value);
        if (bytes == 0) break;
        at += bytes;
    }
    return at;
}

}  // namespace kqschr

using namespace kqschr;

namespace {

constexpr std::size_t kLongest = 4;

// White_Space of Unicode beyond ASCII; it has not changed since version 6.3.
bool isWideSpace(char32_t c) {
    if (c - 0x2000 <= 0xa || c - 0x2028 <= 1) return true;
    return c == 0x85 || c == 0xa0 || c == 0x1680 || c == 0x202f || c == 0x205f || c == 0x3000;
}

bool isAsciiSpace(unsigned byte) { return byte == ' ' || byte - '\t' < 5; }

}  // namespace

int np_uchar_toint(char const *text, int *codePoint) {
    return np_uchar_toint_n(text ? text : "", kLongest, codePoint);
}

int np_uchar_toint_n(char const *text, std::size_t size, int *codePoint) {
    if (!text || size == 0) return 0;
    char32_t value;
    unsigned const bytes = decodeUtf8(text, size, value);
    if (bytes != 0) *codePoint = static_cast<int>(value);
    return static_cast<int>(bytes);
}

int np_uchar_isspace(char const *text) { return text ? np_uchar_isspace_n(text, kLongest) : 0; }

int np_uchar_isspace_n(char const *text, std::size_t size) {
    if (!text || size == 0) return 0;
    if (byteAt(text, 0) < 0x80) return isAsciiSpace(byteAt(text, 0));
    char32_t value;
    unsigned const bytes = decodeUtf8(text, size, value);
    return bytes != 0 && isWideSpace(value) ? static_cast<int>(bytes) : 0;
}

bool np_uchar_isascii_n(char const *text, std::size_t size) {
    return !text || asciiPrefix(text, size) == size;
}

bool np_uchar_valid_n(char const *text, std::size_t size) {
    return !text || wellFormedPrefix(text, size) == size;
}
