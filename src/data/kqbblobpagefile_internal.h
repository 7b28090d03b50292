// The page file of the blobs: records of a page's bytes and its link, back to back.
#pragma once

#include <cstddef>
#include <memory>

#include "platform/kqsfio.h"

// 0 is no page; memory pages are numbered from 1, and behind them begin the file pages.
using KqbBlobPageId = long long;

// A temporary file of page records, each of pageSize bytes and the id of the next page of the same
// chain, 8 bytes in the machine's order. Record r of the file is page firstId + r * recordSize.
//
// This process is the file's only writer, so what the links say is known without reading: those of
// the first pages, up to a bound, are kept in memory besides. Whatever was written is in the file
// when an operation returns. Not locked.
class KqbBlobPageFile {
public:
    static constexpr std::size_t kLinkSize = sizeof(KqbBlobPageId);
    // The pages whose links are kept in memory: 8 MiB of them at the most.
    static constexpr std::size_t kMaxKnownLinks = std::size_t{1} << 20;

    // How reading ends; kNoPosition: the id lies where no file can reach.
    enum class Access { kDone, kNoPosition, kFailed };

    KqbBlobPageFile() = default;
    ~KqbBlobPageFile() { close(); }
    KqbBlobPageFile(KqbBlobPageFile const &) = delete;
    KqbBlobPageFile &operator=(KqbBlobPageFile const &) = delete;

    // Creates the file, which must not be open, in directory (null: the system's).
    np_fio_error open(char const *directory, unsigned pageSize, KqbBlobPageId firstId);
    // Closes and removes it.
    void close();

    std::size_t recordSize() const { return pageSize_ + kLinkSize; }
    // Where the next new record begins.
    long long end() const { return end_; }
    KqbBlobPageId endId() const { return firstId_ + end_; }
    long long recordCount() const { return end_ / static_cast<long long>(recordSize()); }

    // Whether there is a page of that id in the file.
    bool has(KqbBlobPageId id) const;

    // Where a byte of the page's record lies in the file; kNowhere where no file can reach.
    static constexpr long long kNowhere = 0x7FFFFFFFFFFFFFFF;
    long long positionOf(KqbBlobPageId id, std::size_t offset) const;
    long long linkPositionOf(KqbBlobPageId id) const { return positionOf(id, pageSize_); }

    Access readLink(KqbBlobPageId id, KqbBlobPageId *next) const;
    // The link where it is known without reading the file.
    bool knownLink(KqbBlobPageId id, KqbBlobPageId *next) const;
    // Bytes of one page. Reading may end early at the end of the file.
    Access read(KqbBlobPageId id, std::size_t offset, void *data, std::size_t size) const;

    // To pages that are there only.
    bool writeLink(KqbBlobPageId id, KqbBlobPageId next);
    bool write(KqbBlobPageId id, std::size_t offset, void const *data, std::size_t size);

    // A record of zeros, made on first use; null when memory is missing.
    char const *zeroRecord();
    // Writes a record of zeros at the end. The page is firstId + the end before.
    bool extend(char const *zeroRecord);

    // Several records at once. What is read must be there. What is written counts as it is adopted:
    // new records at the end by their number, changed links one by one; otherwise dropped.
    bool readParts(long long position, np_fio_part const *parts, int count) const;
    bool writeParts(long long position, np_fio_part const *parts, int count);
    void adoptRecords(int count);
    void adoptLink(KqbBlobPageId id, KqbBlobPageId next);
    // Cuts off what a failed write left behind the end.
    void dropUnadopted();

private:
    static constexpr int kMaxName = 4096;

    std::size_t indexOf(KqbBlobPageId id) const;
    bool growKnownLinks();

    np_fio_file file_ = NP_FIO_NONE;
    std::size_t pageSize_ = 0;
    KqbBlobPageId firstId_ = 0;
    long long end_ = 0;
    std::unique_ptr<char[]> zeroRecord_;
    std::unique_ptr<KqbBlobPageId[]> links_;  // of the first knownLinks_ records
    std::size_t knownLinks_ = 0;
    std::size_t linkRoom_ = 0;
    char name_[kMaxName];
};
