// ReadFile: a text file open for reading.
#include <algorithm>
#include <climits>
#include <new>

#include "platform/kqschr.h"
#include "plugins/kqbio/linereader.h"
#include "plugins/kqbio/txtfile.h"

namespace kqbio {

namespace {

using Counted = LineReader::Counted;
using Follows = LineReader::Follows;
using Piece = LineReader::Piece;

constexpr std::size_t kLongestText = 0x7FFFFFFD;  // with its NUL countable in an int

class ReadFile final : public TxtFile {
public:
    explicit ReadFile(Request const &request)
        : TxtFile(request), reader_(report(), request.keepIllFormed) {}

    bool open(Request &&request);

    void release() override { delete this; }
    bool close() override;

    bool readln(KqbString *line, int maxBytes, bool *endOfFile) override;
    bool readLine(char const **text, unsigned int *size, bool *endOfFile) override;
    bool read(KqbString *text, int maxBytes) override;
    bool readAll(KqbString *text) override;
    bool atEnd() override { return !isOpen_ || reader_.atEnd(); }
    int lineNumber() const override;
    bool rewind() override { return canRead() && reader_.rewind(); }
    bool flush() override { return true; }
    __int64 size() override { return isOpen_ ? reader_.source().size() : -1; }
    int encoding() const override { return reader_.encoding(); }

    using KqbTxtFile::write;
    using KqbTxtFile::writeln;
    bool write(char const *, int, int) override { return refuse(); }
    bool write(char const *, unsigned int) override { return refuse(); }
    bool writeln(char const *, int, int) override { return refuse(); }
    bool writeln(char const *, unsigned int) override { return refuse(); }

private:
    bool canRead() { return isOpen_ || report().tell("read", "it is closed"); }
    bool refuse() { return report().tell("write", "it is open for reading"); }
    bool tellTooNarrow() {
        return report().tell("read", "the next character is longer than what was asked for");
    }
    bool gather(TextBuilder *text, std::size_t limit, bool *endOfFile);
    bool deliver(char const *text, KqbString *target);

    LineReader reader_;
    bool isOpen_ = false;
};

bool ReadFile::open(Request &&request) {
    std::unique_ptr<ByteSource> source = request.stream != nullptr
                                             ? openStreamSource(std::move(request.stream), report())
                                             : openFileSource(request.path, report());
    isOpen_ = source != nullptr && reader_.open(std::move(source), request.encoding);
    return isOpen_;
}

bool ReadFile::close() {
    isOpen_ = false;
    reader_.close();
    return true;
}

bool ReadFile::readLine(char const **text, unsigned int *size, bool *endOfFile) {
    Piece piece;
    bool const ok = canRead() && reader_.next(LineReader::kNoLimit, Counted::kText, &piece);
    *text = piece.text;
    *size = static_cast<unsigned int>(piece.size);
    if (endOfFile != nullptr) *endOfFile = ok && piece.text == nullptr;
    return ok;
}

bool ReadFile::readln(KqbString *line, int maxBytes, bool *endOfFile) {
    std::size_t const limit =
        maxBytes > 0 ? static_cast<std::size_t>(maxBytes) : LineReader::kNoLimit;
    Piece piece;
    bool ok = canRead() && reader_.next(limit, Counted::kText, &piece);
    if (ok && piece.follows == Follows::kMore && piece.size == 0) ok = tellTooNarrow();
    if (endOfFile != nullptr) *endOfFile = ok && piece.text == nullptr;
    if (ok && piece.text != nullptr) return deliver(piece.text, line);
    line->setNull();
    return ok;
}

bool ReadFile::read(KqbString *text, int maxBytes) {
    text->setNull();
    if (!canRead()) return false;
    if (maxBytes <= 0) return report().tell("read", "no bytes were asked for");
    std::size_t const limit = static_cast<std::size_t>(maxBytes);
    TextBuilder builder;
    bool endOfFile = false;
    if (!builder.reserve(std::min<std::size_t>(limit, 4096))) return report().noMemory();
    if (!gather(&builder, limit, &endOfFile)) return false;
    if (builder.size() > 0) return deliver(builder.text(), text);
    return endOfFile || tellTooNarrow();
}

bool ReadFile::readAll(KqbString *text) {
    text->setNull();
    if (!canRead()) return false;
    TextBuilder builder;
    long long const left = std::clamp(reader_.source().size(), 0LL, 1LL << 20);
    bool endOfFile = false;
    if (!builder.reserve(static_cast<std::size_t>(left) + 1)) return report().noMemory();
    if (!gather(&builder, kLongestText, &endOfFile)) return false;
    if (endOfFile) return deliver(builder.text(), text);
    report().tell("read", "the text is too long for one string");
    return reader_.fail();
}

// Lines with LF between them, as far as limit allows.
bool ReadFile::gather(TextBuilder *text, std::size_t limit, bool *endOfFile) {
    Piece piece;
    do {
        if (text->size() == limit) return true;
        if (!reader_.next(limit - text->size(), Counted::kTextAndEnd, &piece)) return false;
        bool const lineEnd = piece.follows == Follows::kLineEnd;
        if (!text->append(piece.text, piece.size) || (lineEnd && !text->append("\n", 1))) {
            report().noMemory();
            return reader_.fail();
        }
    } while (piece.follows == Follows::kLineEnd);
    *endOfFile = piece.follows == Follows::kFileEnd;
    return true;
}

// Without memory the text is gone, so reading must not go on as if it had been delivered.
bool ReadFile::deliver(char const *text, KqbString *target) {
    if (!target->assign(text).isNull()) return true;
    report().noMemory();
    return reader_.fail();
}

int ReadFile::lineNumber() const {
    return static_cast<int>(std::min<long long>(reader_.line(), INT_MAX));
}

}  // namespace

KqbTxtFile *openReadFile(Request &&request, KqbString *error) {
    return opened(new (std::nothrow) ReadFile(request), std::move(request), error);
}

}  // namespace kqbio
