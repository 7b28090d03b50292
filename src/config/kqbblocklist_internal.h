// KqbBlockList: a list that grows at its end.
#pragma once

#include <cstddef>
#include <new>
#include <utility>
#include <vector>

#include "kqb/kqbmempool.h"

// The size of the largest blocks that the memory pool keeps.
inline constexpr std::size_t kKqbBlockBytes = 1024;

// A block of the memory pool. Throws std::bad_alloc.
inline void *kqbPoolBlock(std::size_t size) {
    void *block = nullptr;
    if (size != static_cast<unsigned int>(size) ||
        !KqbMemPool::getBytes(static_cast<unsigned int>(size), &block)) {
        throw std::bad_alloc();
    }
    return block;
}

// Items by position, in blocks of the memory pool: they never move, growing copies nothing, and
// what a list gives back is there for the next one.
template <class Item>
class KqbBlockList {
public:
    KqbBlockList() = default;
    ~KqbBlockList() { clear(); }
    KqbBlockList(KqbBlockList const &) = delete;
    KqbBlockList &operator=(KqbBlockList const &) = delete;

    std::size_t size() const { return size_; }
    Item &operator[](std::size_t at) { return blocks_[at / kPerBlock][at % kPerBlock]; }
    Item const &operator[](std::size_t at) const { return blocks_[at / kPerBlock][at % kPerBlock]; }
    Item &back() { return (*this)[size_ - 1]; }

    // Throws std::bad_alloc with the list as before.
    void push_back(Item &&item) {
        if (size_ == blocks_.size() * kPerBlock) addBlock();
        ::new (static_cast<void *>(&(*this)[size_])) Item(std::move(item));
        ++size_;
    }

    void pop_back() {
        back().~Item();
        --size_;
    }

    void clear() {
        while (size_ > 0) pop_back();
        for (Item *block : blocks_) KqbMemPool::freeBytes(block);
        blocks_.clear();
    }

private:
    static constexpr std::size_t kPerBlock = kKqbBlockBytes / sizeof(Item);

    void addBlock() {
        blocks_.push_back(nullptr);
        try {
            blocks_.back() = static_cast<Item *>(kqbPoolBlock(kPerBlock * sizeof(Item)));
        } catch (...) {
            blocks_.pop_back();
            throw;
        }
    }

    std::vector<Item *> blocks_;
    std::size_t size_ = 0;
};
