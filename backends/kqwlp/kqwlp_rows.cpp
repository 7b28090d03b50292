#include "backends/kqwlp/kqwlp_rows.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace kqwlp {
namespace {

// A chunk's cells should stay in the cache while they are filled, packed and read.
constexpr std::size_t kChunkCells = std::size_t{64} << 10;
constexpr std::size_t kFewestRows = 64;
constexpr std::size_t kMostRows = 4096;

bool shapeOf(char code, ColumnShape *column) {
    auto const type = static_cast<unsigned char>(code);
    switch (type) {
        case KQWLP_BOOLEAN:
        case KQWLP_DATE:
        case KQWLP_INTEGER:
            *column = {type, 1, 0, 1, 0, 0};
            return true;
        case KQWLP_REAL:
            *column = {type, 3, 0, 3, 0, 0};
            return true;
        case KQWLP_TEXT:
            *column = {type, 2, 1, 1, 0, 0};
            return true;
        case KQWLP_UNSUPPORTED:
            *column = {type, 0, 0, 0, 0, 0};
            return true;
        default:
            return false;
    }
}

// An absent value costs least when it is as the one above.
void writeAbsent(ColumnShape const &column, std::uint64_t *cell, unsigned row) {
    bool const repeat = row > 0 && column.type != KQWLP_TEXT;
    for (unsigned w = 0; w < column.words; ++w) cell[w] = repeat ? (cell - column.words)[w] : 0;
}

}  // namespace

bool Shape::describe(char const *codes) {
    std::size_t rowWords = 0;
    for (; *codes != '\0'; ++codes) {
        ColumnShape column;
        if (!shapeOf(*codes, &column)) return false;
        columns_.push_back(column);
        rowWords += column.words;
    }
    if (columns_.empty()) return false;
    std::size_t const rows = kChunkCells / std::max<std::size_t>(rowWords * 8, 1);
    chunkRows_ = static_cast<unsigned>(std::clamp(rows & ~std::size_t{7}, kFewestRows, kMostRows));
    for (std::size_t i = 0; i < columns_.size(); ++i) {
        columns_[i].cells = words_;
        columns_[i].marks = i * chunkRows_;
        words_ += std::size_t{columns_[i].words} * chunkRows_;
    }
    return true;
}

void Rows::allocate(Shape const &shape) {
    auto cells = std::make_unique_for_overwrite<std::uint64_t[]>(shape.words());
    marks_ = std::make_unique_for_overwrite<unsigned char[]>(shape.marks());
    cells_ = std::move(cells);
}

void Rows::read(Shape const &shape, unsigned row, char const *texts,
                kqwlpColumnValue *values) const {
    for (ColumnShape const &column : shape.columns()) {
        kqwlpColumnValue &value = *values++;
        std::uint64_t const *const cell = cells(column) + std::size_t{row} * column.words;
        value.absent = marks(column)[row];
        switch (column.type) {
            case KQWLP_BOOLEAN:
                value.boolean = *cell != 0;
                break;
            case KQWLP_DATE:
                value.date = std::bit_cast<double>(*cell);
                break;
            case KQWLP_INTEGER:
                value.integer = static_cast<long long>(*cell);
                break;
            case KQWLP_REAL:
                value.bytes = cell;
                break;
            case KQWLP_TEXT:
                value.bytes = texts + cell[0];
                value.size = cell[1];
                break;
            default:
                break;
        }
    }
}

void Rows::write(Shape const &shape, unsigned row, kqwlpColumnValue const *values,
                 std::uint64_t text) const {
    for (ColumnShape const &column : shape.columns()) {
        kqwlpColumnValue const &value = *values++;
        std::uint64_t *const cell = cells(column) + std::size_t{row} * column.words;
        marks(column)[row] = value.absent != 0;
        if (value.absent != 0) {
            writeAbsent(column, cell, row);
            if (column.type == KQWLP_TEXT) cell[0] = text;
            continue;
        }
        switch (column.type) {
            case KQWLP_BOOLEAN:
                *cell = value.boolean;
                break;
            case KQWLP_DATE:
                *cell = std::bit_cast<std::uint64_t>(value.date);
                break;
            case KQWLP_INTEGER:
                *cell = static_cast<std::uint64_t>(value.integer);
                break;
            case KQWLP_REAL:
                std::memcpy(cell, value.bytes, KQWLP_REAL_SIZE);
                break;
            default:
                cell[0] = text;
                cell[1] = value.size;
                text += value.size;
                break;
        }
    }
}

}  // namespace kqwlp
