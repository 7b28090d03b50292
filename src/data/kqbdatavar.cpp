// KqbDatavar: storage, storing and order.
//
// New data is made before the old is given up, so that what is stored may lie in the variant itself
// and a value that others share stays until the end.
#include "kqb/kqbdatavar.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <new>

#include "core/kqbreal_internal.h"
#include "core/kqbstring_internal.h"
#include "kqb/kqbhost.h"
#include "kqb/kqbmempool.h"
#include "platform/kqschr.h"

namespace {

constexpr char kNul = '\0';

// Whether the data is nothing but bytes in a pool block.
bool isPlain(kqbType type) { return type != KqbTypeReal && type != KqbTypeBinary; }

template <class Number>
int order(Number a, Number b) {
    return static_cast<int>(a > b) - static_cast<int>(a < b);
}

int orderTexts(char const *a, std::size_t sizeA, char const *b, std::size_t sizeB) {
    int const difference = std::memcmp(a, b, std::min(sizeA, sizeB));
    return difference != 0 ? order(difference, 0) : order(sizeA, sizeB);
}

int orderDates(double a, double b) {
    if (b > a) return -1;
    return a == b ? 0 : 1;
}

}  // namespace

// --- Storage --------------------------------------------------------------------------------------

void KqbDatavar::freeData(kqbType type, void *data) {
    if (type == KqbTypeBinary) {
        delete static_cast<KqbBlob *>(data);
        return;
    }
    if (type == KqbTypeReal) static_cast<KqbReal *>(data)->~KqbReal();
    KqbMemPool::freeBytes(data);
}

void KqbDatavar::destroy(Instance *rep) {
    freeData(rep->type, rep->data);
    KqbMemPool::freeBytes(rep);
}

// Takes data over into a value of this variant's own. Without memory for one it is freed, and the
// variant is null.
bool KqbDatavar::adopt(kqbType type, void *data, unsigned int size) {
    if (rep_ != nullptr && kqAtomGet(&rep_->references) < 2) {
        freeData(rep_->type, rep_->data);
    } else {
        void *memory = nullptr;
        if (!KqbMemPool::getBytes(sizeof(Instance), &memory)) {
            freeData(type, data);
            setNull();
            return false;
        }
        auto *const own = new (memory) Instance;
        kqAtomInit(&own->references, 1);
        drop(rep_, own);
    }
    rep_->characters = 0;
    rep_->data = data;
    rep_->type = type;
    rep_->size = size;
    return true;
}

// Stores bytes, with room for `extra` behind them, in the block at hand if it has the size.
bool KqbDatavar::storePlain(kqbType type, void const *bytes, unsigned int size,
                            unsigned int extra) {
    unsigned int const total = size + extra;
    if (rep_ != nullptr && isPlain(rep_->type) && rep_->size == total && isAlone(rep_->type)) {
        std::memmove(rep_->data, bytes, size);
        rep_->type = type;
        return true;
    }
    void *block = nullptr;
    if (!KqbMemPool::getBytes(total, &block)) {
        setNull();
        return false;
    }
    std::memcpy(block, bytes, size);
    return adopt(type, block, total);
}

bool KqbDatavar::storeText(char const *text, std::size_t bytes, unsigned int characters) {
    if (bytes > kKqbStringMaxBytes) {
        setNull();
        return false;
    }
    auto const size = static_cast<unsigned int>(bytes);
    if (hasRoom(bytes)) {
        std::memmove(rep_->data, text, bytes);
    } else if (!storePlain(KqbTypeString, text, size, roomFor(bytes + 1) - size)) {
        return false;
    }
    finishText(bytes, characters);
    return true;
}

KqbDatavar &KqbDatavar::assignPlain(kqbType type, void const *bytes, unsigned int size) {
    storePlain(type, bytes, size, 0);
    return *this;
}

void const *KqbDatavar::getRaw(unsigned int *size) const {
    if (size != nullptr) *size = rep_ != nullptr ? rep_->size : 0;
    switch (type()) {
        case KqbTypeReal:
            return &KqbRealAccess::decimal(value<KqbReal>());
        case KqbTypeBinary:
            return nullptr;
        default:
            return rep_ != nullptr ? rep_->data : nullptr;
    }
}

unsigned int KqbDatavar::getRawSizeReq(kqbType type) {
    switch (type) {
        case KqbTypeBoolean:
            return sizeof(bool);
        case KqbTypeInteger:
            return sizeof(long long);
        case KqbTypeReal:
            return sizeof(decSext);
        case KqbTypeDate:
            return sizeof(double);
        default:
            return 0;
    }
}

// --- Storing typed values -------------------------------------------------------------------------

KqbDatavar &KqbDatavar::assign(char const *text) {
    if (text == nullptr) {
        setNull();
        return *this;
    }
    std::size_t const bytes = std::strlen(text);
    storeText(text, bytes, np_uchar_length_n(text, bytes));
    return *this;
}

KqbDatavar &KqbDatavar::assign(char const *text, unsigned int count) {
    char const *const end = text != nullptr ? np_uchar_seek(text, count) : nullptr;
    if (end == nullptr) return assign(text);
    storeText(text, static_cast<std::size_t>(end - text), count);
    return *this;
}

