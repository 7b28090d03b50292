#include "kqb/kqbtxtfile.h"

#include <cstring>

#include "io/kqbtextio_internal.h"
#include "io/kqbtxtfilestring_internal.h"
#include "kqb/kqbmessage.h"

namespace {

constexpr int kCannotAllocate = 29;

// The bytes of a string as the operations on a pointer and a size take them: nothing is null.
struct Bytes {
    explicit Bytes(KqbString const &string)
        : size(string.cStrSize() - 1), text(size > 0 ? string.asCstr() : nullptr) {}
    explicit Bytes(char const *string)
        : size(string != nullptr ? static_cast<unsigned int>(std::strlen(string)) : 0),
          text(string) {}

    unsigned int size;
    char const *text;
};

// Borrowed text, since strings of their own need the pool, which may be down as well.
void tellNotInitialized(KqbString *error) {
    if (error != nullptr) {
        *error = KqbString("Cannot open a text file: the library is not initialized", true);
    }
}

}  // namespace

// --- Writing ----------------------------------------------------------------------------------
// The asymmetry is meant: to write nothing is to do nothing, but a line of nothing is a line, and
// what names an encoding is always passed on.

bool KqbTxtFile::write(KqbString const &text, int encoding) {
    Bytes const bytes(text);
    return write(bytes.text, static_cast<int>(bytes.size), encoding);
}

bool KqbTxtFile::write(KqbString const &text) {
    Bytes const bytes(text);
    return bytes.size == 0 || write(bytes.text, bytes.size);
}

bool KqbTxtFile::write(char const *text) {
    if (text == nullptr) return true;
    Bytes const bytes(text);
    return write(bytes.text, bytes.size);
}

bool KqbTxtFile::writeln(KqbString const &text, int encoding) {
    Bytes const bytes(text);
    return writeln(bytes.text, static_cast<int>(bytes.size), encoding);
}

bool KqbTxtFile::writeln(KqbString const &text) {
    Bytes const bytes(text);
    return writeln(bytes.text, bytes.size);
}

bool KqbTxtFile::writeln(char const *text) {
    Bytes const bytes(text);
    return writeln(bytes.text, bytes.size);
}

// --- Opening ----------------------------------------------------------------------------------

KqbTxtFile *kqbTxtFileOpen(char const *path, KqbTxtFileOpenMode mode, int encoding, int flags,
                           KqbString *error) {
    KqbTextIoFactory *const factory = kqbTextIoFactory();
    if (factory != nullptr) return factory->open(KqbString(path), mode, encoding, flags, error);
    tellNotInitialized(error);
    return nullptr;
}

KqbTxtFile *kqbTxtFileOpenStream(KqbIORaw *stream, KqbTxtFileOpenMode mode, int encoding, int flags,
                                 KqbString *error) {
    KqbTextIoFactory *const factory = kqbTextIoFactory();
    if (factory != nullptr) return factory->open(stream, mode, encoding, flags, error);
    tellNotInitialized(error);
    if (stream != nullptr) stream->release();
    return nullptr;
}

KqbTxtFile *kqbTxtFileOpenString(KqbString *target, KqbTxtFileOpenMode mode, KqbString *error) {
    KqbIORaw *const stream = kqbStringStreamCreate(target);
    if (stream != nullptr) return kqbTxtFileOpenStream(stream, mode, 0, 0, error);
    if (error != nullptr) {
        *error = kqb_get_message(KQB_BASE_SERVICES, kCannotAllocate, kKqbStringStreamSource,
                                 {KqbString("String as file")});
    }
    return nullptr;
}

int kqbTxtFileEncoding(char const *name) {
    KqbTextIoFactory *const factory = kqbTextIoFactory();
    return factory != nullptr ? factory->encoding(name) : 0;
}
