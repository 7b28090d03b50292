// KqUtf8ToUC, KqUCToUtf8: exchange of text with interfaces that want UTF-16.
#pragma once

#include "kqb/kqbtypes.h"

// Holds the UTF-16 form of a UTF-8 text in a pool block.
//
// Copying copies the fields only: two objects then name one buffer, and only one of them may give
// it back (by set, release or its destructor; empty the other with care). One object belongs to
// one thread at a time.
class KQB_API KqUtf8ToUC {
public:
    KqUtf8ToUC() = default;
    ~KqUtf8ToUC();
    KqUtf8ToUC(KqUtf8ToUC const &) = default;
    KqUtf8ToUC &operator=(KqUtf8ToUC const &) = default;

    // Gives back the old buffer and converts text. Null: length 0, no buffer, true. Text that is
    // not well-formed UTF-8 (RFC 3629): the same. False only when the pool has no memory.
    bool set(char const *text);

    // The units, ending in a 0 unit; null when there is no buffer. Valid until the next set.
    unsigned short *ucString() const { return buffer_; }

    // Units including the terminating 0; the same in bytes.
    int bufLength() const { return length_; }
    int bufLengthBytes() const { return length_ * 2; }

    // Ends an object that was made with new (KqbString::asUCS2 makes them so): empties and deletes
    // it. Called on a null pointer it does nothing.
    void release();

private:
    int length_ = 0;
    unsigned short *buffer_ = nullptr;
};

// Offers a UTF-16 buffer to be filled by the caller and turns it into UTF-8 when asked.
// Copying and threads: as for KqUtf8ToUC.
class KQB_API KqUCToUtf8 {
public:
    KqUCToUtf8() = default;
    ~KqUCToUtf8();
    KqUCToUtf8(KqUCToUtf8 const &) = default;
    KqUCToUtf8 &operator=(KqUCToUtf8 const &) = default;

    // Gives back both buffers and makes room for length units and a terminating 0, which is
    // written at once; the units before it are not initialised. 0 (or less): no buffer, true.
    // False when the pool has no memory, or length is 2^30 - 1 or more; the length is recorded
    // nevertheless.
    bool set(int length);

    // Room for bufLength() units, for the caller to fill; null when there is no buffer.
    unsigned short *getUCBuffer() const { return units_; }
    int bufLength() const { return length_; }
    int bufLengthBytes() const { return static_cast<int>(static_cast<unsigned>(length_) * 2); }

    // The UTF-8 form, made once: later calls return the same pointer, also when the units were
    // changed meanwhile. Null when there is no buffer, the units up to the first 0 are ill-formed
    // or the pool has no memory. The result is measured up to the first 0 unit and the conversion
    // covers all bufLength() units, so the text is terminated only when one of those units is 0: a
    // buffer filled to its last unit gives text whose last byte is not written.
    char *utf8String();

    // Ends an object that was made with new. Called on a null pointer it does nothing.
    void release();

private:
    unsigned short *units_ = nullptr;
    char *text_ = nullptr;
    int length_ = 0;
};

// Converts NUL-terminated UTF-16 to UTF-8, at most size bytes including the NUL. A text that needs
// exactly size bytes is terminated. When the text does not fit or is ill-formed nothing is promised
// about out beyond its size bytes being respected.
KQB_API void convertUCToUtf8(unsigned short *text, char *out, int size);

// Converts NUL-terminated UTF-8 to UTF-16, at most size units including the terminating 0. When
// the text does not fit or is ill-formed nothing is promised about out beyond its size.
KQB_API void convertUtf8ToUC(char *text, unsigned short *out, int size);
