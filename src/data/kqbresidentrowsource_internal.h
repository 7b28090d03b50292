// The row source that a cursor over row sources has of its own.
#pragma once

#include "kqb/kqbrowsource.h"
#include "kqb/kqbstringcursor.h"

// Each operation is the one of the same meaning of a resident string cursor.
class KqbResidentRowSource {
public:
    KqbResidentRowSource();
    ~KqbResidentRowSource();
    KqbResidentRowSource(KqbResidentRowSource const &) = delete;
    KqbResidentRowSource &operator=(KqbResidentRowSource const &) = delete;

    // Null when memory ran out.
    KqbStringCursorCreater *cursor() { return cursor_; }
    KqbRowSource *source() { return &source_; }

private:
    // The operations get the address of source_.
    struct Source : KqbRowSource {
        KqbResidentRowSource *owner;
    };
    struct Operations;
    friend struct Operations;

    Source source_;
    KqbStringCursorCreater *cursor_;
    KqbString text_;  // the one handed out last
    KqbString message_;
    bool lacksColumn_ = false;
};
