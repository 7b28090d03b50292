// The pool against general allocators. These are loaded side by side, so that none of them replaces
// another, and called through pointers, as the pool is through the shared library's table.
#include <dlfcn.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "bench/library.h"

namespace {

struct Allocator {
    char const *name;
    void *(*take)(std::size_t);
    void (*give)(void *);
};

struct Pool {
    char const *name = "kqb";
    static void *take(std::size_t size) {
        void *block;
        KqbMemPool::getBytes(static_cast<unsigned>(size), &block);
        return block;
    }
    static void give(void *block) { KqbMemPool::freeBytes(block); }
};

Allocator load(char const *name, char const *library, char const *take, char const *give) {
    void *const handle = dlopen(library, RTLD_NOW | RTLD_LOCAL | RTLD_DEEPBIND);
    if (handle == nullptr) {
        std::fprintf(stderr, "%s\n", dlerror());
        std::exit(1);
    }
    return {name, reinterpret_cast<void *(*)(std::size_t)>(dlsym(handle, take)),
            reinterpret_cast<void (*)(void *)>(dlsym(handle, give))};
}

template <class Any>
void pair(benchmark::State &state, Any const &allocator, std::size_t size) {
    for (auto _ : state) {
        void *const block = allocator.take(size);
        benchmark::DoNotOptimize(block);
        allocator.give(block);
    }
}

// A thousand blocks of up to `largest` bytes, freed in random order.
template <class Any>
void thousand(benchmark::State &state, Any const &allocator, unsigned largest) {
    constexpr std::size_t kCount = 1000;
    std::mt19937 random(static_cast<unsigned>(state.thread_index()) + 1);
    std::array<std::size_t, kCount> sizes;
    std::array<std::size_t, kCount> order;
    for (std::size_t i = 0; i < kCount; ++i) {
        sizes[i] = largest == 1024 ? 1024 : 1 + random() % largest;
        order[i] = i;
    }
    std::shuffle(order.begin(), order.end(), random);
    std::array<void *, kCount> blocks;
    for (auto _ : state) {
        for (std::size_t i = 0; i < kCount; ++i) {
            blocks[i] = allocator.take(sizes[i]);
            *static_cast<char *>(blocks[i]) = 1;
        }
        for (std::size_t i : order) allocator.give(blocks[i]);
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(kCount));
}

// Batches of blocks made by one thread and freed by another.
template <class Any>
void handOver(benchmark::State &state, Any const &allocator) {
    constexpr std::size_t kBatch = 512;
    using Batch = std::array<void *, kBatch>;
    std::array<Batch, 8> ring;
    std::atomic<std::size_t> made{0};
    std::atomic<std::size_t> freed{0};
    std::atomic<bool> done{false};
    std::thread consumer([&] {
        for (std::size_t next = 0;; ++next) {
            while (made.load(std::memory_order_acquire) == next) {
                if (done.load()) return;
            }
            for (void *block : ring[next % ring.size()]) allocator.give(block);
            freed.store(next + 1, std::memory_order_release);
        }
    });
    std::size_t next = 0;
    for (auto _ : state) {
        while (next - freed.load(std::memory_order_acquire) == ring.size()) {
        }
        for (void *&block : ring[next % ring.size()]) {
            block = allocator.take(64);
            *static_cast<char *>(block) = 1;
        }
        made.store(++next, std::memory_order_release);
    }
    while (freed.load() != next) {
    }
    done = true;
    consumer.join();
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(kBatch));
}

template <class Any>
void registerAll(Any const &allocator) {
    std::string const peer = std::string("/") + allocator.name;
    for (std::size_t size : {16, 64, 256, 1024}) {
        for (int threads : {1, 2}) {
            std::string const row = "pool pair " + std::to_string(size) + " B, " +
                                    std::to_string(threads) + " thr" + peer;
            benchmark::RegisterBenchmark(
                row.c_str(), [=](benchmark::State &state) { pair(state, allocator, size); })
                ->Threads(threads)
                ->UseRealTime();
        }
    }
    for (auto const &[largest, threads] : {std::pair{256U, 1}, {256U, 2}, {1024U, 1}}) {
        std::string const row = "pool 1000 random, " + std::to_string(largest) + " B, " +
                                std::to_string(threads) + " thr" + peer;
        benchmark::RegisterBenchmark(
            row.c_str(), [=](benchmark::State &state) { thousand(state, allocator, largest); })
            ->Threads(threads)
            ->UseRealTime();
    }
    benchmark::RegisterBenchmark(("pool freed by another thread" + peer).c_str(),
                                 [=](benchmark::State &state) { handOver(state, allocator); })
        ->UseRealTime();
}

}  // namespace

int main(int argc, char **argv) {
    Library const library;
    registerAll(Pool{});
    registerAll(Allocator{"glibc", std::malloc, std::free});
    registerAll(load("tcmalloc", "libtcmalloc_minimal.so.4", "tc_malloc", "tc_free"));
    registerAll(load("jemalloc", "libjemalloc.so.2", "malloc", "free"));
    registerAll(load("mimalloc", "libmimalloc.so.2", "mi_malloc", "mi_free"));
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
