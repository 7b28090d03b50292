// Search by bytes.
//
// The first and the last byte of the needle are looked for at 16 places at once, and the rest is
// compared only where both fit. Text in which they fit nearly everywhere would cost the product of
// both lengths, so a search that compares more than it reads is left to memmem, whose time is
// linear.
#include <bit>
#include <cstdint>
#include <cstring>
#include <string_view>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "platform/kqschr.h"

namespace {

using std::string_view;
constexpr std::size_t kNone = string_view::npos;

// Finds places one after the other, in ascending order. Neither text nor needle is empty, and the
// needle is no longer than the text.
class Finder {
public:
    Finder(string_view text, string_view needle)
        : text_(text), needle_(needle), places_(text.size() - needle.size() + 1) {}

    // The first place at or behind from.
    std::size_t next(std::size_t from) {
        if (needle_.size() == 1) return byByte(from);
#if defined(__SSE2__)
        if (places_ >= kBlock && !comparesTooMuch(from)) return byBlocks(from);
#endif
        return byMemmem(from);
    }

private:
    std::size_t offset(void const *found) const {
        if (found == nullptr) return kNone;
        return static_cast<std::size_t>(static_cast<char const *>(found) - text_.data());
    }

    std::size_t byByte(std::size_t from) const {
        return offset(std::memchr(text_.data() + from, needle_.front(), text_.size() - from));
    }

    std::size_t byMemmem(std::size_t from) const {
        return offset(
            memmem(text_.data() + from, text_.size() - from, needle_.data(), needle_.size()));
    }

#if defined(__SSE2__)
    static constexpr std::size_t kBlock = 16;

    std::size_t byBlocks(std::size_t from) {
        std::size_t place = from;
        for (; place + 4 * kBlock <= places_; place += 4 * kBlock) {
            __m128i const blocks[] = {fits(place), fits(place + kBlock), fits(place + 2 * kBlock),
                                      fits(place + 3 * kBlock)};
            __m128i const any = _mm_or_si128(_mm_or_si128(blocks[0], blocks[1]),
                                             _mm_or_si128(blocks[2], blocks[3]));
            if (_mm_movemask_epi8(any) == 0) continue;
            std::size_t const found =
                check(place, maskOf(blocks[0]) | maskOf(blocks[1]) << 16 | maskOf(blocks[2]) << 32 |
                                 maskOf(blocks[3]) << 48);
            if (found != kNone) return found;
            if (comparesTooMuch(place)) return byMemmem(place);
        }
        for (; place + kBlock <= places_; place += kBlock) {
            std::size_t const found = check(place, maskOf(fits(place)));
            if (found != kNone) return found;
        }
        if (place >= places_) return kNone;
        std::size_t const last = places_ - kBlock;
        return check(last, maskOf(fits(last)) & ~std::uint64_t{0} << (place - last));
    }

    bool comparesTooMuch(std::size_t place) const { return compared_ > 4 * place + 1024; }

    __m128i fits(std::size_t place) const {
        auto const load = [](char const *from) {
            return _mm_loadu_si128(reinterpret_cast<__m128i const *>(from));
        };
        char const *const from = text_.data() + place;
        return _mm_and_si128(_mm_cmpeq_epi8(load(from), first_),
                             _mm_cmpeq_epi8(load(from + needle_.size() - 1), last_));
    }

    static std::uint64_t maskOf(__m128i fits) {
        return static_cast<unsigned>(_mm_movemask_epi8(fits));
    }

    std::size_t check(std::size_t place, std::uint64_t mask) {
        for (; mask != 0; mask &= mask - 1) {
            std::size_t const at = place + static_cast<unsigned>(std::countr_zero(mask));
            if (std::memcmp(text_.data() + at, needle_.data(), needle_.size()) == 0) return at;
            compared_ += needle_.size();
        }
        return kNone;
    }

#endif

    string_view text_;
    string_view needle_;
    std::size_t places_;
    std::size_t compared_ = 0;
#if defined(__SSE2__)
    __m128i first_ = _mm_set1_epi8(needle_.front());
    __m128i last_ = _mm_set1_epi8(needle_.back());
#endif
};

}  // namespace

char const *np_uchar_find_n(char const *text, std::size_t size, char const *needle,
                            std::size_t needleSize) {
    if (needleSize == 0 || needleSize > size) return nullptr;
    std::size_t const at = Finder({text, size}, {needle, needleSize}).next(0);
    return at == kNone ? nullptr : text + at;
}

unsigned np_uchar_find_all_n(char const *text, std::size_t size, char const *needle,
                             std::size_t needleSize, std::size_t *offsets, unsigned limit) {
    if (needleSize == 0 || needleSize > size) return 0;
    Finder finder({text, size}, {needle, needleSize});
    unsigned count = 0;
    for (std::size_t from = 0; count < limit && from + needleSize <= size;) {
        std::size_t const at = finder.next(from);
        if (at == kNone) break;
        offsets[count++] = at;
        from = at + needleSize;
    }
    return count;
}
