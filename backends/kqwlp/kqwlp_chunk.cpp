#include "backends/kqwlp/kqwlp_chunk.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace kqwlp {
namespace {

constexpr std::size_t kLaneHead = 10;

std::size_t bitBytes(unsigned count) { return (std::size_t{count} + 7) / 8; }

unsigned char widthFor(std::uint64_t greatest) {
    auto const bytes = (static_cast<unsigned>(std::bit_width(greatest)) + 7) / 8;
    return static_cast<unsigned char>(bytes == 0 ? 0 : std::bit_ceil(bytes));
}

char *put(char *to, void const *from, std::size_t size) {
    std::memcpy(to, from, size);
    return to + size;
}

char const *take(void *to, char const *from, std::size_t size) {
    std::memcpy(to, from, size);
    return from + size;
}

// Calls action with a zero of the unsigned type that has so many bytes; for none it is not called.
template <class Action>
void withWidth(unsigned char width, Action const &action) {
    switch (width) {
        case 1:
            return action(std::uint8_t{});
        case 2:
            return action(std::uint16_t{});
        case 4:
            return action(std::uint32_t{});
        case 8:
            return action(std::uint64_t{});
        default:
            return;
    }
}

char *putBits(char *to, unsigned char const *marks, unsigned count) {
    std::memset(to, 0, bitBytes(count));
    for (unsigned row = 0; row < count; ++row) {
        unsigned const bit = static_cast<unsigned>(marks[row]) << (row % 8);
        to[row / 8] = static_cast<char>(static_cast<unsigned char>(to[row / 8]) | bit);
    }
    return to + bitBytes(count);
}

char const *takeBits(unsigned char *marks, char const *from, unsigned count) {
    for (unsigned row = 0; row < count; ++row) {
        marks[row] = (static_cast<unsigned char>(from[row / 8]) >> (row % 8)) & 1;
    }
    return from + bitBytes(count);
}

char const *takeAbsence(unsigned char *marks, char const *from, unsigned count) {
    if (*from++ != 0) return takeBits(marks, from, count);
    std::memset(marks, 0, count);
    return from;
}

char const *takeLane(std::uint64_t *words, unsigned stride, char const *from, unsigned count) {
    std::uint64_t base;
    from = take(&base, from, sizeof base);
    auto const width = static_cast<unsigned char>(*from++);
    auto const shift = static_cast<unsigned char>(*from++);
    if (width == 0) {
        for (unsigned row = 0; row < count; ++row) words[std::size_t{row} * stride] = base;
        return from;
    }
    withWidth(width, [=](auto number) {
        for (unsigned row = 0; row < count; ++row) {
            auto narrow = number;
            std::memcpy(&narrow, from + row * sizeof narrow, sizeof narrow);
            words[std::size_t{row} * stride] = base + (std::uint64_t{narrow} << shift);
        }
    });
    return from + std::size_t{count} * width;
}

// Texts follow each other by row and column.
void placeTexts(Shape const &shape, Rows const &rows, unsigned count) {
    std::vector<ColumnShape> const &columns = shape.columns();
    std::uint64_t at = 0;
    for (unsigned row = 0; row < count; ++row) {
        for (ColumnShape const &column : columns) {
            if (column.type != KQWLP_TEXT) continue;
            std::uint64_t *const cell = rows.cells(column) + std::size_t{row} * column.words;
            cell[0] = at;
            at += cell[1];
        }
    }
}

}  // namespace

void Packer::prepare(Shape const &shape) {
    std::size_t lanes = 0;
    for (ColumnShape const &column : shape.columns()) lanes += column.lanes;
    lanes_.resize(lanes);
    hasAbsent_.resize(shape.columns().size());
}

Packer::Lane Packer::measure(std::uint64_t const *words, unsigned stride, unsigned count) {
    std::int64_t least = static_cast<std::int64_t>(words[0]);
    std::int64_t greatest = least;
    std::uint64_t different = 0;
    for (unsigned row = 0; row < count; ++row) {
        std::uint64_t const word = words[std::size_t{row} * stride];
        least = std::min(least, static_cast<std::int64_t>(word));
        greatest = std::max(greatest, static_cast<std::int64_t>(word));
        different |= word ^ words[0];
    }
    if (different == 0) return {least, 0, 0};
    // What two words share in their lowest bits, their distance has zero.
    auto const shift = static_cast<unsigned char>(std::countr_zero(different));
    std::uint64_t const span =
        static_cast<std::uint64_t>(greatest) - static_cast<std::uint64_t>(least);
    return {least, widthFor(span >> shift), shift};
}

std::size_t Packer::plan(Shape const &shape, Rows const &rows, unsigned count, std::size_t texts) {
    std::size_t size = texts;
    Lane *lane = lanes_.data();
    unsigned char *hasAbsent = hasAbsent_.data();
    for (ColumnShape const &column : shape.columns()) {
        *hasAbsent = std::memchr(rows.marks(column), 1, count) != nullptr;
        size += 1 + (*hasAbsent++ != 0 ? bitBytes(count) : 0);
        for (unsigned i = 0; i < column.lanes; ++i, ++lane) {
            *lane = measure(rows.cells(column) + column.firstLane + i, column.words, count);
            size += kLaneHead + std::size_t{lane->width} * count;
        }
    }
    return size;
}

void Packer::write(Shape const &shape, Rows const &rows, unsigned count, char const *texts,
                   std::size_t textBytes, char *to) const {
    Lane const *lane = lanes_.data();
    unsigned char const *hasAbsent = hasAbsent_.data();
    for (ColumnShape const &column : shape.columns()) {
        to = put(to, hasAbsent, 1);
        if (*hasAbsent++ != 0) to = putBits(to, rows.marks(column), count);
        for (unsigned i = 0; i < column.lanes; ++i, ++lane) {
            to = put(to, &lane->base, sizeof lane->base);
            to = put(to, &lane->width, 1);
            to = put(to, &lane->shift, 1);
            std::uint64_t const *const words = rows.cells(column) + column.firstLane + i;
            withWidth(lane->width, [&, base = static_cast<std::uint64_t>(lane->base),
                                    shift = lane->shift, stride = column.words](auto number) {
                for (unsigned row = 0; row < count; ++row) {
                    std::uint64_t const distance = words[std::size_t{row} * stride] - base;
                    auto const narrow = static_cast<decltype(number)>(distance >> shift);
                    std::memcpy(to + row * sizeof narrow, &narrow, sizeof narrow);
                }
            });
            to += std::size_t{lane->width} * count;
        }
    }
    if (textBytes > 0) std::memcpy(to, texts, textBytes);
}

char const *unpack(Shape const &shape, char const *from, unsigned count, Rows const &rows) {
    for (ColumnShape const &column : shape.columns()) {
        from = takeAbsence(rows.marks(column), from, count);
        for (unsigned i = 0; i < column.lanes; ++i) {
            from = takeLane(rows.cells(column) + column.firstLane + i, column.words, from, count);
        }
    }
    placeTexts(shape, rows, count);
    return from;
}

}  // namespace kqwlp
