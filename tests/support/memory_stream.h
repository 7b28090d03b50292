// A stream over bytes in memory, with defects on demand.
#pragma once

#include <algorithm>
#include <string>
#include <string_view>

#include "kqb/kqbtxtfile.h"

// Gives step bytes at a time where more are asked for. Counts itself in *alive.
class MemoryStream final : public KqbIORaw {
public:
    enum Defect { kNone, kNotReady, kNoOpen };

    explicit MemoryStream(std::string_view content, std::size_t step, int *alive = nullptr)
        : content_(content), step_(step), alive_(alive) {
        if (alive_ != nullptr) ++*alive_;
    }
    ~MemoryStream() override {
        if (alive_ != nullptr) --*alive_;
    }

    void fail(Defect defect) { defect_ = defect; }
    // Bytes that can be written before writing fails, and where they go.
    void writeTo(std::string *written, std::size_t room) {
        written_ = written;
        room_ = room;
    }

    bool isReady() override { return defect_ != kNotReady; }
    bool open(int) override { return defect_ != kNoOpen; }
    int read(char const **data, int max) override {
        std::size_t const count =
            std::min({step_, static_cast<std::size_t>(max), content_.size() - position_});
        *data = content_.data() + position_;
        position_ += count;
        return static_cast<int>(count);
    }
    KqbString getErrorMessage() override { return KqbString(room_ == 0 ? "no room left" : ""); }
    KqbString getName() override { return KqbString("memory"); }
    int write(char const *data, unsigned int size) override {
        std::size_t const count = std::min({step_, std::size_t{size}, room_});
        if (count == 0) return -1;
        room_ -= count;
        written_->append(data, count);
        return static_cast<int>(count);
    }
    void release() override { delete this; }
    __int64 size() override { return static_cast<__int64>(content_.size()); }
    __int64 skip(__int64 count) override {
        position_ += static_cast<std::size_t>(count);
        return static_cast<__int64>(position_);
    }

private:
    std::string content_;
    std::size_t step_;
    std::size_t position_ = 0;
    int *alive_;
    Defect defect_ = kNone;
    std::string *written_ = nullptr;
    std::size_t room_ = 1;
};
