// KqbDatavarWlpCursor: a cursor over variants that keeps its rows in a row set.
#pragma once

#include "kqb/kqbdatavarcursor.h"

struct kqwlpRowSet;

// For many rows: a row set packs them, and what is beyond a limit lies in a temporary file that is
// gone with the cursor. These options of the default registry count when columns are created:
//   BASE/CURSOR/MEMORY  bytes of rows to keep in memory; 256 MiB when it is missing or no number
//   BASE/TEMP           directory of the temporary file; the system's own when it is missing
//
// Columns of the types Boolean, Integer, Real, String and Date keep values of that type; a value of
// another type is converted as the conversions of KqbDatavar do, and what they call an error, or
// answer with null, makes endRow() fail. A column of another type can be made, but holds nothing
// but nulls: createColumns() succeeds and tells "Data type not supported", and endRow() fails for
// a row with a value in it. Reading gives a date or string as it was, and a real by its number.
//
// Rows that were completed stay, whatever fails later. A failed endRow() leaves the row open: it can
// be corrected, tried again, or replaced by another beginRow(), which drops an open row. Columns
// added behind createColumns() make endRow() fail; another createColumns() begins an empty set.
//
// Messages: "Cannot create zero columns"; "Data type not supported"; "Failed to add input row";
// "Rowset missing", of next() before createColumns(); "Rowset error code: %d" with a code of the row
// set: 2 memory ran out, 5 the temporary file cannot be written, 6 it cannot be read.
class KqbDatavarWlpCursor : public KqbDatavarCursorCreater {
public:
    // The row set held, which stays the cursor's; null when there is none.
    virtual kqwlpRowSet *getRowSet() = 0;

    // Clears the cursor, columns included, and takes over a row set that nobody else will destroy;
    // null for none. Its rows are read from the place where it stands. Columns that are added
    // describe it; rows can be added when there are as many, of the same types.
    virtual void setRowSet(kqwlpRowSet *set) = 0;

protected:
    ~KqbDatavarWlpCursor() = default;
};

// A new empty cursor; null when memory runs out. The caller ends it with release().
KQB_API KqbDatavarWlpCursor *createDatavarWlpCursor();
