// LineReader: the lines of a source of bytes, in place.
#pragma once

#include <cstdint>

#include "plugins/kqbio/buffer.h"
#include "plugins/kqbio/bytesource.h"
#include "plugins/kqbio/decoder.h"

namespace kqbio {

// Reads the source in large pieces into one buffer and hands out the lines where they lie there,
// ended by a NUL put over their line end. The buffer grows only for lines that do not fit. After
// a failure every further operation fails, until rewind.
class LineReader {
public:
    static constexpr std::size_t kNoLimit = SIZE_MAX / 4;

    // What counts against the limit of next: the text of a line, or its end as well.
    enum class Counted { kText, kTextAndEnd };

    // What follows a piece: its line end, which is consumed, the end of the file, or more of the
    // line.
    enum class Follows { kLineEnd, kFileEnd, kMore };

    // A line or a part of one; text is null when all were given. Valid until the next operation.
    struct Piece {
        char const *text = nullptr;
        std::size_t size = 0;
        Follows follows = Follows::kFileEnd;
    };

    // keepIllFormed: bytes that are no text pass through (UTF-8) or become U+FFFD (others).
    LineReader(Report &report, bool keepIllFormed)
        : report_(report), keepIllFormed_(keepIllFormed) {}

    // Takes over the source and reads its first piece. encoding: as kqbTxtFileOpen.
    bool open(std::unique_ptr<ByteSource> source, int encoding);

    // The next line, or as many whole characters of it as limit allows, none when the first is
    // longer. False on failure.
    bool next(std::size_t limit, Counted counted, Piece *piece);

    // Fails from now on.
    bool fail() {
        failed_ = true;
        return false;
    }

    // Whether all lines were given. False after a failure, so that asking for more tells it.
    bool atEnd();

    bool rewind();

    // Lets go of the source and of all memory. Nothing but line and encoding may follow.
    void close();

    // The number of the line that the last piece belongs to, from 1; 0 before the first.
    long long line() const { return line_; }
    int encoding() const { return encoding_; }
    ByteSource &source() const { return *source_; }

private:
    bool start();
    bool startDecoding();
    void skipMark();
    bool more();
    bool makeRoom();
    std::size_t pending() const { return static_cast<std::size_t>(end_ - begin_); }

    bool endLine(Piece *piece);
    bool endText(Piece *piece);
    bool cut(std::size_t limit, Piece *piece);
    bool give(std::size_t size, char *next, Follows follows, Piece *piece);
    void unpatch();
    bool failAtLine(char const *reason);

    Report &report_;
    bool const keepIllFormed_;
    int encoding_ = 0;
    std::unique_ptr<ByteSource> source_;
    std::unique_ptr<Decoder> decoder_;  // null where the source's bytes are the text
    ByteSource *text_ = nullptr;        // whichever of the two the text comes from

    Buffer buffer_;
    char *begin_ = nullptr;    // first byte not given out
    char *scanned_ = nullptr;  // first byte not looked at
    char *end_ = nullptr;      // behind the last byte read
    char *patched_ = nullptr;  // byte of the text that a terminator stands on, and
    char patchedByte_ = '\0';  // what it was
    bool nonAscii_ = false;    // in what was looked at
    bool afterCr_ = false;     // a LF that comes next belongs to the CR before it
    bool lineEnded_ = true;    // the next piece begins a line
    bool ended_ = false;
    bool failed_ = false;
    long long line_ = 0;
};

}  // namespace kqbio
