// Where the bytes of a file being read come from.
#pragma once

#include <cstddef>
#include <memory>

#include "kqb/kqbtxtfile.h"
#include "plugins/kqbio/report.h"

namespace kqbio {

class ByteSource {
public:
    enum class Result {
        kBytes,      // at least one byte came
        kEnd,        // there are no more
        kIllFormed,  // what stands next is no text; only those that decode say so
        kFailed,     // told to the report
    };

    virtual ~ByteSource() = default;

    // Up to size bytes, size above 0.
    virtual Result read(char *data, std::size_t size, std::size_t *count) = 0;

    // Bytes still to come where that is known, else -1. At 0 there is no need to ask.
    virtual long long remaining() const = 0;

    // Back to the first byte.
    virtual bool rewind() = 0;

    // Bytes in the file or stream; -1 when unknown.
    virtual long long size() = 0;
};

struct ReleaseStream {
    void operator()(KqbIORaw *stream) const { stream->release(); }
};
using StreamOwner = std::unique_ptr<KqbIORaw, ReleaseStream>;

// Open for reading. Null when that fails, which is told to the report; the report must outlive
// the source.
std::unique_ptr<ByteSource> openFileSource(KqbString const &path, Report &report);
std::unique_ptr<ByteSource> openStreamSource(StreamOwner stream, Report &report);

}  // namespace kqbio
