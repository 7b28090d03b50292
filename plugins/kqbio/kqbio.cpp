// Text IO as a run-time module: the factory that the library's open functions forward to.
#include "plugins/kqbio/kqbio.h"

#include "platform/kqschr.h"
#include "plugins/kqbio/txtfile.h"

namespace kqbio {

namespace {

KqbTxtFile *open(Request &&request, KqbString *error) {
    if (error != nullptr) error->setNull();
    switch (request.mode) {
        case KqbTxtFileRead:
            return openReadFile(std::move(request), error);
        case KqbTxtFileWrite:
        case KqbTxtFileAppend:
            return openWriteFile(std::move(request), error);
    }
    if (error != nullptr) *error = KqbString("Cannot open a text file: its mode is not known");
    return nullptr;
}

class Factory final : public KqbTextIoFactory {
public:
    void release() override {}

    KqbTxtFile *open(KqbString const &path, KqbTxtFileOpenMode mode, int encoding, int flags,
                     KqbString *error) override {
        bool const keep = (flags & kKqbTxtFileKeepIllFormed) != 0;
        return kqbio::open(Request{path, nullptr, mode, encoding, keep}, error);
    }

    KqbTxtFile *open(KqbIORaw *stream, KqbTxtFileOpenMode mode, int encoding, int flags,
                     KqbString *error) override {
        if (stream == nullptr) {
            if (error != nullptr) *error = KqbString("Cannot open a text file: no stream");
            return nullptr;
        }
        bool const keep = (flags & kKqbTxtFileKeepIllFormed) != 0;
        return kqbio::open(Request{{}, StreamOwner(stream), mode, encoding, keep}, error);
    }

    // Asked here and not in the library, whose character library numbers on its own.
    int encoding(char const *name) override { return np_uchar_getenc(name); }
};

Factory factory;

}  // namespace

}  // namespace kqbio

KqbTextIoFactory *KqbIOInitialize(char const *) noexcept { return &kqbio::factory; }
