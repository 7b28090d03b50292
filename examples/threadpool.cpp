// A thread pool: items that queue further items, one that waits for another, closing and opening.
#include "kqb/kqbthreadpool.h"

#include <atomic>
#include <cstdio>
#include <future>

// Adds up a range: a large one as two halves, which the pool runs beside each other.
class Sum : public KqbThreadPoolWork {
public:
    Sum(long first, long last, std::atomic<long> *total)
        : first_(first), last_(last), total_(total) {}

    bool runWithPool(bool, KqbThreadPoolCallback *pool) override {
        while (last_ - first_ > 1000) {
            long const middle = first_ + (last_ - first_) / 2;
            Sum *const upperHalf = new Sum(middle, last_, total_);
            if (!pool->enqueue(upperHalf)) {
                delete upperHalf;
                break;
            }
            last_ = middle;
        }
        return true;
    }

    bool run() override {
        long sum = 0;
        for (long i = first_; i < last_; ++i) sum += i;
        *total_ += sum;
        delete this;
        return true;
    }

private:
    long first_, last_;
    std::atomic<long> *total_;
};

// Fetches something, for another item.
class Fetch : public KqbThreadPoolWork {
public:
    bool run() override {
        result.set_value(42);
        return true;
    }
    std::promise<int> result;
};

// Needs what the other fetches: since it says that it blocks, even one thread is enough for both.
// The other must live until it has run, so it is a part of this one.
class Use : public KqbThreadPoolWork {
public:
    bool runWithPool(bool, KqbThreadPoolCallback *pool) override {
        if (!pool->enqueue(&fetch_)) return false;
        pool->setBlocking(true);
        std::printf("fetched %d\n", fetch_.result.get_future().get());
        return true;
    }
    bool run() override { return true; }

private:
    Fetch fetch_;
};

class Failing : public KqbThreadPoolWork {
public:
    bool run() override { return false; }
};

static bool addUp() {
    std::atomic<long> total{0};
    KqbThreadPool pool;
    // No thread is kept; at most one for each processor; idle ones end after half a second.
    if (!pool.start(0, 0, 500)) return false;
    pool.enqueue(new Sum(0, 1000000, &total), false);
    pool.wait();
    std::printf("the sum is %ld\n", total.load());
    return true;
}

static bool blockAndQuiesce() {
    KqbThreadPool pool;
    if (!pool.start(1, 1, 500)) return false;
    Use use;
    pool.enqueue(&use, true);
    pool.wait();
    pool.quiesce(false, false);
    Failing late;
    if (!pool.enqueue(&late, false)) std::printf("a quiesced pool takes no items\n");
    pool.reset();
    pool.enqueue(&late, false);
    pool.wait();
    __int64 finished;
    int failed;
    pool.getStats(nullptr, &finished, nullptr, nullptr, nullptr, nullptr, nullptr, &failed);
    std::printf("since then %lld finished, %d failed\n", finished, failed);
    return true;
}

int main() { return addUp() && blockAndQuiesce() ? 0 : 1; }
