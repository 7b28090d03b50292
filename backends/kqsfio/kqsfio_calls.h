// Every system call of the file library goes through this one table, so that tests can make any
// of them fail, be interrupted or transfer less than asked.
#pragma once

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <sys/uio.h>
#include <unistd.h>

#include <cerrno>

#include "platform/kqsfio.h"

namespace kqsfio {

// Each entry behaves as the call of its name: -1 or null with the reason in errno.
struct Calls {
    int (*open)(char const *path, int flags, mode_t mode);
    int (*close)(int file);
    ssize_t (*read)(int file, void *data, size_t size);
    ssize_t (*pread)(int file, void *data, size_t size, off_t position);
    ssize_t (*write)(int file, void const *data, size_t size);
    ssize_t (*pwrite)(int file, void const *data, size_t size, off_t position);
    ssize_t (*preadv)(int file, struct iovec const *pieces, int count, off_t position);
    ssize_t (*pwritev)(int file, struct iovec const *pieces, int count, off_t position);
    off_t (*lseek)(int file, off_t offset, int origin);
    int (*ftruncate)(int file, off_t size);
    int (*fsync)(int file);
    int (*fstat)(int file, struct stat *info);
    int (*stat)(char const *path, struct stat *info);
    int (*fstatat)(int directory, char const *name, struct stat *info, int flags);
    int (*fchmod)(int file, mode_t mode);
    int (*fchown)(int file, uid_t owner, gid_t group);
    int (*faccessat)(int directory, char const *path, int mode, int flags);
    int (*rename)(char const *from, char const *to);
    int (*unlink)(char const *path);
    char *(*realpath)(char const *path, char *resolved);
    ssize_t (*readlink)(char const *path, char *buffer, size_t size);
    ssize_t (*getrandom)(void *data, size_t size, unsigned flags);
    char *(*getcwd)(char *buffer, size_t size);
    DIR *(*opendir)(char const *path);
    struct dirent *(*readdir)(DIR *directory);
    int (*closedir)(DIR *directory);
};

extern Calls calls;

// Runs a call that answers -1 on failure again for as long as a signal interrupts it.
template <class Call, class... Args>
auto retried(Call call, Args... args) {
    auto result = call(args...);
    while (result == -1 && errno == EINTR) result = call(args...);
    return result;
}

// The same for calls that tell nothing but success: their error code.
template <class Call, class... Args>
np_fio_error outcome(Call call, Args... args) {
    return retried(call, args...) == -1 ? errno : NP_FIO_OK;
}

// Opens close-on-exec; a descriptor or -1.
inline int openFile(char const *path, int flags, mode_t mode = 0) {
    return retried(calls.open, path, flags | O_CLOEXEC, mode);
}

np_fio_kind kindOf(mode_t mode);

}  // namespace kqsfio
