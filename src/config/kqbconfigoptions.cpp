// The registries and their one lock. Keys are hashed before the lock is taken, values leave it as
// copies that share their text, and what a change throws away is destroyed after the lock is
// released: under the lock there is little more than a probe of the key index.
#include "kqb/kqbconfigoptions.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <limits>
#include <map>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "config/kqbconfigoptions_internal.h"
#include "config/kqbkeyindex_internal.h"
#include "config/kqbmemory_internal.h"
#include "config/kqboptionexpansion_internal.h"
#include "core/kqbcopy_internal.h"
#include "core/kqbstring_internal.h"
#include "kqb/kqbconfigfile.h"
#include "kqb/kqbdirectorylisting.h"
#include "kqb/kqbpath.h"
#include "platform/kqatom.h"
#include "platform/kqbb.h"
#include "platform/kqschr.h"
#include "platform/kqssys.h"

namespace {

constexpr std::string_view kRegistryPrefix = "KQB_CONF_OPT/";
constexpr std::size_t kFirstEntryRoom = 4096;
constexpr std::uint32_t kNone = KqbKeyIndex::kNone;

// Holds the lock for a scope, shared with other readers or alone.
template <int kExclusive>
class Held {
public:
    explicit Held(kqLock *lock) : lock_(lock) { kqLockGet(lock_, kExclusive, 1); }
    ~Held() { kqLockRelease(lock_, kExclusive); }
    Held(Held const &) = delete;
    Held &operator=(Held const &) = delete;

private:
    kqLock *lock_;
};
using ReadHeld = Held<0>;
using WriteHeld = Held<1>;

struct ReleaseListing {
    void operator()(KqbDirectoryListing *listing) const { listing->release(); }
};

// The narrow form of the environment, as UTF-8.
class EnvironmentText {
public:
    EnvironmentText() : encoding_(np_uchar_getenc(np_lcinfo_charset())), buffer_(kFirstEntryRoom) {
        if (encoding_ == NP_ENC_UNKNOWN) encoding_ = NP_ENC_NARROW;
    }

    // Valid until the next call; empty when the entry cannot be converted. Throws std::bad_alloc.
    std::string_view convert(char const *entry) {
        std::size_t const size = std::strlen(entry);
        long length = encode(entry, size);
        if (length < 0) throw std::bad_alloc();
        if (static_cast<std::size_t>(length) >= buffer_.size()) {
            buffer_.resize(static_cast<std::size_t>(length) + 1);
            length = encode(entry, size);
        }
        return {buffer_.data(), static_cast<std::size_t>(std::max(length, 0L))};
    }

private:
    long encode(char const *entry, std::size_t size) {
        return np_uchar_encode(encoding_, entry, size, buffer_.data(), buffer_.size());
    }

    int encoding_;
    std::vector<char> buffer_;
};

bool hasExtension(KqbString const &name, KqbString const &extension) {
    if (extension.length() == 0) return true;
    int const characters = static_cast<int>(extension.length()) + 1;
    KqbString const ending = name.right(characters);
    return ending.asCstr()[0] == '.' && ending.mid(1).compare(extension, false) == 0;
}

// --- One registry -------------------------------------------------------------------------------

struct Option {
    std::string_view keyText;  // of key, so that a look-up need not go through the string
    KqbString value;           // beside the text, which is looked at just before
    KqbString key;
};

// A value on its way out of the lock. Sharing it writes to a counter that all its readers share,
// which costs threads that ask at the same time more than the bytes of a short text.
class ValueCopy {
public:
    void take(KqbString const &value) {
        std::string_view const text = kqbTextOf(value);
        if (KQ_ATOM_SINGLE_THREADED || text.data() == nullptr || text.size() > sizeof bytes_) {
            shared_ = value;
            return;
        }
        kqbCopy(bytes_, text.data(), text.size());
        text_ = {bytes_, text.size()};
    }

