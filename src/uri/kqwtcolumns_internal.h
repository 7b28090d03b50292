// KqWTColumns: the columns of a work table, and their text.
#pragma once

#include <string_view>

#include "config/kqbblocklist_internal.h"
#include "config/kqbkeyindex_internal.h"
#include "kqb/kqbstring.h"

struct KqWTColumn {
    KqbString name;
    KqbString value;
    int type = 0;
};

// What a message calls the type that a value must convert to; null for types that take any text.
char const *kqbWTTypeWord(int type);

// Whether a value is of its type. Throws std::bad_alloc.
bool kqbWTConverts(KqbString const &value, int type);

// Columns in order, no two of the same name. The text is described in kqworktableuri.h.
class KqWTColumns {
public:
    std::size_t size() const { return columns_.size(); }
    KqWTColumn const &operator[](std::size_t at) const { return columns_[at]; }

    // Whether there is one of that name, letter case aside.
    bool contains(KqbKey const &name) const;

    // Adds a column of a new name, and its descriptor to the query. Throws std::bad_alloc with
    // nothing changed.
    void add(KqWTColumn column, KqbString *query);

    // Adds the columns of a query. Throws std::bad_alloc.
    void read(std::string_view query);

private:
    void append(KqbKey const &key, KqWTColumn &&column);

    KqbBlockList<KqWTColumn> columns_;
    KqbKeyIndex index_;
};
