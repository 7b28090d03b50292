// The columns of a cursor over variants.
#pragma once

#include <vector>

#include "config/kqbmemory_internal.h"
#include "kqb/kqbdatavar.h"

class KqbCursorColumns {
public:
    unsigned count() const { return static_cast<unsigned>(columns_.size()); }
    bool has(int column) const { return static_cast<unsigned>(column) < columns_.size(); }

    // What a cursor answers for a number that is no column is theirs to answer.
    KqbString name(int column) const { return has(column) ? at(column).name : KqbString("", true); }
    kqbType type(int column) const { return has(column) ? at(column).type : KqbTypeUnknown; }

    void add(KqbString const &name, kqbType type) {
        if (!kqbWithMemory([&] { columns_.push_back({name, type}); })) lacksColumn_ = true;
    }
    // False when memory ran out for one of them.
    bool areComplete() const { return !lacksColumn_; }

    void clear() {
        columns_.clear();
        lacksColumn_ = false;
    }

private:
    struct Column {
        KqbString name;
        kqbType type;
    };
    Column const &at(int column) const { return columns_[static_cast<unsigned>(column)]; }

    std::vector<Column> columns_;
    bool lacksColumn_ = false;
};

// What values are handed out as copies of. Once the caller has let go of one, it takes the next
// row's value without a new piece of memory.
struct KqbCursorHolder {
    KqbDatavar value;
    KqbString text;
};
