// Shared memory of POSIX, whose files the kernel also keeps locks on.
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <new>

#include "platform/kqbbshm.h"

struct kqShm {
    int file = -1;
    void *memory = nullptr;
    long long mapped = 0;
    char name[NAME_MAX + 1] = "";
};

namespace {

constexpr mode_t kPrivate = S_IRUSR | S_IWUSR;

bool isNameCharacter(char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') ||
           (c != '\0' && std::strchr("._-%", c) != nullptr);
}

int writeName(char const *name, kqShm *handle) {
    std::size_t const size = std::strlen(name);
    if (size == 0 || !std::all_of(name, name + size, isNameCharacter)) return EINVAL;
    int const length =
        std::snprintf(handle->name, sizeof handle->name, "/kqb.%u.%s", geteuid(), name);
    return length < static_cast<int>(sizeof handle->name) ? 0 : ENAMETOOLONG;
}

bool examine(int file, struct stat *info) { return fstat(file, info) == 0; }

// Someone else may have taken the name first.
int checkOwner(int file) {
    struct stat info;
    if (!examine(file, &info)) return errno;
    bool const isPrivate = (info.st_mode & (S_IRWXG | S_IRWXO)) == 0;
    bool const isOurs = S_ISREG(info.st_mode) && info.st_uid == geteuid() && isPrivate;
    return isOurs ? 0 : KQ_SHM_FOREIGN;
}

// What may not even be opened is another's.
int openFile(kqShm *handle, int create) {
    int const flags = O_RDWR | (create != 0 ? O_CREAT : 0);
    handle->file = shm_open(handle->name, flags, kPrivate);
    if (handle->file >= 0) return checkOwner(handle->file);
    return errno == EACCES || errno == ELOOP || errno == EISDIR ? int{KQ_SHM_FOREIGN} : errno;
}

void unmap(kqShm *handle) {
    if (handle->memory != nullptr) {
        munmap(handle->memory, static_cast<std::size_t>(handle->mapped));
    }
    handle->memory = nullptr;
    handle->mapped = 0;
}

struct flock lockOf(int number, kqShmLockMode mode) {
    struct flock lock = {};
    lock.l_type = mode == KQ_SHM_UNLOCK ? F_UNLCK : mode == KQ_SHM_SHARED ? F_RDLCK : F_WRLCK;
    lock.l_whence = SEEK_SET;
    lock.l_start = number;
    lock.l_len = 1;
    return lock;
}

int setLock(int file, int command, struct flock const &wanted) {
    struct flock lock = wanted;
    int result = fcntl(file, command, &lock);
    while (result == -1 && errno == EINTR) result = fcntl(file, command, &lock);
    return result == 0 ? 0 : errno;
}

long long now() {
    timespec time;
    clock_gettime(CLOCK_MONOTONIC, &time);
    return time.tv_sec * 1'000'000'000LL + time.tv_nsec;
}

// The kernel waits for a lock without limit or not at all; in between it is asked again and again,
// soon at first and once a millisecond in the end.
int pollLock(int file, struct flock const &lock, int milliseconds) {
    constexpr long long kShortest = 20'000, kLongest = 1'000'000;
    long long const end = now() + milliseconds * 1'000'000LL;
    long long pause = kShortest;
    for (;;) {
        int const error = setLock(file, F_OFD_SETLK, lock);
        if (error != EAGAIN && error != EACCES) return error;
        long long const left = end - now();
        if (left <= 0) return KQ_SHM_BUSY;
        timespec const time = {0, std::min({pause, left, kLongest})};
        nanosleep(&time, nullptr);
        pause = std::min(pause * 2, kLongest);
    }
}

}  // namespace

int kqShmOpen(char const *name, int create, kqShm **handle) {
    auto *const opened = new (std::nothrow) kqShm;
    if (opened == nullptr) return ENOMEM;
    int error = writeName(name, opened);
    if (error == 0) error = openFile(opened, create);
    if (error == 0)
        *handle = opened;
    else
        kqShmClose(opened);
    return error;
}

void kqShmClose(kqShm *handle) {
    if (handle == nullptr) return;
    unmap(handle);
    if (handle->file >= 0) close(handle->file);
    delete handle;
}

int kqShmUnlink(kqShm *handle) { return shm_unlink(handle->name) == 0 ? 0 : errno; }

bool kqShmIsNamed(kqShm *handle) {
    struct stat info;
    return examine(handle->file, &info) && info.st_nlink > 0;
}

long long kqShmSize(kqShm *handle) {
    struct stat info;
    return examine(handle->file, &info) ? info.st_size : -1;
}

int kqShmResize(kqShm *handle, long long size) {
    long long const old = kqShmSize(handle);
    if (size < 0 || old < 0) return EINVAL;
    if (size <= old) return ftruncate(handle->file, size) == 0 ? 0 : errno;
    int error = posix_fallocate(handle->file, old, size - old);
    while (error == EINTR) error = posix_fallocate(handle->file, old, size - old);
    // What was reserved before memory ran out is given back.
    if (error != 0 && ftruncate(handle->file, old) != 0) return errno;
    return error;
}

int kqShmMap(kqShm *handle, long long size, void **memory) {
    if (size <= 0 || size > kqShmSize(handle)) return EINVAL;
    if (handle->mapped != size) {
        void *const mapping = mmap(nullptr, static_cast<std::size_t>(size), PROT_READ | PROT_WRITE,
                                   MAP_SHARED, handle->file, 0);
        if (mapping == MAP_FAILED) return errno;
        unmap(handle);
        handle->memory = mapping;
        handle->mapped = size;
    }
    *memory = handle->memory;
    return 0;
}

int kqShmLock(kqShm *handle, int number, kqShmLockMode mode, int milliseconds) {
    struct flock const lock = lockOf(number, mode);
    if (milliseconds < 0 || mode == KQ_SHM_UNLOCK) return setLock(handle->file, F_OFD_SETLKW, lock);
    return pollLock(handle->file, lock, milliseconds);
}
