#include "plugins/kqbio/decoder.h"

#include <algorithm>
#include <cstring>

#include "plugins/kqbio/encoding.h"

namespace kqbio {

namespace {

constexpr std::size_t kRawSize = 64 * 1024;

}  // namespace

bool Decoder::open(int encoding, Buffer &&first, std::size_t firstSize) {
    converter_ = openConverter(encoding);
    if (converter_ == nullptr) return report_.tell("open", "its encoding is not known");
    raw_ = std::move(first);
    in_ = raw_.data();
    inEnd_ = in_ + firstSize;
    sourceEnded_ = source_.remaining() == 0;
    return true;
}

ByteSource::Result Decoder::read(char *data, std::size_t size, std::size_t *count) {
    char *out = data;
    while (!finished_) {
        if (in_ == inEnd_ && !sourceEnded_ && !invalid_ && !fetch()) return Result::kFailed;
        Result const result = decode(&out, data + size);
        *count = static_cast<std::size_t>(out - data);
        if (*count > 0) return Result::kBytes;
        if (result != Result::kBytes) return result;
    }
    return Result::kEnd;
}

// Decodes as much of what was fetched as fits. kBytes unless it failed before the first byte.
ByteSource::Result Decoder::decode(char **out, char *outEnd) {
    char const *const start = *out;
    for (;;) {
        if (invalid_) {
            Result const result = takeInvalid(out, outEnd);
            if (invalid_) return *out > start ? Result::kBytes : result;
        }
        std::size_t badSize = 0;
        switch (
            np_uchar_decode(converter_.get(), &in_, inEnd_, out, outEnd, sourceEnded_, &badSize)) {
            case NP_CONV_OK:
                finished_ = sourceEnded_;
                return Result::kBytes;
            case NP_CONV_FULL:
                return Result::kBytes;
            case NP_CONV_INVALID:
                in_ += std::min(badSize, static_cast<std::size_t>(inEnd_ - in_));
                invalid_ = true;
                break;
            case NP_CONV_FAILED:
                report_.tell("read", "its encoding cannot be converted");
                return Result::kFailed;
        }
    }
}

ByteSource::Result Decoder::takeInvalid(char **out, char *outEnd) {
    if (!replace_) return Result::kIllFormed;
    if (static_cast<std::size_t>(outEnd - *out) >= kReplacementSize) {
        std::memcpy(*out, kReplacement, kReplacementSize);
        *out += kReplacementSize;
        invalid_ = false;
    }
    return Result::kBytes;
}

bool Decoder::fetch() {
    if (!raw_.reserve(kRawSize)) return report_.noMemory();
    std::size_t count = 0;
    Result const result = source_.read(raw_.data(), kRawSize, &count);
    in_ = raw_.data();
    inEnd_ = in_ + count;
    sourceEnded_ = result == Result::kEnd || source_.remaining() == 0;
    return result != Result::kFailed;
}

}  // namespace kqbio
