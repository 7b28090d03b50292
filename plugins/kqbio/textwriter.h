// TextWriter: text to the bytes of a sink.
#pragma once

#include <cstring>

#include "plugins/kqbio/buffer.h"
#include "plugins/kqbio/bytesink.h"
#include "plugins/kqbio/converter.h"

namespace kqbio {

// Gathers text in a buffer, in the file's encoding, and hands full buffers to the sink. After a
// failure every further operation fails; text that was taken before it still reaches the sink if
// that works. UTF-8 passes on as it is given.
class TextWriter {
public:
    // replace: text that is ill-formed becomes U+FFFD where the encoding is not UTF-8.
    TextWriter(Report &report, bool replace) : report_(report), replace_(replace) {}

    // Makes ready for an encoding; then the sink can be given.
    bool open(int encoding);
    void start(std::unique_ptr<ByteSink> sink) { sink_ = std::move(sink); }

    // Begins a text that is taken as a whole or, as far as it is not yet with the sink, not at all.
    void begin() { taken_ = used_; }

    bool put(char const *text, std::size_t size) {
        if (plain_ && !failed_ && size <= buffer_.capacity() - used_) {
            if (size > 0) std::memcpy(buffer_.data() + used_, text, size);
            used_ += size;
            return true;
        }
        return putSlowly(text, size);
    }

    // Bytes of another encoding.
    bool putEncoded(char const *bytes, std::size_t size, int encoding);

    // Refuses the text at hand.
    bool reject(char const *reason);

    bool flush();

    // Hands everything to the sink, with what ends the encoding.
    bool finish();

    // Lets go of the sink, which gives up what was not committed, and of all memory.
    void close();

    ByteSink &sink() const { return *sink_; }

private:
    bool putSlowly(char const *text, std::size_t size);
    bool encode(char const *text, std::size_t size, bool last);
    bool replaceInvalid();
    bool drain();
    bool fail() {
        failed_ = true;
        return false;
    }

    Report &report_;
    bool const replace_;
    std::unique_ptr<ByteSink> sink_;
    Converter encoder_;  // null where text is written as it is
    Buffer buffer_;
    std::size_t used_ = 0;
    std::size_t taken_ = 0;
    bool plain_ = true;
    bool failed_ = false;
    bool sinkFailed_ = false;
};

}  // namespace kqbio
