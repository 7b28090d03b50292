// The host's side. Before start-up files, options and a user path wait in staging registries; after
// it options go into the default registry, with a record of what undoes that.
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>
#include <string_view>

#include "config/kqbmemory_internal.h"
#include "core/kqbassert_internal.h"
#include "core/kqbstring_internal.h"
#include "kqb/kqbconfigoptions.h"
#include "kqb/kqbparse.h"
#include "kqb/kqbstringkqwfcursor.h"
#include "lifecycle/kqbstartup_internal.h"
#include "lifecycle/kqbstartupoptions_internal.h"

namespace {

char gUserPath[kKqbMaxPath];

int notPossible(char const **errorMessage) {
    bool const down = kqbGetBootLevel() == 0;
    return kqbStartupFailure(1, down ? "The library is not initialized." : kKqbOutOfMemory,
                             errorMessage);
}

char const *textOf(KqbString const &string) { return string.isNull() ? nullptr : string.asCstr(); }

// Stores an option, taking care that text for which there was no memory is not stored as null.
bool store(KqbConfigOptions *options, char const *key, char const *value) {
    KqbString const ownKey(key);
    KqbString const ownValue(value);
    if (key != nullptr && ownKey.isNull()) return false;
    if (value != nullptr && ownValue.isNull()) return false;
    return options->setOption(ownKey, ownValue);
}

// Whether there is an option, and its value. A value that is there but cannot be copied must not
// pass for a missing one: that throws std::bad_alloc.
bool lookUp(KqbConfigOptions &options, KqbString const &key, KqbString *value) {
    if (options.getOption(key, value, false)) return true;
    if (options.getOption(key, nullptr, false)) throw std::bad_alloc();
    return false;
}

// Counts a file and stores its path. False or std::bad_alloc when memory runs out.
bool stageFile(KqbConfigOptions &files, char const *path) {
    KqbString const countKey("FileCount", true);
    KqbString count;
    long long const number = lookUp(files, countKey, &count) ? count.asInt() + 1LL : 1;
    char key[32];
    std::snprintf(key, sizeof key, "FilePrefix_%4.4lld", number);
    char text[24];
    std::snprintf(text, sizeof text, "%lld", number);
    return store(&files, countKey.asCstr(), text) && store(&files, key, path);
}

// A step of an operation that failed: the operation's result and the text for people.
struct Failure {
    int result;
    char const *text;
};

constexpr Failure kNone = {0, nullptr};
constexpr Failure kNoCursors = {1, "Failed to create options cursors."};
constexpr Failure kNoColumns = {2, "Failed to create columns."};
constexpr Failure kNotParsed = {2, "Failed to parse options string."};
constexpr Failure kNotRetrieved = {3, "Failed to retrieve parsed option."};
constexpr Failure kPreviousNotBegun = {4, "Failed to initialize row."};
constexpr Failure kPreviousNotEnded = {5, "Failed to finalize row."};
constexpr Failure kNewNotBegun = {6, "Failed to initialize row."};
constexpr Failure kNewNotEnded = {7, "Failed to finalize row."};
constexpr Failure kNotFinished = {8, "Failed to finalize rows."};
constexpr Failure kNoMemory = {9, kKqbOutOfMemory};

constexpr int kKey = 0;
constexpr int kValue = 1;

// The list of a text that outlives it.
bool parse(char const *text, KqbParse *list) {
    KqbString const source(text, true);
    return source.isNull() == (text == nullptr) && list->parse(source, 0);
}

// --- Undoing ------------------------------------------------------------------------------------

// What undoes changes of the default registry, in two cursors that are released with it unless they
// are handed over.
class Undo {
public:
    explicit Undo(KqbConfigOptions &options)
        : options_(options), previous_(createStringKQWFCursor()), new_(createStringKQWFCursor()) {}

