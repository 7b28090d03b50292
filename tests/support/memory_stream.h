// A stream over bytes in memory, with defects on demand.
#pragma once

#include <algorithm>
#include <memory>
#include <string>

#include "kqb/kqbtxtfile.h"

// Gives step bytes at a time where more are asked for. Shares the life that it is given.
struct MemoryStream final : KqbIORaw {
    MemoryStream(std::string bytes, std::size_t atOnce, std::shared_ptr<int> life = nullptr)
        : content(std::move(bytes)), step(atOnce), alive(std::move(life)) {}

    bool isReady() override { return ready; }
    bool open(int) override { return opens; }
    int read(char const **data, int max) override {
        *data = content.data() + position;
        position += std::min({step, static_cast<std::size_t>(max), content.size() - position});
        return static_cast<int>(content.data() + position - *data);
    }
    KqbString getErrorMessage() override { return KqbString(room == 0 ? "no room left" : ""); }
    KqbString getName() override { return KqbString("memory"); }
    int write(char const *data, unsigned int size) override {
        std::size_t const count = std::min({step, std::size_t{size}, room});
        room -= count;
        written.append(data, count);
        return count == 0 ? -1 : static_cast<int>(count);
    }
    void release() override { delete this; }
    __int64 size() override { return static_cast<__int64>(content.size()); }
    __int64 skip(__int64 count) override { return position += static_cast<std::size_t>(count), 0; }

    std::string content, written;
    std::size_t step, position = 0, room = 1;  // room: bytes that can be written
    std::shared_ptr<int> alive;
    bool ready = true, opens = true;
};
