// Makes the library's pool run out on purpose.
#pragma once

#include <initializer_list>
#include <new>

#include "kqb/kqbmempool.h"
#include "support/alloc_faults.h"

// While it lives, this thread can obtain only so many more pool blocks of the classes that are
// drained, each as large as the last of these allows, and nothing from the heap. What the code under
// test gives back it may obtain again.
class PoolFaults {
public:
    explicit PoolFaults(unsigned blocks,
                        std::initializer_list<unsigned> drained = {16, 256, 1024, 64}) {
        AllocFaults::failFrom(1);
        for (unsigned size : drained) hold(size);
        drained_ = count_;
        for (unsigned k = 0; k < blocks; ++k) giveBack();
    }
    ~PoolFaults() {
        AllocFaults::off();
        while (held_ != nullptr) giveBack();
    }
    PoolFaults(PoolFaults const &) = delete;
    PoolFaults &operator=(PoolFaults const &) = delete;

    // The blocks that were free at the beginning. Fewer than the time before: some were lost.
    unsigned drained() const { return drained_; }

private:
    struct Held {
        Held *next;
    };

    void hold(unsigned size) {
        void *block = nullptr;
        while (KqbMemPool::getBytes(size, &block)) {
            held_ = new (block) Held{held_};
            ++count_;
        }
    }

    void giveBack() {
        Held *const block = held_;
        held_ = block->next;
        KqbMemPool::freeBytes(block);
    }

    Held *held_ = nullptr;
    unsigned count_ = 0;
    unsigned drained_ = 0;
};
