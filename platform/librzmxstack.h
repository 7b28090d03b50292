// Lock-free stacks of the authentication toolkit, which it lends to the memory pool.
#pragma once

#include <cstdint>

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
