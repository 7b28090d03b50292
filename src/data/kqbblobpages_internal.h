// The pages of all blobs: a few in memory, the others in the page file.
#pragma once

#include <memory>

#include "data/kqbblobpagefile_internal.h"
#include "kqb/kqbstring.h"
#include "kqb/rtprofiler.h"
#include "platform/kqlog.h"

// A chain of pages as the blob that owns it knows it: every page but the last is full, and leads to
// the next by its link. Of the last, writeOffset bytes are in use.
struct KqbBlobChain {
    KqbBlobPageId first = 0;  // 0: no page yet
    KqbBlobPageId last = 0;
    unsigned writeOffset = 0;
};

// Where a reader of a chain stands: offset bytes of the page are behind it.
struct KqbBlobPosition {
    KqbBlobPageId page = 0;  // 0: before the first
    unsigned offset = 0;
};

// The state of the page server. Pages 1 to memPageCount are records in memory, all others records of
// the page file. Free pages are in two lists, of memory pages and of file pages, which run through
// the pages' own links; a list ends at its tail, whose link is not looked at.
//
// Two peculiarities are meant so. A chain of two pages of different kinds goes as a whole to the list
// of its first page, so the list of memory pages may end in a file page; it then stays usable, and
// the assertion that the next page put there raises does no harm. A page keeps a link it had when
// it was the tail of its list, until it gets the next page of its new chain.
//
// Failures are logged by "KQ.Base.Blob.PageServer", broken internal rules reported as assertions.
// Neither hands out a page twice. Not locked: its callers hold the server's lock.
//
// While the logger passes level 1, every page operation is timed, and goes page by page.
class KqbBlobPages : public RTProfiler {
public:
    KqbBlobPages() : logger_(kqlogGetLogger("KQ.Base.Blob.PageServer")) {}

    // Reads the options and makes the page area and the page file; nothing once that succeeded.
    // False, with everything as before, when it fails.
    bool startUp();

    unsigned pageSize() const { return pageSize_; }
    bool isTimed() const { return logger_->getLevel() < 2; }

    // Takes a free page, of memory where that is allowed and there is one, and leads previous (0:
    // none) to it. On failure the page stays free.
    bool acquirePage(bool memoryAllowed, KqbBlobPageId previous, KqbBlobPageId *page);

    bool nextPage(KqbBlobPageId id, KqbBlobPageId *next);

    // Bytes of one page. Where the file ends early, what is missing is left as it was.
    bool readPage(KqbBlobPageId id, char *data, unsigned offset, unsigned size);
    bool writePage(KqbBlobPageId id, char const *data, unsigned offset, unsigned size);

    // Frees the pages of a chain. A chain that does not lead from first to last is freed in part or
    // not at all.
    void freePages(KqbBlobPageId first, KqbBlobPageId last);

    // Appends to the chain as many of size bytes as go into one stretch of the file, with all links,
    // by one write. Returns their number: 0 where it has to be done page by page, and -1 with
    // nothing done when the file cannot be written.
    long long appendStretch(KqbBlobChain *chain, char const *data, long long size);

    // Reads as many of size bytes as lie in one stretch of the file, by one read, and moves the
    // position. Returns their number: 0 where it has to be done page by page.
    long long readStretch(KqbBlobChain const &chain, KqbBlobPosition *position, char *data,
                          long long size);

private:
    struct PageList {
        KqbBlobPageId head = 0;
        KqbBlobPageId tail = 0;
    };
    class Timing;
    class Upcoming;
    class StretchWriter;
    using Access = KqbBlobPageFile::Access;

    // Starting.
    KqbString option(char const *key) const;
    int number(char const *key, char const *complaint) const;
    void readSizes();
    bool makePageArea();
    bool makePageFile();

    // The pages themselves. What is in memory always succeeds.
    bool isMemoryPage(KqbBlobPageId id) const { return id < memPageCount_ + 1LL; }
    bool isPage(KqbBlobPageId id) const { return isMemoryPage(id) ? id >= 1 : file_.has(id); }
    std::size_t recordSize() const { return pageSize_ + KqbBlobPageFile::kLinkSize; }
    char *memoryPage(KqbBlobPageId id) const;
    bool isRange(KqbBlobPageId id, unsigned offset, unsigned size) const;
    bool getLink(KqbBlobPageId id, KqbBlobPageId *next);
    bool setLink(KqbBlobPageId id, KqbBlobPageId next);
    Access readLink(KqbBlobPageId id, KqbBlobPageId *next);
    bool writeLink(KqbBlobPageId id, KqbBlobPageId next);
    void logSeek(KqbBlobPageId id, std::size_t offset);

    // Free pages.
    bool take(PageList *list, KqbBlobPageId *page);
    bool takeFilePage(KqbBlobPageId *page);
    void putBack(PageList *list, KqbBlobPageId page);
    bool extendPageFile(KqbBlobPageId *page);
    bool followLink(KqbBlobPageId *page);
    bool isCircle(KqbBlobPageId page, KqbBlobPageId last);
    long long pageCount() const { return memPageCount_ + file_.recordCount(); }
    void freeRun(bool inMemory, KqbBlobPageId first, KqbBlobPageId last);

    KqLogger *const logger_;
    bool started_ = false;
    std::unique_ptr<char[]> pageArea_;
    unsigned pageSize_ = 0;  // a multiple of 8
    int memPageCount_ = 0;
    KqbBlobPageFile file_;
    PageList freeMemory_;
    PageList freeFile_;
};

inline constexpr char kKqbBlobSource[] = "kqbblob_pageserver";
