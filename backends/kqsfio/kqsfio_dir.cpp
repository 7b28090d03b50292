// Directory listings.
#include <memory>
#include <new>
#include <string_view>

#include "backends/kqsfio/kqsfio_calls.h"

struct np_fio_dir {
    DIR *stream;
};

namespace {

using namespace kqsfio;

DIR *openStream(char const *path) {
    DIR *stream = calls.opendir(path);
    while (stream == nullptr && errno == EINTR) stream = calls.opendir(path);
    return stream;
}

bool isSelfOrParent(std::string_view name) { return name == "." || name == ".."; }

// Null with errno 0 at the end.
dirent *nextEntry(DIR *stream) {
    dirent *entry;
    do {
        errno = 0;
        entry = calls.readdir(stream);
    } while (entry == nullptr ? errno == EINTR : isSelfOrParent(entry->d_name));
    return entry;
}

// Not every file system tells kinds in the listing, and links are of the kind they lead to; one
// that leads nowhere is of another kind.
np_fio_kind kindByLooking(DIR *stream, char const *name) {
    struct stat info;
    bool const found = retried(calls.fstatat, dirfd(stream), name, &info, 0) == 0;
    return found ? kindOf(info.st_mode) : NP_FIO_OTHER;
}

np_fio_kind kindOfEntry(DIR *stream, dirent const &entry) {
    bool const mustLook = entry.d_type == DT_UNKNOWN || entry.d_type == DT_LNK;
    return mustLook ? kindByLooking(stream, entry.d_name)
                    : kindOf(static_cast<mode_t>(DTTOIF(entry.d_type)));
}

}  // namespace

np_fio_error np_fio_dir_open(char const *path, np_fio_dir **directory) {
    if (path == nullptr) return EINVAL;
    std::unique_ptr<np_fio_dir> opened(new (std::nothrow) np_fio_dir);
    if (opened == nullptr) return ENOMEM;
    opened->stream = openStream(path);
    if (opened->stream == nullptr) return errno;
    *directory = opened.release();
    return NP_FIO_OK;
}

int np_fio_dir_next(np_fio_dir *directory, char const **name, np_fio_kind *kind) {
    dirent const *const entry = nextEntry(directory->stream);
    if (entry == nullptr) return -errno;
    *name = entry->d_name;
    if (kind != nullptr) *kind = kindOfEntry(directory->stream, *entry);
    return 1;
}

void np_fio_dir_close(np_fio_dir *directory) {
    if (directory == nullptr) return;
    calls.closedir(directory->stream);
    delete directory;
}
