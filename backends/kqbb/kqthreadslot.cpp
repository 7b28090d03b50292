// Per-thread slots over the thread library's keys, whose destructors run after those of C++
// thread-local objects and run again for a value that was set anew meanwhile.
#include <pthread.h>

#include "platform/kqbb.h"

int kqThreadSlotCreate(void (*atThreadEnd)(void *)) {
    pthread_key_t key;
    if (pthread_key_create(&key, atThreadEnd) != 0) return -1;
    return static_cast<int>(key);
}

int kqThreadSlotSet(int slot, void *value) {
    if (slot < 0) return 0;
    return pthread_setspecific(static_cast<pthread_key_t>(slot), value) == 0 ? 1 : 0;
}
