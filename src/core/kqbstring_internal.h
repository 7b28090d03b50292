// What the library's own code does with strings beyond the public operations.
#pragma once

#include <cstddef>
#include <string_view>
#include <utility>

#include "kqb/kqbstring.h"

// The longest text; a longer one fails as if memory had run out, so that no 32-bit length wraps.
constexpr std::size_t kKqbStringMaxBytes = 0x7FFFFFFD;

class KqbStringAccess {
public:
    // The bytes of a string, "" for null.
    static std::string_view view(KqbString const &string) {
        return {string.asCstr(), string.byteLength()};
    }

    // An owned copy of exactly these bytes, which need not end in a NUL. False with a null string
    // when memory ran out.
    static bool assign(KqbString &string, std::string_view bytes);

    // Makes the string an owner of so many bytes, which the caller fills and which are so many
    // characters. Null, with a null string, when memory ran out.
    static char *room(KqbString &string, std::size_t bytes, unsigned int characters);

    // Appends exactly these bytes; a null string becomes an owner, also of no bytes. False with the
    // string as it was when memory ran out.
    static bool append(KqbString &string, std::string_view bytes);

    // The memory of a text that no other string shares, to be overwritten before the string is set
    // anew; nothing for every other string.
    static std::pair<char *, std::size_t> ownText(KqbString &string) {
        if (string.rep_ == nullptr || kqAtomGet(&string.rep_->references) > 1) return {nullptr, 0};
        return {string.rep_->text, string.rep_->capacity};
    }
};

// Whether a byte continues a character of UTF-8.
inline bool kqbIsContinuation(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}

// The longest run of whole, well-formed characters of at most maxBytes bytes, up to the first NUL.
std::string_view kqbWholeCharacters(char const *text, std::size_t maxBytes);

// The part of bytes without white space (Unicode White_Space) at its ends, as KqbString::trim
// leaves it. Most texts begin and end in a visible ASCII character and are trimmed already.
std::string_view kqbTrimmedOfSpace(std::string_view bytes);
inline std::string_view kqbTrimmed(std::string_view bytes) {
    auto const isVisible = [](char c) { return c > ' ' && c < '\x7f'; };
    if (!bytes.empty() && isVisible(bytes.front()) && isVisible(bytes.back())) return bytes;
    return kqbTrimmedOfSpace(bytes);
}

// Room for any text of kqbDoubleText.
constexpr std::size_t kKqbDoubleText = 32;

// Writes value as KqbString::assign(double) does, without a NUL. Returns the bytes written.
std::size_t kqbDoubleText(double value, char *text);