    Failure create();
    // To be called before the option of a key changes. Throws std::bad_alloc.
    Failure note(KqbString const &key);
    Failure finish() { return previous_->finish() && new_->finish() ? kNone : kNotFinished; }
    void handOver(KqbStringCursor **previousValues, KqbStringCursor **newKeys) {
        if (previousValues != nullptr) *previousValues = previous_.release();
        if (newKeys != nullptr) *newKeys = new_.release();
    }

private:
    struct Release {
        void operator()(KqbStringCursorCreater *cursor) const { cursor->release(); }
    };
    using Cursor = std::unique_ptr<KqbStringCursorCreater, Release>;

    Failure notePrevious(KqbString const &key, KqbString const &value);
    Failure noteNew(KqbString const &key);

    KqbConfigOptions &options_;
    Cursor previous_;
    Cursor new_;
};

Failure Undo::create() {
    if (previous_ == nullptr || new_ == nullptr) return kNoCursors;
    KqbString const key("key", true);
    new_->addColumn(key);
    previous_->addColumn(key);
    previous_->addColumn(KqbString("value", true));
    return new_->createColumns() && previous_->createColumns() ? kNone : kNoColumns;
}

Failure Undo::note(KqbString const &key) {
    KqbString value;
    return lookUp(options_, key, &value) ? notePrevious(key, value) : noteNew(key);
}

Failure Undo::notePrevious(KqbString const &key, KqbString const &value) {
    if (!previous_->beginRow()) return kPreviousNotBegun;
    previous_->setValue(kKey, key);
    previous_->setValue(kValue, value);
    return previous_->endRow() ? kNone : kPreviousNotEnded;
}

Failure Undo::noteNew(KqbString const &key) {
    if (!new_->beginRow()) return kNewNotBegun;
    new_->setValue(kKey, key);
    return new_->endRow() ? kNone : kNewNotEnded;
}

// --- Setting ------------------------------------------------------------------------------------

// The key of a value that is wholly "%%" key "%%"; null for any other. Throws std::bad_alloc.
KqbString referredKey(KqbString const &value) {
    KqbString const mark("%%", true);
    int const length = static_cast<int>(value.length());
    if (length <= 4 || value.find(mark) != 0 || value.find(mark, 3) != length - 2) return {};
    std::string_view const text = KqbStringAccess::view(value);
    return kqbStringOf(text.substr(2, text.size() - 4));
}

// Throws std::bad_alloc.
KqbString resolved(KqbConfigOptions &options, KqbString const &value) {
    KqbString const key = referredKey(value);
    KqbString current;
    return !key.isNull() && lookUp(options, key, &current) ? current : value;
}

// Throws std::bad_alloc.
Failure setOption(KqbConfigOptions &options, KqbString const &name, KqbString const &value,
                  Undo *undo) {
    KqbString const effective = resolved(options, value);
    Failure const failure = undo->note(name);
    if (failure.result == 0 && !options.setOption(name, effective)) throw std::bad_alloc();
    return failure;
}

Failure setParsed(char const *text, KqbConfigOptions &options, Undo *undo) {
    Failure failure = undo->create();
    KqbParse list;
    if (failure.result == 0 && !parse(text, &list)) failure = kNotParsed;
    for (int i = 0; failure.result == 0 && i < list.getAttributeCount(); ++i) {
        KqbString name;
        KqbString value;
        if (!list.getAttribute(i, &name, &value)) return kNotRetrieved;
        if (!kqbWithMemory([&] { failure = setOption(options, name, value, undo); }))
            return kNoMemory;
    }
    return failure.result == 0 ? undo->finish() : failure;
}

// --- Rows ---------------------------------------------------------------------------------------

// Throws std::bad_alloc.
KqbString valueOf(KqbStringCursor &rows, int column) {
    return kqbFetched([&] { return rows.getValue(column); });
}

// Runs change(default registry) on every row that is left, which may throw std::bad_alloc.
template <class Change>
int changeRows(KqbStringCursor *rows, char const **errorMessage, Change const &change) {
    if (errorMessage != nullptr) *errorMessage = nullptr;
    KqbConfigOptions *const options = kqbGetConfigOptions(KqbString());
    if (options == nullptr) return notPossible(errorMessage);
    __int64 count = 0;
    bool isRead = rows == nullptr || rows->getRowCount(&count);
    int state = KqbCursorRow;
    for (; isRead && count > 0 && state == KqbCursorRow; --count) {
        state = rows->next();
        isRead = state != KqbCursorFailure;
        bool const isDone = state != KqbCursorRow || kqbWithMemory([&] { change(*options); });
        if (!isDone) return notPossible(errorMessage);
    }
    if (isRead) return 0;
    return kqbStartupFailure(1, rows->getErrorMessage().asCstr(), errorMessage);
}

}  // namespace

