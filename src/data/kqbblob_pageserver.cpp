// The page server's start, its hold and its lock.
#include "data/kqbblobpageserver_internal.h"

#include <new>

#include "core/kqblog_internal.h"
#include "kqb/kqbconfigoptions.h"

namespace {

constexpr unsigned kDefaultPageSize = 4096;
constexpr int kDefaultMemPageCount = 10;
constexpr unsigned kPageSizeUnit = 8;

}  // namespace

// --- Start --------------------------------------------------------------------------------------

// The option with its references expanded; null when there is none.
KqbString KqbBlobPages::option(char const *key) const {
    KqbString value;
    KqbConfigOptions *const options = kqbGetConfigOptions("");
    if (options != nullptr) options->getOption(key, &value, true);
    return value;
}

// A count; 0 when the option is missing or, with a complaint, when it is no count.
int KqbBlobPages::number(char const *key, char const *complaint) const {
    KqbString const text = option(key);
    if (text.isNull()) return 0;
    bool error = false;
    int const value = text.asInt(&error);
    if (!error && value >= 0) return value;
    kqbLog(logger_, 5, kKqbBlobSource, __LINE__, complaint);
    return 0;
}

void KqbBlobPages::readSizes() {
    pageSize_ =
        static_cast<unsigned>(number("BASE/BLOB/PAGESIZE", "Invalid blob page size in config"));
    if (pageSize_ == 0) {
        pageSize_ = kDefaultPageSize;
        kqbLog(logger_, 2, kKqbBlobSource, __LINE__, "Default page size of %d bytes will be used",
               pageSize_);
    }
    memPageCount_ = number("BASE/BLOB/MEMPAGES", "Invalid mem page count in config");
    if (memPageCount_ == 0) {
        // Without memory pages the page size is the default one, whatever was configured; the
        // count stays 0.
        kqbLog(logger_, 2, kKqbBlobSource, __LINE__, "Default mem page count of %d will be used",
               kDefaultMemPageCount);
        pageSize_ = kDefaultPageSize;
    }
    pageSize_ = (pageSize_ + kPageSizeUnit - 1) / kPageSizeUnit * kPageSizeUnit;
}

bool KqbBlobPages::makePageArea() {
    pageArea_.reset(
        new (std::nothrow) char[recordSize() * static_cast<std::size_t>(memPageCount_)]);
    if (pageArea_ != nullptr) return true;
    kqbLog(logger_, 5, kKqbBlobSource, __LINE__, "Page area allocation failed");
    return false;
}

bool KqbBlobPages::makePageFile() {
    KqbString const directory = option("BASE/TEMP");
    bool const isKnown = directory.cStrSize() > 1;
    if (!isKnown) kqbLog(logger_, 5, kKqbBlobSource, __LINE__, "No temp path configured");
    np_fio_error const error =
        file_.open(isKnown ? directory.asCstr() : nullptr, pageSize_, memPageCount_ + 1LL);
    if (error == NP_FIO_OK) return true;
    kqbLog(logger_, 5, kKqbBlobSource, __LINE__, "Failed to create temp file: %d %s", error,
           np_fio_errdesc(error));
    return false;
}

bool KqbBlobPages::startUp() {
    if (started_) return true;
    kqbLog(logger_, 2, kKqbBlobSource, __LINE__, "Startup");
    readSizes();
    if (!makePageArea() || !makePageFile()) {
        pageArea_.reset();
        return false;
    }
    for (KqbBlobPageId id = 1; isMemoryPage(id); ++id) {
        writeLink(id, 0);
        freePages(id, id);
    }
    started_ = true;
    kqbLog(logger_, 2, kKqbBlobSource, __LINE__, "Startup succeeded");
    return true;
}

// --- The hold -----------------------------------------------------------------------------------

void *KqbBlobPageServer::create() { return new (std::nothrow) KqbBlobPages; }

void KqbBlobPageServer::destroy(void *instance) {
    auto *const pages = static_cast<KqbBlobPages *>(instance);
    if (pages == nullptr) return;
    if (pages->isTimed()) pages->dump(getName());
    delete pages;
}

template <class Operation>
auto KqbBlobPageServer::locked(Operation const &operation) {
    struct Unlock {
        KqbBlobPageServer *server;
        ~Unlock() { server->unlock(); }
    };
    lock();
    Unlock const unlockAtEnd{this};
    return operation(*pages());
}

bool KqbBlobPageServer::startUp() {
    if (pages() == nullptr) {
        kqbLog(kqlogGetLogger("KQ.Base.Blob.PageServer"), 5, kKqbBlobSource, __LINE__,
               "Out of memory");
        return false;
    }
    return locked([](KqbBlobPages &pages) { return pages.startUp(); });
}

bool KqbBlobPageServer::acquirePage(bool memoryAllowed, KqbBlobPageId previous,
                                    KqbBlobPageId *page) {
    return locked(
        [=](KqbBlobPages &pages) { return pages.acquirePage(memoryAllowed, previous, page); });
}

bool KqbBlobPageServer::nextPage(KqbBlobPageId id, KqbBlobPageId *next) {
    return locked([=](KqbBlobPages &pages) { return pages.nextPage(id, next); });
}

bool KqbBlobPageServer::readPage(KqbBlobPageId id, char *data, unsigned offset, unsigned size) {
    return locked([=](KqbBlobPages &pages) { return pages.readPage(id, data, offset, size); });
}

bool KqbBlobPageServer::writePage(KqbBlobPageId id, char const *data, unsigned offset,
                                  unsigned size) {
    return locked([=](KqbBlobPages &pages) { return pages.writePage(id, data, offset, size); });
}

void KqbBlobPageServer::freePages(KqbBlobPageId first, KqbBlobPageId last) {
    locked([=](KqbBlobPages &pages) { pages.freePages(first, last); });
}

long long KqbBlobPageServer::appendStretch(KqbBlobChain *chain, char const *data, long long size) {
    return locked([=](KqbBlobPages &pages) { return pages.appendStretch(chain, data, size); });
}

long long KqbBlobPageServer::readStretch(KqbBlobChain const &chain, KqbBlobPosition *position,
                                         char *data, long long size) {
    return locked(
        [&](KqbBlobPages &pages) { return pages.readStretch(chain, position, data, size); });
}
