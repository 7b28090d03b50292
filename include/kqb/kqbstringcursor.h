// KqbStringCursor: a table of named columns and rows of strings, read and written row by row.
#pragma once

#include "kqb/kqbcursor.h"
#include "kqb/kqbstring.h"

// As KqbDatavarCursor, with strings for values and columns without a type. Rules, failures and
// threads are the same. A null string is a value that is absent, and is kept apart from an empty
// one. The lists that the library returns are string cursors.
class KqbStringCursor {
public:
    // Whether the cursor can be used.
    virtual bool isReady() = 0;

    // The name of a column; the empty string for a number that is none.
    virtual KqbString getColumnName(int column) = 0;
    virtual int getColumnCount() = 0;

    // The value of a column in the current row, which is the caller's to keep. Null for a number
    // that is no column, and where there is no current row.
    virtual KqbString getValue(int column) = 0;

    // The text of the last failure; null when there was none.
    virtual KqbString getErrorMessage() = 0;

    // The rows that are complete. rows may be null.
    virtual bool getRowCount(__int64 *rows) = 0;

    // Moves to the next row: KqbCursorRow, KqbCursorEnd or KqbCursorFailure.
    virtual int next() = 0;

    // Destroys the cursor. What it returned before stays valid.
    virtual void release() = 0;

    // The next next() goes to the first row.
    virtual bool rewind() = 0;

protected:
    ~KqbStringCursor() = default;
};

class KqbStringCursorAppender : public KqbStringCursor {
public:
    // Starts a new row, all of whose values are null.
    virtual bool beginRow() = 0;
    // Sets a value of the row begun. Without one, and for a number that is no column, nothing
    // happens. What cannot be stored makes endRow() fail.
    virtual void setValue(int column, KqbString const &value) = 0;
    // Completes the row.
    virtual bool endRow() = 0;
    // Completes the table.
    virtual bool finish() = 0;

protected:
    ~KqbStringCursorAppender() = default;
};

class KqbStringCursorCreater : public KqbStringCursorAppender {
public:
    // Replaces columns and rows by a copy of the other cursor's, as copyCursor() does. A cursor is
    // no source for itself: it stays as it is, and the result is false.
    virtual bool copyFrom(KqbStringCursor *source) = 0;
    // Adds a column behind the last one. Want of memory makes createColumns() fail.
    virtual void addColumn(KqbString const &name) = 0;
    // The columns are complete.
    virtual bool createColumns() = 0;

protected:
    ~KqbStringCursorCreater() = default;
};

// A new empty cursor that keeps its rows in memory, as createDatavarResidentCursor() does; null when
// memory runs out. The caller ends it with release().
KQB_API KqbStringCursorCreater *createStringResidentCursor();

// As copyCursor() of KqbDatavarCursor.
KQB_API bool copyCursor(KqbStringCursor *source, KqbStringCursorCreater *target, KqbString *error);
