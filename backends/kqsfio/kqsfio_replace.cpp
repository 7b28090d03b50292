// Replacing a file in one step: a new file beside the old one, flushed to disk, then renamed.
#include <array>
#include <climits>
#include <cstdlib>
#include <exception>
#include <memory>
#include <string>
#include <utility>

#include "backends/kqsfio/kqsfio_temporary.h"

// Ending without a commit deletes the new file.
struct np_fio_replacement {
    np_fio_replacement() = default;
    np_fio_replacement(np_fio_replacement const &) = delete;
    np_fio_replacement &operator=(np_fio_replacement const &) = delete;
    ~np_fio_replacement() {
        np_fio_close(std::exchange(file, NP_FIO_NONE));
        if (!temporary.empty()) np_fio_delete(temporary.c_str());
    }

    int file = NP_FIO_NONE;
    std::string directory;  // where the target is, ending in its separator
    std::string target;
    std::string temporary;  // empty: the target itself is written
    bool isNew = false;     // there was no old file
    struct stat old = {};
};

namespace {

using namespace kqsfio;

constexpr int kMaxLinks = 40;
constexpr mode_t kRights = 07777;

// --- Where the path leads ---------------------------------------------------------------------

// Directory with its separator; empty for the working directory.
std::string directoryOf(std::string const &path) { return path.substr(0, path.rfind('/') + 1); }

np_fio_error makeReal(std::string *path) {
    char *const real = calls.realpath(path->c_str(), nullptr);
    if (real == nullptr) return errno;
    std::unique_ptr<char, decltype(&std::free)> const owner(real, std::free);
    *path = real;
    return NP_FIO_OK;
}

// The directory of a file that does not exist yet.
np_fio_error makeDirectoryReal(std::string *path) {
    std::string const name = path->substr(directoryOf(*path).size());
    if (name.empty()) return ENOENT;
    std::string directory = directoryOf(*path) + ".";
    if (np_fio_error const error = makeReal(&directory)) return error;
    *path = directory == "/" ? directory + name : directory + "/" + name;
    return NP_FIO_OK;
}

// The text of a symbolic link; EINVAL when there is something else at the path.
np_fio_error readLink(std::string const &path, std::string *text) {
    std::array<char, PATH_MAX> buffer;
    ssize_t const size = retried(calls.readlink, path.c_str(), buffer.data(), buffer.size());
    if (size == -1) return errno;
    text->assign(buffer.data(), static_cast<std::size_t>(size));
    return NP_FIO_OK;
}

// Resolves all links, also one whose target is still to be made.
np_fio_error resolve(std::string *path) {
    for (int links = 0; links < kMaxLinks; ++links) {
        np_fio_error const error = makeReal(path);
        if (error != ENOENT) return error;
        std::string link;
        if (readLink(*path, &link) != NP_FIO_OK) return makeDirectoryReal(path);
        *path = link.starts_with('/') ? link : directoryOf(*path) + link;
    }
    return ELOOP;
}

// --- Beginning --------------------------------------------------------------------------------

np_fio_error openDirectly(np_fio_replacement &replacement) {
    replacement.file = openFile(replacement.target.c_str(), O_WRONLY);
    return replacement.file == NP_FIO_NONE ? errno : NP_FIO_OK;
}

// A file that may not be written is not replaced either, though its directory would permit it.
// Until the commit the new file is private, unless there are no old rights to keep.
np_fio_error openBeside(np_fio_replacement &replacement) {
    char const *const target = replacement.target.c_str();
    if (!replacement.isNew) {
        auto const error = outcome(calls.faccessat, AT_FDCWD, target, W_OK, AT_EACCESS);
        if (error != NP_FIO_OK) return error;
    }
    replacement.directory = directoryOf(replacement.target);
    return createUnpredictable(replacement.directory + ".kqb-", O_WRONLY,
                               replacement.isNew ? 0666 : 0600, &replacement.temporary,
                               &replacement.file);
}

np_fio_error begin(np_fio_replacement &replacement) {
    if (np_fio_error const error = resolve(&replacement.target)) return error;
    np_fio_error const error = outcome(calls.stat, replacement.target.c_str(), &replacement.old);
    replacement.isNew = error == ENOENT;
    if (replacement.isNew) return openBeside(replacement);
    if (error != NP_FIO_OK) return error;
    if (S_ISDIR(replacement.old.st_mode)) return EISDIR;
    return S_ISREG(replacement.old.st_mode) ? openBeside(replacement) : openDirectly(replacement);
}

// --- Committing -------------------------------------------------------------------------------

// Rights for a file whose owner or group could not be kept: nobody gets more than before. Whoever
// lost a class (owner, group) falls into a later one, and others came into the class that was
// lost; so the later classes get only what both had.
mode_t narrowed(mode_t mode, bool ownerKept, bool groupKept) {
    mode_t const owner = mode >> 6 & 7;
    mode_t group = mode >> 3 & 7;
    mode_t others = mode & 7;
    if (!groupKept) group = others = group & others;
    if (!ownerKept) {
        group &= owner;
        others &= owner;
    }
    return owner << 6 | group << 3 | others;
}

// EINVAL: the owner has no number in this process's name space.
bool isForbidden(int error) { return error == EPERM || error == EINVAL; }

np_fio_error keepOwnerAndMode(int file, struct stat const &old) {
    struct stat now;
    if (calls.fchown(file, old.st_uid, old.st_gid) != 0) {
        // Only a privileged process may give files away; the group may be one of ours still.
        int const result = calls.fchown(file, static_cast<uid_t>(-1), old.st_gid);
        if (result != 0 && !isForbidden(errno)) return errno;
    }
    if (np_fio_error const error = outcome(calls.fstat, file, &now)) return error;
    bool const ownerKept = now.st_uid == old.st_uid;
    bool const groupKept = now.st_gid == old.st_gid;
    mode_t const mode = old.st_mode & kRights;
    return outcome(calls.fchmod, file,
                   ownerKept && groupKept ? mode : narrowed(mode, ownerKept, groupKept));
}

// The rename has happened and cannot be taken back, and after a crash there is one file or the
// other in any case; so what goes wrong here is not told.
void flushDirectory(char const *path) {
    int const directory = openFile(path, O_RDONLY | O_DIRECTORY);
    if (directory == -1) return;
    (void)outcome(calls.fsync, directory);
    np_fio_close(directory);
}

np_fio_error closeFile(np_fio_replacement &replacement) {
    return np_fio_close(std::exchange(replacement.file, NP_FIO_NONE));
}

np_fio_error commit(np_fio_replacement &replacement) {
    if (replacement.temporary.empty()) return closeFile(replacement);
    if (!replacement.isNew) {
        auto const error = keepOwnerAndMode(replacement.file, replacement.old);
        if (error != NP_FIO_OK) return error;
    }
    if (np_fio_error const error = outcome(calls.fsync, replacement.file)) return error;
    if (np_fio_error const error = closeFile(replacement)) return error;
    auto const error =
        outcome(calls.rename, replacement.temporary.c_str(), replacement.target.c_str());
    if (error != NP_FIO_OK) return error;
    replacement.temporary.clear();
    flushDirectory(replacement.directory.c_str());
    return NP_FIO_OK;
}

}  // namespace

np_fio_error np_fio_replace_begin(char const *path, np_fio_replacement **replacement,
                                  np_fio_file *file) {
    if (path == nullptr) return EINVAL;
    try {
        auto begun = std::make_unique<np_fio_replacement>();
        begun->target = path;
        if (np_fio_error const error = begin(*begun)) return error;
        *file = begun->file;
        *replacement = begun.release();
        return NP_FIO_OK;
    } catch (std::exception const &) {
        return ENOMEM;
    }
}

np_fio_error np_fio_replace_commit(np_fio_replacement *replacement) {
    std::unique_ptr<np_fio_replacement> const owner(replacement);
    return replacement == nullptr ? EINVAL : commit(*replacement);
}

void np_fio_replace_abandon(np_fio_replacement *replacement) { delete replacement; }
