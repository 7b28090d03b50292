#include "backends/kqwlp/kqwlp_rowset.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>

namespace kqwlp {
namespace {

// Texts that make a chunk full, however few its rows.
constexpr std::size_t kChunkTexts = std::size_t{256} << 10;
constexpr std::size_t kLargestText = PTRDIFF_MAX;

constexpr std::size_t kFirstCapacity = std::size_t{4} << 10;
constexpr std::size_t kUnusualCapacity = 4 * kChunkTexts;

bool pointsAtBytes(unsigned char type) { return type == KQWLP_TEXT || type == KQWLP_REAL; }

}  // namespace

char *Buffer::reserve(std::size_t size, std::size_t kept) {
    if (size <= capacity_) return data();
    std::size_t const capacity = std::max({size, 2 * capacity_, kFirstCapacity});
    auto bytes = std::make_unique_for_overwrite<char[]>(capacity);
    if (kept > 0) std::memcpy(bytes.get(), data(), kept);
    bytes_ = std::move(bytes);
    capacity_ = capacity;
    return data();
}

void Buffer::trim() {
    if (capacity_ <= kUnusualCapacity) return;
    bytes_.reset();
    capacity_ = 0;
}

}  // namespace kqwlp

using namespace kqwlp;

bool kqwlpRowSet::describe(char const *codes) {
    if (!shape_.describe(codes)) return false;
    packer_.prepare(shape_);
    for (ColumnShape const &column : shape_.columns()) {
        kqwlpColumnValue value{};
        value.type = column.type;
        value.size = column.type == KQWLP_REAL ? KQWLP_REAL_SIZE : 0;
        values_.push_back(value);
    }
    return true;
}

// --- Adding ---------------------------------------------------------------------------------------

kqwlpCode kqwlpRowSet::check(kqwlpColumnValue const *values, std::size_t *textBytes) const {
    *textBytes = 0;
    for (ColumnShape const &column : shape_.columns()) {
        kqwlpColumnValue const &value = *values++;
        if (value.absent != 0) continue;
        if (value.type != column.type || column.type == KQWLP_UNSUPPORTED) return KQWLP_TYPE;
        if (!pointsAtBytes(column.type)) continue;
        if (column.type == KQWLP_REAL && value.size != KQWLP_REAL_SIZE) return KQWLP_TYPE;
        if (value.bytes == nullptr && value.size > 0) return KQWLP_ARGUMENT;
        if (column.type == KQWLP_TEXT) {
            if (value.size > kLargestText - *textBytes) return KQWLP_MEMORY;
            *textBytes += value.size;
        }
    }
    return KQWLP_OK;
}

bool kqwlpRowSet::isFull() const {
    return openRows_ == shape_.chunkRows() || openTextBytes_ >= kChunkTexts;
}

kqwlpCode kqwlpRowSet::add(kqwlpColumnValue const *values) {
    std::size_t textBytes;
    if (kqwlpCode const code = check(values, &textBytes); code != KQWLP_OK) return code;
    if (isFull()) {
        if (kqwlpCode const code = packOpenChunk(); code != KQWLP_OK) return code;
    }
    if (!openChunk_.isAllocated()) openChunk_.allocate(shape_);
    if (textBytes > kLargestText - openTextBytes_) return KQWLP_MEMORY;
    char *text = openTexts_.reserve(openTextBytes_ + textBytes, openTextBytes_) + openTextBytes_;
    openChunk_.write(shape_, openRows_, values, openTextBytes_);
    for (ColumnShape const &column : shape_.columns()) {
        kqwlpColumnValue const &value = *values++;
        if (column.type != KQWLP_TEXT || value.absent != 0 || value.size == 0) continue;
        std::memcpy(text, value.bytes, value.size);
        text += value.size;
    }
    openTextBytes_ += textBytes;
    ++openRows_;
    return KQWLP_OK;
}

// --- Packing --------------------------------------------------------------------------------------

// The chunk being filled stays as it is until it is safe as a packed one.
kqwlpCode kqwlpRowSet::packOpenChunk() {
    if (chunks_.size() == chunks_.capacity())
        chunks_.reserve(std::max<std::size_t>(2 * chunks_.size(), 8));
    Chunk chunk{nullptr, 0, kNoPosition, packedRows_, openRows_};
    std::size_t const size = packer_.plan(shape_, openChunk_, openRows_, openTextBytes_);
    if (kqwlpCode const code = store(size, &chunk); code != KQWLP_OK) return code;
    chunks_.push_back(std::move(chunk));
    packedRows_ += openRows_;
    openRows_ = 0;
    openTextBytes_ = 0;
    openTexts_.trim();
    packed_.trim();
    return KQWLP_OK;
}

