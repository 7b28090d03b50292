#include "plugins/kqbio/linereader.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "plugins/kqbio/encoding.h"
#include "plugins/kqbio/linescan.h"

namespace kqbio {

namespace {

constexpr std::size_t kChunk = 64 * 1024;
constexpr std::size_t kTooLong = 0x7FFFFFFE;  // the text and its NUL must be countable in an int

bool isContinuation(char byte) { return (static_cast<unsigned char>(byte) & 0xC0) == 0x80; }

// The longest run of whole characters within limit bytes of a text that is longer. What is no
// character may be cut anywhere.
std::size_t wholeCharacters(char const *text, std::size_t limit) {
    std::size_t size = limit;
    while (size > 0 && limit - size < 3 && isContinuation(text[size])) --size;
    return isContinuation(text[size]) ? limit : size;
}

}  // namespace

bool LineReader::open(std::unique_ptr<ByteSource> source, int encoding) {
    source_ = std::move(source);
    encoding_ = encoding;
    return start() || fail();
}

bool LineReader::rewind() {
    decoder_.reset();
    ended_ = failed_ = afterCr_ = nonAscii_ = false;
    lineEnded_ = true;
    patched_ = nullptr;
    line_ = 0;
    return (source_->rewind() && start()) || fail();
}

void LineReader::close() {
    decoder_.reset();
    source_.reset();
    buffer_ = Buffer();
}

bool LineReader::start() {
    long long const size = source_->remaining();
    bool const small = size >= 0 && size < static_cast<long long>(kChunk);
    if (!buffer_.reserve(small ? static_cast<std::size_t>(size) : kChunk)) {
        return report_.noMemory();
    }
    begin_ = scanned_ = end_ = buffer_.data();
    text_ = source_.get();
    while (pending() < kLongestMark && more()) {
    }
    if (failed_) return false;
    if (encoding_ == kEncodingOfMark) {
        int const found = encodingOfMark(begin_, pending());
        encoding_ = found == NP_ENC_UNKNOWN ? NP_ENC_UTF8 : found;
    }
    if (!isUtf8(encoding_) && !startDecoding()) return false;
    skipMark();
    return true;
}

// What was read so far becomes the decoder's, and its text is read instead.
bool LineReader::startDecoding() {
    decoder_.reset(new (std::nothrow) Decoder(*source_, report_, keepIllFormed_));
    if (decoder_ == nullptr) return report_.noMemory();
    Buffer text;
    if (!text.reserve(kChunk)) return report_.noMemory();
    std::swap(buffer_, text);
    if (!decoder_->open(encoding_, std::move(text), pending())) return false;
    text_ = decoder_.get();
    begin_ = scanned_ = end_ = buffer_.data();
    ended_ = false;
    return true;
}

void LineReader::skipMark() {
    while (pending() < kMarkTextSize && more()) {
    }
    if (pending() >= kMarkTextSize && std::memcmp(begin_, kMarkText, kMarkTextSize) == 0) {
        begin_ += kMarkTextSize;
        scanned_ = begin_;
    }
}

bool LineReader::next(std::size_t limit, Counted counted, Piece *piece) {
    if (patched_ != nullptr) unpatch();
    if (failed_) return false;
    std::size_t const longest = counted == Counted::kText ? limit : limit - 1;
    for (;;) {
        char *const stop = begin_ + std::min(pending(), limit + 1);
        scanned_ = findLineEnd(scanned_, stop, &nonAscii_);
        if (scanned_ < stop && static_cast<std::size_t>(scanned_ - begin_) <= longest) {
            return endLine(piece);
        }
        if (pending() > limit) return cut(limit, piece);
        if (!more()) return !failed_ && endText(piece);
    }
}

// The line end is at scanned_.
bool LineReader::endLine(Piece *piece) {
    if (*scanned_ == '\0') return failAtLine("NUL character (possibly a binary file)");
    char *next = scanned_ + 1;
    if (*scanned_ == '\r') {
        if (next == end_) {
            afterCr_ = true;
        } else if (*next == '\n') {
            ++next;
        }
    }
    *scanned_ = '\0';
    return give(static_cast<std::size_t>(scanned_ - begin_), next, Follows::kLineEnd, piece);
}

// No line end follows: what is pending is the last line.
bool LineReader::endText(Piece *piece) {
    if (begin_ == end_) {
        *piece = Piece{};
        return true;
    }
    *end_ = '\0';  // in the buffer's slack at the latest
    return give(pending(), end_, Follows::kFileEnd, piece);
}

bool LineReader::cut(std::size_t limit, Piece *piece) {
    std::size_t const size = wholeCharacters(begin_, limit);
    patched_ = begin_ + size;
    patchedByte_ = *patched_;
    *patched_ = '\0';
    return give(size, patched_, Follows::kMore, piece);
}

void LineReader::unpatch() {
    *patched_ = patchedByte_;
    patched_ = nullptr;
}

bool LineReader::give(std::size_t size, char *next, Follows follows, Piece *piece) {
    if (size >= kTooLong) return failAtLine("the line is too long");
    if (nonAscii_ && !keepIllFormed_ && !np_uchar_valid_n(begin_, size)) {
        return failAtLine("ill-formed UTF-8");
    }
    *piece = Piece{begin_, size, follows};
    begin_ = scanned_ = next;
    nonAscii_ = false;
    line_ += lineEnded_ ? 1 : 0;
    lineEnded_ = follows == Follows::kLineEnd;
    return true;
}

bool LineReader::atEnd() {
    if (patched_ != nullptr) unpatch();
    while (begin_ == end_) {
        if (!more()) return !failed_;
    }
    return false;
}

// More text behind what is pending. False at the end and on failure.
bool LineReader::more() {
    if (ended_ || failed_) return false;
    if (text_->remaining() == 0) {
        ended_ = true;
        return false;
    }
    if (!makeRoom()) return fail();
    std::size_t const room = buffer_.capacity() - pending();
    std::size_t count = 0;
    switch (text_->read(end_, std::min(room, std::max(kChunk, pending())), &count)) {
        case ByteSource::Result::kBytes:
            break;
        case ByteSource::Result::kEnd:
            ended_ = true;
            return false;
        case ByteSource::Result::kIllFormed:
            return failAtLine("bytes that are no text in the file's encoding");
        case ByteSource::Result::kFailed:
            return fail();
    }
    end_ += count;
    if (afterCr_ && *begin_ == '\n') scanned_ = ++begin_;
    afterCr_ = false;
    return true;
}

// Moves what is pending to the start of the buffer, and doubles the buffer where it fills half.
bool LineReader::makeRoom() {
    std::size_t const used = pending();
    if (used >= kTooLong) return failAtLine("the line is too long");
    std::size_t const looked = static_cast<std::size_t>(scanned_ - begin_);
    if (begin_ != buffer_.data() && used > 0) std::memmove(buffer_.data(), begin_, used);
    bool const roomy = used <= buffer_.capacity() / 2;
    bool const ready = roomy || buffer_.reserve(std::max(kChunk, 2 * buffer_.capacity()));
    begin_ = buffer_.data();
    scanned_ = begin_ + looked;
    end_ = begin_ + used;
    return ready || report_.noMemory();
}

bool LineReader::failAtLine(char const *reason) {
    report_.tellAtLine(line_ + (lineEnded_ ? 1 : 0), reason);
    return fail();
}

}  // namespace kqbio
