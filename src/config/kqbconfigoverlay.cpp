// The two files know their entries; what is kept besides is where each key stands. Changes are
// asked of the overlay file first, which ignores what it has no memory for, so it is looked at
// afterwards, and only what it took is noted.
#include "kqb/kqbconfigoverlay.h"

#include <cstddef>
#include <map>
#include <new>
#include <utility>
#include <vector>

#include "config/kqbmemory_internal.h"
#include "kqb/kqbconfigfile.h"
#include "kqb/kqbmessage.h"
#include "platform/kqatom.h"

namespace {

constexpr int kOutOfMemory = 444;

// Where a key stands.
struct Origin {
    bool inBase;
    bool inOverlay;
};

using KeyMap = std::map<KqbString, Origin, KqbStringLessInsensitive>;

// All keys of a file. Throws std::bad_alloc.
KeyMap keysOf(KqbConfigFile &file, Origin origin) {
    KeyMap keys;
    KqbString key;
    for (bool more = file.getNextEntry(true, &key, nullptr); more;
         more = file.getNextEntry(false, &key, nullptr)) {
        keys.emplace_hint(keys.end(), key, origin);
    }
    // A walk ends early when memory runs out.
    if (keys.size() != static_cast<std::size_t>(file.getEntryCount())) throw std::bad_alloc();
    return keys;
}

KqbString valueIn(KqbConfigFile &file, KqbString const &key) {
    return kqbFetched([&] { return file.getEntry(key); });
}

KqbString commentIn(KqbConfigFile &file, KqbString const &key) {
    return kqbFetched([&] { return file.getEntryComment(key); });
}

// Throws std::bad_alloc with the file as before.
void setIn(KqbConfigFile &file, KqbString const &key, KqbString const &value) {
    file.setEntry(key, value);
    if (file.getEntry(key).compare(value) != 0) throw std::bad_alloc();
}

}  // namespace

class KqbConfigOverlayImpl {
public:
    KqbConfigOverlayImpl() { kqAtomInit(&references_, 1); }

    void retain() { kqAtomAdd(&references_, 1); }
    void release() {
        if (kqAtomSub(&references_, 1) < 1) delete this;
    }

    bool readBase(KqbString const &path);
    bool readOverlay(KqbString const &path);
    bool write(KqbString const &path) { return overlay_.write(path) || failAs(overlay_); }

    int count() const { return static_cast<int>(keys_.size()); }
    bool getAt(int index, KqbString *key, KqbString *baseValue, KqbString *overlayValue);
    KqbString comment(KqbString const &key);
    void set(KqbString const &key, KqbString const &value);
    void setComment(KqbString const &key, KqbString const &comment);

    KqbString const &errorMessage() const { return errorMessage_; }

private:
    bool fail(KqbString const &message) {
        errorMessage_ = message;
        return false;
    }
    bool failAs(KqbConfigFile &file) {
        KqbString const message = file.getErrorMessage();
        return message.isNull() ? failForMemory() : fail(message);
    }
    bool failForMemory() {
        return fail(kqb_get_message(KQB_BASE_SERVICES, kOutOfMemory, "kqbconfigoverlay"));
    }

    void addOverlayKeys();
    KeyMap::value_type &at(int index);
    void bring(KeyMap::value_type &known, KqbString const &key, KqbString const &value);
    void add(KqbString const &key, KqbString const &value);
    void clear(KeyMap::iterator known, KqbString const &key);

    kqAtom references_;
    KqbConfigFile base_;
    KqbConfigFile overlay_;
    KeyMap keys_;
    std::vector<KeyMap::value_type *> places_;  // the keys by place, or none: made when asked for
    KqbString errorMessage_;
};

// --- Reading ------------------------------------------------------------------------------------

bool KqbConfigOverlayImpl::readBase(KqbString const &path) {
    if (!base_.read(path)) return failAs(base_);
    bool const isKept = kqbWithMemory([this] {
        KeyMap keys = keysOf(base_, {true, false});
        places_.clear();
        keys_.swap(keys);
    });
    return isKept || failForMemory();
}

bool KqbConfigOverlayImpl::readOverlay(KqbString const &path) {
    if (!overlay_.read(path)) return failAs(overlay_);
    return kqbWithMemory([this] { addOverlayKeys(); }) || failForMemory();
}

// New keys are moved over; what is left behind were known ones. So nothing fails half-way.
void KqbConfigOverlayImpl::addOverlayKeys() {
    KeyMap keys = keysOf(overlay_, {false, true});
    places_.clear();
    keys_.merge(keys);
    for (auto const &[key, origin] : keys) keys_.find(key)->second = {true, true};
}

// --- Looking ------------------------------------------------------------------------------------

bool KqbConfigOverlayImpl::getAt(int index, KqbString *key, KqbString *baseValue,
                                 KqbString *overlayValue) {
    if (index < 0 || index >= count()) return false;
    return kqbWithMemory([&] {
        auto const &[known, origin] = at(index);
        KqbString const base = origin.inBase ? valueIn(base_, known) : KqbString();
        KqbString const overlay = origin.inOverlay ? valueIn(overlay_, known) : KqbString();
        if (key != nullptr) *key = known;
        if (baseValue != nullptr && origin.inBase) *baseValue = base;
        if (overlayValue != nullptr && origin.inOverlay) *overlayValue = overlay;
    });
}

