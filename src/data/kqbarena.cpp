#include "data/kqbarena_internal.h"

#include <algorithm>
#include <new>

namespace {

constexpr std::size_t kSmallestBlock = std::size_t{2} << 10;
constexpr std::size_t kLargestBlock = std::size_t{256} << 10;

}  // namespace

// A piece that would waste much of a block gets one of its own, and the block at hand goes on.
void *KqbArena::allocateSlow(std::size_t size) {
    std::size_t const grown = std::clamp(2 * blockSize_, kSmallestBlock, kLargestBlock);
    bool const isLarge = size > grown / 4;
    std::size_t const bytes = isLarge ? size : grown;
    void *const memory = ::operator new(sizeof(Block) + bytes, std::nothrow);
    if (memory == nullptr) return nullptr;
    blocks_ = new (memory) Block{blocks_};
    char *const start = reinterpret_cast<char *>(blocks_ + 1);
    if (isLarge) return start;
    blockSize_ = grown;
    top_ = start + size;
    end_ = start + grown;
    return start;
}

void KqbArena::clear() {
    while (blocks_ != nullptr) {
        Block *const next = blocks_->next;
        ::operator delete(blocks_);
        blocks_ = next;
    }
    top_ = end_ = nullptr;
    blockSize_ = 0;
}
