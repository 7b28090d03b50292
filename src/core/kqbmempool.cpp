// The pool in three steps, each tried when the one before has nothing:
//
//   thread    a magazine per class: an array of free blocks that only its thread touches, and a
//             second one beside it so that a thread at the edge of a magazine does not bounce.
//   class     lock-free stacks of whole magazines (full ones, empty ones) and of loose blocks; a
//             thread exchanges a magazine at a time, so blocks travel between threads without
//             anybody touching them.
//   chunk     blocks never handed out yet. A chunk is 1024 blocks, taken from the heap under the
//             pool lock; its blocks get their headers when they are first handed out, so memory
//             that is not needed is not touched.
#include "kqb/kqbmempool.h"

#include <atomic>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <new>

#include "core/kqbmemoryfailures_internal.h"
#include "core/kqbmempool_internal.h"
#include "kqb/kqbhost.h"
#include "platform/kqbb.h"
#include "platform/librzmx.h"

#if defined(__SANITIZE_ADDRESS__)
#define KQB_POOL_POISON 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define KQB_POOL_POISON 1
#endif
#endif

#ifdef KQB_POOL_POISON
extern "C" void __asan_poison_memory_region(void const volatile *, std::size_t);
extern "C" void __asan_unpoison_memory_region(void const volatile *, std::size_t);
#endif

namespace {

constexpr unsigned kClasses = 4;
constexpr unsigned kBlocksPerChunk = 1024;
constexpr unsigned kLargestBlock = 1024;
constexpr unsigned kFreshBatch = 32;  // blocks taken from a chunk at a time, bounded below by size
constexpr unsigned kBlockSizes[kClasses] = {16, 64, 256, kLargestBlock};
constexpr unsigned kMagazineSizes[kClasses] = {1024, 1024, 512, 128};
constexpr std::size_t kHeapHeader = 8;

// Counters in the order of the statistics, behind those of the requests by class.
constexpr unsigned kUnmanaged = kClasses;
constexpr unsigned kFrees = kClasses + 1;
constexpr unsigned kCounters = kClasses + 2;

struct SizeClass;

// In front of every block. link belongs to the stack the block may lie on.
struct BlockHeader {
    void *link;
    SizeClass *owner;
};
static_assert(sizeof(BlockHeader) == 16);

struct Chunk {
    char *memory;
    Chunk *next;
    std::atomic<unsigned> used;  // blocks handed out for the first time; may run past the end
};

// Free blocks by the address their users see. While it lies on a stack its first word is the link.
struct Magazine {
    void *link;
    unsigned count;
    void *blocks[1];
};

struct alignas(256) SizeClass {
    std::atomic<unsigned> chunkCount;
    unsigned blocksPerChunk;
    unsigned blockSize;
    Chunk *firstChunk;
    Chunk *lastChunk;
    std::atomic<Chunk *> fresh;  // the chunk that blocks are first taken from
    dkAStack *freeBlocks() { return &stacks[0]; }
    dkAStack *fullMagazines() { return &stacks[1]; }
    dkAStack *emptyMagazines() { return &stacks[2]; }
    dkAStack stacks[3];
};
constexpr int kClassShift = 8;
static_assert(sizeof(SizeClass) == 1U << kClassShift);

struct Pool {
    SizeClass classes[kClasses];
    std::atomic<unsigned> ended[kCounters];  // what threads counted that are gone
};

// Written by one thread, read by any: the statistics look at every thread's numbers.
template <class Value>
class Own {
public:
    Value get() const { return value_.load(std::memory_order_relaxed); }
    void set(Value value) { value_.store(value, std::memory_order_relaxed); }
    void add(Value amount) { set(get() + amount); }

private:
    std::atomic<Value> value_;
};

// One class of one thread: the loaded magazine as pointers, and counters, for the fast path.
//
// Requests are not counted one by one. Blocks come to the thread from the class (received, less
// those given back) and from its users (frees), and what it does not hold any more it has handed
// out.
struct ThreadClass {
    Own<void **> top;
    Own<void **> base;
    void **limit;
    Own<unsigned> frees;
    Own<unsigned> received;

