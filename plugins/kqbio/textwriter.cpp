#include "plugins/kqbio/textwriter.h"

#include <algorithm>

#include "plugins/kqbio/encoding.h"

namespace kqbio {

namespace {

constexpr std::size_t kBufferSize = 64 * 1024;
constexpr std::size_t kDecodedSize = 4 * 1024;

}  // namespace

bool TextWriter::open(int encoding) {
    plain_ = isUtf8(encoding);
    if (!plain_) {
        encoder_ = openConverter(encoding);
        if (encoder_ == nullptr) return report_.tell("open", "its encoding is not known");
    }
    return buffer_.reserve(kBufferSize) || report_.noMemory();
}

bool TextWriter::putSlowly(char const *text, std::size_t size) {
    if (failed_) return false;
    if (!plain_) return encode(text, size, false);
    if (!drain()) return false;
    if (size < buffer_.capacity()) return put(text, size);
    if (sink_->write(text, size)) return true;
    sinkFailed_ = true;
    return fail();
}

bool TextWriter::encode(char const *text, std::size_t size, bool last) {
    char const *const end = text + size;
    for (;;) {
        char *out = buffer_.data() + used_;
        std::size_t badSize = 0;
        np_uchar_step const step = np_uchar_encode_stream(
            encoder_.get(), &text, end, &out, buffer_.data() + buffer_.capacity(), last, &badSize);
        used_ = static_cast<std::size_t>(out - buffer_.data());
        switch (step) {
            case NP_CONV_OK:
                return true;
            case NP_CONV_FULL:
                if (!drain()) return false;
                break;
            case NP_CONV_INVALID:
                badSize = std::min(badSize, static_cast<std::size_t>(end - text));
                if (!replaceInvalid()) return false;
                text += badSize;
                break;
            case NP_CONV_FAILED:
                return reject("its encoding cannot be converted");
        }
    }
}

// Only what is no text at all may be replaced: a character that the encoding lacks would be lost.
bool TextWriter::replaceInvalid() {
    char const *invalid = nullptr;
    unsigned const size = np_uchar_converter_invalid(encoder_.get(), &invalid);
    if (np_uchar_valid_n(invalid, size)) {
        return reject("the text has a character that the file's encoding lacks");
    }
    if (!replace_) return reject("the text is ill-formed UTF-8");
    return encode(kReplacement, kReplacementSize, false);
}

bool TextWriter::putEncoded(char const *bytes, std::size_t size, int encoding) {
    if (failed_) return false;
    Converter const decoder = openConverter(encoding);
    if (decoder == nullptr) return reject("the encoding of the text is not known");
    char const *const end = bytes + size;
    for (;;) {
        char text[kDecodedSize];
        char *out = text;
        std::size_t badSize = 0;
        np_uchar_step const step =
            np_uchar_decode(decoder.get(), &bytes, end, &out, text + sizeof text, true, &badSize);
        if (!put(text, static_cast<std::size_t>(out - text))) return false;
        if (step == NP_CONV_OK) return true;
        if (step == NP_CONV_FULL) continue;
        if (step == NP_CONV_FAILED || !replace_) {
            return reject("the text is ill-formed in its encoding");
        }
        bytes += std::min(badSize, static_cast<std::size_t>(end - bytes));
        if (!put(kReplacement, kReplacementSize)) return false;
    }
}

void TextWriter::close() {
    sink_.reset();
    encoder_.reset();
    buffer_ = Buffer();
}

bool TextWriter::flush() { return !failed_ && drain(); }

bool TextWriter::finish() {
    begin();
    if (!failed_ && !plain_) encode("", 0, true);
    return (sinkFailed_ || drain()) && !failed_;
}

bool TextWriter::drain() {
    std::size_t const size = used_;
    used_ = taken_ = 0;
    if (size == 0 || sink_->write(buffer_.data(), size)) return true;
    sinkFailed_ = true;
    return fail();
}

bool TextWriter::reject(char const *reason) {
    report_.tell("write", reason);
    used_ = taken_;
    return fail();
}

}  // namespace kqbio
