#include "plugins/kqbio/bytesource.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <new>

#include "platform/kqsfio.h"

namespace kqbio {

namespace {

class FileSource final : public ByteSource {
public:
    FileSource(np_fio_file file, Report &report) : file_(file), report_(report) { measure(); }
    ~FileSource() override { np_fio_close(file_); }

    Result read(char *data, std::size_t size, std::size_t *count) override {
        if (remaining_ == 0) return Result::kEnd;
        std::size_t const wanted =
            remaining_ < 0 ? size : std::min(size, static_cast<std::size_t>(remaining_));
        np_fio_error const error = np_fio_read(file_, data, wanted, count);
        if (error != NP_FIO_OK) {
            report_.tell("read", error);
            return Result::kFailed;
        }
        if (*count < wanted) {
            remaining_ = 0;
        } else if (remaining_ > 0) {
            remaining_ -= static_cast<long long>(*count);
        }
        return *count > 0 ? Result::kBytes : Result::kEnd;
    }

    long long remaining() const override { return remaining_; }

    bool rewind() override {
        np_fio_error const error = np_fio_seek(file_, 0, NP_FIO_FROM_START, nullptr);
        if (error != NP_FIO_OK) return report_.tell("read", error);
        measure();
        return true;
    }

    long long size() override { return size_; }

private:
    // Knowing the size saves the read that would only say that the end is reached. Files that the
    // system makes up while they are read say 0, so that is no knowledge.
    void measure() {
        np_fio_info info;
        bool const hasInfo = np_fio_stat_file(file_, &info) == NP_FIO_OK;
        size_ = hasInfo ? info.size : -1;
        remaining_ = hasInfo && info.kind == NP_FIO_REGULAR && info.size > 0 ? info.size : -1;
    }

    np_fio_file file_;
    Report &report_;
    long long size_;       // -1: not known
    long long remaining_;  // -1: not known
};

class StreamSource final : public ByteSource {
public:
    StreamSource(StreamOwner stream, Report &report)
        : stream_(std::move(stream)), report_(report) {}

    bool open() {
        if (!stream_->isReady()) return tell("open", "it is not ready");
        return stream_->open(KqbTxtFileRead) || tell("open", "it cannot be read");
    }

    Result read(char *data, std::size_t size, std::size_t *count) override {
        if (heldSize_ == 0 && !hold(size)) return Result::kFailed;
        if (heldSize_ == 0) return Result::kEnd;
        *count = std::min(size, heldSize_);
        std::memcpy(data, held_, *count);
        held_ += *count;
        heldSize_ -= *count;
        return Result::kBytes;
    }

    long long remaining() const override { return -1; }

    bool rewind() override {
        if (stream_->skip(-position_) < 0) return tell("read", "it cannot be rewound");
        position_ = 0;
        heldSize_ = 0;
        return true;
    }

    long long size() override { return stream_->size(); }

private:
    // Asks the stream for its next bytes. They are held until they are used up, since a stream may
    // give more than it was asked for.
    bool hold(std::size_t size) {
        int const count =
            stream_->read(&held_, static_cast<int>(std::min<std::size_t>(size, INT_MAX)));
        if (count < 0) return tell("read", "the stream failed");
        heldSize_ = static_cast<std::size_t>(count);
        position_ += count;
        return true;
    }

    bool tell(char const *what, char const *reason) {
        return report_.tell(what, stream_->getErrorMessage(), reason);
    }

    StreamOwner stream_;
    Report &report_;
    char const *held_ = nullptr;
    std::size_t heldSize_ = 0;
    long long position_ = 0;
};

}  // namespace

std::unique_ptr<ByteSource> openFileSource(KqbString const &path, Report &report) {
    np_fio_file file = NP_FIO_NONE;
    np_fio_error const error = np_fio_open(path.asCstr(), NP_FIO_READ, &file);
    if (error != NP_FIO_OK) {
        report.tell("open", error);
        return nullptr;
    }
    std::unique_ptr<ByteSource> source(new (std::nothrow) FileSource(file, report));
    if (source == nullptr) {
        np_fio_close(file);
        report.noMemory();
    }
    return source;
}

std::unique_ptr<ByteSource> openStreamSource(StreamOwner stream, Report &report) {
    std::unique_ptr<StreamSource> source(new (std::nothrow)
                                             StreamSource(std::move(stream), report));
    if (source == nullptr) {
        report.noMemory();
    } else if (!source->open()) {
        source.reset();
    }
    return source;
}

}  // namespace kqbio
