#include "config/kqbkeyindex_internal.h"

#include <algorithm>

#include "platform/kqschr.h"

namespace {

constexpr std::size_t kFirstSlots = 16;

// Both halves count: the table takes the low bits, the comparison all 32.
std::uint32_t hashOf(std::string_view text) {
    std::uint64_t const hash = np_uchar_ihash_n(text.data(), text.size());
    return static_cast<std::uint32_t>(hash ^ (hash >> 32));
}

}  // namespace

KqbKey::KqbKey(std::string_view text)
    : text_(text), hash_(text.data() == nullptr ? 0 : hashOf(text)) {}

bool KqbKey::equals(std::string_view other) const {
    if ((text_.data() == nullptr) != (other.data() == nullptr)) return false;
    return np_uchar_icomp_n(text_.data(), text_.size(), other.data(), other.size()) == 0;
}

void KqbKeyIndex::grow(std::size_t more) {
    std::size_t size = std::max(slots_.size(), kFirstSlots);
    while ((count_ + more) * 4 > size * 3) size *= 2;
    std::vector<Slot> old(size);
    old.swap(slots_);
    count_ = 0;
    for (Slot const &slot : old) {
        if (slot.position != kNone) insert(slot.hash, slot.position);
    }
}

void KqbKeyIndex::insert(std::uint32_t hash, std::uint32_t position) {
    std::size_t i = home(hash);
    while (slots_[i].position != kNone) i = next(i);
    slots_[i] = Slot{hash, position};
    ++count_;
}

std::size_t KqbKeyIndex::slotOf(std::uint32_t hash, std::uint32_t position) const {
    std::size_t i = home(hash);
    while (slots_[i].position != position) i = next(i);
    return i;
}

void KqbKeyIndex::erase(std::uint32_t hash, std::uint32_t position) {
    // Those behind the gap move into it where that brings them no further than their home, so
    // that no search ends too early.
    std::size_t gap = slotOf(hash, position);
    std::size_t const mask = slots_.size() - 1;
    for (std::size_t i = next(gap); slots_[i].position != kNone; i = next(i)) {
        std::size_t const distance = (i - home(slots_[i].hash)) & mask;
        if (distance < ((i - gap) & mask)) continue;
        slots_[gap] = slots_[i];
        gap = i;
    }
    slots_[gap] = Slot();
    --count_;
}

void KqbKeyIndex::move(std::uint32_t hash, std::uint32_t from, std::uint32_t to) {
    slots_[slotOf(hash, from)].position = to;
}

void KqbKeyIndex::closeGap(std::uint32_t position) {
    for (Slot &slot : slots_) {
        if (slot.position != kNone && slot.position > position) --slot.position;
    }
}

void KqbKeyIndex::clear() {
    slots_.clear();
    count_ = 0;
}
