#include "plugins/kqbio/bytesink.h"

#include <algorithm>
#include <new>
#include <utility>

#include "platform/kqsfio.h"

namespace kqbio {

namespace {

long long sizeOf(np_fio_file file) {
    np_fio_info info;
    return np_fio_stat_file(file, &info) == NP_FIO_OK ? info.size : -1;
}

class ReplacingSink final : public ByteSink {
public:
    explicit ReplacingSink(Report &report) : report_(report) {}
    ~ReplacingSink() override { np_fio_replace_abandon(replacement_); }

    bool open(KqbString const &path) {
        np_fio_error const error = np_fio_replace_begin(path.asCstr(), &replacement_, &file_);
        return error == NP_FIO_OK || report_.tell("open", error);
    }

    bool write(char const *data, std::size_t size) override {
        np_fio_error const error = np_fio_write(file_, data, size);
        return error == NP_FIO_OK || report_.tell("write", error);
    }

    bool commit() override {
        np_fio_error const error = np_fio_replace_commit(std::exchange(replacement_, nullptr));
        return error == NP_FIO_OK || report_.tell("write", error);
    }

    long long size() override { return sizeOf(file_); }

private:
    Report &report_;
    np_fio_replacement *replacement_ = nullptr;
    np_fio_file file_ = NP_FIO_NONE;
};

class AppendingSink final : public ByteSink {
public:
    explicit AppendingSink(Report &report) : report_(report) {}
    ~AppendingSink() override { np_fio_close(file_); }

    bool open(KqbString const &path) {
        np_fio_error const error = np_fio_open(path.asCstr(), NP_FIO_APPEND, &file_);
        return error == NP_FIO_OK || report_.tell("open", error);
    }

    bool write(char const *data, std::size_t size) override {
        np_fio_error const error = np_fio_write(file_, data, size);
        return error == NP_FIO_OK || report_.tell("write", error);
    }

    bool commit() override {
        np_fio_error const error = np_fio_close(std::exchange(file_, NP_FIO_NONE));
        return error == NP_FIO_OK || report_.tell("write", error);
    }

    long long size() override { return sizeOf(file_); }

private:
    Report &report_;
    np_fio_file file_ = NP_FIO_NONE;
};

class StreamSink final : public ByteSink {
public:
    StreamSink(StreamOwner stream, Report &report) : stream_(std::move(stream)), report_(report) {}

    bool open(KqbTxtFileOpenMode mode) {
        if (!stream_->isReady()) return tell("open", "it is not ready");
        return stream_->open(mode) || tell("open", "it cannot be written");
    }

    bool write(char const *data, std::size_t size) override {
        while (size > 0) {
            int const count = stream_->write(data, static_cast<unsigned>(std::min(size, kLargest)));
            if (count <= 0 || static_cast<std::size_t>(count) > size) {
                return tell("write", "the stream failed");
            }
            data += count;
            size -= static_cast<std::size_t>(count);
        }
        return true;
    }

    bool commit() override { return true; }
    long long size() override { return stream_->size(); }

private:
    static constexpr std::size_t kLargest = 1U << 30;  // so that its count fits an int

    bool tell(char const *what, char const *reason) {
        return report_.tell(what, stream_->getErrorMessage(), reason);
    }

    StreamOwner stream_;
    Report &report_;
};

template <class Sink, class Target>
std::unique_ptr<ByteSink> opened(Sink *made, Target const &target, Report &report) {
    std::unique_ptr<Sink> sink(made);
    if (sink == nullptr) {
        report.noMemory();
    } else if (!sink->open(target)) {
        sink.reset();
    }
    return sink;
}

}  // namespace

std::unique_ptr<ByteSink> openReplacingSink(KqbString const &path, Report &report) {
    return opened(new (std::nothrow) ReplacingSink(report), path, report);
}

std::unique_ptr<ByteSink> openAppendingSink(KqbString const &path, Report &report) {
    return opened(new (std::nothrow) AppendingSink(report), path, report);
}

std::unique_ptr<ByteSink> openStreamSink(StreamOwner stream, KqbTxtFileOpenMode mode,
                                         Report &report) {
    return opened(new (std::nothrow) StreamSink(std::move(stream), report), mode, report);
}

}  // namespace kqbio
