// KqUtf8ToUC, KqUCToUtf8 over the character library's UTF-16 conversion.
//
// release() may be called on a null object, so this file is compiled without the assumption that
// `this` points somewhere (-fno-delete-null-pointer-checks), and the sanitizer is told so.
#include "kqb/kqbunicodeconv.h"

#include <climits>

#include "kqb/kqbmempool.h"
#include "platform/kqschr.h"

namespace {

// The most units whose bytes an int can count.
constexpr int kMaxUnits = INT_MAX / 2;

#define KQB_MAY_BE_NULL __attribute__((no_sanitize("null")))

bool exists(void const *object) { return object != nullptr; }

bool getUnits(int count, unsigned short **units) {
    void *block = nullptr;
    bool const obtained = KqbMemPool::getBytes(static_cast<unsigned>(count) * 2, &block);
    *units = static_cast<unsigned short *>(block);
    return obtained;
}

// Units up to the first 0 and with it, but at most count.
int unitsToConvert(unsigned short const *units, int count) {
    int used = 0;
    while (used < count && units[used] != 0) ++used;
    return used < count ? used + 1 : count;
}

}  // namespace

// --- UTF-8 to UTF-16 ------------------------------------------------------------------------------

KqUtf8ToUC::~KqUtf8ToUC() { set(nullptr); }

bool KqUtf8ToUC::set(char const *text) {
    KqbMemPool::freeBytes(buffer_);
    buffer_ = nullptr;
    length_ = 0;
    if (text == nullptr) return true;
    int const units = np_uchar_utf8_to_utf16(text, -1, nullptr, 0);
    if (units <= 0) return true;
    if (units > kMaxUnits || !getUnits(units, &buffer_)) return false;
    length_ = units;
    np_uchar_utf8_to_utf16(text, -1, buffer_, units);
    return true;
}

KQB_MAY_BE_NULL void KqUtf8ToUC::release() {
    if (!exists(this)) return;
    delete this;
}

// --- UTF-16 to UTF-8 ------------------------------------------------------------------------------

KqUCToUtf8::~KqUCToUtf8() { set(0); }

bool KqUCToUtf8::set(int length) {
    KqbMemPool::freeBytes(units_);
    KqbMemPool::freeBytes(text_);
    units_ = nullptr;
    text_ = nullptr;
    length_ = length > 0 ? length : 0;
    if (length_ == 0) return true;
    if (length_ >= kMaxUnits || !getUnits(length_ + 1, &units_)) return false;
    units_[length_] = 0;
    return true;
}

char *KqUCToUtf8::utf8String() {
    if (text_ != nullptr || units_ == nullptr) return text_;
    int const bytes = np_uchar_utf16_to_utf8(units_, -1, nullptr, 0);
    void *block = nullptr;
    if (bytes <= 0 || !KqbMemPool::getBytes(static_cast<unsigned>(bytes), &block)) return nullptr;
    text_ = static_cast<char *>(block);
    np_uchar_utf16_to_utf8(units_, unitsToConvert(units_, length_), text_, bytes);
    return text_;
}

KQB_MAY_BE_NULL void KqUCToUtf8::release() {
    if (!exists(this)) return;
    delete this;
}

// --- Free functions -------------------------------------------------------------------------------

void convertUCToUtf8(unsigned short *text, char *out, int size) {
    if (size <= 0) return;
    if (np_uchar_utf16_to_utf8(text, -1, out, size) == size) out[size - 1] = '\0';
}

void convertUtf8ToUC(char *text, unsigned short *out, int size) {
    if (size > 0) np_uchar_utf8_to_utf16(text, -1, out, size);
}
