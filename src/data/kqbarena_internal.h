// Memory that is taken piece by piece and given back all at once.
#pragma once

#include <cstddef>

class KqbArena {
public:
    KqbArena() = default;
    ~KqbArena() { clear(); }
    KqbArena(KqbArena const &) = delete;
    KqbArena &operator=(KqbArena const &) = delete;

    // Aligned to 8; null when memory ran out. The contents are not initialised.
    void *allocate(std::size_t size) {
        std::size_t const rounded = (size + 7) & ~std::size_t{7};
        if (rounded > static_cast<std::size_t>(end_ - top_)) return allocateSlow(rounded);
        void *const memory = top_;
        top_ += rounded;
        return memory;
    }

    void clear();

private:
    struct Block {
        Block *next;
    };
    void *allocateSlow(std::size_t size);

    Block *blocks_ = nullptr;
    char *top_ = nullptr;
    char *end_ = nullptr;
    std::size_t blockSize_ = 0;
};