    // The magazine that base points into; null before there is one.
    Magazine *loaded() const {
        if (base.get() == nullptr) return nullptr;
        return reinterpret_cast<Magazine *>(reinterpret_cast<char *>(base.get()) -
                                            offsetof(Magazine, blocks));
    }
    unsigned count() const { return static_cast<unsigned>(top.get() - base.get()); }
    void put(void *block) {
        *top.get() = block;
        top.set(top.get() + 1);
    }
    void *take() {
        top.set(top.get() - 1);
        return *top.get();
    }
};
static_assert(sizeof(ThreadClass) == 32);

// Plain data, zero at thread start, so that reaching it costs no check.
struct ThreadCache {
    ThreadClass classes[kClasses];
    Magazine *spares[kClasses];
    Own<unsigned> spareCounts[kClasses];
    Own<unsigned> unmanaged;
    ThreadCache *next;
    ThreadCache *previous;
    bool attached;
};

__attribute__((tls_model("initial-exec"))) constinit thread_local ThreadCache tCache{};

// The pool has its place all along, so that a free needs no look at a pointer to know a class.
alignas(Pool) unsigned char gPoolStorage[sizeof(Pool)];
Pool *gPool = nullptr;  // gPoolStorage while the pool is up
kqLock *gPoolLock = nullptr;
unsigned gStartCount = 0;
int gThreadSlot = -1;

// Attached threads. Outlives the pool, because threads may end at any time.
constinit std::mutex gThreadsMutex;
ThreadCache *gThreads = nullptr;

// --- Small things -----------------------------------------------------------------------------

inline unsigned classOf(unsigned size) {
    return unsigned{size > 16} + unsigned{size > 64} + unsigned{size > 256};
}

inline void handOut([[maybe_unused]] void *block, [[maybe_unused]] unsigned size) {
#ifdef KQB_POOL_POISON
    __asan_unpoison_memory_region(block, size);
#endif
}

inline void takeBack([[maybe_unused]] void *block, [[maybe_unused]] unsigned size) {
#ifdef KQB_POOL_POISON
    __asan_poison_memory_region(block, size);
#endif
}

inline BlockHeader *headerOf(void *block) { return static_cast<BlockHeader *>(block) - 1; }

std::size_t strideOf(SizeClass const &sizeClass) {
    return sizeClass.blockSize + sizeof(BlockHeader);
}

// --- Magazines --------------------------------------------------------------------------------

Magazine *newMagazine(unsigned index) {
    std::size_t const size =
        offsetof(Magazine, blocks) + std::size_t{kMagazineSizes[index]} * sizeof(void *);
    auto *magazine = static_cast<Magazine *>(::operator new(size, std::nothrow));
    if (magazine != nullptr) magazine->count = 0;
    return magazine;
}

void deleteMagazines(dkAStack *stack) {
    while (void *magazine = dkAStackPop(stack)) ::operator delete(magazine);
}

void load(ThreadClass &own, Magazine *magazine, unsigned index) {
    own.base.set(magazine->blocks);
    own.top.set(magazine->blocks + magazine->count);
    own.limit = magazine->blocks + kMagazineSizes[index];
}

void swapMagazines(ThreadClass &own, unsigned index) {
    Magazine *const other = tCache.spares[index];
    tCache.spares[index] = own.loaded();
    own.loaded()->count = own.count();
    tCache.spareCounts[index].set(own.count());
    load(own, other, index);
}

Magazine *obtainEmpty(unsigned index) {
    void *const empty = dkAStackPop(gPool->classes[index].emptyMagazines());
    return empty != nullptr ? static_cast<Magazine *>(empty) : newMagazine(index);
}

// --- Threads ----------------------------------------------------------------------------------

void link(ThreadCache *cache) {
    cache->previous = nullptr;
    cache->next = gThreads;
    if (gThreads != nullptr) gThreads->previous = cache;
    gThreads = cache;
}

void unlink(ThreadCache *cache) {
    if (cache->next != nullptr) cache->next->previous = cache->previous;
    (cache->previous != nullptr ? cache->previous->next : gThreads) = cache->next;
}

void clear(ThreadCache *cache) {
    for (unsigned i = 0; i < kClasses; ++i) {
        ThreadClass &own = cache->classes[i];
        own.top.set(nullptr);
        own.base.set(nullptr);
        own.limit = nullptr;
        own.frees.set(0);
        own.received.set(0);
        cache->spares[i] = nullptr;
        cache->spareCounts[i].set(0);
    }
    cache->unmanaged.set(0);
    cache->next = cache->previous = nullptr;
    cache->attached = false;
}

void giveMagazineBack(SizeClass &sizeClass, Magazine *magazine) {
    if (magazine == nullptr) return;
    dkAStackPush(magazine->count > 0 ? sizeClass.fullMagazines() : sizeClass.emptyMagazines(),
                 magazine);
}

unsigned countedBy(ThreadCache const &cache, unsigned counter) {
    if (counter < kClasses) {
        ThreadClass const &own = cache.classes[counter];
        return own.received.get() + own.frees.get() - own.count() -
               cache.spareCounts[counter].get();
    }
    if (counter == kUnmanaged) return cache.unmanaged.get();
    unsigned frees = 0;
    for (ThreadClass const &own : cache.classes) frees += own.frees.get();
    return frees;
}

// Runs when a thread ends: what it kept goes to the classes.
void detachThread(void *value) {
    auto *cache = static_cast<ThreadCache *>(value);
    std::lock_guard const guard(gThreadsMutex);
    if (!cache->attached) return;
    for (unsigned i = 0; i < kCounters; ++i) {
        gPool->ended[i].fetch_add(countedBy(*cache, i), std::memory_order_relaxed);
    }
    for (unsigned i = 0; i < kClasses; ++i) {
        ThreadClass &own = cache->classes[i];
        if (own.loaded() != nullptr) own.loaded()->count = own.count();
        giveMagazineBack(gPool->classes[i], own.loaded());
        giveMagazineBack(gPool->classes[i], cache->spares[i]);
    }
    unlink(cache);
    clear(cache);
}

// Makes the calling thread known, so that what it keeps is not lost with it.
bool attachThread() {
    if (tCache.attached) return true;
    if (gThreadSlot < 0 || kqThreadSlotSet(gThreadSlot, &tCache) == 0) return false;
    std::lock_guard const guard(gThreadsMutex);
    clear(&tCache);
    tCache.attached = true;
    link(&tCache);
    return true;
}

bool ensureMagazine(ThreadClass &own, unsigned index) {
    if (own.loaded() != nullptr) return true;
    if (!attachThread()) return false;
    Magazine *const magazine = obtainEmpty(index);
    if (magazine == nullptr) return false;
    load(own, magazine, index);
    return true;
}

// --- Chunks -----------------------------------------------------------------------------------

bool carve(SizeClass &sizeClass) {
    sizeClass.chunkCount.fetch_add(1, std::memory_order_relaxed);
    auto *chunk = new (std::nothrow) Chunk{};
    char *memory =
        chunk == nullptr ? nullptr : new (std::nothrow) char[strideOf(sizeClass) * kBlocksPerChunk];
    if (memory == nullptr) {
        delete chunk;
        return false;
    }
    chunk->memory = memory;
    (sizeClass.lastChunk != nullptr ? sizeClass.lastChunk->next : sizeClass.firstChunk) = chunk;
    sizeClass.lastChunk = chunk;
    sizeClass.fresh.store(chunk, std::memory_order_release);
    return true;
}

// Takes up to wanted blocks that were never handed out, lowest address last, into blocks.
unsigned takeFresh(SizeClass &sizeClass, void **blocks, unsigned wanted) {
    Chunk *const chunk = sizeClass.fresh.load(std::memory_order_acquire);
    if (chunk->used.load(std::memory_order_relaxed) >= kBlocksPerChunk) return 0;
    unsigned const first = chunk->used.fetch_add(wanted, std::memory_order_relaxed);
    if (first >= kBlocksPerChunk) return 0;
    unsigned const taken = wanted < kBlocksPerChunk - first ? wanted : kBlocksPerChunk - first;
    for (unsigned i = 0; i < taken; ++i) {
        char *const start = chunk->memory + strideOf(sizeClass) * (first + taken - 1 - i);
        auto *const header = ::new (static_cast<void *>(start)) BlockHeader{nullptr, &sizeClass};
        blocks[i] = header + 1;
        takeBack(blocks[i], sizeClass.blockSize);
    }
    return taken;
}

// --- Slow paths -------------------------------------------------------------------------------

void *takeLoose(SizeClass &sizeClass) {
    auto *const header = static_cast<BlockHeader *>(dkAStackPop(sizeClass.freeBlocks()));
    return header == nullptr ? nullptr : static_cast<void *>(header + 1);
}

// Fills the loaded magazine, which is empty, from what the class has; false when it has nothing.
bool refill(ThreadClass &own, unsigned index) {
    SizeClass &sizeClass = gPool->classes[index];
    if (void *const full = dkAStackPop(sizeClass.fullMagazines())) {
        Magazine *const empty = own.loaded();
        empty->count = 0;
        dkAStackPush(sizeClass.emptyMagazines(), empty);
        load(own, static_cast<Magazine *>(full), index);
    } else if (void *const block = takeLoose(sizeClass)) {
        own.put(block);
    } else {
        unsigned const batch = index + 1 < kClasses ? kFreshBatch : kFreshBatch / 8;
        own.top.set(own.top.get() + takeFresh(sizeClass, own.top.get(), batch));
    }
    own.received.add(own.count());
    return own.count() > 0;
}

// The same for a thread without a magazine: one block.
void *takeOne(unsigned index) {
    SizeClass &sizeClass = gPool->classes[index];
    if (void *const block = takeLoose(sizeClass)) return block;
    if (void *const full = dkAStackPop(sizeClass.fullMagazines())) {
        auto *const magazine = static_cast<Magazine *>(full);
        void *const block = magazine->blocks[--magazine->count];
        giveMagazineBack(sizeClass, magazine);
        return block;
    }
    void *block = nullptr;
    takeFresh(sizeClass, &block, 1);
    return block;
}

void *takeOrRefill(ThreadClass &own, unsigned index, bool magazine) {
    if (magazine) return refill(own, index) ? own.take() : nullptr;
    void *const block = takeOne(index);
    if (block != nullptr) own.received.add(1);
    return block;
}

void *obtainSlow(unsigned index) {
    ThreadClass &own = tCache.classes[index];
    bool const magazine = ensureMagazine(own, index);
    Magazine const *const spare = tCache.spares[index];
    if (magazine && spare != nullptr && spare->count > 0) {
        swapMagazines(own, index);
        return own.take();
    }
    if (void *const block = takeOrRefill(own, index, magazine)) return block;
    // Another thread may have refilled the class while this one waited for the lock.
    kqLockGet(gPoolLock, 1, 1);
    void *block = takeOrRefill(own, index, magazine);
    if (block == nullptr && carve(gPool->classes[index])) {
        block = takeOrRefill(own, index, magazine);
    }
    kqLockRelease(gPoolLock, 1);
    if (block == nullptr) own.received.add(1);  // a request all the same
    return block;
}

// Puts an empty magazine in the loaded one's place, which is full or missing.
bool loadEmpty(ThreadClass &own, unsigned index) {
    if (own.loaded() == nullptr) return ensureMagazine(own, index);
    Magazine *&spare = tCache.spares[index];
    if (spare == nullptr || spare->count > 0) {
        Magazine *const empty = obtainEmpty(index);
        if (empty == nullptr) return false;
        if (spare != nullptr) own.received.add(0U - spare->count);
        giveMagazineBack(gPool->classes[index], spare);
        spare = empty;
    }
    swapMagazines(own, index);
    return true;
}

// Keeps a block although the loaded magazine is full or missing.
__attribute__((noinline)) void keepSlow(void *block, unsigned index) {
    if (gPool == nullptr) return;  // its memory went with the pool
    ThreadClass &own = tCache.classes[index];
    if (loadEmpty(own, index)) {
        own.put(block);
    } else {
        dkAStackPush(gPool->classes[index].freeBlocks(), headerOf(block));
        own.received.add(~0U);
    }
    own.frees.add(1);
}

// Frees what belongs to no class: the heap's blocks, and what nobody should have passed.
__attribute__((noinline)) void freeForeign(void *block, std::uintptr_t owner) {
    if (owner == 0) {
        delete[](static_cast<char *>(block) - kHeapHeader);
    } else {
        kqbAssertFailure("mempool free", "kqbmempool", 278);
    }
}

bool exhausted() {
    kqbNoteMemoryFailure();
    return false;
}

bool getUnmanaged(unsigned size, void **out) {
    if (gPool == nullptr) return false;
    char *const memory = new (std::nothrow) char[std::size_t{size} + kHeapHeader];
    if (memory == nullptr) return exhausted();
    std::memset(memory, 0, kHeapHeader);
    *out = memory + kHeapHeader;
    attachThread();
    tCache.unmanaged.add(1);
    return true;
}

__attribute__((noinline)) bool getSlow(unsigned size, void **out) {
    *out = nullptr;
    if (size > kLargestBlock) return getUnmanaged(size, out);
    if (gPool == nullptr) return false;
    unsigned const index = classOf(size);
    void *const block = obtainSlow(index);
    if (block == nullptr) return exhausted();
    handOut(block, size);
    *out = block;
    return true;
}

// --- Start and stop ---------------------------------------------------------------------------

bool startClass(SizeClass &sizeClass, unsigned blockSize) {
    sizeClass.blocksPerChunk = kBlocksPerChunk;
    sizeClass.blockSize = blockSize;
    for (dkAStack &stack : sizeClass.stacks) {
        if (dkAStackInit(&stack) != 0) return false;
    }
    return carve(sizeClass);
}

void stopClass(SizeClass &sizeClass) {
    deleteMagazines(sizeClass.fullMagazines());
    deleteMagazines(sizeClass.emptyMagazines());
    for (dkAStack &stack : sizeClass.stacks) dkAStackDestroy(&stack);
    for (Chunk *chunk = sizeClass.firstChunk; chunk != nullptr;) {
        Chunk *const next = chunk->next;
        handOut(chunk->memory, static_cast<unsigned>(strideOf(sizeClass)) * kBlocksPerChunk);
        delete[] chunk->memory;
        delete chunk;
        chunk = next;
    }
}

// Lets every thread forget its magazines.
void forgetThreads() {
    std::lock_guard const guard(gThreadsMutex);
    while (ThreadCache *const cache = gThreads) {
        for (ThreadClass &own : cache->classes) {
            ::operator delete(own.loaded());
        }
        for (Magazine *spare : cache->spares) ::operator delete(spare);
        unlink(cache);
        clear(cache);
    }
}

void destroyPool() {
    if (gPool != nullptr) {
        forgetThreads();
        for (SizeClass &sizeClass : gPool->classes) stopClass(sizeClass);
    }
    gPool = nullptr;
    kqLockDestroy(gPoolLock);
    gPoolLock = nullptr;
}

bool buildPool() {
    if (gThreadSlot < 0) gThreadSlot = kqThreadSlotCreate(detachThread);
    gPoolLock = kqLockCreate(0, 0);
    if (gPoolLock == nullptr) return false;
    gPool = new (gPoolStorage) Pool{};
    for (unsigned i = 0; i < kClasses; ++i) {
        if (!startClass(gPool->classes[i], kBlockSizes[i])) return false;
    }
    return true;
}

unsigned sumCounter(unsigned counter) {
    unsigned sum = gPool->ended[counter].load(std::memory_order_relaxed);
    for (ThreadCache *cache = gThreads; cache != nullptr; cache = cache->next) {
        sum += countedBy(*cache, counter);
    }
    return sum;
}

}  // namespace

