// Text written into a caller's buffer as far as it fits, and measured beyond.
#pragma once

#include <cstddef>
#include <cstring>

#include "backends/kqschr/kqschr_kernels.h"

namespace kqschr {

class BoundedOutput {
public:
    // limit includes the NUL. out null or limit 0: measures only.
    BoundedOutput(char *out, std::size_t limit)
        : out_(limit ? out : nullptr), room_(out_ ? limit - 1 : 0) {}

    void append(char const *bytes, std::size_t size) {
        if (size > room()) return appendPart(bytes, size);
        if (size != 0) std::memcpy(target(), bytes, size);
        grow(size);
    }

    // To write without append: up to room bytes at target, of which grow tells how many count.
    std::size_t room() const { return room_ - used_; }
    char *target() { return out_ + used_; }
    void grow(std::size_t size) { used_ += size; }

    // Whether what comes now is only measured; and how much it is.
    bool isClosed() const { return !out_ || closed_; }
    void measure(std::size_t size) { beyond_ += size; }

    // Terminates what was written. Returns the size of the whole text.
    std::size_t finish() {
        if (out_) out_[used_] = '\0';
        return used_ + beyond_;
    }

private:
    // Takes what fits, and nothing any more. A character that is broken by that goes as a whole.
    void appendPart(char const *bytes, std::size_t size) {
        if (isClosed()) return measure(size);
        std::size_t const whole = used_ + size;
        std::size_t const fits = room();
        if (fits != 0) std::memcpy(target(), bytes, fits);
        grow(fits);
        if (!isLead(bytes[fits])) dropLastCharacter();
        measure(whole - used_);
        room_ = used_;
        closed_ = true;
    }

    void dropLastCharacter() {
        while (used_ != 0 && !isLead(out_[--used_])) {
        }
    }

    char *out_;
    std::size_t room_;
    std::size_t used_ = 0;
    std::size_t beyond_ = 0;
    bool closed_ = false;
};

}  // namespace kqschr
