// A million empty work items through pools of two threads.
#include <tbb/global_control.h>
#include <tbb/task_group.h>

#include <QRunnable>
#include <QThreadPool>
#include <atomic>
#include <boost/asio/post.hpp>
#include <boost/asio/thread_pool.hpp>
#include <cstddef>
#include <new>
#include <string>
#include <vector>

#include "bench/library.h"

namespace {

constexpr std::size_t kItems = 1'000'000;
constexpr std::size_t kThreads = 2;

void countItems(benchmark::State &state) {
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(kItems));
}

// --- The library: items of the caller's, or items made for the purpose that end themselves ---

struct Empty final : KqbThreadPoolWork {
    bool run() override { return true; }
};

struct Ending final : KqbThreadPoolWork {
    void *operator new(std::size_t size) {
        void *block;
        if (!KqbMemPool::getBytes(static_cast<unsigned>(size), &block)) throw std::bad_alloc();
        return block;
    }
    void operator delete(void *block) { KqbMemPool::freeBytes(block); }
    bool run() override {
        delete this;
        return true;
    }
};

struct Spawning final : KqbThreadPoolWork {
    bool runWithPool(bool, KqbThreadPoolCallback *pool) override {
        for (Empty *item = first; item != last; ++item) pool->enqueue(item);
        return true;
    }
    bool run() override { return true; }
    Empty *first = nullptr, *last = nullptr;
};

struct Pool : KqbThreadPool {
    Pool() { start(kThreads, kThreads, 1000); }
};

std::vector<Empty> &items() {
    static std::vector<Empty> all(kItems);
    return all;
}

void fromOutside(benchmark::State &state) {
    Pool pool;
    for (auto _ : state) {
        for (Empty &item : items()) pool.enqueue(&item, false);
        pool.wait();
    }
    countItems(state);
}

void madeOutside(benchmark::State &state) {
    Pool pool;
    for (auto _ : state) {
        for (std::size_t i = 0; i < kItems; ++i) pool.enqueue(new Ending, false);
        pool.wait();
    }
    countItems(state);
}

void fromItems(benchmark::State &state) {
    Pool pool;
    Spawning spawning[kThreads];
    for (std::size_t i = 0; i < kThreads; ++i) {
        spawning[i].first = items().data() + i * kItems / kThreads;
        spawning[i].last = items().data() + (i + 1) * kItems / kThreads;
    }
    for (auto _ : state) {
        for (Spawning &item : spawning) pool.enqueue(&item, false);
        pool.wait();
    }
    countItems(state);
}

// --- oneTBB: whoever waits runs tasks as well, and is one of the two threads ---

void tbbFromOutside(benchmark::State &state) {
    tbb::global_control const control(tbb::global_control::max_allowed_parallelism, kThreads);
    for (auto _ : state) {
        tbb::task_group group;
        for (std::size_t i = 0; i < kItems; ++i) group.run([] {});
        group.wait();
    }
    countItems(state);
}

void tbbFromItems(benchmark::State &state) {
    tbb::global_control const control(tbb::global_control::max_allowed_parallelism, kThreads);
    for (auto _ : state) {
        tbb::task_group group;
        for (std::size_t thread = 0; thread < kThreads; ++thread) {
            group.run([&group] {
                for (std::size_t i = 0; i < kItems / kThreads; ++i) group.run([] {});
            });
        }
        group.wait();
    }
    countItems(state);
}

// --- boost::asio, whose pools are joined once ---

void asioFromOutside(benchmark::State &state) {
    for (auto _ : state) {
        boost::asio::thread_pool pool(kThreads);
        for (std::size_t i = 0; i < kItems; ++i) boost::asio::post(pool, [] {});
        pool.join();
    }
    countItems(state);
}

void asioFromItems(benchmark::State &state) {
    for (auto _ : state) {
        boost::asio::thread_pool pool(kThreads);
        for (std::size_t thread = 0; thread < kThreads; ++thread) {
            boost::asio::post(pool, [&pool] {
                for (std::size_t i = 0; i < kItems / kThreads; ++i) boost::asio::post(pool, [] {});
            });
        }
        pool.join();
    }
    countItems(state);
}

// --- QThreadPool, with one object that runs any number of times; from items it takes minutes ---

struct EmptyRunnable final : QRunnable {
    EmptyRunnable() { setAutoDelete(false); }
    void run() override {}
};

void qtFromOutside(benchmark::State &state) {
    EmptyRunnable item;
    QThreadPool pool;
    pool.setMaxThreadCount(kThreads);
    for (auto _ : state) {
        for (std::size_t i = 0; i < kItems; ++i) pool.start(&item);
        pool.waitForDone();
    }
    countItems(state);
}

void add(std::string const &row, void (*work)(benchmark::State &)) {
    benchmark::RegisterBenchmark(("thread pool, items " + row).c_str(), work)
        ->UseRealTime()
        ->Unit(benchmark::kMillisecond);
}

}  // namespace

int main(int argc, char **argv) {
    Library const library;
    add("from outside/kqb", fromOutside);
    add("from outside/oneTBB", tbbFromOutside);
    add("from outside/boost::asio", asioFromOutside);
    add("from outside/QThreadPool", qtFromOutside);
    add("made outside/kqb", madeOutside);
    add("made outside/oneTBB", tbbFromOutside);
    add("from items/kqb", fromItems);
    add("from items/oneTBB", tbbFromItems);
    add("from items/boost::asio", asioFromItems);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
