// KqbMemPool: the small-block allocator behind the library's value types.
#pragma once

#include "kqb/kqbtypes.h"

// Serves requests of up to 1024 bytes from four classes of fixed-size blocks (16, 64, 256 and 1024
// bytes), taken from the heap 1024 blocks at a time and kept until the library shuts down; larger
// requests go to the heap behind the same interface. The pool is up between kqbInitialize and the
// last kqbShutdown. Blocks do not survive that shutdown, returned or not.
//
// Thread safety: every operation may be called from any thread while the pool is up. Each thread
// keeps a stock of free blocks of its own, so an allocation or a free normally touches no memory
// that other threads use; what a thread keeps goes back when it ends.
class KQB_API KqbMemPool {
public:
    // Obtains at least size bytes, aligned to 8 (up to 1024 bytes: to 16); size 0 is served as 1.
    // *out is the block, or null when the pool is down or memory is exhausted; the result tells
    // which. The contents are not initialised. out must not be null.
    static bool getBytes(unsigned int size, void **out);

    // Gives back a block that getBytes handed out; null is ignored. A pointer whose owner word is
    // not one of the pool's own raises the assertion "mempool free" and then has its block
    // forgotten. After the pool went down only blocks of more than 1024 bytes may be given back.
    static void freeBytes(void *block);

    // One line with the requests by class (Unmanaged: more than 1024 bytes), their sum, the pooled
    // blocks freed and the chunks taken by class; all zero while the pool is down. Counters are 32
    // bits wide and wrap. With threads at work the figures are approximate. The text lies in one
    // static buffer that the next call, from any thread, overwrites.
    static char *getStats();

    KqbMemPool() = delete;
};