    // False, with a null target, when memory ran out.
    bool deliver(KqbString *target) {
        if (text_.data() != nullptr) return KqbStringAccess::assign(*target, text_);
        *target = std::move(shared_);
        return true;
    }

private:
    char bytes_[64];
    std::string_view text_;  // in bytes_, or without data
    KqbString shared_;
};

// What a look-up takes out of the lock.
struct Finding {
    bool isFound = false;
    bool isComplete = false;  // every reference was known
    bool isExpanded = false;
    KqbString value;       // as stored, or
    std::string expanded;  // with references replaced

    // Hands the value over as a string. False when memory ran out.
    bool deliver(KqbString *target) {
        if (isExpanded && !KqbStringAccess::assign(value, expanded)) return false;
        if (target != nullptr) *target = std::move(value);
        return true;
    }
};

class KqbConfigOptionsImpl final : public KqbConfigOptions {
public:
    explicit KqbConfigOptionsImpl(kqLock *lock) : lock_(lock) {}

    bool setOption(KqbString const &key, KqbString const &value) override;
    bool getOptionAt(int index, KqbString *key, KqbString *value, bool expand) override;
    bool getOption(KqbString const &key, KqbString *value, bool expand) override;
    void deleteOption(KqbString const &key) override;
    int getOptionCount() override;
    void addEnvironment() override;
    bool addConfigFile(KqbConfigFile &file) override;
    bool addConfigDirectory(KqbString const &directory, KqbString const &extension) override;
    KqbString getErrorMessage() override;

    // The option of a key, or null. The lock is held by the caller.
    Option const *find(KqbKey const &key) const {
        std::uint32_t const position = positionOf(key);
        return position == kNone ? nullptr : &options_[position];
    }

private:
    std::uint32_t positionOf(KqbKey const &key) const {
        return index_.find(key, [this](std::uint32_t at) { return options_[at].keyText; });
    }
    void append(KqbKey const &key, Option option);
    bool copyOf(KqbKey const &key, ValueCopy *copy) const;
    bool getExpanded(KqbString const &key, KqbString *value);
    void read(Option const &option, bool expand, Finding *finding) const;
    void fail(KqbString const &message);

