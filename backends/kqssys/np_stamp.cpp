// Time stamps.
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <ctime>

#include "platform/kqssys.h"

namespace {

std::atomic<bool> safeMode{false};

constexpr long long kNanosecondsPerSecond = 1'000'000'000;

}  // namespace

// clock_gettime itself reads a processor counter where the system trusts it.
long long np_stamp_get() {
    timespec now = {};
    if (safeMode.load(std::memory_order_relaxed)) {
        syscall(SYS_clock_gettime, CLOCK_MONOTONIC, &now);
    } else {
        clock_gettime(CLOCK_MONOTONIC, &now);
    }
    return now.tv_sec * kNanosecondsPerSecond + now.tv_nsec;
}

void np_stamp_set_safe_mode() { safeMode.store(true, std::memory_order_relaxed); }
