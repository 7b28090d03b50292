// KqbTxtFile, KqbIORaw: text files by line, over a path, a byte stream or a string.
#pragma once

#include "kqb/kqbstring.h"

// What an open file is for.
enum KqbTxtFileOpenMode {
    KqbTxtFileAppend = 0,  // write behind what is there; created where it is missing
    KqbTxtFileRead = 1,
    KqbTxtFileWrite = 2,  // write anew; what was there is replaced when the file is closed
};

// Flag for the second int of the open functions: ill-formed bytes that are read pass through
// unchanged where the file's encoding is UTF-8, and become U+FFFD in others. Without it they are
// an error. Writing UTF-8 passes on what it is given with or without the flag, so that text read
// with it can be written back; in other encodings ill-formed text becomes U+FFFD under the flag and
// is an error without. A character that the file's encoding lacks is an error in any case.
constexpr int kKqbTxtFileKeepIllFormed = 0x800000;

// A text file, open. Made by the kqbTxtFileOpen functions; ended with release(), never with
// delete. Operations that fail return false (or -1) and leave the reason in getErrorMessage().
//
// Reading takes LF, CR LF and CR as line ends; writing ends lines with LF. Text goes in and out as
// UTF-8 whatever the file's encoding; a byte-order mark is no part of the text. A NUL in a text
// being read is an error, since no string can hold it, and so is a line of 2^31 - 2 bytes or more.
// A regular file is read as far as it reached when it was opened.
//
// A file on a path in mode KqbTxtFileWrite is written beside the old one and takes its place,
// with mode and owner kept, at a successful close(). Until then, and if the process dies, the
// disk fills or the file is released unclosed, the old file stays as it was.
//
// A failure while reading or writing is for good: what follows it fails too (reading: until
// rewind). Calls that make no sense for the mode, or come after close(), fail and change nothing.
//
// Thread safety: a text file belongs to one thread at a time.
class KQB_API KqbTxtFile {
public:
    // Ends the file; closes it first where it only reads or appends. A file being written anew that
    // was not closed is given up.
    virtual void release() = 0;

    // Writes what is buffered, and ends the transfer. The result tells whether everything asked for
    // so far is in the file; a second close does nothing and tells the same. Afterwards only
    // getErrorMessage, release and what was settled at opening are of use.
    virtual bool close() = 0;

    // Reads the next line, without its end. At the end of the file *endOfFile is true and the
    // result true, with *line null. maxBytes above 0 stops a line at the longest run of whole
    // characters within that many bytes; the rest of it is the next line (of the same number). 0:
    // no limit. A limit too small for the next character is a failure that can be repeated with a
    // larger one. endOfFile may be null, here and below.
    virtual bool readln(KqbString *line, int maxBytes, bool *endOfFile) = 0;

    // The same without a copy and a limit: *text (terminated) and *size (bytes) are valid until the
    // next operation on this file; at the end of the file *text is null.
    virtual bool readLine(char const **text, unsigned int *size, bool *endOfFile) = 0;

    // Reads up to maxBytes bytes of text (above 0), whole characters, line ends as LF. At the end
    // of the file *text is null and the result true.
    virtual bool read(KqbString *text, int maxBytes) = 0;

    // Reads the rest of the file, line ends as LF; empty when there is none.
    virtual bool readAll(KqbString *text) = 0;

    // Whether reading has reached the end. False when looking for more failed: reading tells why.
    virtual bool atEnd() = 0;

    // Number of the line that what was read last ends in, from 1; 0 before the first.
    virtual int lineNumber() const = 0;

    // Reads from the start again. Only for reading.
    virtual bool rewind() = 0;

    // Hands what is buffered to the file or stream.
    virtual bool flush() = 0;

    // Size of the file or stream in bytes, before decoding: of a file being read, when it was opened
    // or last rewound; of one being written, without what is buffered. -1 when unknown.
    virtual __int64 size() = 0;

