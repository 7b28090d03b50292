// The unpacked form of a chunk: rows as they are filled in and read.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "platform/kqwlp.h"

namespace kqwlp {

// How a value of a column lies in its cell. A cell is words of 64 bits; of these, the lanes are what
// a packed chunk stores.
//
//   boolean, integer, date  1 word: the value
//   real                    3 words: its 24 bytes
//   text                    2 words: where it begins in the texts (not stored), and its bytes
//   unsupported             none
struct ColumnShape {
    unsigned char type;
    unsigned char words;
    unsigned char firstLane;
    unsigned char lanes;
    std::size_t cells;  // where the column's cells begin, in words
    std::size_t marks;  // where its absence marks begin, in bytes
};

// The columns of a set, and how many rows a chunk of them has.
class Shape {
public:
    // False for no columns and for codes that are none.
    bool describe(char const *codes);

    std::vector<ColumnShape> const &columns() const { return columns_; }
    unsigned chunkRows() const { return chunkRows_; }
    std::size_t words() const { return words_; }
    std::size_t marks() const { return columns_.size() * chunkRows_; }

private:
    std::vector<ColumnShape> columns_;
    unsigned chunkRows_ = 0;
    std::size_t words_ = 0;
};

// Up to a chunk of rows, column by column. A column's cells lie side by side, and so do its marks, a
// byte each, 1 where the value is absent. The texts lie elsewhere.
class Rows {
public:
    // Makes room, which stays for the life of the object. Throws std::bad_alloc.
    void allocate(Shape const &shape);
    bool isAllocated() const { return cells_ != nullptr; }

    std::uint64_t *cells(ColumnShape const &column) const { return cells_.get() + column.cells; }
    unsigned char *marks(ColumnShape const &column) const { return marks_.get() + column.marks; }

    // Puts the values of a row into values, which must have the columns' types already.
    void read(Shape const &shape, unsigned row, char const *texts, kqwlpColumnValue *values) const;

    // Fills in a row whose texts will stand at text and behind.
    void write(Shape const &shape, unsigned row, kqwlpColumnValue const *values,
               std::uint64_t text) const;

private:
    std::unique_ptr<std::uint64_t[]> cells_;
    std::unique_ptr<unsigned char[]> marks_;
};

}  // namespace kqwlp
