// Texts in the encodings of Unicode, put together without the code under test.
#pragma once

#include <iconv.h>

#include <string>

#include "platform/kqschr.h"

// The byte-order mark as text.
constexpr char kMark[] = "\xEF\xBB\xBF";

// A well-formed UTF-8 text in UTF-8, UTF-16 or UTF-32 of either byte order.
inline std::string encoded(int encoding, std::string text) {
    std::string name =
        encoding == NP_ENC_UTF16LE || encoding == NP_ENC_UTF16BE ? "UTF-16" : "UTF-32";
    name += encoding == NP_ENC_UTF16LE || encoding == NP_ENC_UTF32LE ? "LE" : "BE";
    iconv_t const converter = iconv_open(encoding == NP_ENC_UTF8 ? "UTF-8" : name.c_str(), "UTF-8");
    std::string bytes(4 * text.size(), '\0');
    char *from = text.data(), *to = bytes.data();
    std::size_t left = text.size(), room = bytes.size();
    iconv(converter, &from, &left, &to, &room);
    iconv_close(converter);
    return bytes.substr(0, bytes.size() - room);
}
