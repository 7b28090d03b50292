// Copying text in line: most texts are short, and a call would cost more than the copying.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

using KqbCopyVector = std::uint64_t __attribute__((vector_size(16)));

inline bool kqbIsAsciiWord(std::uint64_t word) { return (word & 0x8080808080808080) == 0; }
inline bool kqbIsAsciiWord(KqbCopyVector const &word) { return kqbIsAsciiWord(word[0] | word[1]); }

// Copies at least one word, the last one where it ends the text.
template <class Word>
bool kqbCopyWords(char *to, char const *from, std::size_t bytes) {
    Word seen{};
    auto const copyWord = [&](std::size_t at) {
        Word word;
        std::memcpy(&word, from + at, sizeof word);
        std::memcpy(to + at, &word, sizeof word);
        seen |= word;
    };
    std::size_t const last = bytes - sizeof(Word);
    std::size_t at = 0;
    for (; at + 4 * sizeof(Word) <= last; at += 4 * sizeof(Word)) {
        copyWord(at);
        copyWord(at + sizeof(Word));
        copyWord(at + 2 * sizeof(Word));
        copyWord(at + 3 * sizeof(Word));
    }
    for (; at < last; at += sizeof(Word)) copyWord(at);
    copyWord(last);
    return kqbIsAsciiWord(seen);
}

// Copies bytes that do not overlap their target, and tells whether all of them are ASCII.
inline bool kqbCopyIsAscii(char *to, char const *from, std::size_t bytes) {
    if (bytes >= sizeof(KqbCopyVector)) return kqbCopyWords<KqbCopyVector>(to, from, bytes);
    if (bytes >= 8) return kqbCopyWords<std::uint64_t>(to, from, bytes);
    if (bytes >= 4) return kqbCopyWords<std::uint32_t>(to, from, bytes);
    return bytes == 0 || kqbCopyWords<std::uint8_t>(to, from, bytes);
}

// Copies bytes that do not overlap their target.
inline void kqbCopy(char *to, char const *from, std::size_t bytes) {
    if (bytes > 4 * sizeof(KqbCopyVector)) {
        std::memcpy(to, from, bytes);
    } else {
        kqbCopyIsAscii(to, from, bytes);
    }
}
