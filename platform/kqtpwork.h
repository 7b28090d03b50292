// The work record of the thread-pool service: the part of its contract that items compile in.
#pragma once

struct kqTPWorkOperations;

// The work record, part of the caller's item, which stays alive and unmoved until it has run or was
// dropped. Zero before it is first enqueued. The caller sets the first two.
struct kqTPWork {
    kqTPWorkOperations const *operations;
    void *item;
    kqTPWork *next;       // the pool's; null while the item is not queued
    kqTPWork *nextGroup;  // the pool's
};
