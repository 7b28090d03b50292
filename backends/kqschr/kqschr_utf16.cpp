// UTF-16 and back. Both directions are strict: what is ill-formed has no counterpart.
#include <climits>

#include "backends/kqschr/kqschr_kernels.h"
#include "backends/kqschr/kqschr_utf8.h"
#include "platform/kqschr.h"

using namespace kqschr;

namespace {

// Results are written as far as capacity goes and counted beyond.
template <class Unit>
struct Sink {
    Unit *out;
    std::size_t capacity;
    std::size_t count = 0;

    Sink(Unit *target, int size)
        : out(target), capacity(target && size > 0 ? static_cast<std::size_t>(size) : 0) {}

    void put(char32_t unit) {
        if (count < capacity) out[count] = static_cast<Unit>(unit);
        ++count;
    }

    // The units written or needed; 0 when they do not fit.
    int result() const {
        bool const fits = capacity == 0 || count <= capacity;
        return fits && count <= INT_MAX ? static_cast<int>(count) : 0;
    }
};

bool isHighSurrogate(char32_t unit) { return unit - 0xd800 < 0x400; }
bool isLowSurrogate(char32_t unit) { return unit - 0xdc00 < 0x400; }

void putUnits(char32_t codePoint, Sink<std::uint16_t> &sink) {
    if (codePoint < 0x10000) return sink.put(codePoint);
    sink.put(0xd7c0 + (codePoint >> 10));
    sink.put(0xdc00 | (codePoint & 0x3ff));
}

// The ASCII run at the start of the text.
std::size_t putAscii(char const *text, std::size_t size, Sink<std::uint16_t> &sink) {
    std::size_t const run = asciiPrefix(text, size);
    std::size_t const room = sink.capacity > sink.count ? sink.capacity - sink.count : 0;
    std::size_t const fits = run < room ? run : room;
    for (std::size_t i = 0; i < fits; ++i) {
        sink.out[sink.count + i] = static_cast<std::uint16_t>(byteAt(text, i));
    }
    sink.count += run;
    return run;
}

// Decodes the code point at index and steps behind it; false for a lone surrogate.
bool nextCodePoint(std::uint16_t const *in, std::size_t size, std::size_t &index,
                   char32_t &codePoint) {
    codePoint = in[index++];
    if (isLowSurrogate(codePoint)) return false;
    if (!isHighSurrogate(codePoint)) return true;
    if (index == size || !isLowSurrogate(in[index])) return false;
    codePoint = (codePoint << 10) + in[index++] - ((0xd800u << 10) + 0xdc00 - 0x10000);
    return true;
}

std::size_t sizeWithNul(std::uint16_t const *in) {
    std::size_t size = 0;
    while (in[size++] != 0) {
    }
    return size;
}

}  // namespace

int np_uchar_utf8_to_utf16(char const *in, int sizeIn, std::uint16_t *out, int sizeOut) {
    if (!in) in = "", sizeIn = sizeIn < 0 ? -1 : 0;
    std::size_t const size = sizeIn < 0 ? std::strlen(in) + 1 : static_cast<std::size_t>(sizeIn);
    Sink<std::uint16_t> sink(out, sizeOut);
    for (std::size_t at = 0; at < size;) {
        if (byteAt(in, at) < 0x80) {
            at += putAscii(in + at, size - at, sink);
            continue;
        }
        char32_t codePoint;
        unsigned const bytes = decodeUtf8(in + at, size - at, codePoint);
        if (bytes == 0) return 0;
        putUnits(codePoint, sink);
        at += bytes;
    }
    return sink.result();
}

int np_uchar_utf16_to_utf8(std::uint16_t const *in, int sizeIn, char *out, int sizeOut) {
    static constexpr std::uint16_t kEmpty[1] = {0};
    if (!in) in = kEmpty, sizeIn = sizeIn < 0 ? -1 : 0;
    std::size_t const size = sizeIn < 0 ? sizeWithNul(in) : static_cast<std::size_t>(sizeIn);
    Sink<char> sink(out, sizeOut);
    for (std::size_t at = 0; at < size;) {
        char32_t codePoint;
        if (!nextCodePoint(in, size, at, codePoint)) return 0;
        char bytes[4];
        unsigned const count = encodeUtf8(codePoint, bytes);
        for (unsigned i = 0; i < count; ++i) sink.put(byteAt(bytes, i));
    }
    return sink.result();
}
