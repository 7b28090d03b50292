// The threads of a pool. Every call to the thread library goes through one table, so that tests can
// have threads refused.
#pragma once

#include <pthread.h>

#include <cstdint>
#include <thread>

namespace kqtp {

struct ThreadCalls {
    int (*create)(pthread_t *thread, pthread_attr_t const *attributes, void *(*body)(void *),
                  void *argument);
};
extern ThreadCalls threadCalls;

// Starts a thread that blocks the signals meant for the process, which are for the host's threads.
// stackKiB 0: the default. Returns whether there is one.
bool startThread(std::int32_t stackKiB, void *(*body)(void *), void *argument);

// In a loop that waits for another processor.
inline void relaxProcessor() {
#if defined(__x86_64__) || defined(__i386__)
    __builtin_ia32_pause();
#else
    std::this_thread::yield();
#endif
}

}  // namespace kqtp
