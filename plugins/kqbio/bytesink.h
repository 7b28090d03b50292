// Where the bytes of a file being written go.
#pragma once

#include <cstddef>
#include <memory>

#include "kqb/kqbtxtfile.h"
#include "plugins/kqbio/bytesource.h"
#include "plugins/kqbio/report.h"

namespace kqbio {

// One that ends without commit is given up: a file being replaced stays as it was.
class ByteSink {
public:
    virtual ~ByteSink() = default;

    // All of size bytes, or false, told to the report.
    virtual bool write(char const *data, std::size_t size) = 0;

    // Ends the transfer: what was written is in the file. Nothing may follow.
    virtual bool commit() = 0;

    // Bytes in the file or stream; -1 when unknown.
    virtual long long size() = 0;
};

// Open for writing. Null when that fails, which is told to the report; the report must outlive
// the sink. The first replaces the file, the second writes behind what it holds.
std::unique_ptr<ByteSink> openReplacingSink(KqbString const &path, Report &report);
std::unique_ptr<ByteSink> openAppendingSink(KqbString const &path, Report &report);
std::unique_ptr<ByteSink> openStreamSink(StreamOwner stream, KqbTxtFileOpenMode mode,
                                         Report &report);

}  // namespace kqbio
