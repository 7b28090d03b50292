// Lengths and positions: what begins a character is told by its byte alone.
#include <cstring>

#include "backends/kqschr/kqschr_kernels.h"
#include "platform/kqschr.h"

using namespace kqschr;

namespace {

// NUL-terminated text is taken in pieces, so that each byte is still near when it is looked at
// again. To seek they grow, so that a position early in a long text costs little.
constexpr std::size_t kPiece = 16384;
constexpr std::size_t kFirstPiece = 64;

char const *seekInPieces(char const *text, std::size_t count) {
    for (std::size_t piece = kFirstPiece;; piece *= 2) {
        std::size_t const size = strnlen(text, piece);
        std::size_t const at = findLead(text, size, count);
        if (at < size) return text + at;
        text += size;
        if (size < piece) return count == 0 ? text : nullptr;
    }
}

}  // namespace

unsigned np_uchar_length(char const *text) {
    if (!text) return 0;
    std::size_t total = 0;
    for (;;) {
        std::size_t const size = strnlen(text, kPiece);
        total += countLeads(text, size);
        if (size < kPiece) return static_cast<unsigned>(total);
        text += size;
    }
}

unsigned np_uchar_length_n(char const *text, std::size_t size) {
    return text ? static_cast<unsigned>(countLeads(text, size)) : 0;
}

char const *np_uchar_seek(char const *text, unsigned count) {
    return text ? seekInPieces(text, count) : nullptr;
}

char const *np_uchar_seek_n(char const *text, std::size_t size, unsigned count) {
    if (!text) return nullptr;
    std::size_t missing = count;
    std::size_t const at = findLead(text, size, missing);
    return at < size || missing == 0 ? text + at : nullptr;
}

unsigned np_uchar_tell(char const *start, char const *address) {
    if (!start || address <= start) return 0;
    return np_uchar_length_n(start, static_cast<std::size_t>(address - start));
}

unsigned np_uchar_bufncopy(char *target, char const *source, unsigned capacity, unsigned count) {
    if (!target || capacity == 0) return 0;
    if (!source) source = "";
    std::size_t size = strnlen(source, capacity);
    if (size == capacity) {
        --size;
        while (size != 0 && !isLead(source[size])) --size;
    }
    char const *const end = np_uchar_seek_n(source, size, count);
    if (end) size = static_cast<std::size_t>(end - source);
    std::memmove(target, source, size);
    target[size] = '\0';
    return static_cast<unsigned>(size);
}
