// Taking, reading and writing single pages.
#include <cstring>

#include "core/kqblog_internal.h"
#include "data/kqbblobtiming_internal.h"
#include "kqb/kqbhost.h"

using PageId = KqbBlobPageId;

// --- Bytes and links ----------------------------------------------------------------------------

char *KqbBlobPages::memoryPage(PageId id) const {
    return &pageArea_[static_cast<std::size_t>(id - 1) * recordSize()];
}

void KqbBlobPages::logSeek(PageId id, std::size_t offset) {
    kqbLog(logger_, 5, kKqbBlobSource, __LINE__, "Seek to %I64i failed",
           file_.positionOf(id, offset));
}

KqbBlobPages::Access KqbBlobPages::readLink(PageId id, PageId *next) {
    if (!isMemoryPage(id)) return file_.readLink(id, next);
    std::memcpy(next, memoryPage(id) + pageSize_, sizeof *next);
    return Access::kDone;
}

bool KqbBlobPages::writeLink(PageId id, PageId next) {
    if (!isMemoryPage(id)) return file_.writeLink(id, next);
    std::memcpy(memoryPage(id) + pageSize_, &next, sizeof next);
    return true;
}

bool KqbBlobPages::getLink(PageId id, PageId *next) {
    Access const access = readLink(id, next);
    if (access == Access::kNoPosition) logSeek(id, pageSize_);
    if (access == Access::kFailed) {
        kqbLog(logger_, 5, kKqbBlobSource, __LINE__, "File read failed during read page id");
    }
    return access == Access::kDone;
}

// A link to nowhere would be written behind the records, so the page must be one.
bool KqbBlobPages::setLink(PageId id, PageId next) {
    if (!isPage(id)) {
        kqbAssertFailure("page id", kKqbBlobSource, __LINE__);
        return false;
    }
    if (writeLink(id, next)) return true;
    kqbLog(logger_, 5, kKqbBlobSource, __LINE__, "File write failed during write page id");
    return false;
}

bool KqbBlobPages::nextPage(PageId id, PageId *next) {
    Timing const timing(this, "NEXT_PAGE");
    if (id >= 1) return getLink(id, next);
    kqbLog(logger_, 5, kKqbBlobSource, __LINE__, "Invalid page ID supplied to nextPage");
    return false;
}

bool KqbBlobPages::isRange(PageId id, unsigned offset, unsigned size) const {
    if (id < 1) {
        kqbAssertFailure("page id", kKqbBlobSource, __LINE__);
        return false;
    }
    if (offset > pageSize_ || size > pageSize_ - offset) {
        kqbAssertFailure("page range", kKqbBlobSource, __LINE__);
        return false;
    }
    return true;
}

bool KqbBlobPages::readPage(PageId id, char *data, unsigned offset, unsigned size) {
    Timing const timing(this, "READ");
    if (!isRange(id, offset, size)) return false;
    if (isMemoryPage(id)) {
        std::memcpy(data, memoryPage(id) + offset, size);
        return true;
    }
    Access const access = file_.read(id, offset, data, size);
    if (access == Access::kNoPosition) logSeek(id, offset);
    if (access == Access::kFailed) {
        kqbLog(logger_, 5, kKqbBlobSource, __LINE__, "File read failed while read page");
    }
    return access == Access::kDone;
}

bool KqbBlobPages::writePage(PageId id, char const *data, unsigned offset, unsigned size) {
    Timing const timing(this, "WRITE");
    if (!isRange(id, offset, size)) return false;
    if (isMemoryPage(id)) {
        std::memcpy(memoryPage(id) + offset, data, size);
        return true;
    }
    if (!file_.has(id)) {
        kqbAssertFailure("page id", kKqbBlobSource, __LINE__);
        return false;
    }
    if (file_.write(id, offset, data, size)) return true;
    kqbLog(logger_, 5, kKqbBlobSource, __LINE__, "Failed to write %d bytes to file", size);
    return false;
}

// --- Taking pages -------------------------------------------------------------------------------

// Takes the head. A link that leads to no page ends the list: what is behind it is lost, but
// nothing that is no page, or not free, is handed out.
bool KqbBlobPages::take(PageList *list, PageId *page) {
    PageId const head = list->head;
    if (head == list->tail) {
        *list = {};
        *page = head;
        return true;
    }
    PageId next = 0;
    if (!getLink(head, &next)) return false;
    if (list == &freeMemory_ && !setLink(head, 0)) return false;
    if (isPage(next)) {
        list->head = next;
    } else {
        kqbAssertFailure("free page", kKqbBlobSource, __LINE__);
        *list = {};
    }
    *page = head;
    return true;
}

bool KqbBlobPages::takeFilePage(PageId *page) {
    return freeFile_.head == 0 ? extendPageFile(page) : take(&freeFile_, page);
}

void KqbBlobPages::putBack(PageList *list, PageId page) {
    if (list->head == 0) {
        *list = {page, page};
    } else if (setLink(page, list->head)) {
        list->head = page;
    }
}

bool KqbBlobPages::acquirePage(bool memoryAllowed, PageId previous, PageId *page) {
    Timing const timing(this, "ACQUIRE_PAGE");
    bool const inMemory = memoryAllowed && freeMemory_.head != 0;
    PageId taken = 0;
    if (!(inMemory ? take(&freeMemory_, &taken) : takeFilePage(&taken))) return false;
    if (previous != 0 && !setLink(previous, taken)) {
        putBack(inMemory ? &freeMemory_ : &freeFile_, taken);
        return false;
    }
    *page = taken;
    return true;
}

bool KqbBlobPages::extendPageFile(PageId *page) {
    Timing const timing(this, "ADD_FILE_PAGE");
    char const *const zeros = file_.zeroRecord();
    if (zeros == nullptr) {
        kqbLog(logger_, 5, kKqbBlobSource, __LINE__, "Out of mem");
        return false;
    }
    PageId const id = file_.endId();
    if (!file_.extend(zeros)) {
        kqbLog(logger_, 5, kKqbBlobSource, __LINE__, "File write failed at %I64i", file_.end());
        return false;
    }
    *page = id;
    return true;
}
