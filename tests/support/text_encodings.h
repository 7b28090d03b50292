// Texts in the encodings of Unicode, put together without the code under test.
#pragma once

#include <string>
#include <string_view>

#include "platform/kqschr.h"

// The byte-order mark as text.
constexpr char kMark[] = "\xEF\xBB\xBF";

// A well-formed UTF-8 text in UTF-8, UTF-16 or UTF-32 of either byte order.
inline std::string encoded(int encoding, std::string_view utf8) {
    if (encoding == NP_ENC_UTF8) return std::string(utf8);
    bool const wide = encoding == NP_ENC_UTF32LE || encoding == NP_ENC_UTF32BE;
    bool const big = encoding == NP_ENC_UTF16BE || encoding == NP_ENC_UTF32BE;
    std::string bytes;
    auto const put = [&](unsigned unit) {
        int const last = (wide ? 4 : 2) - 1;
        for (int i = 0; i <= last; ++i) {
            bytes += static_cast<char>(unit >> 8 * (big ? last - i : i) & 0xFF);
        }
    };
    for (std::size_t at = 0; at < utf8.size();) {
        unsigned code = static_cast<unsigned char>(utf8[at++]);
        int const more = code < 0xC0 ? 0 : code < 0xE0 ? 1 : code < 0xF0 ? 2 : 3;
        if (more > 0) code &= 0x3FU >> more;
        for (int i = 0; i < more; ++i) {
            code = code << 6 | (static_cast<unsigned char>(utf8[at++]) & 0x3F);
        }
        if (wide || code < 0x10000) {
            put(code);
        } else {
            put(0xD800 + ((code - 0x10000) >> 10));
            put(0xDC00 + (code & 0x3FF));
        }
    }
    return bytes;
}