bool kqbMemPoolStart() {
    if (gStartCount > 0) {
        ++gStartCount;
        return true;
    }
    if (!buildPool()) {
        destroyPool();
        return false;
    }
    gStartCount = 1;
    return true;
}

void kqbMemPoolStop() {
    if (gStartCount == 0 || --gStartCount > 0) return;
    destroyPool();
}

bool KqbMemPool::getBytes(unsigned int size, void **out) {
    if (size <= kLargestBlock) [[likely]] {
        ThreadClass &own = tCache.classes[classOf(size)];
        void **const top = own.top.get();
        if (top != own.base.get()) [[likely]] {
            void *const block = top[-1];
            own.top.set(top - 1);
            handOut(block, size);
            *out = block;
            return true;
        }
    }
    return getSlow(size, out);
}

void KqbMemPool::freeBytes(void *block) {
    if (block == nullptr) [[unlikely]]
        return;
    std::uintptr_t owner;
    std::memcpy(&owner, static_cast<char *>(block) - sizeof owner, sizeof owner);
    // Bits that are no multiple of a class's size come out on top, so one comparison tells all.
    std::uintptr_t const index =
        std::rotr(owner - reinterpret_cast<std::uintptr_t>(gPoolStorage), kClassShift);
    if (index >= kClasses) [[unlikely]]
        return freeForeign(block, owner);
    takeBack(block, kBlockSizes[index]);
    ThreadClass &own = tCache.classes[index];
    void **const top = own.top.get();
    if (top == own.limit) [[unlikely]]
        return keepSlow(block, static_cast<unsigned>(index));
    *top = block;
    own.top.set(top + 1);
    own.frees.add(1);
}

char *KqbMemPool::getStats() {
    static char line[256];
    unsigned long values[kCounters] = {};
    unsigned long chunks[kClasses] = {};
    std::lock_guard const guard(gThreadsMutex);
    if (gPool != nullptr) {
        for (unsigned i = 0; i < kCounters; ++i) values[i] = sumCounter(i);
        for (unsigned i = 0; i < kClasses; ++i) chunks[i] = gPool->classes[i].chunkCount.load();
    }
    auto const total = static_cast<std::uint32_t>(values[0] + values[1] + values[2] + values[3] +
                                                  values[kUnmanaged]);
    std::snprintf(line, sizeof line,
                  "Tiny: %lu Small %lu Med: %lu Large: %lu Unmanaged: %lu Total: %lu Frees: %lu "
                  "Chunk Alloc: Tiny: %lu Small %lu Med: %lu Large: %lu",
                  values[0], values[1], values[2], values[3], values[kUnmanaged],
                  static_cast<unsigned long>(total), values[kFrees], chunks[0], chunks[1],
                  chunks[2], chunks[3]);
    return line;
}
