// A row set: one chunk being filled, full chunks packed in memory or in a file, one chunk being read.
#pragma once

#include <memory>
#include <vector>

#include "backends/kqwlp/kqwlp_chunk.h"
#include "backends/kqwlp/kqwlp_rows.h"
#include "backends/kqwlp/kqwlp_spill.h"

namespace kqwlp {

// Bytes that come and go, in memory that is kept for the next ones.
class Buffer {
public:
    char *data() const { return bytes_.get(); }
    std::size_t capacity() const { return capacity_; }

    // Room for size bytes, of which the first `kept` stay. Throws std::bad_alloc, with all as it was.
    char *reserve(std::size_t size, std::size_t kept);

    // Lets go of room that only an unusually large chunk needed.
    void trim();

private:
    std::unique_ptr<char[]> bytes_;
    std::size_t capacity_ = 0;
};

}  // namespace kqwlp

// Operations return the codes of the contract and throw std::bad_alloc, with everything as it was.
struct kqwlpRowSet {
public:
    bool describe(char const *codes);

    kqwlpCode setMemory(long long bytes, char const *directory);
    kqwlpCode add(kqwlpColumnValue const *values);
    kqwlpCode seek(long long number, kqwlpRow *row);
    kqwlpCode next(kqwlpRow *row);
    kqwlpCode current(kqwlpRow *row);

    long long rows() const { return packedRows_ + openRows_; }
    int columns() const { return static_cast<int>(shape_.columns().size()); }
    kqwlpUsage usage() const { return {memory_, spill_.size()}; }

private:
    // A full chunk, in memory or at a position of the file.
    struct Chunk {
        std::unique_ptr<char[]> bytes;
        std::size_t size;
        long long position;
        long long firstRow;
        unsigned rows;
    };
    static constexpr long long kNoPosition = -1;
    static constexpr std::size_t kNone = ~std::size_t{0};

    kqwlpCode check(kqwlpColumnValue const *values, std::size_t *textBytes) const;
    bool isFull() const;
    kqwlpCode packOpenChunk();
    kqwlpCode store(std::size_t size, Chunk *chunk);
    kqwlpCode spill();
    kqwlpCode spillSome(std::size_t *first);
    kqwlpCode readRow(long long number, kqwlpRow *row);
    kqwlpCode openForReading(std::size_t index);
    std::size_t chunkOf(long long number) const;

    kqwlp::Shape shape_;

    // The chunk being filled.
    kqwlp::Rows openChunk_;
    kqwlp::Buffer openTexts_;
    std::size_t openTextBytes_ = 0;
    unsigned openRows_ = 0;

    std::vector<Chunk> chunks_;
    long long packedRows_ = 0;
    long long memory_ = 0;
    long long limit_ = KQWLP_DEFAULT_MEMORY;
    kqwlp::Packer packer_;
    kqwlp::Buffer packed_;
    kqwlp::Spill spill_;

    // The chunk being read; kNone when there is none.
    kqwlp::Rows readChunk_;
    kqwlp::Buffer readBytes_;
    std::size_t readIndex_ = kNone;
    char const *readTexts_ = nullptr;

    std::vector<kqwlpColumnValue> values_;  // of the row handed out last
    long long current_ = -1;
    long long next_ = 0;
};
