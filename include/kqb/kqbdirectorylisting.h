// KqbDirectoryListing: the names in one directory.
#pragma once

#include "kqb/kqbstring.h"

// Flags of kqbDirectoryOpen. Without either kind all entries are listed.
constexpr unsigned int kKqbDirectoryFiles = 0x40000000;        // regular files (links followed)
constexpr unsigned int kKqbDirectoryDirectories = 0x20000000;  // directories (links followed)

// A listing, read when it was opened; names are in byte order. "." and ".." are not listed. Made
// by kqbDirectoryOpen, ended with release(). Belongs to one thread at a time.
class KqbDirectoryListing {
public:
    // The next name, without its directory. False at the end, name untouched; and when memory ran
    // out, name null, to be asked again.
    virtual bool next(KqbString *name) = 0;
    // Starts again with the first name.
    virtual void rewind() = 0;
    virtual int getCount() const = 0;
    virtual void release() = 0;

protected:
    ~KqbDirectoryListing() = default;
};

// Reads the directory. Null with *error set when it cannot be read or memory runs out; *error is
// null on success. error may be null.
KQB_API KqbDirectoryListing *kqbDirectoryOpen(KqbString const &directory, unsigned int flags,
                                              KqbString *error);
