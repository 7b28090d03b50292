// KqbString: the text type of every interface; its comparators; unique identifiers.
#pragma once

#include <cstddef>

#include "kqb/kqbtypes.h"
#include "platform/kqatom.h"

class KqUtf8ToUC;

// Reference-counted, copy-on-write UTF-8 text with a null state.
//
// A string is null, or borrows constant text of the caller's, or owns text that it may share with
// its copies. Null and empty are distinct: isNull() tells; asCstr() gives "" for both. Positions,
// lengths and counts are characters (a lead byte with the continuation bytes behind it, also in
// ill-formed text) unless a name says bytes.
//
// Copying shares: one counter is raised. The first write to a shared or borrowed string makes it
// an owner of its own text, and other strings never see the change.
//
// Failure: only memory can run out. It is told by a bool result or a bool *error flag, which may
// be null where nobody asks. Nothing throws.
//
// Thread safety: strings that share text may be used, copied and destroyed on different threads.
// One string object belongs to one thread at a time. Strings need the pool (kqbInitialize); an
// owned string that outlives kqbShutdown must not be touched again.
class KQB_API KqbString {
public:
    // --- Making and assigning -----------------------------------------------------------------

    // The null string.
    KqbString() noexcept {}

    // A copy of text, or with borrow the text itself, which must then outlive every string that
    // borrows it unchanged. Null text gives the null string.
    KqbString(char const *text, bool borrow = false);

    KqbString(KqbString const &other) noexcept
        : rep_(other.rep_), borrowed_(other.borrowed_), borrowedChars_(other.borrowedChars_),
          borrowedBytes_(other.borrowedBytes_) {
        if (rep_ != nullptr) kqAtomAdd(&rep_->references, 1);
    }

    // Takes over other's text and leaves it null.
    KqbString(KqbString &&other) noexcept
        : rep_(other.rep_), borrowed_(other.borrowed_), borrowedChars_(other.borrowedChars_),
          borrowedBytes_(other.borrowedBytes_) {
        other.forget();
    }

    KqbString &operator=(KqbString const &other) noexcept;
    KqbString &operator=(KqbString &&other) noexcept;

    virtual ~KqbString() { drop(rep_); }

    // Assigning builds fresh text and then lets the old go, so text may lie inside this string.
    // Null text gives the empty string. A string whose assignment ran out of memory is null.
    KqbString &assign(char const *text);
    // The first count characters; the whole text when count is negative or beyond the end.
    KqbString &assign(char const *text, int count);
    // The longest run of whole, well-formed characters of at most maxBytes bytes, stopping at the
    // NUL. Negative maxBytes counts as 0.
    KqbString &assignBytes(char const *text, int maxBytes);
    // Decimal text.
    KqbString &assign(int value);
    KqbString &assign(unsigned int value);
    KqbString &assign(long value);
    KqbString &assign(unsigned long value);
    KqbString &assign(long long value);
    KqbString &assign(unsigned long long value);
    // Up to 15 significant digits, in the manner of "%.15g" with a decimal point whatever the
    // locale, and at least three exponent digits: 0.1, 1e+020, inf, nan.
    KqbString &assign(double value);

    // NUL-terminated UTF-16. Null or ill-formed units give the empty string; without memory for
    // the conversion the string is left as it was.
    KqbString &fromUCS2(unsigned short const *text);

    void setNull();

    // --- Appending ----------------------------------------------------------------------------
    // *error becomes true when memory ran out, else false. On failure an owner keeps its text, a
    // borrower keeps borrowing and a null string stays null.

    // A null string becomes a copy of other (sharing or borrowing as it does); a null other adds
    // nothing. A borrower becomes an owner in any case.
    KqbString &append(KqbString const &other, bool *error = nullptr);
    // The first count characters; the whole text when count is negative or beyond the end. A null
    // string becomes an owner even for count 0. Null text is empty.
    KqbString &append(char const *text, int count, bool *error = nullptr);
    // The whole text. Null text: a null string becomes empty, others keep their text.
    KqbString &append(char const *text, bool *error = nullptr) {
        if (!appendByte(text)) return appendAny(text, error);
        if (error != nullptr) *error = false;
        return *this;
    }

    // --- Looking ------------------------------------------------------------------------------

    bool isNull() const { return rep_ == nullptr && borrowed_ == nullptr; }

    // The text; "" for null. Valid until this string changes.
    char const *asCstr() const {
        return borrowed_ != nullptr ? borrowed_ : rep_ != nullptr ? rep_->text : "";
    }

    // Characters; 0 for null.
    unsigned int length() const {
        return borrowed_ != nullptr ? borrowedChars_ : rep_ != nullptr ? rep_->characters : 0;
    }

    // Bytes with the NUL; 1 for null.
    unsigned int cStrSize() const {
        return (borrowed_ != nullptr ? borrowedBytes_ : rep_ != nullptr ? rep_->bytes : 0) + 1;
    }

    // The text as a number; blanks around it are allowed. 0 and *error true when the string is
    // null, is not wholly a number or does not fit; else *error false.
    int asInt(bool *error = nullptr) const;
    long long asInt64(bool *error = nullptr) const;
    unsigned long long asSize(bool *error = nullptr) const;
    double asDouble(bool *error = nullptr) const;

