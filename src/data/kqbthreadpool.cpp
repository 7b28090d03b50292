// The thread pool's face: items and callbacks as classes, statuses as bools.
#include "kqb/kqbthreadpool.h"

#include <cstdio>
#include <exception>

#include "platform/kqlog.h"
#include "platform/kqtp.h"

struct KqbThreadPoolWorkAccess {
    static kqTPWork *prepare(KqbThreadPoolWork *work);
};

namespace {

constexpr int kError = 5;

KqbThreadPoolWork &itemOf(kqTPWork *record) {
    return *static_cast<KqbThreadPoolWork *>(record->item);
}

class ThreadPoolCB final : public KqbThreadPoolCallback {
public:
    explicit ThreadPoolCB(kqTPCallback &service) : service_(service) {}

    void setBlocking(bool blocking) override {
        isBlocking_ = blocking;
        service_.setBlocking(blocking);
    }
    bool enqueue(KqbThreadPoolWork *work) override {
        return service_.enqueue(KqbThreadPoolWorkAccess::prepare(work)) == kqTPDone;
    }
    bool isStopping() override { return service_.isStopping() != 0; }

    bool isBlocking() const { return isBlocking_; }

private:
    kqTPCallback &service_;
    bool isBlocking_ = false;
};

void logFailure(char const *reason) {
    char text[512];
    std::snprintf(text, sizeof text, "A work item threw an exception: %s", reason);
    kqlogGetLogger("KQ.Base.ThreadPool")->write(kError, "kqbthreadpool", __LINE__, text);
}

// What an item throws goes no further than this.
template <class Run>
int guarded(Run run) noexcept {
    try {
        return run() ? 1 : 0;
    } catch (std::exception const &exception) {
        logFailure(exception.what());
    } catch (...) {
        logFailure("not derived from std::exception");
    }
    return 0;
}

int runWithoutPool(kqTPWork *record, int dropped) noexcept {
    return guarded([=] { return itemOf(record).runWithoutPool(dropped != 0); });
}

bool runInStages(KqbThreadPoolWork &item, bool urgent, kqTPCallback &service) {
    ThreadPoolCB callback(service);
    bool const result = item.runWithPool(urgent, &callback);
    if (callback.isBlocking()) return result;  // the item may be gone by now
    service.setBlocking(0);
    return item.run();
}

int runWithPool(kqTPWork *record, int urgent, kqTPCallback *service) noexcept {
    return guarded([=] { return runInStages(itemOf(record), urgent != 0, *service); });
}

constexpr kqTPWorkOperations kAdapter{runWithoutPool, runWithPool};

template <class Counter, class Value>
void copyCounter(Counter *out, Value value) {
    if (out != nullptr) *out = value;
}

}  // namespace

// An item that is queued already may be read by a thread of the pool, so what stands there is not
// written again.
kqTPWork *KqbThreadPoolWorkAccess::prepare(KqbThreadPoolWork *work) {
    if (work == nullptr) return nullptr;
    kqTPWork &record = work->record_;
    if (record.operations != &kAdapter) record.operations = &kAdapter;
    if (record.item != work) record.item = work;
    return &record;
}

bool KqbThreadPoolWork::runWithPool(bool, KqbThreadPoolCallback *) { return true; }

bool KqbThreadPoolWork::runWithoutPool(bool dropped) { return dropped || run(); }

KqbThreadPoolWork::~KqbThreadPoolWork() = default;

KqbThreadPool::~KqbThreadPool() {
    if (pool_ != nullptr) kqTPDestroy(pool_);
}

KqbThreadPool::KqbThreadPool(KqbThreadPool const &other) : pool_(other.pool_) {
    if (pool_ != nullptr) kqTPShare(pool_);
}

KqbThreadPool &KqbThreadPool::operator=(KqbThreadPool const &other) {
    kqTP *const mine = pool_;
    if (other.pool_ != nullptr) kqTPShare(other.pool_);
    pool_ = other.pool_;
    if (mine != nullptr) kqTPDestroy(mine);
    return *this;
}

bool KqbThreadPool::start(int lower, int upper, unsigned int idleMilliseconds) {
    if (pool_ != nullptr) return false;
    kqTPCreation const creation{lower, upper, 0, idleMilliseconds, kqTPItemsUsePool};
    pool_ = kqTPCreate(&creation);
    return pool_ != nullptr;
}

bool KqbThreadPool::enqueue(KqbThreadPoolWork *work, bool urgent) {
    if (pool_ == nullptr) return false;
    return kqTPEnqueue(pool_, KqbThreadPoolWorkAccess::prepare(work), urgent) == kqTPDone;
}

bool KqbThreadPool::wait() { return pool_ != nullptr && kqTPWait(pool_) == kqTPDone; }

void KqbThreadPool::quiesce(bool drop, bool wait) {
    if (pool_ != nullptr) kqTPQuiesce(pool_, drop, wait);
}

bool KqbThreadPool::reset() { return pool_ != nullptr && kqTPReset(pool_) == kqTPDone; }

bool KqbThreadPool::getStats(__int64 *enqueued, __int64 *finished, int *queued, int *running,
                             int *blocked, int *threads, int *idle, int *failed) {
    if (pool_ == nullptr) return false;
    kqTPStatistics statistics;
    kqTPStats(pool_, &statistics);
    copyCounter(enqueued, statistics.enqueued);
    copyCounter(finished, statistics.finished);
    copyCounter(queued, statistics.queued);
    copyCounter(running, statistics.running);
    copyCounter(blocked, statistics.blocked);
    copyCounter(threads, statistics.threads);
    copyCounter(idle, statistics.idle);
    copyCounter(failed, statistics.failed);
    return true;
}
