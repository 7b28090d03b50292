#include "config/kqbconfigentries_internal.h"

#include <algorithm>
#include <new>
#include <utility>

#include "config/kqbmemory_internal.h"
#include "platform/kqschr.h"

namespace {

constexpr std::uint32_t kNone = KqbKeyIndex::kNone;

// Null keys before all others, the others by their letters.
bool isBefore(std::string_view a, std::string_view b) {
    if (a.data() == nullptr || b.data() == nullptr)
        return a.data() == nullptr && b.data() != nullptr;
    return np_uchar_icomp_n(a.data(), a.size(), b.data(), b.size()) < 0;
}

}  // namespace

// --- Texts --------------------------------------------------------------------------------------

std::string_view KqbTextStore::keep(std::initializer_list<std::string_view> pieces) {
    std::size_t size = 0;
    for (std::string_view const piece : pieces) size += piece.size();
    char *const begin = room(size);
    char *end = begin;
    for (std::string_view const piece : pieces) end += piece.copy(end, piece.size());
    return {begin, size};
}

std::string_view KqbTextStore::keep(std::string_view text) {
    char *const begin = room(text.size());
    text.copy(begin, text.size());
    return {begin, text.size()};
}

char *KqbTextStore::room(std::size_t size) {
    if (size > kKqbBlockBytes) return addBlock(size);
    if (size > left_ || free_ == nullptr) {
        free_ = addBlock(kKqbBlockBytes);
        left_ = kKqbBlockBytes;
    }
    char *const begin = free_;
    free_ += size;
    left_ -= size;
    return begin;
}

char *KqbTextStore::addBlock(std::size_t size) {
    blocks_.push_back(nullptr);
    return blocks_.back() = static_cast<char *>(kqbPoolBlock(size));
}

void KqbTextStore::clear() {
    for (char *block : blocks_) KqbMemPool::freeBytes(block);
    blocks_.clear();
    free_ = nullptr;
    left_ = 0;
}

// --- One entry ----------------------------------------------------------------------------------

KqbConfigEntry::KqbConfigEntry(KqbString const &key, KqbString const &value)
    : KqbConfigEntry({}, {}, "", kNone) {
    set(kKey, key);
    set(kValue, value);
}

KqbConfigEntry::Strings &KqbConfigEntry::strings() {
    if (strings_ == nullptr) strings_ = std::make_unique<Strings>();
    return *strings_;
}

KqbString const &KqbConfigEntry::string(Part part) {
    KqbString &string = strings().parts[part];
    if (string.isNull() && data_[part] != nullptr) string = kqbStringOf(text(part));
    return string;
}

void KqbConfigEntry::set(Part part, KqbString const &string) {
    strings().parts[part] = string;
    data_[part] = kqbTextOf(string).data();
    sizes_[part] = string.cStrSize() - 1;
}

void KqbConfigEntry::takeOver(KqbConfigEntry const &other) {
    for (Part const part : {kValue, kComment}) {
        data_[part] = other.data_[part];
        sizes_[part] = other.sizes_[part];
        if (strings_ != nullptr) strings_->parts[part].setNull();
    }
    line_ = other.line_;
}

// --- All entries --------------------------------------------------------------------------------

std::uint32_t KqbConfigEntries::find(KqbKey const &key) const {
    return index_.find(
        key, [this](std::uint32_t at) { return entries_[at].text(KqbConfigEntry::kKey); });
}

std::uint32_t KqbConfigEntries::add(KqbKey const &key, KqbConfigEntry &&entry) {
    index_.reserve(1);
    std::uint32_t const position = store(std::move(entry));
    index_.insert(key.hash(), position);
    ++size_;
    if (isOrdered_) addToOrder(position);
    return position;
}

std::uint32_t KqbConfigEntries::store(KqbConfigEntry &&entry) {
    std::uint32_t const position = free_;
    if (position == kNone) {
        if (entries_.size() >= kNone) throw std::bad_alloc();
        entries_.push_back(std::move(entry));
        return static_cast<std::uint32_t>(entries_.size() - 1);
    }
    free_ = entries_[position].line_;
    entries_[position] = std::move(entry);
    return position;
}

void KqbConfigEntries::remove(KqbKey const &key, std::uint32_t position) {
    if (isOrdered_) {
        order_.erase(order_.begin() + static_cast<std::ptrdiff_t>(placeOf(position)));
    }
    index_.erase(key.hash(), position);
    entries_[position] = KqbConfigEntry({}, {}, {}, free_);
    free_ = position;
    --size_;
}

KqbConfigEntry &KqbConfigEntries::inOrder(std::size_t place) {
    if (!isOrdered_) sort();
    return entries_[order_[place]];
}

// The place of an entry in the order, or where it belongs.
std::size_t KqbConfigEntries::placeOf(std::uint32_t position) const {
    auto const before = [this](std::uint32_t a, std::uint32_t b) {
        return isBefore(entries_[a].text(KqbConfigEntry::kKey),
                        entries_[b].text(KqbConfigEntry::kKey));
    };
    auto const place = std::lower_bound(order_.begin(), order_.end(), position, before);
    return static_cast<std::size_t>(place - order_.begin());
}

void KqbConfigEntries::sort() {
    struct Placed {
        std::string_view key;
        std::uint32_t position;
    };
    std::vector<Placed> placed;
    placed.reserve(size_);
    index_.forEach([&](std::uint32_t at) {
        placed.push_back({entries_[at].text(KqbConfigEntry::kKey), at});
    });
    std::sort(placed.begin(), placed.end(),
              [](Placed const &a, Placed const &b) { return isBefore(a.key, b.key); });
    order_.clear();
    order_.reserve(size_);
    for (Placed const &entry : placed) order_.push_back(entry.position);
    isOrdered_ = true;
}

// The order is only a cache: without memory for it, it is worked out anew when next asked for.
void KqbConfigEntries::addToOrder(std::uint32_t position) {
    auto const place = static_cast<std::ptrdiff_t>(placeOf(position));
    isOrdered_ = kqbWithMemory([&] { order_.insert(order_.begin() + place, position); });
}

void KqbConfigEntries::clear() {
    entries_.clear();
    free_ = kNone;
    size_ = 0;
    index_.clear();
    order_.clear();
    isOrdered_ = false;
}

// --- A set of keys ------------------------------------------------------------------------------

std::uint32_t KqbKeySet::find(KqbKey const &key) const {
    return index_.find(key, [this](std::uint32_t at) { return kqbTextOf(keys_[at]); });
}

bool KqbKeySet::add(KqbKey const &key, KqbString const &form) {
    if (find(key) != kNone) return false;
    if (keys_.size() >= kNone) throw std::bad_alloc();
    index_.reserve(1);
    keys_.push_back(form);
    index_.insert(key.hash(), static_cast<std::uint32_t>(keys_.size() - 1));
    return true;
}

void KqbKeySet::remove(KqbKey const &key) {
    std::uint32_t const position = find(key);
    if (position == kNone) return;
    index_.erase(key.hash(), position);
    auto const last = static_cast<std::uint32_t>(keys_.size() - 1);
    if (position != last) {
        index_.move(KqbKey(keys_[last]).hash(), last, position);
        keys_[position] = std::move(keys_[last]);
    }
    keys_.pop_back();
}

std::vector<KqbString> KqbKeySet::inOrder() const {
    std::vector<KqbString> ordered(keys_);
    std::sort(ordered.begin(), ordered.end(), KqbStringLessInsensitive());
    return ordered;
}
