// KqURIQueryList: the pairs of a query.
#pragma once

#include <cstddef>
#include <string_view>
#include <unordered_map>

#include "config/kqbblocklist_internal.h"
#include "kqb/kqbstring.h"
#include "uri/kquritext_internal.h"

// Ordered pairs, unescaped, in the syntax of KqURIQueryHandler. Operations that add or write throw
// std::bad_alloc.
class KqURIQueryList {
public:
    explicit KqURIQueryList(bool allowDuplicates) : allowDuplicates_(allowDuplicates) {}

    // Adds the pairs of a text, those in front of the one that memory was missing for.
    void parse(KqbString const &text);
    // Adds a pair, or nothing.
    void add(KqbString const &key, KqbString const &value);

    std::size_t size() const { return pairs_.size(); }
    // Valid until the list changes.
    std::string_view key(std::size_t at) const { return pairs_[at].key; }
    std::string_view value(std::size_t at) const { return pairs_[at].value; }

    // The value of the pair of that key; null when there is none.
    KqbString valueOf(std::string_view key) const;

    // Adds the query text to out.
    void write(KqURIText &out) const;

private:
    static constexpr std::size_t kNone = ~std::size_t{0};

    // Parts of strings that are kept.
    struct Pair {
        std::string_view key;
        std::string_view value;
        std::size_t valueSlot = kNone;  // of the string kept for this value alone
    };

    std::string_view keep(KqbString const &string);
    void put(Pair pair);
    void append(Pair const &pair);
    void enterLast();
    std::size_t find(std::string_view key) const;

    bool const allowDuplicates_;
    std::size_t keyBytes_ = 0;
    KqbBlockList<Pair> pairs_;
    // The text parsed first; further ones, and what had to be unescaped or was added. Text never
    // moves in them.
    KqbString text_;
    KqbBlockList<KqbString> kept_;
    // Of long lists without duplicates.
    std::unordered_map<std::string_view, std::size_t> index_;
};

// What a failed addition says.
inline constexpr char kKqURIQueryValueRefused[] = "Error adding query value";

// Adds a pair to a query. False with *error set and the query as it was when memory ran out,
// otherwise *error is null. error may be null.
bool kqbAddQueryValue(KqbString &query, bool allowDuplicates, KqbString const &key,
                      KqbString const &value, KqbString *error);
