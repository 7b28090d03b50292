// Search by bytes.
#include <cstring>
#include <string_view>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "platform/kqschr.h"

namespace {

using std::string_view;
constexpr std::size_t kNone = string_view::npos;

std::size_t offsetIn(string_view text, void const *found) {
    if (found == nullptr) return kNone;
    return static_cast<std::size_t>(static_cast<char const *>(found) - text.data());
}

#if defined(__SSE2__)

// Looks for the first and the last byte of a needle at 16 places at once and compares the rest only
// where both fit. Text in which they fit nearly everywhere would cost the product of both lengths,
// so a search that compares more than it reads is left to memmem, whose time is linear.
class Finder {
public:
    Finder(string_view text, string_view needle)
        : text_(text), needle_(needle), first_(_mm_set1_epi8(needle.front())),
          last_(_mm_set1_epi8(needle.back())), places_(text.size() - needle.size() + 1) {}

    std::size_t find() {
        std::size_t place = 0;
        for (; place + 16 <= places_; place += 16) {
            unsigned const mask = candidates(place);
            if (mask == 0) continue;
            std::size_t const found = check(place, mask);
            if (found != kNone) return found;
            if (compared_ > 4 * place + 1024) return rest(place + 16);
        }
        return place < places_ ? rest(place) : kNone;
    }

private:
    unsigned candidates(std::size_t place) const {
        auto const load = [](char const *from) {
            return _mm_loadu_si128(reinterpret_cast<__m128i const *>(from));
        };
        char const *const from = text_.data() + place;
        __m128i const first = _mm_cmpeq_epi8(load(from), first_);
        __m128i const last = _mm_cmpeq_epi8(load(from + needle_.size() - 1), last_);
        return static_cast<unsigned>(_mm_movemask_epi8(_mm_and_si128(first, last)));
    }

    std::size_t check(std::size_t place, unsigned mask) {
        for (; mask != 0; mask &= mask - 1) {
            std::size_t const at = place + static_cast<unsigned>(__builtin_ctz(mask));
            if (std::memcmp(text_.data() + at, needle_.data(), needle_.size()) == 0) return at;
            compared_ += needle_.size();
        }
        return kNone;
    }

    std::size_t rest(std::size_t place) const {
        string_view const text = text_.substr(place);
        std::size_t const at =
            offsetIn(text, memmem(text.data(), text.size(), needle_.data(), needle_.size()));
        return at == kNone ? kNone : place + at;
    }

    string_view text_;
    string_view needle_;
    __m128i first_;
    __m128i last_;
    std::size_t places_;
    std::size_t compared_ = 0;
};

#endif

}  // namespace

char const *np_uchar_find_n(char const *text, std::size_t size, char const *needle,
                            std::size_t needleSize) {
    if (needleSize == 0 || needleSize > size) return nullptr;
    if (needleSize == 1) return static_cast<char const *>(std::memchr(text, *needle, size));
#if defined(__SSE2__)
    std::size_t const at = Finder({text, size}, {needle, needleSize}).find();
    return at == kNone ? nullptr : text + at;
#else
    return static_cast<char const *>(memmem(text, size, needle, needleSize));
#endif
}
