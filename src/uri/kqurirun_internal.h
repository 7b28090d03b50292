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

// Whether marks(block) marks none of the text's bytes, of which there is a block at least.
template <class Marks>
bool kqbIsUnmarked(std::string_view text, Marks const &marks) {
    char const *const last = text.data() + text.size() - kKqURIBlock;
    for (char const *at = text.data(); at < last; at += kKqURIBlock) {
        if (kqbIsMarked(marks(kqbLoadBlock(at)))) return false;
    }
    return !kqbIsMarked(marks(kqbLoadBlock(last)));
}

// Copies a text by its first and its last word, which may overlap. False when marks marks one of
// its bytes, or NUL, which may fill the block.
template <class Word, class Marks>
bool kqbCopyEnds(char *to, std::string_view text, Marks const &marks) {
    Word first;
    Word last;
    std::size_t const behind = text.size() - sizeof(Word);
    std::memcpy(&first, text.data(), sizeof first);
    std::memcpy(&last, text.data() + behind, sizeof last);
    std::memcpy(to, &first, sizeof first);
    std::memcpy(to + behind, &last, sizeof last);
    std::uint64_t const words[2] = {first, last};
    KqURIBlock block;
    std::memcpy(&block, words, sizeof block);
    return !kqbIsMarked(marks(block));
}

// The same for a text of less than a block.
template <class Marks>
bool kqbCopyShort(char *to, std::string_view text, Marks const &marks) {
    if (text.size() >= 8) return kqbCopyEnds<std::uint64_t>(to, text, marks);
    if (text.size() >= 4) return kqbCopyEnds<std::uint32_t>(to, text, marks);
    if (text.size() >= 2) return kqbCopyEnds<std::uint16_t>(to, text, marks);
    return text.empty() || kqbCopyEnds<std::uint8_t>(to, text, marks);
}

// Copies a block, and returns the bytes in front of the first that marks(block) marks.
template <class Marks>
std::size_t kqbCopyUnmarked(char *to, char const *at, Marks const &marks) {
    KqURIBlock const block = kqbLoadBlock(at);
    std::memcpy(to, &block, sizeof block);
    KqURIMarks const found = marks(block);
    return kqbIsMarked(found) ? kqbUnmarkedBytes(found) : kKqURIBlock;
}
