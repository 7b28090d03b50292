// KqbDatavar: a value of any of the library's types, or null; the type code and its names.
#pragma once

#include <cstddef>
#include <type_traits>

#include "kqb/kqbblob.h"
#include "kqb/kqbdate.h"
#include "kqb/kqbreal.h"
#include "kqb/kqbstring.h"

// What a value is. The codes are part of the interface.
enum kqbType : int {
    KqbTypeUnknown = 0,
    KqbTypeBoolean = 1,
    KqbTypeInteger = 2,  // signed, 64 bits
    KqbTypeReal = 3,     // KqbReal
    KqbTypeString = 4,
    KqbTypeDate = 5,    // KqbDate
    KqbTypeBinary = 6,  // KqbBlob
};

// The name of a type: "Unknown", "Boolean", "Integer", "Real", "String", "Date", "Binary"; "" for a
// code that is none. Never null, never to be freed.
KQB_API char const *kqbTypeToString(kqbType type);

// The type of a name, in any letter case; KqbTypeUnknown for a name that is none and for null.
// "Date (MDY)", "Date (DMY)" and "Date (YMD)" are names of KqbTypeDate too: *dateOrder, unless it
// is null, becomes 1 for day first, 2 for year first and 0 for everything else.
KQB_API kqbType kqbTypeFromString(char const *name);
KQB_API kqbType kqbTypeFromString(char const *name, int *dateOrder);

// A field value: null, or one value of a kqbType. Copies share the value, for the price of one
// counter; who writes to a shared value gets one of its own first.
//
// What is stored reads back: each type by the conversion of its name, all but Binary byte by byte
// through getRaw and assign as well. What a conversion below calls an error never comes as a value.
//
// Failure: nothing throws. Conversions take a bool *error, which may be null. Those that store and
// return a bool return false with the variant unchanged for what cannot be stored. A variant for
// which memory (or, for a blob, a page) could not be had is null, save where told otherwise.
//
// Thread safety: variants that share a value may be used, copied and destroyed on different threads;
// one object belongs to one thread at a time. Of several that share a Binary value only one at a
// time may be read, see KqbBlob. Variants need the library initialised and must end before the last
// kqbShutdown.
class KQB_API KqbDatavar {
public:
    // --- Making -------------------------------------------------------------------------------

    // Null.
    KqbDatavar() noexcept = default;
    KqbDatavar(KqbDatavar const &other) noexcept : rep_(other.rep_) {
        if (rep_ != nullptr) kqAtomAdd(&rep_->references, 1);
    }
    // Takes over other's value and leaves it null.
    KqbDatavar(KqbDatavar &&other) noexcept : rep_(other.rep_) { other.rep_ = nullptr; }
    KqbDatavar &operator=(KqbDatavar const &other) noexcept {
        if (other.rep_ != nullptr) kqAtomAdd(&other.rep_->references, 1);
        drop(rep_, other.rep_);
        return *this;
    }
    KqbDatavar &operator=(KqbDatavar &&other) noexcept {
        if (this == &other) return *this;
        drop(rep_, other.rep_);
        other.rep_ = nullptr;
        return *this;
    }
    virtual ~KqbDatavar() {
        if (rep_ != nullptr && kqAtomSub(&rep_->references, 1) < 1) destroy(rep_);
    }

    // --- Looking ------------------------------------------------------------------------------

    // KqbTypeUnknown for null.
    kqbType type() const { return rep_ != nullptr ? rep_->type : KqbTypeUnknown; }
    bool isNull() const { return rep_ == nullptr; }
    void setNull() { drop(rep_, nullptr); }

    // Characters of a String; -1 for everything else and null.
    int length() const { return type() == KqbTypeString ? static_cast<int>(rep_->characters) : -1; }

    // The value's bytes and, unless size is null, their number; valid until this variant changes.
    //   Boolean  1 byte, 0 or 1                Integer  8 bytes, native byte order
    //   Real     24 bytes, KqbReal's words     Date     8 bytes, the date number, a double
    //   String   the text with its NUL         Unknown  the bytes that were stored
    // A Binary value has no bytes in one piece; it gives a null pointer and 0, as null does.
    void const *getRaw(unsigned int *size) const;

    // The sizes above: 1, 8, 24 or 8; 0 for types without a size of their own and unknown codes.
    static unsigned int getRawSizeReq(kqbType type);

    // --- Storing ------------------------------------------------------------------------------

    // A null pointer, string, number, date or blob makes the variant null.

