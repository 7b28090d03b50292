// WriteFile: a text file open for writing or appending.
#include <new>

#include "platform/kqschr.h"
#include "plugins/kqbio/encoding.h"
#include "plugins/kqbio/textwriter.h"
#include "plugins/kqbio/txtfile.h"

namespace kqbio {

namespace {

class WriteFile final : public TxtFile {
public:
    explicit WriteFile(Request const &request)
        : TxtFile(request), encoding_(request.encoding), writer_(report(), request.keepIllFormed) {}

    bool open(Request &&request);

    void release() override;
    bool close() override;

    bool readln(KqbString *line, int maxBytes, bool *endOfFile) override;
    bool readLine(char const **text, unsigned int *size, bool *endOfFile) override;
    bool read(KqbString *text, int maxBytes) override;
    bool readAll(KqbString *text) override;
    bool atEnd() override { return true; }
    int lineNumber() const override { return 0; }
    bool rewind() override { return refuse(); }
    bool flush() override { return canWrite() && writer_.flush(); }
    __int64 size() override { return isOpen_ ? writer_.sink().size() : -1; }
    int encoding() const override { return encoding_; }

    using KqbTxtFile::write;
    using KqbTxtFile::writeln;
    bool write(char const *text, int size, int encoding) override {
        return begin() && put(text, size, encoding);
    }
    bool write(char const *text, unsigned int size) override {
        return begin() && writer_.put(text, size);
    }
    bool writeln(char const *text, int size, int encoding) override {
        return begin() && put(text, size, encoding) && writer_.put("\n", 1);
    }
    bool writeln(char const *text, unsigned int size) override {
        return begin() && writer_.put(text, size) && writer_.put("\n", 1);
    }

private:
    bool findMark(KqbString const &path, bool *found);
    std::unique_ptr<ByteSink> openSink(Request &&request);
    bool canWrite() { return isOpen_ || report().tell("write", "it is closed"); }
    bool refuse() { return report().tell("read", "it is open for writing"); }
    bool put(char const *text, int size, int encoding);

    bool begin() {
        writer_.begin();
        return canWrite();
    }

    int encoding_;
    TextWriter writer_;
    bool isOpen_ = false;
    bool complete_ = false;  // all that was asked for is in the file
};

bool WriteFile::open(Request &&request) {
    bool const replaces = mode() == KqbTxtFileWrite;
    bool marked = false;
    if (encoding_ == kEncodingOfMark && request.stream == nullptr &&
        !findMark(request.path, &marked)) {
        return false;
    }
    if (encoding_ == kEncodingOfMark) encoding_ = NP_ENC_UTF8;
    if (!writer_.open(encoding_)) return false;
    std::unique_ptr<ByteSink> sink = openSink(std::move(request));
    if (sink == nullptr) return false;
    writer_.start(std::move(sink));
    isOpen_ = true;
    return !marked || !replaces || writer_.put(kMarkText, kMarkTextSize);
}

// The mark of the file that is there, which need not be.
bool WriteFile::findMark(KqbString const &path, bool *found) {
    np_fio_info info;
    np_fio_error const error = np_fio_stat(path.asCstr(), &info);
    if (error != NP_FIO_OK || info.kind != NP_FIO_REGULAR || info.size == 0) return true;
    std::unique_ptr<ByteSource> source = openFileSource(path, report());
    if (source == nullptr) return false;
    char start[kLongestMark];
    std::size_t count = 0;
    if (source->read(start, sizeof start, &count) == ByteSource::Result::kFailed) return false;
    int const encoding = encodingOfMark(start, count);
    *found = encoding != NP_ENC_UNKNOWN;
    if (*found) encoding_ = encoding;
    return true;
}

std::unique_ptr<ByteSink> WriteFile::openSink(Request &&request) {
    if (request.stream != nullptr) {
        return openStreamSink(std::move(request.stream), mode(), report());
    }
    return mode() == KqbTxtFileWrite ? openReplacingSink(request.path, report())
                                     : openAppendingSink(request.path, report());
}

void WriteFile::release() {
    if (mode() == KqbTxtFileAppend) close();
    delete this;
}

bool WriteFile::close() {
    if (!isOpen_) return complete_;
    isOpen_ = false;
    complete_ = writer_.finish() && writer_.sink().commit();
    writer_.close();
    return complete_;
}

bool WriteFile::put(char const *text, int size, int encoding) {
    if (size < 0) return writer_.reject("the size of the text is negative");
    std::size_t const bytes = static_cast<std::size_t>(size);
    bool const plain = encoding == kEncodingOfMark || isUtf8(encoding);
    return plain ? writer_.put(text, bytes) : writer_.putEncoded(text, bytes, encoding);
}

bool WriteFile::readln(KqbString *line, int, bool *endOfFile) {
    line->setNull();
    if (endOfFile != nullptr) *endOfFile = false;
    return refuse();
}

bool WriteFile::readLine(char const **text, unsigned int *size, bool *endOfFile) {
    *text = nullptr;
    *size = 0;
    if (endOfFile != nullptr) *endOfFile = false;
    return refuse();
}

bool WriteFile::read(KqbString *text, int) {
    text->setNull();
    return refuse();
}

bool WriteFile::readAll(KqbString *text) {
    text->setNull();
    return refuse();
}

}  // namespace

KqbTxtFile *openWriteFile(Request &&request, KqbString *error) {
    return opened(new (std::nothrow) WriteFile(request), std::move(request), error);
}

}  // namespace kqbio
