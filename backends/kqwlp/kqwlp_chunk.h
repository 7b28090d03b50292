// The packed form of a chunk: what is kept in memory, and in the temporary file byte for byte.
//
// A chunk of n rows is its columns in order, then its texts. Nothing is aligned; words are those of
// the machine.
//
//   column  = absence, lanes
//   absence = 1 byte: 0, no value is absent; 1, an array of n bits follows, least significant first,
//             in whole bytes, set where the value is absent
//   lane    = base (8 bytes, signed), width (1 byte: 0, 1, 2, 4 or 8), shift (1 byte), then n
//             unsigned numbers of width bytes. A row's word is base + (number << shift).
//   texts   = the bytes of all texts, row by row and, within a row, column by column
//
// A boolean, an integer, a date and the length of a text are one lane, a real is three. Rows and
// columns are known to the set. base is the least word of the lane, shift the zero bits at the end
// that all distances from it share, width what the greatest then needs. So the dates of a year take
// two bytes each, a column of equal values none.
//
// Worked example: one column of integers, with the rows 1000, absent, 1300, 1200.
//
//   01  02                       a bit array: the second is absent (and lies as the one above it)
//   e8 03 00 00 00 00 00 00      base 1000
//   01 02                        1 byte each, shifted by 2: the distances are multiples of 4
//   00 00 4b 32                  0, 0, 75 * 4 = 300, 50 * 4 = 200
#pragma once

#include "backends/kqwlp/kqwlp_rows.h"

namespace kqwlp {

// Plans and writes the packed form of rows. Plan first, then write into so many bytes.
class Packer {
public:
    // Room for the plan of any chunk of this shape. Throws std::bad_alloc.
    void prepare(Shape const &shape);

    // The bytes that the rows take when packed, their texts included.
    std::size_t plan(Shape const &shape, Rows const &rows, unsigned count, std::size_t texts);

    void write(Shape const &shape, Rows const &rows, unsigned count, char const *texts,
               std::size_t textBytes, char *to) const;

private:
    struct Lane {
        std::int64_t base;
        unsigned char width;
        unsigned char shift;
    };
    static Lane measure(std::uint64_t const *words, unsigned stride, unsigned count);

    std::vector<Lane> lanes_;
    std::vector<unsigned char> hasAbsent_;  // by column
};

// Reads a packed chunk back into rows; returns where its texts begin.
char const *unpack(Shape const &shape, char const *from, unsigned count, Rows const &rows);

}  // namespace kqwlp
