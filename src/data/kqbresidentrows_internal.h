// The rows of a resident cursor.
#pragma once

#include <cstddef>

#include "data/kqbarena_internal.h"
#include "kqb/kqbdatavar.h"

// A list of rows in an arena, each a row of cells with a tag beside each. Numbers and dates lie in
// their cells, decimals and texts behind the row they belong to, all in the order in which they were
// given; so rows are written and read through memory from front to back.
class KqbResidentRows {
public:
    // What a cell holds: nothing, a value of the type of that code, or a variant for all others.
    using Tag = unsigned char;
    static constexpr Tag kNull = 0;
    static constexpr Tag kKept = 0xFF;

    struct Text {
        unsigned int bytes;
        unsigned int characters;
        char *data() { return reinterpret_cast<char *>(this + 1); }
        char const *data() const { return reinterpret_cast<char const *>(this + 1); }
    };
    union Cell {
        bool boolean;
        long long integer;
        double date;
        KqbReal *real;
        Text *text;
        KqbDatavar const *kept;
    };

    // A row has as many columns as there were when it was begun, or when it was last written to.
    class Row {
    public:
        explicit Row(unsigned width) : width_(width) {}
        unsigned width() const { return width_; }
        Tag *tags() { return reinterpret_cast<Tag *>(this + 1); }
        Tag const *tags() const { return reinterpret_cast<Tag const *>(this + 1); }
        Cell *cells() { return reinterpret_cast<Cell *>(tags() + paddedTags(width_)); }
        Cell const *cells() const {
            return reinterpret_cast<Cell const *>(tags() + paddedTags(width_));
        }
        static std::size_t size(unsigned width) {
            return sizeof(Row) + paddedTags(width) + width * sizeof(Cell);
        }
        static std::size_t paddedTags(unsigned width) {
            return (std::size_t{width} + sizeof(Cell) - 1) & ~(sizeof(Cell) - 1);
        }

        Row *next = nullptr;

    private:
        unsigned width_;
    };

    KqbResidentRows() = default;
    ~KqbResidentRows() { clear(); }
    KqbResidentRows(KqbResidentRows const &) = delete;
    KqbResidentRows &operator=(KqbResidentRows const &) = delete;

    void clear();

    // Opens a row when none is open. False, with nothing changed, without memory.
    bool begin(unsigned width);

    // Set a value of the open row, which grows to `width` columns if it has fewer. Without memory
    // the row is spoilt.
    void set(unsigned column, unsigned width, KqbDatavar const &value);
    void setText(unsigned column, unsigned width, char const *text, unsigned bytes,
                 unsigned characters);
    void setNull(unsigned column, unsigned width);

    // Completes the open row if there is one. False when it is spoilt; it is dropped then.
    bool end();

    // Complete rows.
    long long count() const { return count_; }

    // Moves on; whether there is a complete row. Behind the last one it stays.
    bool next();
    void rewind();

    // The row that was moved to, which may have come into being since; null when there is none.
    Row const *current() const { return place_ == count_ ? open_ : read_; }

private:
    struct Kept {
        KqbDatavar value;
        Kept *next;
    };

    Row *newRow(unsigned width);
    bool widen(unsigned width);
    bool reach(unsigned column, unsigned width);
    void spoil(unsigned column);
    bool store(Tag &tag, Cell &cell, KqbDatavar const &value);
    bool storeReal(Tag tag, Cell &cell, KqbReal const &value);
    bool storeText(Tag tag, Cell &cell, char const *text, unsigned bytes, unsigned characters);
    bool storeKept(Cell &cell, KqbDatavar const &value);
    void append(Row *row);

    KqbArena arena_;
    Row *first_ = nullptr;
    Row *last_ = nullptr;
    Row *open_ = nullptr;
    bool isSpoilt_ = false;
    Kept *kept_ = nullptr;
    long long count_ = 0;
    long long place_ = -1;
    Row const *read_ = nullptr;
};