    virtual KqbTxtFileOpenMode mode() const = 0;

    // The number of the file's encoding: the one asked for or, for -1, the one found.
    virtual int encoding() const = 0;

    // The path; for streams a null string.
    virtual KqbString getName() const = 0;

    // Text of the last failure; null when there was none.
    virtual KqbString getErrorMessage() const = 0;

    // --- Writing: text, then text with a line end. The int is the encoding number of the bytes
    // given, as in the open functions, -1 for UTF-8; a piece given with one is whole characters.
    // Sizes are bytes. Writing nothing writes nothing; a line of nothing still ends a line.
    virtual bool write(KqbString const &text, int encoding);
    virtual bool write(char const *text, int size, int encoding) = 0;
    virtual bool write(KqbString const &text);
    virtual bool write(char const *text, unsigned int size) = 0;
    virtual bool write(char const *text);
    virtual bool writeln(KqbString const &text, int encoding);
    virtual bool writeln(char const *text, int size, int encoding) = 0;
    virtual bool writeln(KqbString const &text);
    virtual bool writeln(char const *text, unsigned int size) = 0;
    virtual bool writeln(char const *text);

protected:
    ~KqbTxtFile() = default;
};

// A stream of bytes that a text file can be opened over. Implemented by callers and by the
// library's string as file. Belongs to the text file once that is open.
class KqbIORaw {
public:
    virtual bool isReady() = 0;
    // Points *data at the next bytes, at most max of them (max < 1, or more than remain: all that
    // remain), moves behind them and returns how many; 0 at the end, -1 on failure. The bytes are
    // not copied and stay valid until the next operation.
    virtual int read(char const **data, int max) = 0;
    virtual KqbString getErrorMessage() = 0;
    // A name for messages; may be empty.
    virtual KqbString getName() = 0;
    virtual bool open(int mode) = 0;
    // Returns the bytes written, or -1.
    virtual int write(char const *data, unsigned int size) = 0;
    virtual void release() = 0;
    // Bytes in the stream.
    virtual __int64 size() = 0;
    // Moves by count bytes from here; the new position, or -1.
    virtual __int64 skip(__int64 count) = 0;
    virtual ~KqbIORaw() = default;
};

// Open a text file on a path, over a stream (which the file then owns and releases, also when
// opening fails), or on a string (not owned; it must outlive the file, and mode
// KqbTxtFileWrite empties it at once). Return null with *error set on failure, and set it null on
// success; error may be null. Null as well before kqbInitialize.
//
// encoding: -1 takes the byte-order mark if there is one (UTF-8, UTF-16, UTF-32), else UTF-8; for
// a file that is written anew or appended to, the mark of the file that is there, which a file
// written anew begins with again. A stream that is written is UTF-8. 0 is UTF-8; other numbers are
// given out by kqbTxtFileEncoding, and written without a mark. flags: 0 or
// kKqbTxtFileKeepIllFormed.
KQB_API KqbTxtFile *kqbTxtFileOpen(char const *path, KqbTxtFileOpenMode mode, int encoding,
                                   int flags, KqbString *error);
KQB_API KqbTxtFile *kqbTxtFileOpenStream(KqbIORaw *stream, KqbTxtFileOpenMode mode, int encoding,
                                         int flags, KqbString *error);
KQB_API KqbTxtFile *kqbTxtFileOpenString(KqbString *target, KqbTxtFileOpenMode mode,
                                         KqbString *error);

// The number of an encoding by any of its usual names ("ISO-8859-15", "cp1252", "shift_jis"),
// letter case and punctuation ignored; it holds until the last kqbShutdown. 1 UTF-8 (and ASCII), 2
// UTF-16LE, 3 UTF-16BE, 4 UTF-32LE, 5 UTF-32BE. 0 when the name is null or not known, and before
// kqbInitialize. Encodings that begin with a mark of their own ("UTF-16") are not for appending.
// Any thread may call.
KQB_API int kqbTxtFileEncoding(char const *name);