kqwlpCode kqwlpRowSet::store(std::size_t size, Chunk *chunk) {
    bool const keep = static_cast<long long>(size) <= limit_ - memory_;
    if (keep) chunk->bytes = std::make_unique_for_overwrite<char[]>(size);
    char *const to = keep ? chunk->bytes.get() : packed_.reserve(size, 0);
    packer_.write(shape_, openChunk_, openRows_, openTexts_.data(), openTextBytes_, to);
    chunk->size = size;
    np_fio_part const part = {to, size};
    if (!keep) return spill_.write({&part, 1}, &chunk->position);
    memory_ += static_cast<long long>(size);
    return KQWLP_OK;
}

// Writes the chunks before `first`, as many as one call may take and the limit asks for.
kqwlpCode kqwlpRowSet::spillSome(std::size_t *first) {
    constexpr std::size_t kMost = 16;
    std::array<np_fio_part, kMost> parts;
    std::array<Chunk *, kMost> chunks;
    std::size_t count = 0;
    long long kept = memory_;
    while (count < kMost && kept > limit_) {
        Chunk &chunk = chunks_[--*first];
        if (chunk.bytes == nullptr) continue;
        parts[count] = {chunk.bytes.get(), chunk.size};
        chunks[count++] = &chunk;
        kept -= static_cast<long long>(chunk.size);
    }
    long long position = 0;
    kqwlpCode const code = spill_.write({parts.data(), count}, &position);
    if (code != KQWLP_OK) return code;
    for (std::size_t i = 0; i < count; ++i) {
        chunks[i]->position = position;
        position += static_cast<long long>(chunks[i]->size);
    }
    memory_ = kept;
    return KQWLP_OK;
}

// Writes chunks from the last one on until the others fit. Their memory goes back afterwards, front
// to back: the heap then shrinks once and not with every chunk.
kqwlpCode kqwlpRowSet::spill() {
    kqwlpCode code = KQWLP_OK;
    std::size_t first = chunks_.size();
    while (code == KQWLP_OK && memory_ > limit_) code = spillSome(&first);
    for (; first < chunks_.size(); ++first) {
        if (chunks_[first].position >= 0) chunks_[first].bytes.reset();
    }
    return code;
}

kqwlpCode kqwlpRowSet::setMemory(long long bytes, char const *directory) {
    if (bytes < 0) return KQWLP_ARGUMENT;
    limit_ = bytes;
    spill_.setDirectory(directory);
    if (memory_ <= limit_) return KQWLP_OK;
    readIndex_ = kNone;  // its texts may be about to move
    return spill();
}

// --- Reading --------------------------------------------------------------------------------------

// Readers mostly go on where they are or in the chunk behind.
std::size_t kqwlpRowSet::chunkOf(long long number) const {
    if (readIndex_ != kNone) {
        for (std::size_t i = readIndex_; i < readIndex_ + 2 && i < chunks_.size(); ++i) {
            long long const row = number - chunks_[i].firstRow;
            if (row >= 0 && row < chunks_[i].rows) return i;
        }
    }
    auto const behind =
        std::upper_bound(chunks_.begin(), chunks_.end(), number,
                         [](long long row, Chunk const &chunk) { return row < chunk.firstRow; });
    return static_cast<std::size_t>(behind - chunks_.begin()) - 1;
}

kqwlpCode kqwlpRowSet::openForReading(std::size_t index) {
    if (!readChunk_.isAllocated()) readChunk_.allocate(shape_);
    readIndex_ = kNone;
    Chunk const &chunk = chunks_[index];
    char const *bytes = chunk.bytes.get();
    if (bytes == nullptr) {
        readBytes_.trim();
        char *const buffer = readBytes_.reserve(chunk.size, 0);
        kqwlpCode const code = spill_.read(chunk.position, buffer, chunk.size);
        if (code != KQWLP_OK) return code;
        bytes = buffer;
    }
    readTexts_ = unpack(shape_, bytes, chunk.rows, readChunk_);
    readIndex_ = index;
    return KQWLP_OK;
}

kqwlpCode kqwlpRowSet::readRow(long long number, kqwlpRow *row) {
    if (number >= packedRows_) {
        auto const index = static_cast<unsigned>(number - packedRows_);
        openChunk_.read(shape_, index, openTexts_.data(), values_.data());
    } else {
        std::size_t const chunk = chunkOf(number);
        if (chunk != readIndex_) {
            if (kqwlpCode const code = openForReading(chunk); code != KQWLP_OK) return code;
        }
        auto const index = static_cast<unsigned>(number - chunks_[chunk].firstRow);
        readChunk_.read(shape_, index, readTexts_, values_.data());
    }
    current_ = number;
    *row = values_.data();
    return KQWLP_OK;
}

kqwlpCode kqwlpRowSet::seek(long long number, kqwlpRow *row) {
    if (number < 0) return KQWLP_ARGUMENT;
    next_ = std::min(number, rows());
    return next(row);
}

kqwlpCode kqwlpRowSet::next(kqwlpRow *row) {
    if (next_ >= rows()) return KQWLP_END;
    kqwlpCode const code = readRow(next_, row);
    if (code == KQWLP_OK) ++next_;
    return code;
}

kqwlpCode kqwlpRowSet::current(kqwlpRow *row) {
    return current_ < 0 ? KQWLP_END : readRow(current_, row);
}
