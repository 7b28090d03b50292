// Row sets: tables of typed columns whose rows are appended and read in order.
//
// General rules
// - Nothing throws. Operations return KQWLP_OK (0) or one of the codes below; a failed one has no
//   effect unless said otherwise, and outputs stay as they were.
// - Rows are numbered from 0 in the order in which they were added. A row that was accepted is never
//   lost, also when memory or the disk runs out later: what fails then is adding, or reading, and
//   both may be tried again.
// - A set has one place for reading, which begins before its first row. Adding rows does not move it.
// - Values are read where the set keeps them: what a row points at is valid until the next operation
//   on the set that reads or adds rows, or destroys it.
// - Rows are kept in chunks of about a thousand. Whole chunks are packed; those beyond the set's
//   memory limit lie in a temporary file of the set's own, which nobody else can open and which is
//   gone with the set, also when the process dies.
// - Sets are not locked: one belongs to one thread at a time. Different sets share nothing.
#pragma once

#include <cstddef>

enum kqwlpCode {
    KQWLP_OK = 0,
    KQWLP_ARGUMENT = 1,     // a null handle or pointer, a negative number, an unknown kind of set
    KQWLP_MEMORY = 2,       // memory ran out
    KQWLP_COLUMNS = 3,      // no columns, or a type code that is none
    KQWLP_TYPE = 4,         // a value of another type than its column's, or in an unsupported one
    KQWLP_SPILL_WRITE = 5,  // the temporary file cannot be made or written: a full disk maybe
    KQWLP_SPILL_READ = 6,   // the temporary file cannot be read back
    KQWLP_END = 9,          // there is no such row (yet)
};

// Type codes of columns.
enum kqwlpType : unsigned char {
    KQWLP_BOOLEAN = 2,
    KQWLP_DATE = 3,          // a double
    KQWLP_INTEGER = 7,       // signed, 64 bits
    KQWLP_REAL = 9,          // 24 bytes, which the set does not look into
    KQWLP_TEXT = 11,         // any number of any bytes
    KQWLP_UNSUPPORTED = 12,  // a column that can hold nothing: its values must be absent
};

constexpr std::size_t KQWLP_REAL_SIZE = 24;

// The value of one column, to be added or as read.
struct kqwlpColumnValue {
    unsigned char type;    // a kqwlpType, the column's
    unsigned char absent;  // 1: there is no value, and the rest is not looked at; as read, it is 0
    std::size_t size;      // bytes of a text, 24 for a real; else not looked at, as read 0
    union {
        bool boolean;
        long long integer;
        double date;
        void const *bytes;  // a text, without a NUL behind it, or a real at any address
    };
};

// A row as read: one value for each column.
typedef kqwlpColumnValue const *kqwlpRow;

struct kqwlpRowSet;

// Kinds of sets.
enum { KQWLP_APPENDED = 1 };  // rows are only ever added, at the end

// What a set keeps unless told otherwise.
constexpr long long KQWLP_DEFAULT_MEMORY = 256LL << 20;

// Brings the library up; may be called again. It has nothing to bring up in this build: 0.
int kqwlp_initialize();

// Makes an empty set of the kind KQWLP_APPENDED. codes holds one type code per column and ends with
// a 0. The set is the caller's, to be destroyed.
int kqwlpRowSet_create(kqwlpRowSet **set, int kind, char const *codes);

// Gives everything back, the temporary file included. Null is ignored. Returns KQWLP_OK.
int kqwlpRowSet_destroy(kqwlpRowSet *set);

// Limits the bytes of whole chunks that are kept in memory; 0 keeps none. Besides them one chunk is
// being filled and one being read. directory: where the temporary file will be made if there is none
// yet; null for the system's own place. Chunks that are now too many are written out at once, the
// last ones first, so that what is read first stays at hand; KQWLP_SPILL_WRITE or KQWLP_MEMORY when
// that failed: the limit is set nevertheless and the rows are all there.
int kqwlpRowSet_setMemory(kqwlpRowSet *set, long long bytes, char const *directory);

// Appends a row: values has one entry for each column. Values are copied. When the chunk at hand is
// full it is packed first, and where that fails the row is not accepted.
int kqwlpRowSet_addRow(kqwlpRowSet *set, kqwlpColumnValue const *values);

// Goes to a row and reads it. KQWLP_END: there are not as many rows; the place for reading is then
// behind the last one.
int kqwlpRowSet_seekRow(kqwlpRowSet *set, long long number, kqwlpRow *row);

// Goes to the next row and reads it. KQWLP_END: there is none; when rows are added after that, it is
// the first of them. After a failure to read, the next call tries the same row.
int kqwlpRowSet_nextRow(kqwlpRowSet *set, kqwlpRow *row);

// Reads the row again that was read last. KQWLP_END when none was.
int kqwlpRowSet_currentRow(kqwlpRowSet *set, kqwlpRow *row);

// Rows added; 0 for null.
long long kqwlpRowSet_getRows(kqwlpRowSet const *set);

// Columns; 0 for null.
int kqwlpRowSet_getColumns(kqwlpRowSet const *set);

// What whole chunks take, in bytes; 0 for null.
struct kqwlpUsage {
    long long memory;  // of the process
    long long file;    // of the temporary file
};
kqwlpUsage kqwlpRowSet_getUsage(kqwlpRowSet const *set);
