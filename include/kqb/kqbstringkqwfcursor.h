// KqbStringKQWFCursor: a cursor over a row source.
#pragma once

#include "kqb/kqbrowsource.h"
#include "kqb/kqbstringcursor.h"

// Makes a string cursor of a row source. A fresh cursor has a source of its own, which keeps rows as
// createStringResidentCursor() does; attaching another one makes the cursor read and write that.
//
// With a source of somebody else's: isReady() is false, for the cursor does not know; operations
// that report a status give true for 0; getColumnName() and getValue() give the empty string when
// the source fails; getRowCount() gives what the source counts, -1 maybe; copyFrom() is not
// supported. setValue() hands over bytes, so what the source makes of them is its own affair; a
// value that it does not take is dropped, and its endRow is the place to tell. The same holds for
// the names of addColumn().
class KqbStringKQWFCursor : public KqbStringCursorCreater {
public:
    // The version of the row source's table of operations that the cursor uses: 4.
    virtual int getRowSourceVersion() = 0;

    // The source in use, which stays the cursor's; never null.
    virtual KqbRowSource *getRowSource() = 0;

    // Attaches a source and takes it over: it is released when another one is attached and with the
    // cursor. Null detaches: the cursor's own source, with what it holds, is in use again. Attaching
    // the source in use does nothing.
    virtual void setRowSource(KqbRowSource *source) = 0;

protected:
    ~KqbStringKQWFCursor() = default;
};

// A new cursor; null when memory runs out. The caller ends it with release().
KQB_API KqbStringKQWFCursor *createStringKQWFCursor();
