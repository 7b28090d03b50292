#include <new>

#include "data/kqbdatavarresidentcursor_internal.h"
#include "data/kqbstringcursorover_internal.h"

using KqbStringResidentCursorImpl =
    KqbStringCursorOver<KqbStringCursorCreater, KqbDatavarResidentCursorImpl>;

KqbStringCursorCreater *createStringResidentCursor() {
    return new (std::nothrow) KqbStringResidentCursorImpl;
}