    kqLock *lock_;
    std::vector<Option> options_;  // in the order in which they were first set
    KqbKeyIndex index_;
    KqbString errorMessage_;
};

bool KqbConfigOptionsImpl::setOption(KqbString const &key, KqbString const &value) {
    KqbKey const sought(key);
    Option option{kqbTextOf(key), value, key};
    return kqbWithMemory([&] {
        WriteHeld const held(lock_);
        std::uint32_t const position = positionOf(sought);
        if (position == kNone) {
            append(sought, std::move(option));
        } else {
            std::swap(options_[position].value, option.value);
        }
    });
}

void KqbConfigOptionsImpl::append(KqbKey const &key, Option option) {
    if (options_.size() >= kNone) throw std::bad_alloc();
    index_.reserve(1);
    options_.push_back(std::move(option));
    index_.insert(key.hash(), static_cast<std::uint32_t>(options_.size() - 1));
}

bool KqbConfigOptionsImpl::getOptionAt(int index, KqbString *key, KqbString *value, bool expand) {
    KqbString foundKey;
    Finding finding;
    bool const isRead = kqbWithMemory([&] {
        ReadHeld const held(lock_);
        if (index < 0 || static_cast<std::size_t>(index) >= options_.size()) return;
        Option const &option = options_[static_cast<std::size_t>(index)];
        foundKey = option.key;
        read(option, expand, &finding);
    });
    if (!isRead || !finding.isFound || !finding.deliver(value)) return false;
    if (key != nullptr) *key = std::move(foundKey);
    return true;
}

bool KqbConfigOptionsImpl::getOption(KqbString const &key, KqbString *value, bool expand) {
    if (expand) return getExpanded(key, value);
    ValueCopy copy;
    bool const isFound = copyOf(KqbKey(key), &copy);
    if (value == nullptr) return isFound;
    return copy.deliver(value) && isFound;
}

// What the output held is let go of by the caller, after the lock.
bool KqbConfigOptionsImpl::copyOf(KqbKey const &key, ValueCopy *copy) const {
    ReadHeld const held(lock_);
    Option const *const option = find(key);
    if (option == nullptr) return false;
    copy->take(option->value);
    return true;
}

bool KqbConfigOptionsImpl::getExpanded(KqbString const &key, KqbString *value) {
    KqbKey const sought(key);
    Finding finding;
    bool const isRead = kqbWithMemory([&] {
        ReadHeld const held(lock_);
        Option const *const option = find(sought);
        if (option != nullptr) read(*option, true, &finding);
    });
    if (isRead && finding.deliver(value)) return finding.isComplete;
    if (value != nullptr) value->setNull();
    return false;
}

// Reads an option while the lock is held, so that an expansion sees one state of the registry.
void KqbConfigOptionsImpl::read(Option const &option, bool expand, Finding *finding) const {
    finding->isFound = finding->isComplete = true;
    std::string_view const text = KqbStringAccess::view(option.value);
    if (!expand || text.find(kKqbReferenceMark) == std::string_view::npos) {
        finding->value = option.value;
        return;
    }
    KqbOptionExpansion expansion(text);
    finding->isExpanded = true;
    finding->isComplete = expansion.run([this](std::string_view key, std::string_view *value) {
        Option const *const referenced = find(KqbKey(key));
        if (referenced != nullptr) *value = KqbStringAccess::view(referenced->value);
        return referenced != nullptr;
    });
    finding->expanded = expansion.text();
}

void KqbConfigOptionsImpl::deleteOption(KqbString const &key) {
    KqbKey const sought(key);
    Option removed;
    WriteHeld const held(lock_);
    std::uint32_t const position = positionOf(sought);
    if (position == kNone) return;
    index_.erase(sought.hash(), position);
    index_.closeGap(position);
    removed = std::move(options_[position]);
    options_.erase(options_.begin() + static_cast<std::ptrdiff_t>(position));
}

int KqbConfigOptionsImpl::getOptionCount() {
    ReadHeld const held(lock_);
    return static_cast<int>(options_.size());
}

// --- Imports: each option takes the lock for itself ---------------------------------------------

void KqbConfigOptionsImpl::addEnvironment() {
    char const *const *const entries = np_env_entries();
    if (entries == nullptr) return;
    kqbWithMemory([&] {
        EnvironmentText text;
        for (char const *const *entry = entries; *entry != nullptr; ++entry) {
            std::string_view const pair = text.convert(*entry);
            std::size_t const equals = pair.find('=');
            if (equals == std::string_view::npos) continue;
            setOption(kqbStringOf(pair.substr(0, equals)), kqbStringOf(pair.substr(equals + 1)));
        }
    });
}

bool KqbConfigOptionsImpl::addConfigFile(KqbConfigFile &file) {
    KqbString key;
    KqbString value;
    for (bool isEntry = file.getNextEntry(true, &key, &value); isEntry;
         isEntry = file.getNextEntry(false, &key, &value)) {
        if (!setOption(key, value)) return false;
    }
    return true;
}

bool KqbConfigOptionsImpl::addConfigDirectory(KqbString const &directory,
                                              KqbString const &extension) {
    KqbString error;
    std::unique_ptr<KqbDirectoryListing, ReleaseListing> const listing(
        kqbDirectoryOpen(directory, kKqbDirectoryFiles, &error));
    if (listing == nullptr) {
        fail(error);
        return false;
    }
    KqbConfigFile file;
    KqbString name;
    while (listing->next(&name)) {
        if (hasExtension(name, extension)) file.read(kqbConcatPath(directory, name));
    }
    addConfigFile(file);
    return true;
}

void KqbConfigOptionsImpl::fail(KqbString const &message) {
    KqbString text = message;
    WriteHeld const held(lock_);
    std::swap(errorMessage_, text);
}

KqbString KqbConfigOptionsImpl::getErrorMessage() {
    ReadHeld const held(lock_);
    return errorMessage_;
}

// --- All registries -----------------------------------------------------------------------------

// Keyed by the prefix and the registry's name, exactly.
using RegistryMap = std::map<std::string, std::unique_ptr<KqbConfigOptionsImpl>>;

struct Registries {
    explicit Registries(kqLock *theLock) : lock(theLock) {}

