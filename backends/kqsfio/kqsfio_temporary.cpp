// Temporary files.
#include "backends/kqsfio/kqsfio_temporary.h"

#include <array>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <string>

namespace kqsfio {
namespace {

constexpr std::size_t kEndingSize = 16;  // 80 bits
constexpr int kAttempts = 100;

// Letters of one case: names stay distinct where the file system does not tell cases apart.
constexpr char kAlphabet[] = "abcdefghijklmnopqrstuvwxyz234567";

np_fio_error fillRandom(unsigned char *data, std::size_t size) {
    for (std::size_t done = 0; done < size;) {
        ssize_t const got = retried(calls.getrandom, data + done, size - done, 0U);
        if (got == -1) return errno;
        done += static_cast<std::size_t>(got);
    }
    return NP_FIO_OK;
}

np_fio_error appendEnding(std::string *path) {
    std::array<unsigned char, kEndingSize> random;
    if (np_fio_error const error = fillRandom(random.data(), random.size())) return error;
    for (unsigned char const byte : random) *path += kAlphabet[byte % 32];
    return NP_FIO_OK;
}

np_fio_error createOnce(std::string const &stem, int access, mode_t mode, std::string *path,
                        int *file) {
    std::string candidate = stem;
    if (np_fio_error const error = appendEnding(&candidate)) return error;
    int const opened = openFile(candidate.c_str(), access | O_CREAT | O_EXCL, mode);
    if (opened == -1) return errno;
    *path = std::move(candidate);
    *file = opened;
    return NP_FIO_OK;
}

bool isAbsoluteDirectory(char const *path) {
    struct stat info;
    return path != nullptr && *path == '/' && calls.stat(path, &info) == 0 && S_ISDIR(info.st_mode);
}

// A program that runs with another user's rights does not take that user's word for it.
char const *temporaryDirectory() {
    char const *const wanted = secure_getenv("TMPDIR");
    return isAbsoluteDirectory(wanted) ? wanted : "/tmp";
}

std::string stemOf(char const *directory, char const *prefix) {
    std::string stem = directory;
    if (!stem.empty() && stem.back() != '/') stem += '/';
    return stem += prefix;
}

np_fio_error createTemporary(char const *directory, char const *prefix, char *name, int size,
                             int *file) {
    std::string const stem = stemOf(directory, prefix);
    if (stem.size() + kEndingSize >= static_cast<std::size_t>(size)) return ENAMETOOLONG;
    std::string path;
    if (np_fio_error const error = createUnpredictable(stem, O_RDWR, 0600, &path, file)) {
        return error;
    }
    std::memcpy(name, path.c_str(), path.size() + 1);
    return NP_FIO_OK;
}

}  // namespace

np_fio_error createUnpredictable(std::string const &stem, int access, mode_t mode,
                                 std::string *path, int *file) {
    np_fio_error error = EEXIST;
    for (int attempt = 0; error == EEXIST && attempt < kAttempts; ++attempt) {
        error = createOnce(stem, access, mode, path, file);
    }
    return error;
}

}  // namespace kqsfio

np_fio_error np_fio_tmpfile(char const *directory, char const *prefix, char *name, int size,
                            np_fio_file *file) {
    char const *const start = prefix == nullptr ? "" : prefix;
    if (name == nullptr || size <= 0 || std::strchr(start, '/') != nullptr) return EINVAL;
    char const *const where = directory == nullptr ? kqsfio::temporaryDirectory() : directory;
    try {
        return kqsfio::createTemporary(where, start, name, size, file);
    } catch (std::exception const &) {
        return ENOMEM;
    }
}
