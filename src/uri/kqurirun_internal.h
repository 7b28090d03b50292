// Looking at 16 bytes of text at a time for those that need a closer look.
#pragma once

#include <bit>
#include <cstdint>
#include <cstring>
#include <string_view>

using KqURIBlock = unsigned char __attribute__((vector_size(16)));
inline constexpr std::size_t kKqURIBlock = sizeof(KqURIBlock);

// Which bytes of a block are meant: all bits of each set. Compilers differ in what type comparing
// blocks gives.
using KqURIMarks = KqURIBlock;

template <class Comparison>
KqURIMarks kqbMarks(Comparison const &comparison) {
    KqURIMarks marks;
    static_assert(sizeof comparison == sizeof marks);
    std::memcpy(&marks, &comparison, sizeof marks);
    return marks;
}

inline KqURIBlock kqbLoadBlock(char const *at) {
    KqURIBlock block;
    std::memcpy(&block, at, sizeof block);
    return block;
}

// The bytes in front of the first marked one.
inline std::size_t kqbUnmarkedBytes(KqURIMarks const &marks) {
    std::uint64_t words[2];
    std::memcpy(words, &marks, sizeof words);
    std::uint64_t const word = words[0] != 0 ? words[0] : words[1];
    bool const isLittle = std::endian::native == std::endian::little;
    int const zeros = isLittle ? std::countr_zero(word) : std::countl_zero(word);
    return (words[0] != 0 ? 0 : sizeof word) + static_cast<std::size_t>(zeros) / 8;
}

inline bool kqbIsMarked(KqURIMarks const &marks) {
    std::uint64_t words[2];
    std::memcpy(words, &marks, sizeof words);
    return (words[0] | words[1]) != 0;
}

// A text of 1 to 15 bytes as a block that holds each of its bytes, some of them repeatedly.
inline KqURIBlock kqbLoadShort(std::string_view text) {
    char bytes[kKqURIBlock];
    char const *const end = text.data() + text.size();
    if (text.size() >= 8) {
        std::memcpy(bytes, text.data(), 8);
        std::memcpy(bytes + 8, end - 8, 8);
    } else if (text.size() >= 4) {
        std::memcpy(bytes, text.data(), 4);
        std::memcpy(bytes + 4, end - 4, 4);
        std::memcpy(bytes + 8, bytes, 8);
    } else {
        std::memset(bytes, text[0], sizeof bytes);
        bytes[1] = text[text.size() / 2];
        bytes[2] = end[-1];
    }
    return kqbLoadBlock(bytes);
}

// Whether marks(block) marks none of the text's bytes.
template <class Marks>
bool kqbIsUnmarked(std::string_view text, Marks const &marks) {
    if (text.empty()) return true;
    if (text.size() < kKqURIBlock) return !kqbIsMarked(marks(kqbLoadShort(text)));
    char const *const last = text.data() + text.size() - kKqURIBlock;
    for (char const *at = text.data(); at < last; at += kKqURIBlock) {
        if (kqbIsMarked(marks(kqbLoadBlock(at)))) return false;
    }
    return !kqbIsMarked(marks(kqbLoadBlock(last)));
}

// Copies a block, and returns the bytes in front of the first that marks(block) marks.
template <class Marks>
std::size_t kqbCopyUnmarked(char *to, char const *at, Marks const &marks) {
    KqURIBlock const block = kqbLoadBlock(at);
    std::memcpy(to, &block, sizeof block);
    KqURIMarks const found = marks(block);
    return kqbIsMarked(found) ? kqbUnmarkedBytes(found) : kKqURIBlock;
}
