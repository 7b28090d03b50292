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
    KqbString key(std::size_t at) const { return pairs_[at].key.string(); }
    KqbString value(std::size_t at) const { return pairs_[at].value.string(); }

    // The value of the first pair of exactly that key; null when there is none.
    KqbString valueOf(std::string_view key) const;

    // Adds the query text to out.
    void write(KqURIText &out) const;

private:
    // Part of a string that it holds, so that reading a query copies only what is escaped.
    class Piece {
    public:
        explicit Piece(KqbString const &whole)
            : whole_(whole), size_(KqbStringAccess::view(whole).size()) {}
        // Part of text, at at; unescaped if it has escapes.
        Piece(KqbString const &text, std::string_view part, bool hasEscapes);

        std::string_view view() const { return KqbStringAccess::view(whole_).substr(at_, size_); }
        KqbString string() const;

    private:
        KqbString whole_;
        std::size_t at_ = 0;
        std::size_t size_;
    };

    struct Pair {
        Piece key;
        Piece value;
    };

    static constexpr std::size_t kNone = ~std::size_t{0};

    void put(Piece key, Piece value);
    void append(Pair pair);
    std::size_t find(std::string_view key) const;
    void enterLast();

    bool const allowDuplicates_;
    std::size_t keyBytes_ = 0;
    KqbBlockList<Pair> pairs_;
    // Of long lists without duplicates. A key never moves nor changes.
    std::unordered_map<std::string_view, std::size_t> index_;
};

// What a failed addition says.
inline constexpr char kKqURIQueryValueRefused[] = "Error adding query value";

// Adds a pair to a query. False with *error set and the query as it was when memory ran out,
// otherwise *error is null. error may be null.
bool kqbAddQueryValue(KqbString &query, bool allowDuplicates, KqbString const &key,
                      KqbString const &value, KqbString *error);
