// Atomic counters, inline: the part of the building-block contract that value types compile in.
//
// A counter shared between threads costs a locked instruction for every change. While the process
// has only ever had one thread nobody can be watching, so the change is a plain load and store;
// the C runtime tells us when the first thread is created, and the switch is seen by every thread
// because creating one orders memory.
#pragma once

#include <atomic>

#if defined(__has_include)
#if __has_include(<sys/single_threaded.h>)
#include <sys/single_threaded.h>
#define KQ_ATOM_SINGLE_THREADED (__libc_single_threaded != 0)
#endif
#endif
#ifndef KQ_ATOM_SINGLE_THREADED
#define KQ_ATOM_SINGLE_THREADED false
#endif

// A 32-bit signed counter. Any thread may change it at any time; it is never locked.
struct kqAtom {
    std::atomic<int> value;
};

// Sets the counter before it is shared.
inline void kqAtomInit(kqAtom *atom, int value) {
    atom->value.store(value, std::memory_order_relaxed);
}

// The current value.
inline int kqAtomGet(kqAtom const *atom) { return atom->value.load(std::memory_order_acquire); }

// Adds and returns the new value.
inline int kqAtomAdd(kqAtom *atom, int amount) {
    if (KQ_ATOM_SINGLE_THREADED) {
        int const sum = atom->value.load(std::memory_order_relaxed) + amount;
        atom->value.store(sum, std::memory_order_relaxed);
        return sum;
    }
    return atom->value.fetch_add(amount, std::memory_order_relaxed) + amount;
}

// Subtracts and returns the new value. What was written before the subtraction is visible to the
// thread whose subtraction reaches the lowest value, so that thread may free what was shared.
inline int kqAtomSub(kqAtom *atom, int amount) {
    if (KQ_ATOM_SINGLE_THREADED) {
        int const rest = atom->value.load(std::memory_order_relaxed) - amount;
        atom->value.store(rest, std::memory_order_relaxed);
        return rest;
    }
    return atom->value.fetch_sub(amount, std::memory_order_acq_rel) - amount;
}
