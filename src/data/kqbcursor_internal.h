// What the implementations of cursors share.
#pragma once

#include "kqb/kqbstring.h"

// The text for want of memory.
KqbString kqbCursorOutOfMemory();

// Tells in *error, which may be null, why a cursor cannot be copied into another: one of them is
// null, or they are the same. Nothing may be touched then.
bool kqbCanCopyCursor(void const *source, void const *target, KqbString *error);

// For copyFrom of the implementations: clears target, which gets its columns and rows from source.
// What goes wrong is left in *message.
template <class Source, class Target, class Clear>
bool kqbCopyCursorFrom(Source *source, Target *target, KqbString *message, Clear const &clear) {
    if (!kqbCanCopyCursor(source, static_cast<Source *>(target), message)) return false;
    clear();
    KqbString error;
    bool const copied = copyCursor(source, target, &error);
    if (!error.isNull()) *message = error;
    return copied;
}
