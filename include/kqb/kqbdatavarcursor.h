// KqbDatavarCursor: a table of typed columns and rows of variants, read and written row by row.
#pragma once

#include "kqb/kqbcursor.h"
#include "kqb/kqbdatavar.h"

// A small table: named columns of a type each, and rows of values. Three interfaces build on each
// other: the cursor reads rows, the appender adds rows, the creater also defines the columns.
//
//   cursor->rewind();
//   while (cursor->next() == KqbCursorRow) use(cursor->getValue(0));
//   cursor->release();
//
// Columns are counted from 0. A cursor has one place for reading, which begins before the first row,
// and at most one row being written; both may be at work in turns.
//
// Failures are told by the result, the reason by getErrorMessage(). Nothing throws. When memory runs
// out, what was told to be stored before stays, and the cursor stays usable.
//
// Thread safety: a cursor has no lock; one belongs to one thread at a time. Cursors need the library
// initialised and must end before the last kqbShutdown.
class KqbDatavarCursor {
public:
    // Whether the cursor can be used.
    virtual bool isReady() = 0;

    // The name of a column; the empty string for a number that is none.
    virtual KqbString getColumnName(int column) = 0;
    // Its type, KqbTypeUnknown for a number that is none.
    virtual kqbType getColumnType(int column) = 0;
    virtual int getColumnCount() = 0;

    // The value of a column in the current row, which is the caller's to keep. Null for a number
    // that is no column, and where there is no current row.
    virtual KqbDatavar getValue(int column) = 0;

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
    ~KqbDatavarCursor() = default;
};

class KqbDatavarCursorAppender : public KqbDatavarCursor {
public:
    // Starts a new row, all of whose values are null.
    virtual bool beginRow() = 0;
    // Sets a value of the row begun. Without one, and for a number that is no column, nothing
    // happens. What cannot be stored makes endRow() fail.
    virtual void setValue(int column, KqbDatavar const &value) = 0;
    // Completes the row.
    virtual bool endRow() = 0;
    // Completes the table.
    virtual bool finish() = 0;

protected:
    ~KqbDatavarCursorAppender() = default;
};

class KqbDatavarCursorCreater : public KqbDatavarCursorAppender {
public:
    // Replaces columns and rows by a copy of the other cursor's, as copyCursor() does. A cursor is
    // no source for itself: it stays as it is, and the result is false.
    virtual bool copyFrom(KqbDatavarCursor *source) = 0;
    // Adds a column behind the last one. Want of memory makes createColumns() fail.
    virtual void addColumn(KqbString const &name, kqbType type) = 0;
    // The columns are complete.
    virtual bool createColumns() = 0;

protected:
    ~KqbDatavarCursorCreater() = default;
};

// A new empty cursor that keeps its rows in memory; null when memory runs out. The caller ends it
// with release().
//
// Its columns take values of any type, whatever type they have. Only want of memory makes it fail:
// beginRow() then has begun no row, and endRow() drops the row that lacks a value. Columns may be
// added when there are rows already; those have null in them. beginRow() while a row is open
// completes that one. An open row is neither counted nor reached by next(). At the end next() stays
// on the place behind the last row: when rows are added then, the first of them is passed over.
KQB_API KqbDatavarCursorCreater *createDatavarResidentCursor();

// Copies the columns and all rows of source, from its first on, behind those of target; a fresh
// target becomes a copy of source. False, with the text of target in *error, when target fails, and
// when there is no memory for a value of source; then target has the rows so far, and that one may be
// open. error may be null; on success *error is null.
//
// A source that fails ends the copy as if it had no more rows: the result is target's, and *error
// the source's text. A null cursor, and a cursor to be copied into itself, is refused and left as it
// is.
KQB_API bool copyCursor(KqbDatavarCursor *source, KqbDatavarCursorCreater *target,
                        KqbString *error);
