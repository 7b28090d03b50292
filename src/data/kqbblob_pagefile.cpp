#include <algorithm>
#include <cstring>
#include <new>

#include "data/kqbblobpagefile_internal.h"

using Access = KqbBlobPageFile::Access;
using PageId = KqbBlobPageId;

namespace {

constexpr std::size_t kFirstLinkRoom = 64;

}  // namespace

np_fio_error KqbBlobPageFile::open(char const *directory, unsigned pageSize, PageId firstId) {
    pageSize_ = pageSize;
    firstId_ = firstId;
    return np_fio_tmpfile(directory, "kqblob", name_, sizeof name_, &file_);
}

void KqbBlobPageFile::close() {
    if (file_ == NP_FIO_NONE) return;
    np_fio_close(file_);
    np_fio_delete(name_);
    file_ = NP_FIO_NONE;
    end_ = 0;
    knownLinks_ = 0;
    zeroRecord_.reset();
}

bool KqbBlobPageFile::has(PageId id) const {
    long long const offset = id - firstId_;
    return id >= firstId_ && offset < end_ && offset % static_cast<long long>(recordSize()) == 0;
}

long long KqbBlobPageFile::positionOf(PageId id, std::size_t offset) const {
    long long const start = id - firstId_;
    return start < kNowhere - static_cast<long long>(recordSize())
               ? start + static_cast<long long>(offset)
               : kNowhere;
}

// --- Links --------------------------------------------------------------------------------------

// The record's number; one that no file has where there is no such page.
std::size_t KqbBlobPageFile::indexOf(PageId id) const {
    return has(id) ? static_cast<std::size_t>(id - firstId_) / recordSize() : kMaxKnownLinks;
}

bool KqbBlobPageFile::knownLink(PageId id, PageId *next) const {
    std::size_t const index = indexOf(id);
    if (index >= knownLinks_) return false;
    *next = links_[index];
    return true;
}

Access KqbBlobPageFile::readLink(PageId id, PageId *next) const {
    if (knownLink(id, next)) return Access::kDone;
    long long const position = linkPositionOf(id);
    if (position == kNowhere) return Access::kNoPosition;
    PageId link = 0;
    std::size_t count = 0;
    np_fio_error const error = np_fio_read_at(file_, position, &link, kLinkSize, &count);
    if (error != NP_FIO_OK || count != kLinkSize) return Access::kFailed;
    *next = link;
    return Access::kDone;
}

bool KqbBlobPageFile::writeLink(PageId id, PageId next) {
    if (!write(id, pageSize_, &next, kLinkSize)) return false;
    adoptLink(id, next);
    return true;
}

void KqbBlobPageFile::adoptLink(PageId id, PageId next) {
    std::size_t const index = indexOf(id);
    if (index < knownLinks_) links_[index] = next;
}

bool KqbBlobPageFile::growKnownLinks() {
    std::size_t const room = std::min(std::max(2 * linkRoom_, kFirstLinkRoom), kMaxKnownLinks);
    if (room == linkRoom_) return false;
    std::unique_ptr<PageId[]> larger(new (std::nothrow) PageId[room]);
    if (larger == nullptr) return false;
    std::copy_n(links_.get(), knownLinks_, larger.get());
    links_ = std::move(larger);
    linkRoom_ = room;
    return true;
}

// --- Bytes --------------------------------------------------------------------------------------

Access KqbBlobPageFile::read(PageId id, std::size_t offset, void *data, std::size_t size) const {
    long long const position = positionOf(id, offset);
    std::size_t count = 0;
    if (position == kNowhere) return Access::kNoPosition;
    np_fio_error const error = np_fio_read_at(file_, position, data, size, &count);
    return error == NP_FIO_OK ? Access::kDone : Access::kFailed;
}

bool KqbBlobPageFile::write(PageId id, std::size_t offset, void const *data, std::size_t size) {
    return np_fio_write_at(file_, positionOf(id, offset), data, size) == NP_FIO_OK;
}

bool KqbBlobPageFile::readParts(long long position, np_fio_part const *parts, int count) const {
    std::size_t wanted = 0;
    std::size_t got = 0;
    for (int i = 0; i < count; ++i) wanted += parts[i].size;
    return np_fio_read_parts_at(file_, position, parts, count, &got) == NP_FIO_OK && got == wanted;
}

bool KqbBlobPageFile::writeParts(long long position, np_fio_part const *parts, int count) {
    return np_fio_write_parts_at(file_, position, parts, count) == NP_FIO_OK;
}

// --- The end ------------------------------------------------------------------------------------

char const *KqbBlobPageFile::zeroRecord() {
    if (zeroRecord_ == nullptr) zeroRecord_.reset(new (std::nothrow) char[recordSize()]());
    return zeroRecord_.get();
}

bool KqbBlobPageFile::extend(char const *zeroRecord) {
    if (np_fio_write_at(file_, end_, zeroRecord, recordSize()) != NP_FIO_OK) {
        dropUnadopted();
        return false;
    }
    adoptRecords(1);
    return true;
}

// Links are known of all records up to one whose link found no room, and of none behind it.
void KqbBlobPageFile::adoptRecords(int count) {
    for (; count > 0; --count) {
        bool const isNext = static_cast<long long>(knownLinks_ * recordSize()) == end_;
        end_ += static_cast<long long>(recordSize());
        if (isNext && (knownLinks_ < linkRoom_ || growKnownLinks())) links_[knownLinks_++] = 0;
    }
}

void KqbBlobPageFile::dropUnadopted() { np_fio_truncate(file_, end_); }