    // A String: all of the text, or its first count characters, fewer when it has not as many.
    KqbDatavar &assign(char const *text);
    KqbDatavar &assign(char const *text, unsigned int count);
    KqbDatavar &assign(KqbString const &text);
    // A String: the longest run of whole, well-formed characters of at most maxBytes bytes, up to
    // the first NUL.
    KqbDatavar &assignBytes(char const *text, unsigned int maxBytes);

    // An Integer; an unsigned number beyond the signed range becomes a Real, without loss.
    KqbDatavar &assign(int value) { return assign(static_cast<long long>(value)); }
    KqbDatavar &assign(unsigned int value) { return assign(static_cast<long long>(value)); }
    KqbDatavar &assign(long value) { return assign(static_cast<long long>(value)); }
    KqbDatavar &assign(unsigned long value) {
        return assign(static_cast<unsigned long long>(value));
    }
    KqbDatavar &assign(long long value) {
        if (!isAlone(KqbTypeInteger)) return assignPlain(KqbTypeInteger, &value, sizeof value);
        *static_cast<long long *>(rep_->data) = value;
        return *this;
    }
    KqbDatavar &assign(unsigned long long value) {
        if (value > kMostInteger) return assign(KqbReal(value));
        return assign(static_cast<long long>(value));
    }

    // A Boolean. A pointer is no bool here.
    template <class Boolean, std::enable_if_t<std::is_same_v<Boolean, bool>, int> = 0>
    KqbDatavar &assign(Boolean value) {
        if (!isAlone(KqbTypeBoolean)) return assignPlain(KqbTypeBoolean, &value, sizeof value);
        *static_cast<bool *>(rep_->data) = value;
        return *this;
    }

    // A Real. A double or float becomes the shortest decimal that reads back to it, its NaN null.
    KqbDatavar &assign(KqbReal const &value);
    KqbDatavar &assign(double value) { return assign(KqbReal(value)); }
    KqbDatavar &assign(float value);

    // A Date.
    KqbDatavar &assign(KqbDate const &value);

    // A Binary value that shares the blob's body.
    KqbDatavar &assign(KqbBlob const &value);

    // Stores size bytes in the form that getRaw gives. The size must be the type's. Any Boolean byte
    // but 0 is true; a Real that is NaN makes the variant null. A String may come with its NUL or
    // without; a NUL inside is refused, and so is a Date that is none. Binary takes the bytes as a
    // blob's, Unknown as they are. No bytes at a null pointer make the variant null. False for what
    // is refused, for a code that is no type, and (then the variant is null) for want of memory.
    bool assign(kqbType type, void const *data, unsigned int size);
    // With swap the Integer, Real or Date comes from a machine of the other byte order.
    bool assign(kqbType type, void const *data, unsigned int size, bool swap);

    // Stores a value of the type from size bytes of text, as files and messages carry it: the text
    // is converted as a String is by setType. Binary and Unknown take the bytes as they are. False,
    // and unchanged, when the text does not convert or memory is short.
    bool build(kqbType type, void const *text, unsigned int size);

    // Converts the value to another type, as the conversion of its name does. A null variant gets
    // the type's first value: false, 0, a Real that holds null, "", the date of number 0, a null
    // blob, no bytes. False, and unchanged, for what that conversion calls an error or answers with
    // null, for a code that is no type, for KqbTypeUnknown unless it is that or null already, and
    // when memory is short.
    bool setType(kqbType type);

    // Cuts a String to at most so many characters and so many bytes (its NUL not counted), whole
    // characters always; a negative number sets no limit. False, and unchanged, for anything else
    // and when memory for a String of its own is short.
    bool truncate(int maxCharacters, int maxBytes);

    // --- Conversions --------------------------------------------------------------------------

    // Null gives 0, false or null without error. An error gives the same, and *error true.
    //
    //              asInt           asInt64  asSize    asDouble, asFloat  asBool
    // Boolean      0 or 1                             0.0 or 1.0         the value
    // Integer      low 32 bits     itself   if >= 0   nearest            whether not 0
    // Real         KqbReal::asInt64, asSize (down)    asDouble           whether asInt64 is not 0
    // String       the whole text as a number, blanks around it          words, see below
    // Date         the date number without fraction   the date number    error
    // Binary,      error           error    error     error              error
    // Unknown
    //
    // What does not fit the result is an error, save for asInt of an Integer. So is a Real that is
    // null, and a finite number beyond the range of float for asFloat. True texts are TRUE, T, YES,
    // Y, ON in any letter case and what begins with a digit other than 0; false ones are FALSE, F,
    // NO, N, OFF and what begins with 0. As asInt64 goes down, a Real of 0.5 is false and one of
    // -0.5 true.
    int asInt(bool *error = nullptr) const;
    long long asInt64(bool *error = nullptr) const {
        if (type() != KqbTypeInteger) return toInt64(error);
        if (error != nullptr) *error = false;
        return *static_cast<long long const *>(rep_->data);
    }
    unsigned long long asSize(bool *error = nullptr) const;
    double asDouble(bool *error = nullptr) const;
    float asFloat(bool *error = nullptr) const;
    bool asBool(bool *error = nullptr) const;

