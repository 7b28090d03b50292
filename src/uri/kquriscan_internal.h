// NextPlace: looking for separators.
#pragma once

#include <string_view>

// Finds a byte at or behind places that only move on, in one pass over the text.
class NextPlace {
public:
    NextPlace(std::string_view text, char byte)
        : text_(text), byte_(byte), place_(text.find(byte)) {}

    // The first place at or behind from; npos when there is none.
    std::size_t from(std::size_t from) {
        if (place_ < from) place_ = text_.find(byte_, from);
        return place_;
    }

private:
    std::string_view text_;
    char byte_;
    std::size_t place_;
};
