// Text in blocks: 16 bytes of a vector register, 8 of a machine word, or one at a time.
//
// Every block type offers the same operations, and each algorithm is written once over them, so
// that the portable form and the vector form cannot drift apart. A mask has bits for the bytes
// that answer; first() is the index of the lowest of them.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

#if defined(__SSE4_2__)
#include <immintrin.h>
#endif

namespace kqschr {

// Whether a byte is no continuation byte, and so begins a character.
inline bool isLead(char byte) { return static_cast<signed char>(byte) > -65; }

// Whether a byte begins a character of U+3000 to U+9FFF or U+B000 to U+DFFF, where no script has
// case: for case mapping such characters are as plain as digits.
inline bool isPlainLead(unsigned byte) { return byte - 0xe3 < 11 && byte != 0xea; }

struct ByteBlock {
    using Value = unsigned;
    static constexpr std::size_t kSize = 1;

    static Value load(char const *p) { return static_cast<unsigned char>(*p); }
    static void store(char *p, Value v) { *p = static_cast<char>(v); }
    static unsigned nonAscii(Value v) { return v >> 7; }
    static unsigned mayChange(Value v) { return nonAscii(v); }
    static unsigned leads(Value v) { return isLead(static_cast<char>(v)); }
    static unsigned differ(Value a, Value b) { return a != b; }
    static Value lower(Value v) { return v - 'A' < 26 ? v + 32 : v; }
    static Value upper(Value v) { return v - 'a' < 26 ? v - 32 : v; }
    static std::size_t first(unsigned) { return 0; }
};

struct WordBlock {
    using Smaller = ByteBlock;
    using Value = std::uint64_t;
    static constexpr std::size_t kSize = 8;
    static constexpr Value kOnes = 0x0101010101010101u;
    static constexpr Value kHigh = 0x80 * kOnes;
    static constexpr Value kLow = 0x7f * kOnes;

    static Value load(char const *p) {
        Value v;
        std::memcpy(&v, p, sizeof v);
        return ordered(v);
    }
    static void store(char *p, Value v) {
        v = ordered(v);
        std::memcpy(p, &v, sizeof v);
    }
    static Value nonAscii(Value v) { return v & kHigh; }
    static Value mayChange(Value v) { return nonAscii(v); }
    static Value leads(Value v) { return ~(v & ~(v << 1)) & kHigh; }
    static Value differ(Value a, Value b) {
        Value const x = a ^ b;
        return (((x & kLow) + kLow) | x) & kHigh;
    }
    static Value lower(Value v) { return v ^ inRange(v, 'A', 'Z') >> 2; }
    static Value upper(Value v) { return v ^ inRange(v, 'a', 'z') >> 2; }
    static std::size_t first(Value mask) {
        return static_cast<std::size_t>(std::countr_zero(mask)) / 8;
    }

private:
    // The lowest byte of a word is the first of the text, whatever the machine.
    static Value ordered(Value v) {
        if constexpr (std::endian::native == std::endian::big) v = __builtin_bswap64(v);
        return v;
    }
    // The high bits of the bytes between two ASCII characters, both included.
    static Value inRange(Value v, unsigned from, unsigned to) {
        Value const low = v & kLow;
        return ((low + (0x80 - from) * kOnes) ^ (low + (0x7f - to) * kOnes)) & ~v & kHigh;
    }
};

#if defined(__SSE4_2__)
struct VectorBlock {
    using Smaller = WordBlock;
    using Value = __m128i;
    static constexpr std::size_t kSize = 16;

