// The thread-pool service's operations.
#include "platform/kqtp.h"

#include "backends/kqbb/kqtp_pool.h"

namespace {

kqtp::Pool *poolOf(kqTP *handle) { return reinterpret_cast<kqtp::Pool *>(handle); }

}  // namespace

kqTP *kqTPCreate(kqTPCreation const *creation) {
    if (creation == nullptr) return nullptr;
    return reinterpret_cast<kqTP *>(kqtp::Pool::create(*creation));
}

void kqTPShare(kqTP *pool) { poolOf(pool)->share(); }

void kqTPDestroy(kqTP *pool) {
    if (pool != nullptr) poolOf(pool)->dropOwner();
}

int kqTPEnqueue(kqTP *pool, kqTPWork *work, int urgent) {
    return poolOf(pool)->enqueue(work, urgent != 0);
}

int kqTPWait(kqTP *pool) { return poolOf(pool)->wait(); }

void kqTPQuiesce(kqTP *pool, int drop, int wait) { poolOf(pool)->quiesce(drop != 0, wait != 0); }

int kqTPReset(kqTP *pool) { return poolOf(pool)->reset(); }

void kqTPStats(kqTP *pool, kqTPStatistics *statistics) { poolOf(pool)->getStatistics(*statistics); }
