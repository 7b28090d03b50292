// A password in memory.
#pragma once

#include <cstring>
#include <memory>
#include <string_view>
#include <utility>

namespace rzmx {

// Overwritten before its memory is given back, and never part of a longer text.
class Secret {
public:
    Secret() = default;
    explicit Secret(std::string_view text) : bytes_(new char[text.size() + 1]), size_(text.size()) {
        if (size_ > 0) std::memcpy(bytes_.get(), text.data(), size_);
        bytes_[size_] = '\0';
    }
    Secret(Secret const &other) : Secret(other.view()) {}
    Secret(Secret &&other) noexcept
        : bytes_(std::move(other.bytes_)), size_(std::exchange(other.size_, 0)) {}
    Secret &operator=(Secret other) noexcept {
        std::swap(bytes_, other.bytes_);
        std::swap(size_, other.size_);
        return *this;
    }
    ~Secret() {
        if (bytes_ != nullptr) explicit_bzero(bytes_.get(), size_);
    }

    bool empty() const { return size_ == 0; }
    std::string_view view() const {
        return bytes_ != nullptr ? std::string_view(bytes_.get(), size_) : std::string_view();
    }

    // For what makes the text shorter in place.
    char *data() { return bytes_.get(); }
    void shorten(std::size_t size) {
        explicit_bzero(bytes_.get() + size, size_ - size);
        size_ = size;
    }

private:
    std::unique_ptr<char[]> bytes_;
    std::size_t size_ = 0;
};

}  // namespace rzmx
