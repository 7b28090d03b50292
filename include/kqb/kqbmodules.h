// What run-time modules offer the library. Of interest to those who write such modules only.
//
// A module is a shared library in the directory of the host's program, named after its base name
// and the library's version without the point: libkqbio38.so, libkqbdeps38.so. Its entry points
// have C names. It is loaded by absolute path with its symbols kept to itself.
#pragma once

#include "kqb/kqbtxtfile.h"

// The text of a failure for want of memory, by which the library tells it from others. A module
// lends it to the caller's string (KqbString(text, true)), since that needs no memory.
inline constexpr char kKqbOutOfMemory[] = "Out of memory";

// --- libkqbio38.so: text IO -------------------------------------------------------------------

// Opens text files. Operations after the first are those the library forwards to. An object of
// this class is the module's and lives while the module is loaded.
class KqbTextIoFactory {
public:
    // Lets go of what the module holds; called once before it is unloaded.
    virtual void release() = 0;

    // As kqbTxtFileOpen and kqbTxtFileOpenStream say; error may be null.
    virtual KqbTxtFile *open(KqbString const &path, KqbTxtFileOpenMode mode, int encoding,
                             int flags, KqbString *error) = 0;
    virtual KqbTxtFile *open(KqbIORaw *stream, KqbTxtFileOpenMode mode, int encoding, int flags,
                             KqbString *error) = 0;

    // As kqbTxtFileEncoding says; name may be null.
    virtual int encoding(char const *name) = 0;

protected:
    ~KqbTextIoFactory() = default;
};

// Entry point "KqbIOInitialize": receives the module's directory; null when it cannot work.
typedef KqbTextIoFactory *(*KqbIOInitializeFunction)(char const *moduleDirectory);

// --- libkqbdeps38.so: what the product wants done at start-up and shutdown ---------------------

// Entry point "KqbDepsStartup": receives the option BASE/EXE_PATH; 0 is success.
typedef int (*KqbDepsStartupFunction)(char const *executablePath);

// Entry point "KqbDepsShutdown": receives 0 from the library.
typedef void (*KqbDepsShutdownFunction)(int reserved);

// Entry point "KqbDepsGetInterface": an interface the product defines; may be null.
typedef void *(*KqbDepsGetInterfaceFunction)();

// What the module that ships with the library answers there: who it is. It has no dependencies to
// bring up; a product puts its own module in its place. The record is constant.
struct KqbDepsInterface {
    unsigned int size;     // bytes of this record, so that later ones may be longer
    unsigned int version;  // of this record: 1
    char const *library;   // version of the library it was built for
    int build;
};
