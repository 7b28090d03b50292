// Building blocks: the thread-pool service.
//
// A pool runs work items on threads of its own. It keeps at least a lower and at most an upper
// number of threads: one more is started when an item comes and no thread is idle, and a thread
// that was idle for the idle time ends. Idle threads sleep; one at most looks about for some
// microseconds before it does.
//
// Order: urgent items are taken before all others; among equals the first in is the first taken.
// With more than one thread, items that are taken in order may run beside each other.
//
// Blocking: a thread whose item said that it blocks does not count against the upper number, so
// another may run in its place. It counts again when the item goes on; the pool then runs more
// threads than the upper number until one of them has finished its item.
//
// General rules
// - Nothing throws, and the operations of an item's table must not throw either. An item must not
//   end the thread that runs it.
// - Every accepted item is either run exactly once or dropped exactly once, and its table is told
//   which. Accepting one allocates no memory: the queue is linked through the work records.
// - Functions with an int result return 0 for success, or one of the kqTPStatus values.
// - Any thread may call any operation, items included, except where one says otherwise. A pool
//   does not survive fork().
#pragma once

#include <cstdint>

#include "platform/kqtpwork.h"

enum kqTPStatus {
    kqTPDone = 0,
    kqTPClosed = 1,    // the pool is quiesced and takes no more items
    kqTPInvalid = 2,   // a null record or table, or an item that is queued already
    kqTPNoThread = 3,  // the system refused the thread without which nothing would ever run
    kqTPBusy = 4,      // items are queued or running
};

struct kqTP;

// What a running item may ask of its pool. Valid during the call that passes it, on that thread.
class kqTPCallback {
public:
    // Queues a further item, with the urgency of the running one: an urgent item does not wait for
    // its parts behind everything else.
    virtual int enqueue(kqTPWork *work) = 0;

    // Non-zero when the pool drops what is queued: a long item should cut itself short.
    virtual int isStopping() = 0;

    // Says that the item is about to block (1), or that it runs again (0), which the end of the
    // item says as well. Saying the same twice changes nothing.
    virtual void setBlocking(int blocking) = 0;

protected:
    ~kqTPCallback() = default;
};

// How the service reaches an item. Both return non-zero when the item succeeded; one that did not
// is counted as failed. When either returns, the pool has done with the work record: the item may
// have ended itself, or have enqueued itself again as the last thing it did.
struct kqTPWorkOperations {
    // Runs the item without access to the pool: what a pool without the flag kqTPItemsUsePool does.
    // dropped 1: it is not to be run, in any pool, and lets go of what it holds; the result is then
    // ignored.
    int (*run)(kqTPWork *work, int dropped) noexcept;

    // Runs the item with access to the pool. urgent: as it was enqueued.
    int (*runWithPool)(kqTPWork *work, int urgent, kqTPCallback *callback) noexcept;
};

// Flag: items are run with access to the pool.
constexpr std::uint32_t kqTPItemsUsePool = 1U << 30;

// Idle threads above the lower number never end.
constexpr std::uint32_t kqTPIdleForever = UINT32_MAX;

// No pool has more threads than this, those of blocked items included.
constexpr std::int32_t kqTPMostThreads = 4096;

// What a pool is to be like.
struct kqTPCreation {
    std::int32_t lower;              // threads always kept; 0 or less: none
    std::int32_t upper;              // most threads that run items at the same time, above
                                     // kqTPMostThreads that many; 0 or less: as many as there are
                                     // processors, or lower if that is more
    std::int32_t stackKiB;           // stack of each thread in KiB; 0: the system's default
    std::uint32_t idleMilliseconds;  // how long a thread above the lower number stays idle before
                                     // it ends; 0: not at all
    std::uint32_t flags;             // 0 or kqTPItemsUsePool
};
static_assert(sizeof(kqTPCreation) == 20);

// A pool's counters, since it was created or reset. At every moment
// enqueued = finished + dropped + running + queued. Those of 32 bits stop at their largest value.
struct kqTPStatistics {
    std::int64_t dropped;  // items accepted and not run
    std::int64_t threadsStarted;
    std::int64_t enqueued;  // items accepted
    std::int64_t finished;  // items run to their end, failed ones included
    std::int32_t queued;    // items that wait for a thread
    std::int32_t running;   // items being run, blocked ones included
    std::int32_t blocked;   // of these, the blocked ones
    std::int32_t threads;   // threads there are
    std::int32_t idle;      // of these, those that sleep
    std::int32_t failed;    // of the finished items, those that did not succeed
};
static_assert(sizeof(kqTPStatistics) == 56);

// Creates a pool with its lower number of threads. Where the system refuses some, the pool works
// with those it got and asks again when it needs more. Null when it got none, when memory is
// missing, or when the record makes no sense: null, unknown flags, a negative stack, a lower number
// above the upper one or above kqTPMostThreads. The pool has one owner, the caller.
kqTP *kqTPCreate(kqTPCreation const *creation);

// Adds an owner.
void kqTPShare(kqTP *pool);

// Takes an owner away; with the last one the pool ends: it takes no more items, drops what is
// queued, waits for the items that run, and returns when its threads are gone. Null is ignored.
// Called by an item of the pool, it waits for the other items only, except those that wait
// themselves; the pool ends when the last of its items has. No other thread may use the pool then.
void kqTPDestroy(kqTP *pool);

// Queues an item; urgent 1 puts it before all that are not. Refused with kqTPClosed, kqTPInvalid or,
// when the pool has no thread and can get none, kqTPNoThread; the item is then as before.
int kqTPEnqueue(kqTP *pool, kqTPWork *work, int urgent);

// Waits until no item is queued or running. Called by an item of the pool, the item says that it
// blocks and waits for all others except those that wait as well; kqTPNoThread when nothing would
// then be left to run what is queued.
int kqTPWait(kqTP *pool);

// Closes the pool to new items. drop 0: those queued are still run. drop 1: they are dropped, each
// told so, partly by the calling thread; those that run go on. wait 1 then waits as kqTPWait does.
// Threads stay, until they have been idle for their time. May be repeated, to drop after all.
void kqTPQuiesce(kqTP *pool, int drop, int wait);

// Opens the pool again, and sets the counters that only grow to 0. Refused with kqTPBusy while
// items are queued or running.
int kqTPReset(kqTP *pool);

// Fills *statistics with what was true at one moment. It does not stop the threads.
void kqTPStats(kqTP *pool, kqTPStatistics *statistics);
