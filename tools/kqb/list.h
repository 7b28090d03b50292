// A list in the making: what list commands fill, and then print.
#pragma once

#include <initializer_list>
#include <memory>

#include "cursor_output.h"

// A table of strings. Running out of memory is a Failure.
class List {
public:
    explicit List(std::initializer_list<char const *> columns);

    void add(std::initializer_list<KqbString> values);

    void print(CursorFormat format) { printCursor(*cursor_, format); }

private:
    struct Release {
        void operator()(KqbStringCursorCreater *cursor) const { cursor->release(); }
    };
    std::unique_ptr<KqbStringCursorCreater, Release> cursor_;
};
