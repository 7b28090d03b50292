// Bytes that grow and may be read a little beyond their end.
#pragma once

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <utility>

namespace kqbio {

class Buffer {
public:
    // Behind the capacity this many bytes may be read and written: a terminator finds its place
    // there, and a vector load at the last byte stays inside.
    static constexpr std::size_t kSlack = 16;

    Buffer() = default;
    Buffer(Buffer &&other) noexcept { *this = std::move(other); }
    Buffer &operator=(Buffer &&other) noexcept {
        std::swap(data_, other.data_);
        std::swap(capacity_, other.capacity_);
        return *this;
    }
    ~Buffer() { std::free(data_); }

    char *data() { return data_; }
    std::size_t capacity() const { return capacity_; }

    // Makes room for capacity bytes at least, keeping what is there. False, with everything as it
    // was, when memory runs out.
    bool reserve(std::size_t capacity) {
        if (data_ != nullptr && capacity <= capacity_) return true;
        void *grown = std::realloc(data_, capacity + kSlack);
        if (grown == nullptr) return false;
        data_ = static_cast<char *>(grown);
        std::memset(data_ + capacity, 0, kSlack);
        capacity_ = capacity;
        return true;
    }

private:
    char *data_ = nullptr;
    std::size_t capacity_ = 0;
};

// Text put together piece by piece.
class TextBuilder {
public:
    // False when memory runs out.
    bool reserve(std::size_t size) { return buffer_.reserve(size); }
    bool append(char const *text, std::size_t size) {
        if (size > buffer_.capacity() - size_ && !grow(size)) return false;
        if (size > 0) std::memcpy(buffer_.data() + size_, text, size);
        size_ += size;
        return true;
    }
    std::size_t size() const { return size_; }

    // The text, terminated. Something must have been reserved.
    char const *text() {
        buffer_.data()[size_] = '\0';
        return buffer_.data();
    }

private:
    bool grow(std::size_t size) {
        std::size_t const doubled = 2 * buffer_.capacity();
        return buffer_.reserve(size_ + size > doubled ? size_ + size : doubled);
    }

    Buffer buffer_;
    std::size_t size_ = 0;
};

}  // namespace kqbio
