// KqbString: storage, sharing, assigning and appending.
//
// Every change that cannot happen in place builds a fresh record from what stays of the old text
// and what is added, and lets the old record go last. So text lying inside the string itself may be
// assigned or appended, and a failure leaves the string as it was.
#include "kqb/kqbstring.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <new>

#include "core/kqbcopy_internal.h"
#include "core/kqbstring_internal.h"
#include "kqb/kqbmempool.h"
#include "kqb/kqbunicodeconv.h"
#include "platform/kqschr.h"
#include "platform/kqssys.h"

namespace {

constexpr unsigned kUnknown = ~0U;

// Text to be taken in; its characters may be unknown until it is copied.
struct Piece {
    char const *text;
    std::size_t bytes;
    unsigned characters;
};

// Negative counts are unknown. A known byte count is used as it is.
Piece measure(char const *text, int characters, int bytes) {
    if (text == nullptr) return {"", 0, 0};
    unsigned const count = characters < 0 ? kUnknown : static_cast<unsigned>(characters);
    if (bytes >= 0) return {text, static_cast<std::size_t>(bytes), count};
    if (characters >= 0) {
        if (char const *end = np_uchar_seek(text, count)) {
            return {text, static_cast<std::size_t>(end - text), count};
        }
    }
    return {text, std::strlen(text), kUnknown};
}

// Copies a piece and returns its characters. Nearly all text is ASCII, where they are the bytes.
unsigned copyPiece(char *to, Piece const &piece) {
    if (piece.characters == kUnknown) {
        if (kqbCopyIsAscii(to, piece.text, piece.bytes)) return static_cast<unsigned>(piece.bytes);
        return np_uchar_length_n(to, piece.bytes);
    }
    std::memcpy(to, piece.text, piece.bytes);
    return piece.characters;
}

// The capacity that doubling from 1 reaches for so many bytes and a NUL.
unsigned roundedCapacity(std::size_t bytes) {
    return std::bit_ceil(static_cast<unsigned>(bytes) + 1);
}

// The two smallest blocks of the pool. Short texts that come one after the other share one.
constexpr unsigned kLeastRoom = 16;
constexpr unsigned kShortRoom = 64;

unsigned doubledCapacity(unsigned capacity, std::size_t bytes) {
    while (capacity <= bytes) capacity *= 2;
    return capacity;
}

KqbString &report(KqbString &string, bool succeeded, bool *error) {
    if (error != nullptr) *error = !succeeded;
    return string;
}

}  // namespace

// --- Records --------------------------------------------------------------------------------------

// Flattened: building and ending short strings is mostly the pool's short way, so it goes in line.
[[gnu::flatten]] KqbString::InternalString *KqbString::newString(unsigned int bytes) {
    void *memory = nullptr;
    void *text = nullptr;
    if (!KqbMemPool::getBytes(sizeof(InternalString), &memory)) return nullptr;
    if (!KqbMemPool::getBytes(bytes + 1, &text)) {
        KqbMemPool::freeBytes(memory);
        return nullptr;
    }
    auto *const rep = new (memory) InternalString;
    kqAtomInit(&rep->references, 1);
    rep->text = static_cast<char *>(text);
    rep->capacity = bytes + 1;
    rep->bytes = 0;
    rep->characters = 0;
    return rep;
}

[[gnu::flatten]] void KqbString::destroy(InternalString *rep) {
    KqbMemPool::freeBytes(rep->text);
    KqbMemPool::freeBytes(rep);
}

void KqbString::replaceString(InternalString *rep) {
    InternalString *const old = rep_;
    forget();
    rep_ = rep;
    drop(old);
}

[[gnu::flatten]] KqbString::InternalString *KqbString::makeString(char const *text,
                                                                  std::size_t bytes,
                                                                  unsigned int characters,
                                                                  unsigned int room) {
    if (bytes > kKqbStringMaxBytes) return nullptr;
    InternalString *const rep = newString(std::max(roundedCapacity(bytes), room) - 1);
    if (rep == nullptr) return nullptr;
    rep->characters = copyPiece(rep->text, {text, bytes, characters});
    rep->text[bytes] = '\0';
    rep->bytes = static_cast<unsigned>(bytes);
    return rep;
}

