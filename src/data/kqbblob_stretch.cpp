// Appending and reading many pages at once, where they lie together in the file.
//
// What is written, and which pages are taken, is what goes page by page would write and take; only
// the number of writes differs. So after any failure the same can be done page by page.
#include <algorithm>

#include "data/kqbblobpages_internal.h"

using PageId = KqbBlobPageId;

namespace {

constexpr int kMaxPages = 128;                // of one stretch
constexpr long long kMaxBytes = 1024 * 1024;  // the lock is not held for longer than these take
constexpr int kMaxParts = 2 * kMaxPages;      // bytes and link of each page

// Pieces of memory that lie together in the file.
struct Parts {
    void add(void const *data, std::size_t size) {
        if (size > 0) list[count++] = {const_cast<void *>(data), size};
    }
    // Whether another page has no room, with the zeros at the end.
    bool isFull() const { return count + 3 > kMaxParts; }

    np_fio_part list[kMaxParts];
    int count = 0;
};

}  // namespace

// The file pages that acquirePage would hand out one after the other, none of them taken yet.
class KqbBlobPages::Upcoming {
public:
    explicit Upcoming(KqbBlobPages const &pages) : file_(pages.file_), list_(pages.freeFile_) {}

    PageId peek() const {
        return list_.head != 0
                   ? list_.head
                   : file_.endId() + fresh_ * static_cast<long long>(file_.recordSize());
    }

    // Goes on behind the page of peek; false when what comes then cannot be told without reading.
    bool moveOn() {
        PageId next = 0;
        if (list_.head == 0) {
            ++fresh_;
        } else if (list_.head == list_.tail) {
            list_ = {};
        } else if (file_.knownLink(list_.head, &next) && file_.has(next)) {
            list_.head = next;
        } else {
            return false;
        }
        return true;
    }

    // The list, and the records to be made, when all pages up to here are taken.
    PageList const &list() const { return list_; }
    int fresh() const { return fresh_; }

private:
    KqbBlobPageFile const &file_;
    PageList list_;
    int fresh_ = 0;
};

// One stretch, from the place where the chain goes on.
class KqbBlobPages::StretchWriter {
public:
    StretchWriter(KqbBlobPages *pages, KqbBlobChain const &chain)
        : pages_(*pages), file_(pages->file_), upcoming_(*pages), chain_(chain), page_(chain.last),
          offset_(chain.writeOffset) {}

    // False where it must be done page by page.
    bool begin() {
        if (page_ != 0 && offset_ < pages_.pageSize_) {
            position_ = file_.positionOf(page_, offset_);
            return !pages_.isMemoryPage(page_);
        }
        if (page_ == 0 && pages_.freeMemory_.head != 0) return false;
        position_ = file_.linkPositionOf(page_);
        if (moveOn()) return true;
        PageId const next = upcoming_.peek();
        position_ = file_.positionOf(next, 0);
        hasLinkApart_ = page_ != 0;
        return upcoming_.moveOn() && (enter(next), true);
    }

    long long fill(char const *data, long long size) {
        long long done = 0;
        do {
            long long const chunk = std::min<long long>(pages_.pageSize_ - offset_, size - done);
            parts_.add(data + done, static_cast<std::size_t>(chunk));
            done += chunk;
            offset_ += static_cast<unsigned>(chunk);
        } while (done < size && !parts_.isFull() && moveOn());
        return endFresh() ? done : 0;
    }

    bool write() {
        bool const isWritten = file_.writeParts(position_, parts_.list, parts_.count) &&
                               (!hasLinkApart_ || pages_.writeLink(chain_.last, firstNew_));
        if (!isWritten && upcoming_.fresh() > 0) file_.dropUnadopted();
        return isWritten;
    }

    void adopt(KqbBlobChain *chain) const {
        file_.adoptRecords(upcoming_.fresh());
        pages_.freeFile_ = upcoming_.list();
        PageId previous = chain->last;
        PageId next = firstNew_;
        for (int i = 0; i < newPages_; ++i) {
            file_.adoptLink(previous, next);
            previous = next;
            next += recordSize();
        }
        if (chain->first == 0) chain->first = firstNew_;
        chain->last = page_;
        chain->writeOffset = offset_;
    }

private:
    long long recordSize() const { return static_cast<long long>(file_.recordSize()); }

    void enter(PageId next) {
        if (newPages_++ == 0) firstNew_ = next;
        page_ = next;
        offset_ = 0;
    }

    // Goes on to the next page, by its link, where that lies right behind.
    bool moveOn() {
        PageId const next = upcoming_.peek();
        bool const isBehind = file_.has(page_) || page_ >= file_.endId();
        if (!isBehind || next != page_ + recordSize() || !upcoming_.moveOn()) return false;
        links_[newPages_] = next;
        parts_.add(&links_[newPages_], sizeof next);
        enter(next);
        return true;
    }

    // What is not used of a new page is zeros. False when there is no memory for them.
    bool endFresh() {
        if (page_ < file_.endId()) return true;
        char const *const zeros = file_.zeroRecord();
        parts_.add(zeros, file_.recordSize() - offset_);
        return zeros != nullptr;
    }

    KqbBlobPages &pages_;
    KqbBlobPageFile &file_;
    Upcoming upcoming_;
    KqbBlobChain const &chain_;
    PageId page_;
    unsigned offset_;
    long long position_ = 0;
    Parts parts_;
    PageId links_[kMaxPages];
    PageId firstNew_ = 0;
    int newPages_ = 0;
    bool hasLinkApart_ = false;  // the link to the first new page does not lie in the stretch
};

long long KqbBlobPages::appendStretch(KqbBlobChain *chain, char const *data, long long size) {
    if (isTimed()) return 0;
    StretchWriter writer(this, *chain);
    if (!writer.begin()) return 0;
    long long const done = writer.fill(data, std::min(size, kMaxBytes));
    if (done == 0) return 0;
    if (!writer.write()) return -1;
    writer.adopt(chain);
    return done;
}

long long KqbBlobPages::readStretch(KqbBlobChain const &chain, KqbBlobPosition *position,
                                    char *data, long long size) {
    KqbBlobPosition at = *position;
    if (isTimed() || !file_.has(at.page)) return 0;
    auto const moveOn = [&](bool anywhere) {
        PageId next = 0;
        if (at.page == chain.last || !file_.knownLink(at.page, &next)) return false;
        bool const isBehind = next == at.page + static_cast<long long>(recordSize());
        if (!file_.has(next) || !(isBehind || anywhere)) return false;
        at = {next, 0};
        return true;
    };
    if (at.offset == pageSize_ && !moveOn(true)) return 0;

    long long const start = file_.positionOf(at.page, at.offset);
    long long const wanted = std::min(size, kMaxBytes);
    long long done = 0;
    Parts parts;
    char link[KqbBlobPageFile::kLinkSize];
    for (;;) {
        unsigned const end = at.page == chain.last ? chain.writeOffset : pageSize_;
        long long const there = end > at.offset ? end - at.offset : 0;
        long long const chunk = std::min(there, wanted - done);
        parts.add(data + done, static_cast<std::size_t>(chunk));
        done += chunk;
        at.offset += static_cast<unsigned>(chunk);
        if (done == wanted || parts.isFull() || !moveOn(false)) break;
        parts.add(link, sizeof link);
    }
    if (done == 0 || !file_.readParts(start, parts.list, parts.count)) return 0;
    *position = at;
    return done;
}
