// What text files that are read and that are written have in common.
#pragma once

#include "kqb/kqbtxtfile.h"
#include "plugins/kqbio/bytesource.h"
#include "plugins/kqbio/report.h"

namespace kqbio {

// What an open function was asked for. stream null: the file is the one at path.
struct Request {
    KqbString path;
    StreamOwner stream;
    KqbTxtFileOpenMode mode;
    int encoding;
    bool keepIllFormed;
};

class TxtFile : public KqbTxtFile {
public:
    KqbTxtFileOpenMode mode() const final { return mode_; }
    KqbString getName() const final { return path_; }
    KqbString getErrorMessage() const final { return report_.text(); }

protected:
    explicit TxtFile(Request const &request)
        : path_(request.path), mode_(request.mode),
          report_(request.stream != nullptr ? subjectOfStream(request.stream->getName())
                                            : subjectOfPath(request.path)) {}
    ~TxtFile() = default;

    Report &report() { return report_; }

private:
    KqbString const path_;
    KqbTxtFileOpenMode const mode_;
    Report report_;
};

// The file just made, opened; or null with *error set.
template <class File>
KqbTxtFile *opened(File *file, Request &&request, KqbString *error) {
    if (file == nullptr) {
        if (error != nullptr) *error = KqbString("Out of memory", true);
        return nullptr;
    }
    if (file->open(std::move(request))) return file;
    if (error != nullptr) *error = file->getErrorMessage();
    delete file;
    return nullptr;
}

KqbTxtFile *openReadFile(Request &&request, KqbString *error);
KqbTxtFile *openWriteFile(Request &&request, KqbString *error);

}  // namespace kqbio
