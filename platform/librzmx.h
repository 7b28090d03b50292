// Authentication toolkit: server location, and the lock-free stacks it lends to the memory pool.
//
// General rules
// - Nothing throws; texts are UTF-8, cut to the caller's buffer and always terminated.
#pragma once

#include <atomic>
#include <cstdint>

// --- Lock-free stacks -------------------------------------------------------------------------

// An intrusive last-in-first-out stack that any number of threads may push to and pop from without
// a lock. A node is any block of at least 8 bytes, aligned to 8; its first 8 bytes are the stack's
// link while it is on the stack. A popped node's memory must stay readable as long as the stack lives,
// because a slower thread may still look at its link. A node that is popped and pushed again
// between another thread's look and its exchange is told apart by a tag beside the head.
struct alignas(64) dkAStack {
    alignas(16) std::uint64_t head[2];  // address of the top node; tag
};

// Makes the stack empty. Returns 0 on success.
int dkAStackInit(dkAStack *stack);

// Puts node, which must not be on any stack, on top.
void dkAStackPush(dkAStack *stack, void *node);

// Takes the top node; null when the stack is empty.
void *dkAStackPop(dkAStack *stack);

// Forgets the nodes. They are the caller's before and after.
void dkAStackDestroy(dkAStack *stack);

// --- Server location --------------------------------------------------------------------------

// Names the server that authenticates subjects. `reposName`, `user` and `password` may be null.
// `sspi` is non-zero to use the logged-on user's own credentials.
// This build has no directory support: it answers 2 for every location.
// 0: set. 1: set, the location came from a metadata profile and *profileName points at its name,
// owned by the toolkit, else null. Anything else: not set, and the reason is in error (size bytes).
int dkSetAuthServerLoc(char const *location, char const *reposName, char const *user,
                       char const *password, int sspi, char *error, int size,
                       char const **profileName);
