// KqbBlob: a large sequence of bytes in pages.
#pragma once

#include "kqb/kqbtypes.h"

// Holds bytes of any number, written by appending and read in order from the start. They lie in
// pages, of which the first may be in memory and all others are in one temporary file of the
// process; so many and large blobs do not exhaust memory, and one of up to a page costs no access
// to the file while memory pages last.
//
// A blob is a handle, null or on a body. Copies share the body: what is appended or read through
// one moves the end and the reading position that the others see. The pages are given back with the
// last handle.
//
// The pages come into being with the first body in the process, and go with the last, by the options
// of the default registry at that moment:
//   BASE/BLOB/PAGESIZE  bytes of a page, rounded up to a multiple of 8; 4096 when it is missing,
//                       not above 0 or no number
//   BASE/BLOB/MEMPAGES  pages in memory. Missing, not above 0 or no number: none, and pages have
//                       4096 bytes whatever BASE/BLOB/PAGESIZE says
//   BASE/TEMP           directory of the page file, whose name begins with "kqblob"; the system's
//                       own for temporary files when it is missing or empty
// What happens to the pages is logged by "KQ.Base.Blob.PageServer".
//
// Failure: memory, the temporary directory and the disk can fail. The results tell; what was
// appended before stays, and the blob stays usable. Nothing throws.
//
// Thread safety: different blobs may be used on different threads, also when copied from one. Bodies
// have no lock: of the handles that share one, only one at a time may append, read or rewind.
// Blobs need the library initialised and must end before the last kqbShutdown.
class KQB_API KqbBlob {
public:
    // The null blob.
    KqbBlob() = default;
    KqbBlob(KqbBlob const &other);
    // Takes over other's body and leaves it null.
    KqbBlob(KqbBlob &&other) noexcept : body_(other.body_) { other.body_ = nullptr; }
    KqbBlob const &operator=(KqbBlob const &other);
    KqbBlob const &operator=(KqbBlob &&other) noexcept;
    ~KqbBlob();

    // Bytes appended so far; 0 for null.
    __int64 size() const;

    // Copies up to size bytes from the reading position on and moves it. Returns the bytes copied,
    // fewer only at the end of the blob; 0 for size 0 and for a blob without bytes; -1 for null,
    // for a negative size, for a null buffer and when a page cannot be read.
    //
    // Reading is not guarded beyond the end: with the position at the end, a further read goes on
    // wherever the last page happens to lead, and may return -1 or bytes that are not the blob's.
    // Bound reads by size(), or rewind first.
    __int64 read(char *buffer, __int64 size);

    // Moves the reading position to the start. False for null.
    bool rewind();

    bool isNull() const { return body_ == nullptr; }

    // Appends size bytes. A null blob gets a body first, also for size 0. False when the body cannot
    // be made (the blob is then null), when a page cannot be had or written (size() tells how much
    // was appended), and, with nothing done, for a negative size and for null data.
    bool append(char const *data, __int64 size);

private:
    class Body;
    Body *body_ = nullptr;
};
