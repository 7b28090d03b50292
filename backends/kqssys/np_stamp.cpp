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
np_stamp np_stamp_current() {
    timespec now = {};
    if (safeMode.load(std::memory_order_relaxed)) {
        syscall(SYS_clock_gettime, CLOCK_MONOTONIC, &now);
    } else {
        clock_gettime(CLOCK_MONOTONIC, &now);
    }
    return now.tv_sec * kNanosecondsPerSecond + now.tv_nsec;
}

void np_stamp_diff(np_stamp start, np_stamp end, np_stamp_span *span) {
    long long const microseconds = end > start ? (end - start) / 1000 : 0;
    long long const milliseconds = microseconds / 1000;
    span->seconds = milliseconds / 1000;
    span->milliseconds = static_cast<short>(milliseconds % 1000);
    span->microseconds = static_cast<short>(microseconds % 1000);
}

void np_stamp_set_safe_mode() { safeMode.store(true, std::memory_order_relaxed); }
