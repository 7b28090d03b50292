#include "kqb/kqbdirectorylisting.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "core/kqbmemoryfailures_internal.h"
#include "core/kqbstring_internal.h"
#include "kqb/kqbmodules.h"
#include "platform/kqsfio.h"

namespace {

struct CloseDirectory {
    void operator()(np_fio_dir *directory) const { np_fio_dir_close(directory); }
};
using Directory = std::unique_ptr<np_fio_dir, CloseDirectory>;

class Listing final : public KqbDirectoryListing {
public:
    explicit Listing(std::vector<std::string> names) : names_(std::move(names)) {}

    bool next(KqbString *name) override {
        if (position_ == names_.size()) return false;
        if (!KqbStringAccess::assign(*name, names_[position_])) return false;
        ++position_;
        return true;
    }
    void rewind() override { position_ = 0; }
    int getCount() const override {
        return static_cast<int>(std::min<std::size_t>(names_.size(), INT_MAX));
    }
    void release() override { delete this; }

private:
    std::vector<std::string> const names_;
    std::size_t position_ = 0;
};

bool isWanted(np_fio_kind kind, unsigned int flags) {
    return (kind == NP_FIO_REGULAR && (flags & kKqbDirectoryFiles) != 0) ||
           (kind == NP_FIO_DIRECTORY && (flags & kKqbDirectoryDirectories) != 0);
}

// Kinds are asked for only where they matter.
np_fio_error readNames(np_fio_dir *directory, unsigned int flags, std::vector<std::string> *names) {
    bool const all = (flags & (kKqbDirectoryFiles | kKqbDirectoryDirectories)) == 0;
    char const *name = nullptr;
    np_fio_kind kind = NP_FIO_OTHER;
    for (;;) {
        int const result = np_fio_dir_next(directory, &name, all ? nullptr : &kind);
        if (result <= 0) return -result;
        if (all || isWanted(kind, flags)) names->emplace_back(name);
    }
}

np_fio_error list(char const *path, unsigned int flags, std::vector<std::string> *names) {
    np_fio_dir *opened = nullptr;
    if (np_fio_error const error = np_fio_dir_open(path, &opened)) return error;
    Directory const directory(opened);
    np_fio_error const error = readNames(opened, flags, names);
    if (error == NP_FIO_OK) std::sort(names->begin(), names->end());
    return error;
}

void tell(KqbString *error, KqbString const &directory, char const *reason) {
    if (error == nullptr) return;
    KqbString text("Cannot read directory '");
    text.append(directory).append("': ").append(reason);
    *error = text;
}

}  // namespace

KqbDirectoryListing *kqbDirectoryOpen(KqbString const &directory, unsigned int flags,
                                      KqbString *error) {
    if (error != nullptr) error->setNull();
    try {
        std::vector<std::string> names;
        if (np_fio_error const failure = list(directory.asCstr(), flags, &names)) {
            if (failure == ENOMEM) throw std::bad_alloc();
            tell(error, directory, np_fio_errdesc(failure));
            return nullptr;
        }
        return new Listing(std::move(names));
    } catch (std::bad_alloc const &) {
        if (error != nullptr) *error = KqbString(kKqbOutOfMemory, true);
        kqbNoteMemoryFailure();
        return nullptr;
    }
}
