// KqbStringWlpCursor: a cursor over strings that keeps its rows in a row set.
#pragma once

#include "kqb/kqbstringcursor.h"

// For many rows, as KqbDatavarWlpCursor, with the same options and messages. Every column is one of
// strings.
class KqbStringWlpCursor : public KqbStringCursorCreater {
protected:
    ~KqbStringWlpCursor() = default;
};

// A new empty cursor; null when memory runs out. The caller ends it with release().
KQB_API KqbStringWlpCursor *createStringWlpCursor();
