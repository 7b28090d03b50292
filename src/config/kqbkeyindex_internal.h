// KqbKeyIndex: finds keys, letter case ignored, in a list that somebody else holds.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "core/kqbstring_internal.h"
#include "kqb/kqbstring.h"

// The bytes of a string; without data for a null one.
inline std::string_view kqbTextOf(KqbString const &string) {
    return string.isNull() ? std::string_view() : KqbStringAccess::view(string);
}

// A key to look for, hashed when it is made: before a lock is taken, say. A text without data is
// the null key, which is another key than the empty one. Borrows the text.
class KqbKey {
public:
    explicit KqbKey(std::string_view text);
    explicit KqbKey(KqbString const &key) : KqbKey(kqbTextOf(key)) {}

    std::uint32_t hash() const { return hash_; }
    bool equals(std::string_view other) const;

private:
    std::string_view text_;
    std::uint32_t hash_;
};

// An open-addressing table of positions in a list of distinct keys. It holds no keys itself: find
// asks the list for them. Looking up by several threads is safe while nobody changes it.
class KqbKeyIndex {
public:
    // No position.
    static constexpr std::uint32_t kNone = 0xFFFFFFFFU;

    // The position of key, or kNone. textAt(position) gives the text of the list's key there.
    template <class TextAt>
    std::uint32_t find(KqbKey const &key, TextAt const &textAt) const {
        if (slots_.empty()) return kNone;
        for (std::size_t i = home(key.hash()); slots_[i].position != kNone; i = next(i)) {
            if (slots_[i].hash == key.hash() && key.equals(textAt(slots_[i].position))) {
                return slots_[i].position;
            }
        }
        return kNone;
    }

    // Makes room for that many more keys; their inserts then cannot fail. Throws std::bad_alloc with
    // the index as it was.
    void reserve(std::size_t more) {
        if ((count_ + more) * 4 > slots_.size() * 3) grow(more);
    }

    // Enters a key that is not there yet.
    void insert(std::uint32_t hash, std::uint32_t position);

    // Removes, or gives a new position to, the key that stands at a position.
    void erase(std::uint32_t hash, std::uint32_t position);
    void move(std::uint32_t hash, std::uint32_t from, std::uint32_t to);

    // Moves every position behind this one up by one.
    void closeGap(std::uint32_t position);

    void clear();

    // Calls visit(position) for every key, in no order.
    template <class Visit>
    void forEach(Visit const &visit) const {
        for (Slot const &slot : slots_) {
            if (slot.position != kNone) visit(slot.position);
        }
    }

private:
    struct Slot {
        std::uint32_t hash = 0;
        std::uint32_t position = kNone;
    };

    std::size_t home(std::uint32_t hash) const { return hash & (slots_.size() - 1); }
    std::size_t next(std::size_t i) const { return (i + 1) & (slots_.size() - 1); }
    void grow(std::size_t more);
    std::size_t slotOf(std::uint32_t hash, std::uint32_t position) const;

    std::vector<Slot> slots_;  // none, or a power of two of which at least a quarter is free
    std::size_t count_ = 0;
};
