// KqbConfigEntries, KqbKeySet, KqbTextStore: what a configuration file holds besides its lines.
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <string_view>
#include <vector>

#include "config/kqbblocklist_internal.h"
#include "config/kqbkeyindex_internal.h"
#include "kqb/kqbstring.h"

// Keeps text at an address of its own until it is cleared, in blocks of the memory pool.
class KqbTextStore {
public:
    KqbTextStore() = default;
    ~KqbTextStore() { clear(); }
    KqbTextStore(KqbTextStore const &) = delete;
    KqbTextStore &operator=(KqbTextStore const &) = delete;

    // Keeps pieces as one text, whose data is never null. Throws std::bad_alloc.
    std::string_view keep(std::initializer_list<std::string_view> pieces);
    std::string_view keep(std::string_view text);

    void clear();

private:
    char *room(std::size_t size);
    char *addBlock(std::size_t size);

    std::vector<char *> blocks_;
    char *free_ = nullptr;
    std::size_t left_ = 0;
};

// Key, value and comment of an entry. What came from a file is only a view of the file's text; a
// string is made of it when somebody asks for one, so that reading a file makes none.
class KqbConfigEntry {
public:
    enum Part { kKey, kValue, kComment };

    // An entry that stands in a file. The texts must outlive it.
    KqbConfigEntry(std::string_view key, std::string_view value, std::string_view comment,
                   std::uint32_t line)
        : data_{key.data(), value.data(), comment.data()}, sizes_{sizeOf(key), sizeOf(value),
                                                                  sizeOf(comment)},
          line_(line) {}
    // An entry that stands nowhere yet. Throws std::bad_alloc.
    KqbConfigEntry(KqbString const &key, KqbString const &value);

    // A part as text; a null one has no data.
    std::string_view text(Part part) const { return {data_[part], sizes_[part]}; }

    // A part as a string. Throws std::bad_alloc.
    KqbString const &string(Part part);

    // Replaces a part. Throws std::bad_alloc with the entry as it was.
    void set(Part part, KqbString const &string);

    // Takes value, comment and place from another entry of the same key.
    void takeOver(KqbConfigEntry const &other);

    // The position of its line record; KqbKeyIndex::kNone when it stands in no file.
    std::uint32_t line() const { return line_; }

private:
    friend class KqbConfigEntries;
    struct Strings {
        KqbString parts[3];
    };
    // Neither a line nor a string can be longer.
    static std::uint32_t sizeOf(std::string_view text) {
        return static_cast<std::uint32_t>(text.size());
    }
    Strings &strings();

    char const *data_[3];
    std::unique_ptr<Strings> strings_;  // those that were made or given
    std::uint32_t sizes_[3];
    std::uint32_t line_;
};

// Entries by key and by place in key order. An entry keeps its position for as long as it lives.
// Key order is worked out when somebody first asks for it, and kept up from then on.
//
// Where an operation throws std::bad_alloc the table is as before.
class KqbConfigEntries {
public:
    std::size_t size() const { return size_; }
    KqbConfigEntry &operator[](std::uint32_t position) { return entries_[position]; }
    KqbConfigEntry const &operator[](std::uint32_t position) const { return entries_[position]; }

    // The position of the entry with this key, or KqbKeyIndex::kNone.
    std::uint32_t find(KqbKey const &key) const;

    // Adds an entry whose key is not there yet. Returns its position; throws std::bad_alloc.
    std::uint32_t add(KqbKey const &key, KqbConfigEntry &&entry);

    // Makes the index ready for that many more entries at once. Throws std::bad_alloc.
    void reserve(std::size_t more) { index_.reserve(more); }

    // Removes the entry with this key at this position.
    void remove(KqbKey const &key, std::uint32_t position);

    // The entry at a place, below size(), in key order. Throws std::bad_alloc.
    KqbConfigEntry &inOrder(std::size_t place);

    void clear();

private:
    std::size_t placeOf(std::uint32_t position) const;
    std::uint32_t store(KqbConfigEntry &&entry);
    void sort();
    void addToOrder(std::uint32_t position);

    KqbBlockList<KqbConfigEntry> entries_;
    std::uint32_t free_ = KqbKeyIndex::kNone;  // first unused entry; its line names the next one
    std::size_t size_ = 0;
    KqbKeyIndex index_;
    std::vector<std::uint32_t> order_;  // positions in key order, while isOrdered_
    bool isOrdered_ = false;
};

// A set of keys in the form in which they were first added.
class KqbKeySet {
public:
    // False when the key is there already. Throws std::bad_alloc with the set as before.
    bool add(KqbKey const &key, KqbString const &form);

    // Removes a key; an unknown one is ignored.
    void remove(KqbKey const &key);

    // The keys in key order. Throws std::bad_alloc.
    std::vector<KqbString> inOrder() const;

private:
    std::uint32_t find(KqbKey const &key) const;

    std::vector<KqbString> keys_;
    KqbKeyIndex index_;
};
