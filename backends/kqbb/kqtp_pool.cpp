// The pool as its users see it: what comes in, waiting, quiescing, the end.
#include "backends/kqbb/kqtp_pool.h"

#include <algorithm>
#include <climits>
#include <new>
#include <thread>

#include "backends/kqbb/kqtp_threads.h"

namespace kqtp {

namespace {

constexpr int kLockTries = 64;

std::int32_t processors() {
    return std::max(1, static_cast<std::int32_t>(std::thread::hardware_concurrency()));
}

std::int32_t upperNumber(kqTPCreation const &creation) {
    if (creation.upper <= 0) return std::max(processors(), creation.lower);
    return std::min(creation.upper, kqTPMostThreads);
}

bool makesSense(kqTPCreation const &creation) {
    bool const knownFlags = (creation.flags & ~kqTPItemsUsePool) == 0;
    return knownFlags && creation.stackKiB >= 0 && creation.lower <= upperNumber(creation) &&
           creation.lower <= kqTPMostThreads;
}

std::int32_t saturated(std::int64_t count) {
    return static_cast<std::int32_t>(std::min<std::int64_t>(count, INT_MAX));
}

}  // namespace

Pool *Pool::create(kqTPCreation const &creation) {
    if (!makesSense(creation)) return nullptr;
    Pool *const pool = new (std::nothrow) Pool(creation);
    if (pool == nullptr || pool->startLowerNumber()) return pool;
    delete pool;
    return nullptr;
}

Pool::Pool(kqTPCreation const &creation)
    : lower_(std::max(0, creation.lower)), upper_(upperNumber(creation)),
      stackKiB_(creation.stackKiB), idleMilliseconds_(creation.idleMilliseconds),
      itemsUsePool_((creation.flags & kqTPItemsUsePool) != 0) {}

Pool::~Pool() {
    while (spare_ != nullptr) {
        Worker *const worker = spare_;
        spare_ = worker->next;
        delete worker;
    }
}

// The mutex is held so shortly that it pays to try for it before sleeping.
Pool::Guard Pool::lock() {
    for (int i = 0; i < kLockTries; ++i) {
        if (Guard guard(mutex_, std::try_to_lock); guard.owns_lock()) return guard;
        relaxProcessor();
    }
    return Guard(mutex_);
}

void Pool::setAttention(unsigned bit, bool on) {
    unsigned const before = attention_.load();
    unsigned const after = on ? before | bit : before & ~bit;
    if (after != before) attention_.store(after);
}

// --- Items come in ---

int Pool::enqueue(kqTPWork *work, bool urgent) {
    if (work == nullptr || work->operations == nullptr) return kqTPInvalid;
    Worker *sleeper = nullptr;
    {
        Guard const guard = lock();
        if (isQueued(*work)) return kqTPInvalid;
        if (!open_) return kqTPClosed;
        if (threads_ == 0 && !startThread()) return kqTPNoThread;
        push(work, urgent);
        sleeper = summon();
    }
    wake(sleeper);
    return kqTPDone;
}

void Pool::push(kqTPWork *work, bool urgent) {
    ++enqueued_;
    ++pending_;
    if (urgent) {
        urgentQueue_.push(work);
        setAttention(kUrgent, true);
    } else {
        queue_.push(work);
    }
    if (!hasQueued_.load(std::memory_order_relaxed)) hasQueued_.store(true);
}

// --- Waiting ---

// Counts items as finished or dropped.
void Pool::account(std::int64_t &counter, std::int64_t count) {
    counter += count;
    pending_ -= count;
    tellWaiters();
}

// Whoever waits is let go by the moment itself, even if more is queued before it wakes.
void Pool::tellWaiters() {
    if (pending_ > waitingItems_) return;
    ++quietMoments_;
    if (pending_ == 0) ++emptyMoments_;
    if (waiters_ > 0) rested_.notify_all();
}

void Pool::waitForMoment(Guard &guard, std::int64_t const &moments) {
    ++waiters_;
    rested_.wait(guard, [&moments, seen = moments] { return moments != seen; });
    --waiters_;
}

int Pool::wait() {
    Guard guard = lock();
    if (isInside()) return waitInside(guard, *current_);
    if (pending_ > 0) waitForMoment(guard, emptyMoments_);
    return kqTPDone;
}

bool Pool::isInside() const { return current_ != nullptr && &current_->pool == this; }

// --- Quiescing ---

void Pool::quiesce(bool drop, bool thenWait) {
    {
        Guard const guard = lock();
        open_ = false;
        if (drop) setAttention(kDropping, true);
    }
    if (drop) dropQueued();
    if (thenWait) wait();
}

// Threads that come upon items meanwhile drop them as well.
void Pool::dropQueued() {
    for (;;) {
        Guard guard = lock();
        kqTPWork *group = takeAnyGroup();
        if (group == nullptr) return;
        guard.unlock();
        while (group != nullptr) {
            kqTPWork *const work = group;
            group = detachFirst(work);
            drop(work);
        }
    }
}

kqTPWork *Pool::takeAnyGroup() {
    for (WorkQueue *const queue : {&urgentQueue_, &queue_}) {
        if (kqTPWork *const group = queue->popGroup()) return group;
    }
    return steal();
}

void Pool::drop(kqTPWork *work) {
    work->operations->run(work, 1);
    Guard const guard = lock();
    account(dropped_, 1);
}

int Pool::reset() {
    Guard const guard = lock();
    if (pending_ > 0 || ending_) return kqTPBusy;
    open_ = true;
    setAttention(kDropping, false);
    enqueued_ = finished_ = dropped_ = failed_ = started_ = 0;
    return kqTPDone;
}

// --- Counters ---

void Pool::getStatistics(kqTPStatistics &statistics) {
    Guard const guard = lock();
    std::int64_t finished = finished_;
    std::int64_t running = 0;
    for (Worker const *worker = awake_.first(); worker != nullptr; worker = worker->next) {
        std::int64_t const steps = worker->steps.load();
        finished += steps / 2 - worker->accounted;
        running += steps % 2;
    }
    statistics.dropped = dropped_;
    statistics.threadsStarted = started_;
    statistics.enqueued = enqueued_;
    statistics.finished = finished;
    statistics.queued = saturated(enqueued_ - finished - dropped_ - running);
    statistics.running = saturated(running);
    statistics.blocked = blocked_;
    statistics.threads = threads_;
    statistics.idle = idleCount_;
    statistics.failed = saturated(failed_);
}

// --- The end ---

void Pool::share() {
    Guard const guard = lock();
    ++owners_;
}

void Pool::dropOwner() {
    {
        Guard const guard = lock();
        if (--owners_ > 0) return;
    }
    end();
}

void Pool::end() {
    bool const isOwnItem = isInside();
    quiesce(true, isOwnItem);
    Guard guard = lock();
    ending_ = true;
    orphaned_ = isOwnItem;
    while (Worker *const sleeper = takeIdle()) wake(sleeper);
    if (isOwnItem) return;
    guard.unlock();
    awaitThreads();
    delete this;
}

void Pool::awaitThreads() {
    Guard guard = lock();
    rested_.wait(guard, [this] { return threads_ == 0; });
    guard.unlock();
    if (hasEnded_) pthread_join(lastEnded_, nullptr);
}

}  // namespace kqtp
