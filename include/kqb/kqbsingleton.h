// KqbSingleton: a process-wide table of named, counted objects.
#pragma once

#include "kqb/kqbtypes.h"

// Shares one object per name between parts of a program that do not know each other. Whoever makes
// the object files it with createRef; others take it with getRef; each gives its hold back with
// decRef, and the one that is told true destroys the object. The table never touches the objects
// and does not own them.
//
// A name (id) is a NUL-terminated text, compared exactly; only its first 255 bytes count. Null and
// empty names are no names.
//
// Broken rules are reported by kqbAssertFailure with the source "kqbsingleton" and change nothing.
//
// Thread safety: none. Callers see to it that only one thread at a time is in any of these
// functions. Needs no initialised library.
class KQB_API KqbSingleton {
public:
    KqbSingleton() {}
    KqbSingleton(KqbSingleton const &) {}
    KqbSingleton &operator=(KqbSingleton const &) { return *this; }

    // Files object (which may be null) under id with one holder, the caller. Reports "id already
    // exists", "bad id" for no name, and "out of memory".
    static void createRef(char const *id, void *object);

    // The object of that name, which gains a holder; null, with nothing counted, when there is
    // none.
    static void *getRef(char const *id);

    // Takes one holder away. True when it was the last: the name is free again, and the caller
    // destroys the object. Reports "bad id" (false) when there is no such name.
    static bool decRef(char const *id);

private:
    struct SingleItem {
        char id[256];  // empty: the slot is free
        unsigned int refcount;
        void *object;
    };

    static bool resize(int count);
    static SingleItem *find(char const *id);
    static SingleItem *freeSlot();
    static void freeUnusedTable();

    static SingleItem *mPool;
    static int mCount;  // slots
};