bool KqbString::reuse(char const *text, std::size_t bytes) {
    if (rep_ == nullptr || bytes >= rep_->capacity || kqAtomGet(&rep_->references) > 1)
        return false;
    if (rep_->capacity > kShortRoom && rep_->capacity != roundedCapacity(bytes)) return false;
    std::uintptr_t const offset =
        reinterpret_cast<std::uintptr_t>(text) - reinterpret_cast<std::uintptr_t>(rep_->text);
    if (offset < rep_->capacity) return false;  // a part of itself
    rep_->characters = copyPiece(rep_->text, {text, bytes, kUnknown});
    rep_->text[bytes] = '\0';
    rep_->bytes = static_cast<unsigned>(bytes);
    return true;
}

bool KqbString::doAssign(char const *text, int characters, int bytes) {
    Piece const piece = measure(text, characters, bytes);
    replaceString(makeString(piece.text, piece.bytes, piece.characters));
    return rep_ != nullptr;
}

bool KqbString::doAppend(char const *text, int characters, int bytes) {
    Piece const piece = measure(text, characters, bytes);
    std::size_t const head = byteLength();
    std::size_t const total = head + piece.bytes;
    if (piece.bytes > kKqbStringMaxBytes || total > kKqbStringMaxBytes) return false;

    bool const alone = rep_ != nullptr && kqAtomGet(&rep_->references) < 2;
    InternalString *rep = rep_;
    if (!alone || total >= rep->capacity) {
        unsigned const capacity = alone             ? doubledCapacity(rep->capacity, total)
                                  : rep_ != nullptr ? static_cast<unsigned>(total) + 1
                                                    : roundedCapacity(total);
        rep = newString(capacity - 1);
        if (rep == nullptr) return false;
        std::memcpy(rep->text, asCstr(), head);
        rep->characters = length();
    }
    rep->characters += copyPiece(rep->text + head, piece);
    rep->text[total] = '\0';
    rep->bytes = static_cast<unsigned>(total);
    if (rep != rep_) replaceString(rep);
    return true;
}

bool KqbString::convertStatic() {
    KqbString owned;
    if (!owned.doAssign(borrowed_, static_cast<int>(borrowedChars_),
                        static_cast<int>(borrowedBytes_))) {
        return false;
    }
    *this = static_cast<KqbString &&>(owned);
    return true;
}

bool KqbString::prepWrite() {
    if (borrowed_ != nullptr) return convertStatic();
    if (rep_ == nullptr) return doAssign("", 0, 0);
    if (kqAtomGet(&rep_->references) < 2) return true;
    InternalString *const own = newString(rep_->bytes);
    if (own == nullptr) return false;
    std::memcpy(own->text, rep_->text, rep_->bytes + std::size_t{1});
    own->bytes = rep_->bytes;
    own->characters = rep_->characters;
    replaceString(own);
    return true;
}

// --- Making and assigning -------------------------------------------------------------------------

KqbString::KqbString(char const *text, bool borrow) {
    if (text == nullptr) return;
    std::size_t const bytes = std::strlen(text);
    if (!borrow) {
        rep_ = makeString(text, bytes, kUnknown);
    } else if (bytes <= kKqbStringMaxBytes) {
        borrowed_ = text;
        borrowedChars_ = np_uchar_length_n(text, bytes);
        borrowedBytes_ = static_cast<unsigned>(bytes);
    }
}

KqbString &KqbString::operator=(KqbString const &other) noexcept {
    if (borrowed_ != nullptr && borrowed_ == other.borrowed_) return *this;
    if (rep_ != nullptr && rep_ == other.rep_) return *this;
    if (other.rep_ != nullptr) kqAtomAdd(&other.rep_->references, 1);
    InternalString *const old = rep_;
    rep_ = other.rep_;
    borrowed_ = other.borrowed_;
    borrowedChars_ = other.borrowedChars_;
    borrowedBytes_ = other.borrowedBytes_;
    drop(old);
    return *this;
}

KqbString &KqbString::operator=(KqbString &&other) noexcept {
    if (this == &other) return *this;
    InternalString *const old = rep_;
    rep_ = other.rep_;
    borrowed_ = other.borrowed_;
    borrowedChars_ = other.borrowedChars_;
    borrowedBytes_ = other.borrowedBytes_;
    other.forget();
    drop(old);
    return *this;
}

KqbString &KqbString::assign(char const *text) {
    doAssign(text, -1, -1);
    return *this;
}

KqbString &KqbString::assign(char const *text, int count) {
    doAssign(text, count, -1);
    return *this;
}