    static Value load(char const *p) {
        return _mm_loadu_si128(reinterpret_cast<__m128i const *>(p));
    }
    static void store(char *p, Value v) { _mm_storeu_si128(reinterpret_cast<__m128i *>(p), v); }
    static unsigned nonAscii(Value v) { return static_cast<unsigned>(_mm_movemask_epi8(v)); }
    // Beside ASCII, continuation bytes are plain, and the plain lead bytes.
    static unsigned mayChange(Value v) {
        if (nonAscii(v) == 0) return 0;
        constexpr char kByHighHalf = 1;
        constexpr char kByBoth = 2;
        __m128i const halves = _mm_set1_epi8(0x0f);
        __m128i const high =
            _mm_shuffle_epi8(_mm_setr_epi8(0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, kByHighHalf,
                                           kByHighHalf, kByBoth, kByHighHalf),
                             _mm_and_si128(_mm_srli_epi16(v, 4), halves));
        __m128i const low =
            _mm_shuffle_epi8(_mm_setr_epi8(3, 3, 3, 1, 1, 1, 1, 1, 1, 1, 3, 1, 1, 1, 3, 3),
                             _mm_and_si128(v, halves));
        return nonAscii(_mm_cmpgt_epi8(_mm_and_si128(high, low), _mm_setzero_si128()));
    }
    static Value leadBytes(Value v) { return _mm_cmpgt_epi8(v, _mm_set1_epi8(-65)); }
    static unsigned leads(Value v) { return nonAscii(leadBytes(v)); }
    static unsigned differ(Value a, Value b) { return 0xffff ^ nonAscii(_mm_cmpeq_epi8(a, b)); }
    static Value lower(Value v) { return flipFrom(v, 'Z'); }
    static Value upper(Value v) { return flipFrom(v, 'z'); }
    static std::size_t first(unsigned mask) {
        return static_cast<std::size_t>(std::countr_zero(mask));
    }

private:
    // Changes the case of the 26 letters that end with last: moved to the top of the signed range
    // they are what is above the rest.
    static Value flipFrom(Value v, char last) {
        Value const moved = _mm_add_epi8(v, _mm_set1_epi8(static_cast<char>(0x7f - last)));
        Value const letters = _mm_cmpgt_epi8(moved, _mm_set1_epi8(0x7f - 26));
        return _mm_xor_si128(v, _mm_and_si128(letters, _mm_set1_epi8(0x20)));
    }
};
using WidestBlock = VectorBlock;
#else
using WidestBlock = WordBlock;
#endif

// The offset of the first byte at which stop(block type, offset) has a bit, or size. The last
// block overlaps the one before, which saves a loop over the rest.
template <class Block, class Stop>
std::size_t scan(std::size_t size, Stop stop) {
    if (size < Block::kSize) {
        if constexpr (Block::kSize > 1) return scan<typename Block::Smaller>(size, stop);
        return 0;
    }
    std::size_t at = 0;
    for (; at + Block::kSize <= size; at += Block::kSize) {
        if (auto const mask = stop(Block{}, at)) return at + Block::first(mask);
    }
    if (at == size) return size;
    at = size - Block::kSize;
    auto const mask = stop(Block{}, at);
    return mask ? at + Block::first(mask) : size;
}

// ASCII bytes at the start of the text.
template <class Block = WidestBlock>
std::size_t asciiPrefix(char const *text, std::size_t size) {
    return scan<Block>(size, [=](auto block, std::size_t at) {
        using B = decltype(block);
        return B::nonAscii(B::load(text + at));
    });
}

// Bytes at the start of both texts that are the same, but for the case of ASCII letters.
template <class Block = WidestBlock>
std::size_t sameBytesPrefix(char const *a, char const *b, std::size_t size) {
    return scan<Block>(size, [=](auto block, std::size_t at) {
        using B = decltype(block);
        return B::differ(B::lower(B::load(a + at)), B::lower(B::load(b + at)));
    });
}

// Bytes at the start of the text of which case mapping changes nothing but ASCII letters.
template <class Block = WidestBlock>
std::size_t plainPrefix(char const *text, std::size_t size) {
    return scan<Block>(size, [=](auto block, std::size_t at) {
        using B = decltype(block);
        return B::mayChange(B::load(text + at));
    });
}

// Maps those bytes and returns how many they are. Out must have room for size bytes; those behind
// the mapped ones are scratch.
template <bool kUpper, class Block = WidestBlock>
std::size_t mapPlainPrefix(char const *text, std::size_t size, char *out) {
    return scan<Block>(size, [=](auto block, std::size_t at) {
        using B = decltype(block);
        auto const v = B::load(text + at);
        B::store(out + at, kUpper ? B::upper(v) : B::lower(v));
        return B::mayChange(v);
    });
}

// Lead bytes in size bytes, word by word.
inline std::size_t countLeadsByWord(char const *text, std::size_t size) {
    std::size_t total = 0;
    for (; size >= 8; text += 8, size -= 8) {
        total += static_cast<std::size_t>(std::popcount(WordBlock::leads(WordBlock::load(text))));
    }
    for (; size != 0; ++text, --size) total += isLead(*text);
    return total;
}

#if defined(__SSE4_2__)
// Lead bytes in a multiple of 64 bytes, at most 63 times 64: four of them are added to each byte
// of a counter at a time, which holds 255.
inline std::size_t countLeadsInStripes(char const *text, std::size_t size) {
    __m128i counter = _mm_setzero_si128();
    for (char const *const end = text + size; text != end; text += 64) {
        auto const leads = [=](int n) {
            return VectorBlock::leadBytes(VectorBlock::load(text + 16 * n));
        };
        __m128i const sum =
            _mm_add_epi8(_mm_add_epi8(leads(0), leads(1)), _mm_add_epi8(leads(2), leads(3)));
        counter = _mm_sub_epi8(counter, sum);
    }
    __m128i const sums = _mm_sad_epu8(counter, _mm_setzero_si128());
    return static_cast<std::size_t>(_mm_extract_epi64(sums, 0) + _mm_extract_epi64(sums, 1));
}

// Lead bytes in size bytes, by vectors.
inline std::size_t countLeads(char const *text, std::size_t size) {
    if (size < 16) return countLeadsByWord(text, size);
    std::size_t total = 0;
    while (size >= 64) {
        std::size_t const stripes = size / 64 < 63 ? size / 64 : 63;
        total += countLeadsInStripes(text, 64 * stripes);
        text += 64 * stripes;
        size -= 64 * stripes;
    }
    for (; size >= 16; text += 16, size -= 16) {
        total += static_cast<unsigned>(std::popcount(VectorBlock::leads(VectorBlock::load(text))));
    }
    if (size == 0) return total;
    unsigned const last = VectorBlock::leads(VectorBlock::load(text + size - 16));
    return total + static_cast<unsigned>(std::popcount(last >> (16 - size)));
}
#else
inline std::size_t countLeads(char const *text, std::size_t size) {
    return countLeadsByWord(text, size);
}
#endif

// Skips pieces of the text that have at most count lead bytes, which are taken off count. Returns
// the bytes skipped.
inline std::size_t skipLeads(char const *text, std::size_t size, std::size_t &count) {
    constexpr std::size_t kPiece = 512;
    std::size_t at = 0;
    for (; size - at >= kPiece; at += kPiece) {
        std::size_t const leads = countLeads(text + at, kPiece);
        if (leads > count) break;
        count -= leads;
    }
    return at;
}

// The offset of the lead byte that has count lead bytes in front of it, or size when there is
// none; count is then what was missing.
template <class Block = WidestBlock>
std::size_t findLead(char const *text, std::size_t size, std::size_t &count) {
    std::size_t at = skipLeads(text, size, count);
    for (; at + Block::kSize <= size; at += Block::kSize) {
        auto mask = Block::leads(Block::load(text + at));
        auto const leads = static_cast<std::size_t>(std::popcount(mask));
        if (leads > count) {
            for (; count != 0; --count) mask &= mask - 1;
            return at + Block::first(mask);
        }
        count -= leads;
    }
    for (; at < size; ++at) {
        if (isLead(text[at]) && count-- == 0) return count = 0, at;
    }
    return size;
}

}  // namespace kqschr