    // A Boolean as 0 or 1, an Integer exactly, a Real as it is, a String by KqbReal::assign with
    // white space behind it allowed too, a Date as its date number. Error: text that is no number,
    // Binary, Unknown.
    KqbReal asReal(bool *error = nullptr) const;

    // A Binary value's blob, which shares its body and so its reading position. Error: all others.
    KqbBlob asBlob(bool *error = nullptr) const;

    // A Date as it is, a String by KqbDate::assign, an Integer or Real as a date number. Null where
    // that gives no date and for all others.
    KqbDate asDate() const;

    // "true" or "false", decimal digits, KqbReal::asString(), the text, KqbDate::asString in the
    // process-wide form (ISO 8601 or not, with milliseconds or without). Null for null, Binary,
    // Unknown and a Real without such text, and when memory ran out.
    KqbString asString() const;

    // --- Order --------------------------------------------------------------------------------

    // -1, 0 or 1. Null equals null and stands before everything else. false stands before true, a
    // Real as KqbReal::compare says, a String by unsigned bytes, a Date by its number. All Binary
    // values are equal, and so are all Unknown. Values of different types are not to be compared:
    // -1, after the assertion "compare type mismatch".
    int compare(KqbDatavar const &other) const;

private:
    // A value shared by copies. data is a pool block of size bytes; for Real it holds a KqbReal and
    // size is that of its decimal, for Binary it is a KqbBlob on the heap and size is 0.
    struct Instance {
        unsigned int characters;
        void *data;
        kqAtom references;
        kqbType type;
        unsigned int size;
    };

    static constexpr unsigned long long kMostInteger = ~0ULL >> 1;

    static void drop(Instance *&rep, Instance *successor) {
        Instance *const old = rep;
        rep = successor;
        if (old != nullptr && kqAtomSub(&old->references, 1) < 1) destroy(old);
    }
    static void destroy(Instance *rep);
    static void freeData(kqbType type, void *data);

    static bool isType(kqbType type) { return type >= KqbTypeUnknown && type <= KqbTypeBinary; }
    // Whether this holds a value of the type that nobody shares.
    bool isAlone(kqbType type) const {
        return rep_ != nullptr && rep_->type == type && kqAtomGet(&rep_->references) < 2;
    }

    bool adopt(kqbType type, void *data, unsigned int size);
    bool storePlain(kqbType type, void const *bytes, unsigned int size, unsigned int extra);
    bool storeText(char const *text, std::size_t bytes, unsigned int characters);
    KqbDatavar &assignPlain(kqbType type, void const *bytes, unsigned int size);
    bool storeReal(KqbReal const &value);
    bool storeBlob(KqbBlob const &value);
    bool storeFirst(kqbType type);
    bool storeConverted(kqbType type, KqbDatavar const &from);
    bool storeRawText(char const *text, unsigned int size);
    bool storeRawDate(void const *data);
    bool storeRawReal(void const *data);
    bool storeRawBlob(char const *data, unsigned int size);
    long long toInt64(bool *error) const;
    int compareValues(KqbDatavar const &other) const;

    template <class Value>
    Value const &value() const {
        return *static_cast<Value const *>(rep_->data);
    }
    char *data() const { return static_cast<char *>(rep_->data); }
    char const *text() const { return data(); }

    // Texts are given as much room as the pool has in a block, so that the next one fits too. One
    // that leaves most of it free is then taken for a text with little room, which is safe.
    static unsigned int roomFor(std::size_t size) {
        if (size > 256) return size <= 1024 ? 1024 : static_cast<unsigned int>(size);
        return size <= 16 ? 16 : size <= 64 ? 64 : 256;
    }
    bool hasRoom(std::size_t bytes) const {
        return isAlone(KqbTypeString) && bytes < roomFor(rep_->size);
    }
    void finishText(std::size_t bytes, unsigned int characters) {
        data()[bytes] = '\0';
        rep_->size = static_cast<unsigned int>(bytes) + 1;
        rep_->characters = characters;
    }

    friend class KqbDatavarAccess;  // the library's own view of values

    Instance *rep_ = nullptr;
};

// Orders by compare(); for values of one type and nulls.
struct KQB_API KqbDatavarLess {
    bool operator()(KqbDatavar const &a, KqbDatavar const &b) const { return a.compare(b) < 0; }
};
