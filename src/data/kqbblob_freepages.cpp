// Giving pages back.
#include "core/kqblog_internal.h"
#include "data/kqbblobtiming_internal.h"
#include "kqb/kqbhost.h"

using PageId = KqbBlobPageId;

namespace {

constexpr int kSuspiciousSteps = 1000000;

}  // namespace

// Moves on along a chain that is being freed.
bool KqbBlobPages::followLink(PageId *page) {
    PageId const id = *page;
    if (getLink(id, page)) return true;
    kqbLog(logger_, 5, kKqbBlobSource, __LINE__, "Seek/read failed at offset %I64i",
           file_.positionOf(id, 0));
    return false;
}

// Whether the chain never reaches last, because it has more steps than there are pages.
bool KqbBlobPages::isCircle(PageId page, PageId last) {
    long long steps = pageCount();
    while (page >= 1 && page != last && steps > 0 && readLink(page, &page) == Access::kDone)
        --steps;
    return steps == 0;
}

// Walks the chain and frees runs of pages of one kind. The last page goes with the run that reaches
// it, whatever its own kind.
void KqbBlobPages::freePages(PageId first, PageId last) {
    if (first == 0) return kqbAssertFailure("first page", kKqbBlobSource, __LINE__);
    if (last == 0) return kqbAssertFailure("last page", kKqbBlobSource, __LINE__);
    PageId runStart = first;
    PageId previous = 0;
    bool inMemory = isMemoryPage(first);
    int steps = 0;
    int runs = 1;
    long long left = pageCount();
    for (PageId current = first;; ++steps) {
        if (current < 1) {
            return kqbLog(logger_, 5, kKqbBlobSource, __LINE__,
                          "Invalid page id %I64i while freeing page", current);
        }
        if (current == last) return freeRun(inMemory, runStart, last);
        // A circle of both kinds of pages would free the same runs again and again.
        bool const isNewRun = isMemoryPage(current) != inMemory;
        if (--left < 0 || (isNewRun && ++runs == 3 && isCircle(current, last))) {
            return kqbAssertFailure("page chain", kKqbBlobSource, __LINE__);
        }
        if (isNewRun) {
            freeRun(inMemory, runStart, previous);
            runStart = current;
            inMemory = !inMemory;
        }
        previous = current;
        if (!followLink(&current)) return;
        if (steps > kSuspiciousSteps) {
            kqbLog(logger_, 4, kKqbBlobSource, __LINE__, "Suspiciously long page list");
            steps = 0;
        }
    }
}

// Appends a run to the list of its kind. What is no page must never be handed out.
void KqbBlobPages::freeRun(bool inMemory, PageId first, PageId last) {
    Timing const timing(this, inMemory ? "FREE_MEM_PAGES" : "FREE_FILE_PAGES");
    PageList &list = inMemory ? freeMemory_ : freeFile_;
    if (!isPage(first) || !isPage(last)) {
        return kqbAssertFailure("page id", kKqbBlobSource, __LINE__);
    }
    if (list.head == 0) {
        list = {first, last};
        return;
    }
    if (isMemoryPage(list.tail) != inMemory) {
        kqbAssertFailure("page kind", kKqbBlobSource, __LINE__);
    }
    if (setLink(list.tail, first)) list.tail = last;
}
