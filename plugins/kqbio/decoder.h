// Decoder: the text of a source of bytes that are not UTF-8.
#pragma once

#include "plugins/kqbio/buffer.h"
#include "plugins/kqbio/bytesource.h"
#include "plugins/kqbio/converter.h"

namespace kqbio {

// A source of UTF-8 over a source of other bytes. What cannot be decoded becomes U+FFFD or, where
// that is not asked for, ends the text with kIllFormed, behind all that could be decoded.
class Decoder final : public ByteSource {
public:
    // The source and the report must outlive the decoder.
    Decoder(ByteSource &source, Report &report, bool replace)
        : source_(source), report_(report), replace_(replace) {}

    // first: the bytes already read from the source.
    bool open(int encoding, Buffer &&first, std::size_t firstSize);

    // Needs room for a replacement character at least.
    Result read(char *data, std::size_t size, std::size_t *count) override;

    long long remaining() const override { return finished_ ? 0 : -1; }
    bool rewind() override { return false; }
    long long size() override { return source_.size(); }

private:
    Result decode(char **out, char *outEnd);
    Result takeInvalid(char **out, char *outEnd);
    bool fetch();

    ByteSource &source_;
    Report &report_;
    bool const replace_;
    Converter converter_;
    Buffer raw_;
    char const *in_ = nullptr;
    char const *inEnd_ = nullptr;
    bool sourceEnded_ = false;
    bool invalid_ =
        false;  // bytes that cannot be decoded were skipped and wait to be accounted for
    bool finished_ = false;
};

}  // namespace kqbio