    // -1, 0 or 1. Null equals null and stands before everything else, the empty string included.
    // With case: by unsigned bytes up to the first NUL. Without: by code points after full case
    // folding, whatever the locale ("ß" equals "SS"). A null pointer is a null string.
    int compare(KqbString const &other, bool caseSensitive = true) const;
    int compare(char const *other, bool caseSensitive = true) const;

    // Position of the first occurrence at or behind start (negative: 0), or of the last one,
    // overlapping occurrences included; -1 when there is none, the needle is null or empty, this
    // string is null or start lies behind the end. The search is by bytes.
    int find(KqbString const &needle, int start = 0) const;
    int rfind(KqbString const &needle) const;

    // count characters from start, to the end when count is negative or too large. Null for null;
    // the empty string when start lies behind the end. Null as well when memory ran out.
    KqbString mid(unsigned int start, int count = -1) const;
    // The last count characters, or all when there are fewer; a negative count gives "".
    KqbString right(int count) const;
    // This text with the first count occurrences of from, at or behind start, replaced by to; a
    // negative count replaces all. A null or empty from replaces nothing. Null for null, and when
    // memory ran out.
    KqbString replace(KqbString const &from, KqbString const &to, unsigned int start = 0,
                      int count = -1) const;

    // A new UTF-16 form of the text (of "" for null), to be ended with its release(). Null when
    // memory ran out.
    KqUtf8ToUC *asUCS2() const;

    // --- Changing in place --------------------------------------------------------------------

    // Remove white space (Unicode White_Space), or the character with code point ch, at either
    // end. Return the characters removed; 0 when memory ran out, with the string as it was.
    int trim(bool leading = true, bool trailing = true);
    int trimChar(int ch, bool leading = true, bool trailing = true);

    // Unicode's full case mapping, root locale: the length may change. False and unchanged when
    // memory ran out. Null stays null.
    bool lowercase();
    bool uppercase();

    // Keeps the first count characters. When memory ran out the string is null.
    void truncate(unsigned int count);

private:
    // Text shared by copies. text has room for capacity bytes, bytes < capacity, text[bytes] is
    // NUL and characters is what the character library counts. Record and text are pool blocks.
    struct InternalString {
        char *text;
        kqAtom references;
        unsigned int capacity;
        unsigned int bytes;
        unsigned int characters;
    };

    static void drop(InternalString *rep) {
        if (rep != nullptr && kqAtomSub(&rep->references, 1) < 1) destroy(rep);
    }
    static void destroy(InternalString *rep);
    static InternalString *newString(unsigned int bytes);
    static InternalString *makeString(char const *text, std::size_t bytes, unsigned int characters,
                                      unsigned int room = 1);
    bool reuse(char const *text, std::size_t bytes);

    void forget() {
        rep_ = nullptr;
        borrowed_ = nullptr;
        borrowedChars_ = borrowedBytes_ = ~0U;
    }
    unsigned int byteLength() const { return cStrSize() - 1; }

    // Text is built a character at a time more often than in any other way: a text of a single byte
    // that fits goes straight in. False when it is anything else.
    bool appendByte(char const *text) {
        InternalString *const rep = rep_;
        if (text == nullptr || rep == nullptr || kqAtomGet(&rep->references) > 1) return false;
        bool const isContinuation = (static_cast<unsigned char>(text[0]) & 0xC0) == 0x80;
        unsigned int const bytes = rep->bytes;
        if (text[0] == '\0' || text[1] != '\0' || isContinuation || bytes + 1 >= rep->capacity) {
            return false;
        }
        rep->bytes = bytes + 1;
        char *const end = rep->text + bytes;
        end[0] = text[0];
        end[1] = '\0';
        rep->characters += 1;
        return true;
    }

    void replaceString(InternalString *rep);
    bool doAssign(char const *text, int characters, int bytes);
    bool doAppend(char const *text, int characters, int bytes);
    KqbString &appendAny(char const *text, bool *error);
    bool prepWrite();
    bool convertStatic();
    int keepPart(char const *start, unsigned int bytes);
    bool mapCase(std::size_t (*map)(char const *, std::size_t, char *, long));

    friend class KqbStringAccess;  // the library's own view of sizes and in-place building

    InternalString *rep_ = nullptr;
    char const *borrowed_ = nullptr;
    unsigned int borrowedChars_ = ~0U;
    unsigned int borrowedBytes_ = ~0U;
};

// By unsigned bytes, a null string before all others and a proper prefix before what it begins.
KQB_API bool operator<(KqbString const &a, KqbString const &b);

// Orders by compare(): with case, and without.
struct KQB_API KqbStringLess {
    bool operator()(KqbString const &a, KqbString const &b) const;
};
struct KQB_API KqbStringLessInsensitive {
    bool operator()(KqbString const &a, KqbString const &b) const;
};

// A new unique identifier as text: a random UUID by RFC 4122, 36 characters in lower case.
KQB_API KqbString kqbGetUUID();
