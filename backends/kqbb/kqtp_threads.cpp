// Starting the threads of a pool.
#include "backends/kqbb/kqtp_threads.h"

#include <limits.h>
#include <signal.h>

#include <algorithm>
#include <cstddef>

namespace kqtp {

constinit ThreadCalls threadCalls{pthread_create};

namespace {

// Faults of the thread itself, and the profiler's clock, are the thread's own.
sigset_t signalsOfTheProcess() {
    sigset_t signals;
    sigfillset(&signals);
    for (int const own : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGSYS, SIGPROF}) {
        sigdelset(&signals, own);
    }
    return signals;
}

bool setStack(pthread_attr_t &attributes, std::int32_t stackKiB) {
    if (stackKiB == 0) return true;
    std::size_t const least = static_cast<std::size_t>(PTHREAD_STACK_MIN);
    std::size_t const size = std::max(static_cast<std::size_t>(stackKiB) * 1024, least);
    return pthread_attr_setstacksize(&attributes, size) == 0;
}

bool startWith(pthread_attr_t const &attributes, void *(*body)(void *), void *argument) {
    sigset_t const blocked = signalsOfTheProcess();
    sigset_t before;
    pthread_sigmask(SIG_BLOCK, &blocked, &before);  // inherited by the thread
    pthread_t thread;
    bool const started = threadCalls.create(&thread, &attributes, body, argument) == 0;
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return started;
}

}  // namespace

bool startThread(std::int32_t stackKiB, void *(*body)(void *), void *argument) {
    pthread_attr_t attributes;
    if (pthread_attr_init(&attributes) != 0) return false;
    bool const started = setStack(attributes, stackKiB) && startWith(attributes, body, argument);
    pthread_attr_destroy(&attributes);
    return started;
}

}  // namespace kqtp