    // The registry of that key, or null. The lock is held by the caller.
    KqbConfigOptionsImpl *find(std::string const &key) const {
        auto const found = byKey.find(key);
        return found == byKey.end() ? nullptr : found->second.get();
    }

    kqLock *lock;
    RegistryMap byKey;
};

// Null while the library is down.
std::atomic<Registries *> allRegistries{nullptr};

std::string registryKey(std::string_view name) {
    std::string key(kRegistryPrefix);
    key += name;
    return key;
}

KqbConfigOptions *findOrMake(Registries &all, std::string const &key) {
    {
        ReadHeld const held(all.lock);
        KqbConfigOptionsImpl *const known = all.find(key);
        if (known != nullptr) return known;
    }
    auto fresh = std::make_unique<KqbConfigOptionsImpl>(all.lock);
    WriteHeld const held(all.lock);
    return all.byKey.try_emplace(key, std::move(fresh)).first->second.get();
}

// Copies a value out, with its NUL, as kqbGetOption promises.
int copyOut(KqbString const &value, char *buffer, int bufferSize) {
    unsigned int const size = value.cStrSize();
    if (buffer != nullptr && bufferSize > 0 && size <= static_cast<unsigned int>(bufferSize)) {
        std::memcpy(buffer, value.asCstr(), size);
        return 0;
    }
    if (size == 1) return 0;
    return -static_cast<int>(
        std::min(size, static_cast<unsigned int>(std::numeric_limits<int>::max())));
}

}  // namespace

bool kqbConfigOptionsStart() {
    if (allRegistries.load(std::memory_order_acquire) != nullptr) return true;
    kqLock *const lock = kqLockCreate(1, 1);
    if (lock == nullptr) return false;
    Registries *const all = new (std::nothrow) Registries(lock);
    if (all == nullptr) {
        kqLockDestroy(lock);
        return false;
    }
    allRegistries.store(all, std::memory_order_release);
    return true;
}

void kqbConfigOptionsStop() {
    std::unique_ptr<Registries> const all(allRegistries.exchange(nullptr));
    if (all == nullptr) return;
    {
        WriteHeld const held(all->lock);
        all->byKey.clear();
    }
    kqLockDestroy(all->lock);
}

KqbConfigOptions *kqbGetConfigOptions(KqbString const &name) {
    Registries *const all = allRegistries.load(std::memory_order_acquire);
    KqbConfigOptions *options = nullptr;
    if (all != nullptr) {
        kqbWithMemory(
            [&] { options = findOrMake(*all, registryKey(KqbStringAccess::view(name))); });
    }
    return options;
}

void kqbClearConfigOptions(KqbString const &name) {
    Registries *const all = allRegistries.load(std::memory_order_acquire);
    if (all == nullptr) return;
    kqbWithMemory([&] {
        std::string const key = registryKey(KqbStringAccess::view(name));
        RegistryMap::node_type removed;
        WriteHeld const held(all->lock);
        removed = all->byKey.extract(key);
    });
}

extern "C" int kqbGetOption(char const *registryName, char const *key, char *buffer,
                            int bufferSize) {
    Registries *const all = allRegistries.load(std::memory_order_acquire);
    if (all == nullptr) return 1;
    KqbKey const sought(key != nullptr ? std::string_view(key) : std::string_view());
    int result = 1;
    kqbWithMemory([&] {
        std::string const name = registryKey(registryName != nullptr ? registryName : "");
        // The registry is not made for the question, so that it cannot be cleared in between.
        ReadHeld const held(all->lock);
        KqbConfigOptionsImpl const *const options = all->find(name);
        Option const *const option = options != nullptr ? options->find(sought) : nullptr;
        result = option != nullptr ? copyOut(option->value, buffer, bufferSize) : 2;
    });
    return result;
}
