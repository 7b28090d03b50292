// Search by bytes.
//
// The first and the last byte of the needle are looked for at 16 places at once, and the rest is
// compared only where both fit. Text in which they fit nearly everywhere would cost the product of
// both lengths, so a search that compares more than it reads is left to memmem, whose time is
// linear.
#include <algorithm>
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

// Whether two texts of at least 2 bytes, whose first and last bytes are the same, are equal.
bool equalBetween(char const *a, char const *b, std::size_t size) {
    auto const equalWords = [=](auto word) {
        auto const at = [](char const *text) {
            decltype(word) value;
            std::memcpy(&value, text, sizeof value);
            return value;
        };
        std::size_t const last = size - sizeof word;
        return ((at(a) ^ at(b)) | (at(a + last) ^ at(b + last))) == 0;
    };
    if (size <= 3) return a[1] == b[1];
    if (size <= 8) return equalWords(std::uint32_t{});
    if (size <= 16) return equalWords(std::uint64_t{});
    return std::memcmp(a, b, size) == 0;
}

// Finds places one after the other, in ascending order. Neither text nor needle is empty, and the
// needle is no longer than the text.
class Finder {
public:
    Finder(string_view text, string_view needle)
        : text_(text), needle_(needle), places_(text.size() - needle.size() + 1) {}

    // The first place at or behind from, which is no less than the time before.
    std::size_t next(std::size_t from) {
        if (needle_.size() == 1) return byByte(from);
#if defined(__SSE2__)
        if (places_ >= kBlock) return byWindows(from);
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
    static constexpr std::size_t kWindow = 4 * kBlock;

    // A window is 64 places; its mask holds those where both bytes fit and that were not looked at.
    std::size_t byWindows(std::size_t from) {
        if (from >= nextWindow_) {
            mask_ = 0;
            nextWindow_ = from;
        } else if (from > window_) {
            mask_ &= ~std::uint64_t{0} << (from - window_);
        }
        for (;;) {
            for (; mask_ != 0; mask_ &= mask_ - 1) {
                std::size_t const at = window_ + static_cast<unsigned>(std::countr_zero(mask_));
                if (equalBetween(text_.data() + at, needle_.data(), needle_.size())) return at;
                compared_ += needle_.size();
            }
            if (nextWindow_ >= places_) return kNone;
            if (compared_ > 4 * nextWindow_ + 1024) return byMemmem(std::max(from, nextWindow_));
            window_ = nextWindow_;
            nextWindow_ += kWindow;
            mask_ = nextWindow_ <= places_ ? wholeWindow() : lastWindow();
        }
    }

    std::uint64_t wholeWindow() const {
        __m128i const one = fits(window_);
        __m128i const two = fits(window_ + kBlock);
        __m128i const three = fits(window_ + 2 * kBlock);
        __m128i const four = fits(window_ + 3 * kBlock);
        __m128i const any = _mm_or_si128(_mm_or_si128(one, two), _mm_or_si128(three, four));
        if (maskOf(any) == 0) return 0;
        return maskOf(one) | maskOf(two) << 16 | maskOf(three) << 32 | maskOf(four) << 48;
    }

    // Reads no byte behind the text: what is less than a block is seen in the block that ends there.
    std::uint64_t lastWindow() const {
        std::uint64_t mask = 0;
        std::size_t place = window_;
        for (; place + kBlock <= places_; place += kBlock) {
            mask |= maskOf(fits(place)) << (place - window_);
        }
        std::size_t const last = places_ - kBlock;
        std::uint64_t const rest = maskOf(fits(last));
        return mask | (last < window_ ? rest >> (window_ - last) : rest << (last - window_));
    }

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
#endif

    string_view text_;
    string_view needle_;
    std::size_t places_;
#if defined(__SSE2__)
    __m128i first_ = _mm_set1_epi8(needle_.front());
    __m128i last_ = _mm_set1_epi8(needle_.back());
    std::size_t window_ = 0;
    std::size_t nextWindow_ = 0;
    std::size_t compared_ = 0;
    std::uint64_t mask_ = 0;
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
