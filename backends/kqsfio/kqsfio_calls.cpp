#include "backends/kqsfio/kqsfio_calls.h"

#include <sys/random.h>

#include <cstdio>
#include <cstdlib>

namespace kqsfio {

// open is the one that C declares with variable arguments.
Calls calls = {
    .open = [](char const *path, int flags, mode_t mode) { return ::open(path, flags, mode); },
    .close = ::close,
    .read = ::read,
    .pread = ::pread,
    .write = ::write,
    .pwrite = ::pwrite,
    .preadv = ::preadv,
    .pwritev = ::pwritev,
    .lseek = ::lseek,
    .ftruncate = ::ftruncate,
    .fsync = ::fsync,
    .fstat = ::fstat,
    .stat = ::stat,
    .fstatat = ::fstatat,
    .fchmod = ::fchmod,
    .fchown = ::fchown,
    .faccessat = ::faccessat,
    .rename = ::rename,
    .unlink = ::unlink,
    .realpath = ::realpath,
    .readlink = ::readlink,
    .getrandom = ::getrandom,
    .getcwd = ::getcwd,
    .opendir = ::opendir,
    .readdir = ::readdir,
    .closedir = ::closedir,
};

np_fio_kind kindOf(mode_t mode) {
    if (S_ISREG(mode)) return NP_FIO_REGULAR;
    return S_ISDIR(mode) ? NP_FIO_DIRECTORY : NP_FIO_OTHER;
}

}  // namespace kqsfio