std::string_view kqbWholeCharacters(char const *text, std::size_t maxBytes) {
    std::size_t const size = text != nullptr ? strnlen(text, maxBytes) : 0;
    if (np_uchar_valid_n(text, size)) return {text, size};
    std::size_t whole = 0;
    int codePoint = 0;
    while (int const step = np_uchar_toint_n(text + whole, size - whole, &codePoint)) {
        whole += static_cast<std::size_t>(step);
    }
    return {text, whole};
}

KqbString &KqbString::assignBytes(char const *text, int maxBytes) {
    auto const limit = static_cast<std::size_t>(std::max(maxBytes, 0));
    KqbStringAccess::assign(*this, kqbWholeCharacters(text, limit));
    return *this;
}

KqbString &KqbString::fromUCS2(unsigned short const *text) {
    int const bytes = text != nullptr ? np_uchar_utf16_to_utf8(text, -1, nullptr, 0) : 0;
    if (bytes <= 0) return assign("");
    void *block = nullptr;
    if (!KqbMemPool::getBytes(static_cast<unsigned>(bytes), &block)) return *this;
    auto *const converted = static_cast<char *>(block);
    np_uchar_utf16_to_utf8(text, -1, converted, bytes);
    doAssign(converted, -1, bytes - 1);
    KqbMemPool::freeBytes(block);
    return *this;
}

void KqbString::setNull() { replaceString(nullptr); }

// --- Appending ------------------------------------------------------------------------------------

KqbString &KqbString::append(KqbString const &other, bool *error) {
    bool succeeded = true;
    if (isNull()) {
        *this = other;
    } else if (!other.isNull()) {
        succeeded = doAppend(other.asCstr(), static_cast<int>(other.length()),
                             static_cast<int>(other.byteLength()));
    } else if (borrowed_ != nullptr) {
        succeeded = convertStatic();
    }
    return report(*this, succeeded, error);
}

KqbString &KqbString::append(char const *text, int count, bool *error) {
    bool succeeded = true;
    if (isNull()) {
        succeeded = doAssign(text, count, -1);
    } else if (count != 0) {
        succeeded = doAppend(text, count, -1);
    }
    return report(*this, succeeded, error);
}

KqbString &KqbString::appendAny(char const *text, bool *error) {
    bool succeeded = true;
    if (isNull()) {
        succeeded = doAssign(text, -1, -1);
    } else if (text == nullptr) {
        succeeded = borrowed_ == nullptr || convertStatic();
    } else if (*text != '\0') {
        succeeded = doAppend(text, -1, -1);
    }
    return report(*this, succeeded, error);
}

// --- The library's own view -----------------------------------------------------------------------

// A text of about the size of the one before goes into its place, if nobody else holds that.
bool KqbStringAccess::assign(KqbString &string, std::string_view bytes) {
    if (string.reuse(bytes.data(), bytes.size())) return true;
    unsigned const room = bytes.size() < kLeastRoom ? kLeastRoom : kShortRoom;
    string.replaceString(KqbString::makeString(bytes.data(), bytes.size(), kUnknown, room));
    return string.rep_ != nullptr;
}

char *KqbStringAccess::room(KqbString &string, std::size_t bytes, unsigned int characters) {
    auto *const rep =
        bytes <= kKqbStringMaxBytes ? KqbString::newString(static_cast<unsigned>(bytes)) : nullptr;
    string.replaceString(rep);
    if (rep == nullptr) return nullptr;
    rep->bytes = static_cast<unsigned>(bytes);
    rep->characters = characters;
    rep->text[bytes] = '\0';
    return rep->text;
}

bool KqbStringAccess::append(KqbString &string, std::string_view bytes) {
    if (string.isNull()) return assign(string, bytes);
    if (bytes.size() > kKqbStringMaxBytes - string.byteLength()) return false;
    return string.doAppend(bytes.data(), -1, static_cast<int>(bytes.size()));
}

// --- Other forms ----------------------------------------------------------------------------------

KqUtf8ToUC *KqbString::asUCS2() const {
    auto *const converter = new (std::nothrow) KqUtf8ToUC;
    if (converter == nullptr || converter->set(asCstr())) return converter;
    converter->release();
    return nullptr;
}

KqbString kqbGetUUID() {
    char text[64];
    KqbString result;
    if (np_uniq_s64(text, sizeof text) == 0) result.assign(text);
    return result;
}
