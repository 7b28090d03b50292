// Delivering a text into a caller's buffer, as the platform contracts promise it.
#pragma once

#include <cstring>
#include <string_view>

namespace kqbackend {

// Copies text to buffer (size bytes), cut between UTF-8 characters and always terminated.
// Does nothing without a buffer.
inline void copyText(std::string_view text, char *buffer, int size) {
    if (buffer == nullptr || size <= 0) return;
    auto const isContinuation = [](char c) { return (c & 0xC0) == 0x80; };
    std::size_t length = text.size();
    if (length >= static_cast<std::size_t>(size)) {
        length = static_cast<std::size_t>(size) - 1;
        while (length > 0 && isContinuation(text[length])) --length;
    }
    if (length > 0) std::memmove(buffer, text.data(), length);
    buffer[length] = '\0';
}

}  // namespace kqbackend
