// Events.
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <new>
#include <system_error>

#include "platform/kqbb.h"

struct kqEvent {
    explicit kqEvent(bool isManual) : manual(isManual) {}

    bool const manual;
    bool set = false;  // guarded by mutex
    std::mutex mutex;
    std::condition_variable changed;
};

namespace {

bool waitUntilSet(kqEvent &event, std::unique_lock<std::mutex> &guard, int milliseconds) {
    auto const isSet = [&event] { return event.set; };
    if (milliseconds >= 0) {
        return event.changed.wait_for(guard, std::chrono::milliseconds(milliseconds), isSet);
    }
    event.changed.wait(guard, isSet);
    return true;
}

}  // namespace

kqEvent *kqEventCreate(int manual) {
    try {
        return new (std::nothrow) kqEvent(manual != 0);
    } catch (std::system_error const &) {
        return nullptr;
    }
}

void kqEventDestroy(kqEvent *event) { delete event; }

// Told under the mutex: a waiter that wakes may destroy the event as soon as it has the mutex.
void kqEventSet(kqEvent *event) {
    std::lock_guard const guard(event->mutex);
    event->set = true;
    event->manual ? event->changed.notify_all() : event->changed.notify_one();
}

void kqEventReset(kqEvent *event) {
    std::lock_guard const guard(event->mutex);
    event->set = false;
}

int kqEventWait(kqEvent *event, int milliseconds) {
    std::unique_lock guard(event->mutex);
    if (!waitUntilSet(*event, guard, milliseconds)) return 0;
    event->set = event->manual;
    return 1;
}
