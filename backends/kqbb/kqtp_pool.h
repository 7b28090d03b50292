// A pool of threads.
//
// One mutex guards the queue and all that is counted; it is held for a few instructions at a time.
// A thread takes a group of items from the queue under the mutex and runs it without: what remains
// of the group lies in the thread's stash, from which another thread without work may take it all,
// so that no item has to wait behind one that runs long. A stash is one word, and whoever changes it
// owns all it held: others, who hold the mutex, leave null; its own thread, who does not, leaves a
// mark until it has put the rest back. Nobody goes to sleep who has seen that mark, since there may
// be work behind it.
//
// Wake-ups: a thread is woken, or started, for work that lies about only if none is already on its
// way or looking about. The one that comes does the same again if it leaves something.
#pragma once

#include <pthread.h>

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>

#include "backends/kqbb/kqtp_queue.h"
#include "platform/kqtp.h"

namespace kqtp {

class Pool;

// One thread of a pool. Its record is kept as long as the pool, so that a thread may be woken
// without the mutex.
struct alignas(64) Worker final : kqTPCallback {
    explicit Worker(Pool &owner) : pool(owner) {}

    int enqueue(kqTPWork *work) override;
    int isStopping() override;
    void setBlocking(int blocking) override;

    Pool &pool;
    std::atomic<kqTPWork *> stash{nullptr};
    std::atomic<std::int64_t> steps{0};  // items begun and items ended: odd while one runs
    bool urgent = false;                 // the item that runs
    bool blocking = false;               // it said so
    // Guarded by the pool's mutex:
    std::int64_t accounted = 0;  // ended items that the pool has counted
    bool woken = false;
    Worker *next = nullptr;  // in the list it is on, or among the spare records
    Worker *previous = nullptr;
    std::condition_variable wake;
};

class WorkerList {
public:
    Worker *first() const { return first_; }
    void add(Worker &worker);
    void remove(Worker &worker);

private:
    Worker *first_ = nullptr;
};

class Pool {
public:
    // Null when the record makes no sense, memory is missing or no thread could be had.
    static Pool *create(kqTPCreation const &creation);

    void share();
    void dropOwner();
    int enqueue(kqTPWork *work, bool urgent);
    int wait();
    void quiesce(bool drop, bool thenWait);
    int reset();
    void getStatistics(kqTPStatistics &statistics);

    bool isStopping() const { return (attention_.load() & kDropping) != 0; }
    void setBlocking(Worker &worker, bool blocking);

private:
    using Guard = std::unique_lock<std::mutex>;

    // What threads look at between two items.
    static constexpr unsigned kUrgent = 1;    // the urgent queue is not empty
    static constexpr unsigned kDropping = 2;  // what is queued is to be dropped
    static constexpr unsigned kSurplus = 4;   // more threads are active than there should be

    static constexpr unsigned kGroupSize = 32;

    explicit Pool(kqTPCreation const &creation);
    ~Pool();

    Guard lock();
    void setAttention(unsigned bit, bool on);
    void push(kqTPWork *work, bool urgent);
    void account(std::int64_t &counter, std::int64_t count);
    void tellWaiters();
    void waitForMoment(Guard &guard, std::int64_t const &moments);
    bool isInside() const;
    void dropQueued();
    kqTPWork *takeAnyGroup();
    void drop(kqTPWork *work);
    void end();
    void awaitThreads();

    // What the threads do; in kqtp_worker.cpp.
    static void *threadBody(void *worker);
    static void wake(Worker *worker);
    bool startLowerNumber();
    bool startThread();
    Worker *spareWorker();
    Worker *summon();
    void moveToAwake(Worker &worker);
    Worker *takeIdle();
    void work(Worker &self);
    void runStash(Worker &self);
    bool runFirst(Worker &self);
    void runUrgent(Worker &self);
    void run(Worker &self, kqTPWork *work, bool urgent);
    void settle(Worker &self);
    void beginBlocked();
    void endBlocked();
    bool hasWork() const;
    int waitInside(Guard &guard, Worker &self);
    bool refill(Guard &guard, Worker &self);
    bool takeWork(Guard &guard, Worker &self);
    kqTPWork *steal();
    bool isCertain() const;
    void giveBack(Worker &self);
    void lookAbout(Guard &guard);
    bool rest(Guard &guard, Worker &self);
    void leave(Guard &guard, Worker &self);

    static thread_local Worker *current_;

    std::int32_t const lower_;
    std::int32_t const upper_;
    std::int32_t const stackKiB_;
    std::uint32_t const idleMilliseconds_;
    bool const itemsUsePool_;

    alignas(64) std::atomic<unsigned> attention_{0};
    std::atomic<bool> hasQueued_{false};  // something came in since no work was found

    alignas(64) std::mutex mutex_;
    WorkQueue queue_{kGroupSize};
    WorkQueue urgentQueue_{1};
    std::int64_t pending_ = 0;       // items accepted and not yet counted as finished or dropped
    std::int64_t waitingItems_ = 0;  // of these, those that wait for the others
    std::int64_t quietMoments_ = 0;  // times when only those were left
    std::int64_t emptyMoments_ = 0;  // times when none was left
    int waiters_ = 0;
    bool open_ = true;
    bool ending_ = false;
    bool orphaned_ = false;  // ended by one of its own items: the last thread deletes the pool
    bool onItsWay_ = false;  // a thread was woken or started and has not arrived
    bool looking_ = false;   // a thread looks about for work
    int owners_ = 1;
    std::int32_t threads_ = 0;
    std::int32_t active_ = 0;  // threads that run items or may at any moment
    std::int32_t idleCount_ = 0;
    std::int32_t blocked_ = 0;
    std::int64_t enqueued_ = 0;
    std::int64_t finished_ = 0;
    std::int64_t dropped_ = 0;
    std::int64_t failed_ = 0;
    std::int64_t started_ = 0;
    WorkerList awake_;
    WorkerList idle_;  // the one that went to sleep last is woken first
    Worker *spare_ = nullptr;
    pthread_t lastEnded_{};  // not joined yet; each that ends joins the one before
    bool hasEnded_ = false;
    std::condition_variable rested_;  // for waiters and for the end
};

}  // namespace kqtp
