// The threads of a pool: how they come, find work, rest and go.
#include <chrono>
#include <new>
#include <thread>
#include <utility>

#include "backends/kqbb/kqtp_pool.h"
#include "backends/kqbb/kqtp_threads.h"

namespace kqtp {

namespace {

using Clock = std::chrono::steady_clock;

// Sleeping and waking costs as much as looking about for this time.
constexpr std::chrono::microseconds kLookAbout{20};
constexpr int kLooksPerClock = 16;

kqTPWork takingMark{};  // in a stash whose thread is taking from it

// On the only processor nobody brings work while this thread looks.
bool const kIsAlone = std::thread::hardware_concurrency() == 1;

}  // namespace

constinit thread_local Worker *Pool::current_ = nullptr;

void WorkerList::add(Worker &worker) {
    worker.previous = nullptr;
    worker.next = first_;
    if (first_ != nullptr) first_->previous = &worker;
    first_ = &worker;
}

void WorkerList::remove(Worker &worker) {
    if (worker.next != nullptr) worker.next->previous = worker.previous;
    (worker.previous != nullptr ? worker.previous->next : first_) = worker.next;
}

// --- What an item may ask ---

int Worker::enqueue(kqTPWork *work) { return pool.enqueue(work, urgent); }

int Worker::isStopping() { return pool.isStopping() ? 1 : 0; }

void Worker::setBlocking(int isBlocking) {
    if (blocking != (isBlocking != 0)) pool.setBlocking(*this, isBlocking != 0);
}

// --- Coming ---

bool Pool::startLowerNumber() {
    Guard const guard = lock();
    while (threads_ < lower_ && startThread()) {
    }
    return threads_ > 0 || lower_ == 0;
}

// Called with the mutex, so that nobody relies on a thread that is then refused.
bool Pool::startThread() {
    Worker *const worker = threads_ < kqTPMostThreads ? spareWorker() : nullptr;
    if (worker == nullptr) return false;
    // The new thread waits for the mutex before it looks at its record.
    if (!kqtp::startThread(stackKiB_, threadBody, worker)) {
        worker->next = spare_;
        spare_ = worker;
        return false;
    }
    awake_.add(*worker);
    ++threads_;
    ++active_;
    ++started_;
    onItsWay_ = true;
    return true;
}

Worker *Pool::spareWorker() {
    Worker *const worker = spare_;
    if (worker == nullptr) return new (std::nothrow) Worker(*this);
    spare_ = worker->next;
    return worker;
}

// Sees to it that a thread comes for work that lies about. Returns one that is to be woken once the
// mutex is free, or null.
Worker *Pool::summon() {
    if (onItsWay_ || looking_ || active_ >= upper_) return nullptr;
    Worker *const worker = takeIdle();
    if (worker == nullptr) {
        startThread();
    } else {
        onItsWay_ = true;
    }
    return worker;
}

Worker *Pool::takeIdle() {
    Worker *const worker = idle_.first();
    if (worker == nullptr) return nullptr;
    moveToAwake(*worker);
    worker->woken = true;
    return worker;
}

void Pool::moveToAwake(Worker &worker) {
    idle_.remove(worker);
    awake_.add(worker);
    --idleCount_;
    ++active_;
}

void Pool::wake(Worker *worker) {
    if (worker != nullptr) worker->wake.notify_one();
}

void *Pool::threadBody(void *argument) {
    Worker &self = *static_cast<Worker *>(argument);
    pthread_setname_np(pthread_self(), "kqb-pool");
    current_ = &self;
    self.pool.work(self);
    return nullptr;
}

// --- Working ---

void Pool::work(Worker &self) {
    Guard guard = lock();
    onItsWay_ = false;
    while (refill(guard, self)) {
        runStash(self);
        guard = lock();
        settle(self);
    }
    leave(guard, self);
}

void Pool::runStash(Worker &self) {
    for (;;) {
        unsigned const attention = attention_.load();
        if ((attention & kSurplus) != 0) return;
        if ((attention & kUrgent) != 0) {
            runUrgent(self);
        } else if (!runFirst(self)) {
            return;
        }
    }
}

bool Pool::runFirst(Worker &self) {
    if (self.stash.load(std::memory_order_relaxed) == nullptr) return false;
    kqTPWork *const work = self.stash.exchange(&takingMark);
    kqTPWork *const rest = work == nullptr ? nullptr : detachFirst(work);
    self.stash.store(rest, std::memory_order_release);
    if (work == nullptr) return false;
    __builtin_prefetch(rest, 1);  // it was written by another processor, and will be by this one
    // Asked after the exchange: whoever drops what is queued, and left this stash alone for its
    // mark, had raised the flag before.
    isStopping() ? drop(work) : run(self, work, false);
    return true;
}

void Pool::runUrgent(Worker &self) {
    Guard guard = lock();
    settle(self);
    kqTPWork *const work = urgentQueue_.popGroup();
    if (urgentQueue_.isEmpty()) setAttention(kUrgent, false);
    if (work == nullptr) return;
    Worker *const sleeper = hasWork() ? summon() : nullptr;
    guard.unlock();
    wake(sleeper);
    detachFirst(work);
    isStopping() ? drop(work) : run(self, work, true);
}

void Pool::run(Worker &self, kqTPWork *work, bool urgent) {
    kqTPWorkOperations const &operations = *work->operations;
    self.urgent = urgent;
    self.steps.store(self.steps.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
    int const succeeded =
        itemsUsePool_ ? operations.runWithPool(work, urgent, &self) : operations.run(work, 0);
    self.setBlocking(0);
    if (succeeded == 0) {
        Guard const guard = lock();
        ++failed_;
    }
    self.steps.store(self.steps.load(std::memory_order_relaxed) + 1, std::memory_order_release);
}

// Counts the items that the thread has run since.
void Pool::settle(Worker &self) {
    std::int64_t const ended = self.steps.load(std::memory_order_relaxed) / 2;
    std::int64_t const count = ended - self.accounted;
    self.accounted = ended;
    if (count > 0) account(finished_, count);
}

// --- Blocking ---

void Pool::setBlocking(Worker &worker, bool blocking) {
    Guard const guard = lock();
    worker.blocking = blocking;
    blocking ? beginBlocked() : endBlocked();
}

// Another thread may take this one's place.
void Pool::beginBlocked() {
    ++blocked_;
    --active_;
    if (hasWork()) wake(summon());
}

void Pool::endBlocked() {
    --blocked_;
    if (++active_ > upper_) setAttention(kSurplus, true);
}

// Whether work lies about, or may do.
bool Pool::hasWork() const {
    if (!queue_.isEmpty() || !urgentQueue_.isEmpty()) return true;
    for (Worker const *worker = awake_.first(); worker != nullptr; worker = worker->next) {
        if (worker->stash.load(std::memory_order_relaxed) != nullptr) return true;
    }
    return false;
}

// Its thread waits in the middle of an item.
int Pool::waitInside(Guard &guard, Worker &self) {
    settle(self);
    ++waitingItems_;
    if (!self.blocking) beginBlocked();
    tellWaiters();
    bool const isStuck = active_ == 0 && hasWork();
    if (!isStuck && pending_ > waitingItems_) waitForMoment(guard, quietMoments_);
    --waitingItems_;
    if (!self.blocking) endBlocked();
    return isStuck ? kqTPNoThread : kqTPDone;
}

// --- Finding work ---

// Fills the stash, or finds urgent work, and gives up the mutex; false: the thread is to end.
bool Pool::refill(Guard &guard, Worker &self) {
    for (bool looked = kIsAlone;;) {
        bool const isSurplus = active_ > upper_;
        if (!isSurplus && takeWork(guard, self)) return true;
        if (isSurplus) giveBack(self);
        if (ending_) return false;
        if (!isSurplus && !isCertain()) {
            guard.unlock();
            std::this_thread::yield();
            guard = lock();
        } else if (!looked && !looking_ && !isSurplus) {
            lookAbout(guard);
            looked = true;
        } else if (!rest(guard, self)) {
            return false;
        }
    }
}

bool Pool::takeWork(Guard &guard, Worker &self) {
    setAttention(kSurplus, false);
    Worker *sleeper = nullptr;
    bool const hasStash = self.stash.load(std::memory_order_relaxed) != nullptr;
    if (!hasStash && urgentQueue_.isEmpty()) {
        kqTPWork *group = queue_.popGroup();
        if (group == nullptr) group = steal();
        if (group == nullptr) {
            hasQueued_.store(false, std::memory_order_relaxed);
            return false;
        }
        if (hasSecond(group) || hasWork()) sleeper = summon();
        self.stash.store(group);
    }
    guard.unlock();
    wake(sleeper);
    return true;
}

kqTPWork *Pool::steal() {
    for (Worker *worker = awake_.first(); worker != nullptr; worker = worker->next) {
        kqTPWork *group = worker->stash.load();
        if (group == nullptr || group == &takingMark) continue;
        if (worker->stash.compare_exchange_strong(group, nullptr)) return group;
    }
    return nullptr;
}

// Whether no thread is just taking from its stash.
bool Pool::isCertain() const {
    for (Worker const *worker = awake_.first(); worker != nullptr; worker = worker->next) {
        if (worker->stash.load() == &takingMark) return false;
    }
    return true;
}

// A thread that is too many does not keep items to itself.
void Pool::giveBack(Worker &self) {
    kqTPWork *const group = self.stash.exchange(nullptr);
    if (group == nullptr) return;
    queue_.putBack(group);
    hasQueued_.store(true);
}

// --- Resting ---

void Pool::lookAbout(Guard &guard) {
    looking_ = true;
    guard.unlock();
    Clock::time_point const until = Clock::now() + kLookAbout;
    for (int i = 1; !hasQueued_.load(std::memory_order_relaxed); ++i) {
        relaxProcessor();
        if (i % kLooksPerClock == 0 && Clock::now() >= until) break;
    }
    guard = lock();
    looking_ = false;
}

// Sleeps until there is work; false: the idle time is over, or the pool ends.
bool Pool::rest(Guard &guard, Worker &self) {
    bool const isTimed = threads_ > lower_ && idleMilliseconds_ != kqTPIdleForever;
    if (isTimed && idleMilliseconds_ == 0) return false;
    self.woken = false;
    awake_.remove(self);
    idle_.add(self);
    ++idleCount_;
    --active_;
    auto const isWoken = [&self] { return self.woken; };
    std::chrono::milliseconds const limit(idleMilliseconds_);
    if (!isTimed) {
        self.wake.wait(guard, isWoken);
    } else if (!self.wake.wait_for(guard, limit, isWoken)) {
        moveToAwake(self);
        return threads_ <= lower_;
    }
    onItsWay_ = false;
    return true;
}

// --- Going ---

void Pool::leave(Guard &guard, Worker &self) {
    awake_.remove(self);
    self.next = spare_;
    spare_ = &self;
    --active_;
    bool const isLast = --threads_ == 0;
    bool const deletes = isLast && orphaned_;
    bool const joins = std::exchange(hasEnded_, true);
    pthread_t const before = std::exchange(lastEnded_, pthread_self());
    if (isLast) rested_.notify_all();
    current_ = nullptr;
    guard.unlock();
    if (joins) pthread_join(before, nullptr);
    if (!deletes) return;
    pthread_detach(pthread_self());
    delete this;
}

}  // namespace kqtp
