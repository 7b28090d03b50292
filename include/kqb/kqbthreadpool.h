// KqbThreadPool: runs work items on threads of its own.
#pragma once

#include "kqb/kqbtypes.h"
#include "platform/kqtpwork.h"

struct kqTP;
class KqbThreadPoolWork;

// What a running item may ask of its pool. Valid until the operation that received it returns, and
// only on the item's own thread. Implemented by the library.
class KqbThreadPoolCallback {
public:
    // Says that the item is about to block (true), for instance on something that another item of
    // the pool does: another thread takes the place of this one, so that the pool goes on with the
    // work that is queued. False says that the item runs again. The end of the item says so too.
    virtual void setBlocking(bool blocking) = 0;

    // Queues a further item, as KqbThreadPool::enqueue does, urgent if the running item is urgent.
    virtual bool enqueue(KqbThreadPoolWork *work) = 0;

    // Whether the pool drops what is queued: an item that runs long should then cut itself short.
    virtual bool isStopping() = 0;

protected:
    ~KqbThreadPoolCallback() = default;
};

// A piece of work: what it does is said by deriving from it.
//
// A pool calls runWithPool(), where the item may queue further items and ask whether to stop. An
// item that says there that it blocks does all its work there, and the result is the item's result.
// One that does not say so, or has taken it back, needs the pool no more: run() is called next on
// the same thread, and the result of runWithPool() does not count.
//
// An item belongs to the caller. From enqueue on it must stay alive and where it is until it has
// run or was dropped. The pool has done with it when the operation that it calls last returns:
// run(), or runWithPool() of an item that blocks, or runWithoutPool(). Such an operation may
// therefore end with `delete this`, or enqueue the item again as the last thing it does. An item
// cannot be queued twice at a time, and one pool at a time may have it.
//
// Items may throw: the exception is logged as an error of "KQ.Base.ThreadPool" and the item counts
// as failed. They must not end the thread that runs them.
class KQB_API KqbThreadPoolWork {
public:
    KqbThreadPoolWork() = default;

    // A copy is an item of its own, which is not queued.
    KqbThreadPoolWork(KqbThreadPoolWork const &) {}
    KqbThreadPoolWork &operator=(KqbThreadPoolWork const &) { return *this; }

    // The item with its pool at hand; urgent as it was enqueued. The result tells whether the item
    // succeeded, see above. By default does nothing.
    virtual bool runWithPool(bool urgent, KqbThreadPoolCallback *pool);

    // The item without a pool. With dropped the pool has let go of the item instead of running it,
    // and it should release what it holds; the result is then ignored. Without, it is to be run:
    // a KqbThreadPool never asks for that, since it always gives its items access, but who shares
    // items with other services may. By default returns run() unless dropped.
    virtual bool runWithoutPool(bool dropped);

    // The work of an item that does not block. The result tells whether the item succeeded.
    virtual bool run() = 0;

    virtual ~KqbThreadPoolWork();

private:
    friend struct KqbThreadPoolWorkAccess;

    kqTPWork record_{};
};

// A pool of threads with one queue, urgent items first, otherwise first in, first out. Every item
// that is accepted is run exactly once or dropped exactly once, and an item that was dropped is
// told so. Queueing takes no memory. Idle threads sleep.
//
// Copies are handles on one pool, which ends with the last of them.
//
// Thread safety: enqueue, wait, quiesce, reset and getStats may be called from any thread while
// the handle lives, items of the pool included. start, assignment and destruction belong to the
// owning thread. A pool needs no kqbInitialize, and does not survive fork().
class KQB_API KqbThreadPool {
public:
    // No pool: until start, every other operation returns false or does nothing.
    KqbThreadPool() = default;

    // Ends the pool if this is its last handle: refuses new items, drops what is queued, waits for
    // the items that run, and returns when the threads are gone. To have what is queued run first,
    // call wait() or quiesce(false, true) before. Called by an item of the pool, it waits for the
    // other running items, except those that wait themselves, and the threads go when the last item
    // has ended.
    ~KqbThreadPool();

    KqbThreadPool(KqbThreadPool const &other);

    // Lets go of this handle's pool, as the destructor does, and takes the other's.
    KqbThreadPool &operator=(KqbThreadPool const &other);

    // Starts a pool.
    //   lower: threads that are always kept, at most 4096; 0 or less: none, the first item starts
    //          one.
    //   upper: most threads that run items at the same time, blocked items not counted; more than
    //          4096 counts as that; 0 or less: one for each processor, but not fewer than lower. A
    //          thread above lower is started when an item is queued and no thread is idle.
    //   idleMilliseconds: how long a thread above lower stays idle before it ends; 0: not at all;
    //          4294967295: for ever.
    // False when this handle has a pool already, which it keeps; when lower is above upper; when
    // memory is missing; and when the system refuses every thread that lower asks for. If it
    // refuses only some, the pool works with those it got and asks again when it needs more.
    bool start(int lower, int upper, unsigned int idleMilliseconds);

    // Queues an item; an urgent one goes before all that are not. False, with the item untouched,
    // when work is null or queued already, when the pool is quiesced, and when the pool has no
    // thread and the system refuses the first.
    bool enqueue(KqbThreadPoolWork *work, bool urgent);

    // Waits for a moment when no item is queued or running; returns at once when there is none.
    // Called by an item of the pool, it waits for all items except those that wait as well, and
    // another thread takes the item's place meanwhile. False when the system refuses that thread
    // and nothing would be left to run what is queued.
    bool wait();

    // Closes the pool: no more items are accepted, also from running items, until reset. With drop
    // those still queued are dropped, some of them told so by this call; without, they are run.
    // With wait, waits as wait() does. Threads stay, until they have been idle for their time. May
    // be repeated, to drop or to wait after all.
    void quiesce(bool drop, bool wait);

    // Opens a quiesced pool again, and sets the counters enqueued, finished and failed to 0. False
    // while items are queued or running, and so when an item of the pool calls it.
    bool reset();

    // Copies counters, all of one moment; null pointers are skipped.
    //   enqueued: items accepted since start or reset.    finished: of these, those that were run
    //                                                     to their end, failed ones included.
    //   queued:   items that wait for a thread.           running: items being run.
    //   blocked:  of these, those that said they block.   threads: threads there are.
    //   idle:     of these, those that sleep.             failed: of the finished items, those
    //                                                     that returned false or threw.
    // enqueued - finished - queued - running items were dropped. Counts of int stop at INT_MAX.
    bool getStats(__int64 *enqueued, __int64 *finished, int *queued, int *running, int *blocked,
                  int *threads, int *idle, int *failed);

private:
    kqTP *pool_ = nullptr;
};