KqbDatavar &KqbDatavar::assign(KqbString const &text) {
    if (text.isNull()) {
        setNull();
    } else {
        storeText(text.asCstr(), KqbStringAccess::view(text).size(), text.length());
    }
    return *this;
}

KqbDatavar &KqbDatavar::assignBytes(char const *text, unsigned int maxBytes) {
    if (text == nullptr) return assign(text);
    std::string_view const whole = kqbWholeCharacters(text, maxBytes);
    storeText(whole.data(), whole.size(), np_uchar_length_n(whole.data(), whole.size()));
    return *this;
}

KqbDatavar &KqbDatavar::assign(KqbReal const &value) {
    if (value.isNull()) {
        setNull();
        return *this;
    }
    if (isAlone(KqbTypeReal)) {
        *static_cast<KqbReal *>(rep_->data) = value;
        return *this;
    }
    storeReal(value);
    return *this;
}

bool KqbDatavar::storeReal(KqbReal const &value) {
    void *block = nullptr;
    if (!KqbMemPool::getBytes(sizeof(KqbReal), &block)) {
        setNull();
        return false;
    }
    return adopt(KqbTypeReal, new (block) KqbReal(value), sizeof(decSext));
}

KqbDatavar &KqbDatavar::assign(float value) {
    char text[32];
    *std::to_chars(text, text + sizeof text - 1, value).ptr = kNul;
    return assign(KqbReal(text));
}

KqbDatavar &KqbDatavar::assign(KqbDate const &value) {
    if (value.isNull()) {
        setNull();
        return *this;
    }
    double const number = value.asDouble();
    return assignPlain(KqbTypeDate, &number, sizeof number);
}

KqbDatavar &KqbDatavar::assign(KqbBlob const &value) {
    if (value.isNull()) {
        setNull();
    } else {
        storeBlob(value);
    }
    return *this;
}

bool KqbDatavar::storeBlob(KqbBlob const &value) {
    auto *const blob = new (std::nothrow) KqbBlob(value);
    if (blob != nullptr) return adopt(KqbTypeBinary, blob, 0);
    setNull();
    return false;
}

// --- Storing bytes --------------------------------------------------------------------------------

bool KqbDatavar::assign(kqbType type, void const *data, unsigned int size) {
    unsigned int const required = getRawSizeReq(type);
    if (!isType(type) || (data == nullptr && size != 0)) return false;
    if (data == nullptr) {
        setNull();
        return true;
    }
    if (required != 0 && size != required) return false;
    auto const *const bytes = static_cast<char const *>(data);
    switch (type) {
        case KqbTypeBoolean:
            assign(*bytes != 0);
            return !isNull();
        case KqbTypeReal:
            return storeRawReal(data);
        case KqbTypeString:
            return storeRawText(bytes, size);
        case KqbTypeDate:
            return storeRawDate(data);
        case KqbTypeBinary:
            return storeRawBlob(bytes, size);
        default:
            return storePlain(type, data, size, 0);
    }
}

bool KqbDatavar::assign(kqbType type, void const *data, unsigned int size, bool swap) {
    bool const isNumber = type == KqbTypeInteger || type == KqbTypeReal || type == KqbTypeDate;
    if (!swap || !isNumber || data == nullptr || size != getRawSizeReq(type)) {
        return assign(type, data, size);
    }
    char turned[sizeof(decSext)];
    std::reverse_copy(static_cast<char const *>(data), static_cast<char const *>(data) + size,
                      turned);
    return assign(type, turned, size);
}

bool KqbDatavar::storeRawText(char const *text, unsigned int size) {
    if (size > 0 && text[size - 1] == kNul) --size;
    if (std::memchr(text, kNul, size) != nullptr) return false;
    return storeText(text, size, np_uchar_length_n(text, size));
}

bool KqbDatavar::storeRawDate(void const *data) {
    double number;
    std::memcpy(&number, data, sizeof number);
    KqbDate const date(number);
    return !date.isNull() && !assign(date).isNull();
}

bool KqbDatavar::storeRawReal(void const *data) {
    unsigned long long words[3];
    std::memcpy(words, data, sizeof words);
    KqbReal const value = KqbReal().assign(&words, false);
    return value.isNull() == assign(value).isNull();
}

bool KqbDatavar::storeRawBlob(char const *data, unsigned int size) {
    KqbBlob blob;
    if (!blob.append(data, size)) {
        setNull();
        return false;
    }
    return storeBlob(blob);
}

// --- Order ----------------------------------------------------------------------------------------

int KqbDatavar::compare(KqbDatavar const &other) const {
    if (isNull() || other.isNull()) return order(!isNull(), !other.isNull());
    if (type() == other.type()) return compareValues(other);
    // Whoever watches for this assertion knows it by this place.
    kqbAssertFailure("compare type mismatch", "kqbdatavar", 532);
    return -1;
}

int KqbDatavar::compareValues(KqbDatavar const &other) const {
    switch (type()) {
        case KqbTypeBoolean:
            return order(value<bool>(), other.value<bool>());
        case KqbTypeInteger:
            return order(value<long long>(), other.value<long long>());
        case KqbTypeReal:
            return value<KqbReal>().compare(other.value<KqbReal>());
        case KqbTypeString:
            return orderTexts(text(), rep_->size, other.text(), other.rep_->size);
        case KqbTypeDate:
            return orderDates(value<double>(), other.value<double>());
        default:
            return 0;
    }
}