// --- Before start-up ------------------------------------------------------------------------------

int kqbStartupAddConfigFile(char const *path, char const **errorMessage) {
    if (errorMessage != nullptr) *errorMessage = nullptr;
    KqbGlobalLock const guard;
    KqbConfigOptions *const files = kqbGetConfigOptions(KqbString(kKqbStagedFiles, true));
    if (files == nullptr) return notPossible(errorMessage);
    bool isStaged = false;
    bool const hadMemory = kqbWithMemory([&] { isStaged = stageFile(*files, path); });
    return hadMemory && isStaged ? 0 : notPossible(errorMessage);
}

int kqbStartupAddOption(char const *key, char const *value, char const **errorMessage) {
    if (errorMessage != nullptr) *errorMessage = nullptr;
    KqbGlobalLock const guard;
    KqbConfigOptions *const options = kqbGetConfigOptions(KqbString(kKqbStagedOptions, true));
    return options != nullptr && store(options, key, value) ? 0 : notPossible(errorMessage);
}

int kqbStartupAddParsedOptions(char const *text, char const **errorMessage) {
    if (errorMessage != nullptr) *errorMessage = nullptr;
    if (kqbGetBootLevel() == 0) return notPossible(errorMessage);
    KqbParse list;
    if (!parse(text, &list)) return kqbStartupFailure(1, kNotParsed.text, errorMessage);
    int result = 0;
    for (int i = 0; result == 0 && i < list.getAttributeCount(); ++i) {
        KqbString name;
        KqbString value;
        if (!list.getAttribute(i, &name, &value))
            return kqbStartupFailure(2, kNotRetrieved.text, errorMessage);
        bool const isWord = name.length() == 0;
        result = isWord ? kqbStartupAddOption(textOf(value), nullptr, errorMessage)
                        : kqbStartupAddOption(textOf(name), textOf(value), errorMessage);
    }
    return result;
}

void kqbStartupSetUserPath(char const *path) {
    KqbGlobalLock const guard;
    // Bytes, not characters: a directory's name has no more structure than that. It may be the one
    // that is there already.
    std::size_t const size = path != nullptr ? strnlen(path, sizeof gUserPath - 1) : 0;
    if (size > 0) std::memmove(gUserPath, path, size);
    gUserPath[size] = '\0';
}

char const *kqbStartupGetUserPath(void) { return gUserPath; }

// --- After start-up -------------------------------------------------------------------------------

int kqbStartupSetParsedOptions(char const *text, KqbStringCursor **previousValues,
                               KqbStringCursor **newKeys, char const **errorMessage) {
    if (errorMessage != nullptr) *errorMessage = nullptr;
    if (previousValues != nullptr) *previousValues = nullptr;
    if (newKeys != nullptr) *newKeys = nullptr;
    KqbConfigOptions *const options = kqbGetConfigOptions(KqbString());
    if (options == nullptr) return notPossible(errorMessage);
    Undo undo(*options);
    Failure const failure = setParsed(text, *options, &undo);
    if (failure.result != 0) return kqbStartupFailure(failure.result, failure.text, errorMessage);
    undo.handOver(previousValues, newKeys);
    return 0;
}

int kqbStartupSetOptions(KqbStringCursor *pairs, char const **errorMessage) {
    return changeRows(pairs, errorMessage, [&](KqbConfigOptions &options) {
        if (!options.setOption(valueOf(*pairs, kKey), valueOf(*pairs, kValue)))
            throw std::bad_alloc();
    });
}

int kqbStartupDeleteOptions(KqbStringCursor *keys, char const **errorMessage) {
    return changeRows(keys, errorMessage, [&](KqbConfigOptions &options) {
        options.deleteOption(valueOf(*keys, kKey));
    });
}