KeyMap::value_type &KqbConfigOverlayImpl::at(int index) {
    if (places_.empty()) {
        places_.reserve(keys_.size());
        for (KeyMap::value_type &known : keys_) places_.push_back(&known);
    }
    return *places_[static_cast<std::size_t>(index)];
}

KqbString KqbConfigOverlayImpl::comment(KqbString const &key) {
    KqbString text;
    auto const known = keys_.find(key);
    if (known == keys_.end()) return text;
    Origin const origin = known->second;
    kqbWithMemory([&] {
        KqbString const own = origin.inOverlay ? commentIn(overlay_, key) : KqbString();
        text = own.length() == 0 && origin.inBase ? commentIn(base_, key) : own;
    });
    return text;
}

// --- Changing -----------------------------------------------------------------------------------

void KqbConfigOverlayImpl::set(KqbString const &key, KqbString const &value) {
    auto const known = keys_.find(key);
    if (value.length() == 0) {
        clear(known, key);
    } else if (known == keys_.end()) {
        add(key, value);
    } else if (known->second.inOverlay) {
        overlay_.setEntry(key, value);
    } else {
        KqbString const comment = commentIn(base_, key);
        bring(*known, key, value);
        if (comment.length() > 0) overlay_.setEntryComment(key, comment);
    }
}

void KqbConfigOverlayImpl::setComment(KqbString const &key, KqbString const &comment) {
    auto const known = keys_.find(key);
    if (known == keys_.end()) return;
    if (!known->second.inOverlay) bring(*known, key, valueIn(base_, key));
    overlay_.setEntryComment(key, comment);
}

// Takes a key of the base into the overlay. Its comment can then be set without fail.
void KqbConfigOverlayImpl::bring(KeyMap::value_type &known, KqbString const &key,
                                 KqbString const &value) {
    setIn(overlay_, key, value);
    known.second.inOverlay = true;
}

void KqbConfigOverlayImpl::add(KqbString const &key, KqbString const &value) {
    auto const added = keys_.emplace(key, Origin{false, true}).first;
    places_.clear();
    try {
        setIn(overlay_, key, value);
    } catch (...) {
        keys_.erase(added);
        throw;
    }
}

void KqbConfigOverlayImpl::clear(KeyMap::iterator known, KqbString const &key) {
    if (known == keys_.end() || !known->second.inOverlay) return;
    int const before = overlay_.getEntryCount();
    overlay_.deleteEntry(key);
    if (overlay_.getEntryCount() == before) throw std::bad_alloc();
    known->second.inOverlay = false;
    if (known->second.inBase) return;
    places_.clear();
    keys_.erase(known);
}

// --- The handle ---------------------------------------------------------------------------------

KqbConfigOverlay::KqbConfigOverlay() : impl_(nullptr) {
    kqbWithMemory([this] { impl_ = new KqbConfigOverlayImpl; });
}

KqbConfigOverlay::~KqbConfigOverlay() {
    if (impl_ != nullptr) impl_->release();
}

KqbConfigOverlay::KqbConfigOverlay(KqbConfigOverlay const &other) : impl_(other.impl_) {
    if (impl_ != nullptr) impl_->retain();
}

KqbConfigOverlay &KqbConfigOverlay::operator=(KqbConfigOverlay const &other) {
    KqbConfigOverlay copy(other);
    std::swap(impl_, copy.impl_);
    return *this;
}

bool KqbConfigOverlay::readBase(KqbString const &path) {
    return impl_ != nullptr && impl_->readBase(path);
}

bool KqbConfigOverlay::readOverlay(KqbString const &path) {
    return impl_ != nullptr && impl_->readOverlay(path);
}

bool KqbConfigOverlay::writeOverlay(KqbString const &path) {
    return impl_ != nullptr && impl_->write(path);
}

int KqbConfigOverlay::getEntryCount() { return impl_ != nullptr ? impl_->count() : 0; }

bool KqbConfigOverlay::getEntry(int index, KqbString *key, KqbString *baseValue,
                                KqbString *overlayValue) {
    if (impl_ != nullptr && impl_->getAt(index, key, baseValue, overlayValue)) return true;
    for (KqbString *output : {key, baseValue, overlayValue}) {
        if (output != nullptr) output->setNull();
    }
    return false;
}

KqbString KqbConfigOverlay::getEntryComment(KqbString const &key) {
    return impl_ != nullptr ? impl_->comment(key) : KqbString();
}

void KqbConfigOverlay::setOverlayEntry(KqbString const &key, KqbString const &value) {
    if (impl_ != nullptr) kqbWithMemory([&] { impl_->set(key, value); });
}

void KqbConfigOverlay::setEntryComment(KqbString const &key, KqbString const &comment) {
    if (impl_ != nullptr) kqbWithMemory([&] { impl_->setComment(key, comment); });
}

KqbString KqbConfigOverlay::getErrorMessage() {
    return impl_ != nullptr ? impl_->errorMessage() : KqbString();
}
