// The queue of a thread pool, linked through the work records.
//
// Items are linked in groups, so that a thread takes a whole group in one step without walking over
// items that another processor has just written. A queued item's next is never null: the last of a
// group points to a mark, by which an item that is enqueued twice is found out.
#pragma once

#include <atomic>

#include "platform/kqtp.h"

namespace kqtp {

inline kqTPWork groupEnd{};  // never run, and never written

// Items may be enqueued again, in error, while a thread detaches them.
inline bool isQueued(kqTPWork &work) {
    return std::atomic_ref(work.next).load(std::memory_order_relaxed) != nullptr;
}

// Detaches the first item of a group and returns the rest of it; null: there is none.
inline kqTPWork *detachFirst(kqTPWork *group) {
    kqTPWork *const rest = group->next;
    std::atomic_ref(group->next).store(nullptr, std::memory_order_relaxed);
    return rest == &groupEnd ? nullptr : rest;
}

inline bool hasSecond(kqTPWork const *group) { return group->next != &groupEnd; }

// First in, first out, in groups of at most groupSize. Guarded by its owner.
class WorkQueue {
public:
    explicit constexpr WorkQueue(unsigned groupSize) : groupSize_(groupSize) {}

    bool isEmpty() const { return first_ == nullptr; }

    void push(kqTPWork *work) {
        work->next = &groupEnd;
        if (first_ != nullptr && lastSize_ < groupSize_) {
            lastItem_->next = work;
            ++lastSize_;
        } else {
            pushGroup(work);
        }
        lastItem_ = work;
    }

    // The group in front, or null.
    kqTPWork *popGroup() {
        kqTPWork *const group = first_;
        if (group != nullptr) first_ = group->nextGroup;
        return group;
    }

    // Puts a group in front.
    void putBack(kqTPWork *group) {
        group->nextGroup = first_;
        if (first_ == nullptr) {
            lastGroup_ = group;
            lastSize_ = groupSize_;  // takes no more: its last item is not known
        }
        first_ = group;
    }

private:
    void pushGroup(kqTPWork *work) {
        work->nextGroup = nullptr;
        if (first_ == nullptr) {
            first_ = work;
        } else {
            lastGroup_->nextGroup = work;
        }
        lastGroup_ = work;
        lastSize_ = 1;
    }

    unsigned const groupSize_;
    unsigned lastSize_ = 0;
    kqTPWork *first_ = nullptr;      // the first group's first item
    kqTPWork *lastGroup_ = nullptr;  // the last group's; these mean nothing while first_ is null
    kqTPWork *lastItem_ = nullptr;
};

}  // namespace kqtp
