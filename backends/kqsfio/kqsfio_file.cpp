// Open files.
#include <algorithm>
#include <numeric>

#include "backends/kqsfio/kqsfio_calls.h"

namespace {

using namespace kqsfio;

// What one read or write moves at most on this system; larger requests go in pieces.
constexpr std::size_t kMaxTransfer = 0x7FFFF000;

constexpr mode_t kNewFileMode = 0666;  // less the process's mask

int flagsOf(np_fio_mode mode) {
    switch (mode) {
        case NP_FIO_READ:
            return O_RDONLY;
        case NP_FIO_WRITE:
            return O_WRONLY | O_CREAT | O_TRUNC;
        case NP_FIO_APPEND:
            return O_WRONLY | O_CREAT | O_APPEND;
        case NP_FIO_UPDATE:
            return O_RDWR;
    }
    return -1;
}

// The system itself refuses directories only for writing.
np_fio_error refuseDirectory(int file) {
    struct stat info;
    if (calls.fstat(file, &info) != 0) return errno;
    return S_ISDIR(info.st_mode) ? EISDIR : NP_FIO_OK;
}

// Calls step(done, rest) for the rest of size bytes until all are moved or a step moves none.
template <class Step>
np_fio_error transfer(std::size_t size, std::size_t *done, Step step) {
    *done = 0;
    while (*done < size) {
        ssize_t const moved = step(*done, std::min(size - *done, kMaxTransfer));
        if (moved > 0) *done += static_cast<std::size_t>(moved);
        if (moved == 0) break;
        if (moved < 0 && errno != EINTR) return errno;
    }
    return NP_FIO_OK;
}

template <class Step>
np_fio_error readAll(std::size_t size, std::size_t *count, Step step) {
    std::size_t done;
    np_fio_error const error = transfer(size, &done, step);
    if (error == NP_FIO_OK) *count = done;
    return error;
}

template <class Step>
np_fio_error writeAll(std::size_t size, Step step) {
    std::size_t done;
    np_fio_error const error = transfer(size, &done, step);
    if (error != NP_FIO_OK) return error;
    return done == size ? NP_FIO_OK : EIO;  // a device that takes nothing and gives no reason
}

char *at(void *data, std::size_t offset) { return static_cast<char *>(data) + offset; }
char const *at(void const *data, std::size_t offset) {
    return static_cast<char const *>(data) + offset;
}

// One vectored call takes this many pieces; the rest goes with the next.
constexpr int kMaxPieces = 256;

std::size_t sizeOf(np_fio_part const *parts, int count) {
    return std::accumulate(
        parts, parts + count, std::size_t{0},
        [](std::size_t sum, np_fio_part const &part) { return sum + part.size; });
}

// The pieces behind the first `done` bytes, as many as one call takes. Returns their number.
int piecesBehind(std::size_t done, np_fio_part const *parts, int count, iovec *pieces) {
    int filled = 0;
    for (np_fio_part const *part = parts; part != parts + count && filled < kMaxPieces; ++part) {
        if (done >= part->size) {
            done -= part->size;
            continue;
        }
        pieces[filled++] = {at(part->data, done), part->size - done};
        done = 0;
    }
    return filled;
}

void describe(struct stat const &from, np_fio_info *info) {
    info->size = from.st_size;
    info->kind = kindOf(from.st_mode);
}

int originOf(np_fio_origin origin) {
    switch (origin) {
        case NP_FIO_FROM_START:
            return SEEK_SET;
        case NP_FIO_FROM_HERE:
            return SEEK_CUR;
        case NP_FIO_FROM_END:
            return SEEK_END;
    }
    return -1;
}

}  // namespace

np_fio_error np_fio_open(char const *path, np_fio_mode mode, np_fio_file *file) {
    int const flags = flagsOf(mode);
    if (path == nullptr || flags == -1) return EINVAL;
    int const opened = openFile(path, flags, kNewFileMode);
    if (opened == -1) return errno;
    np_fio_error const error = mode == NP_FIO_READ ? refuseDirectory(opened) : NP_FIO_OK;
    if (error != NP_FIO_OK) {
        calls.close(opened);
        return error;
    }
    *file = opened;
    return NP_FIO_OK;
}

// Interrupted or not, the system has let go of the descriptor: closing again could hit another
// thread's file, and what was written goes on its way.
np_fio_error np_fio_close(np_fio_file file) {
    if (file == NP_FIO_NONE || calls.close(file) == 0) return NP_FIO_OK;
    return errno == EINTR ? NP_FIO_OK : errno;
}

np_fio_error np_fio_read(np_fio_file file, void *data, std::size_t size, std::size_t *count) {
    return readAll(size, count, [=](std::size_t done, std::size_t rest) {
        return calls.read(file, at(data, done), rest);
    });
}

np_fio_error np_fio_write(np_fio_file file, void const *data, std::size_t size) {
    return writeAll(size, [=](std::size_t done, std::size_t rest) {
        return calls.write(file, at(data, done), rest);
    });
}

np_fio_error np_fio_read_at(np_fio_file file, long long position, void *data, std::size_t size,
                            std::size_t *count) {
    return readAll(size, count, [=](std::size_t done, std::size_t rest) {
        return calls.pread(file, at(data, done), rest, position + static_cast<off_t>(done));
    });
}

np_fio_error np_fio_write_at(np_fio_file file, long long position, void const *data,
                             std::size_t size) {
    return writeAll(size, [=](std::size_t done, std::size_t rest) {
        return calls.pwrite(file, at(data, done), rest, position + static_cast<off_t>(done));
    });
}

np_fio_error np_fio_read_parts_at(np_fio_file file, long long position, np_fio_part const *parts,
                                  int partCount, std::size_t *count) {
    return readAll(sizeOf(parts, partCount), count, [=](std::size_t done, std::size_t) {
        iovec pieces[kMaxPieces];
        int const number = piecesBehind(done, parts, partCount, pieces);
        return calls.preadv(file, pieces, number, position + static_cast<off_t>(done));
    });
}

np_fio_error np_fio_write_parts_at(np_fio_file file, long long position, np_fio_part const *parts,
                                   int partCount) {
    return writeAll(sizeOf(parts, partCount), [=](std::size_t done, std::size_t) {
        iovec pieces[kMaxPieces];
        int const number = piecesBehind(done, parts, partCount, pieces);
        return calls.pwritev(file, pieces, number, position + static_cast<off_t>(done));
    });
}

np_fio_error np_fio_seek(np_fio_file file, long long offset, np_fio_origin origin,
                         long long *position) {
    int const whence = originOf(origin);
    if (whence == -1) return EINVAL;
    off_t const reached = calls.lseek(file, offset, whence);
    if (reached == -1) return errno;
    if (position != nullptr) *position = reached;
    return NP_FIO_OK;
}

np_fio_error np_fio_truncate(np_fio_file file, long long size) {
    return outcome(calls.ftruncate, file, size);
}

np_fio_error np_fio_stat(char const *path, np_fio_info *info) {
    if (path == nullptr) return EINVAL;
    struct stat found;
    if (np_fio_error const error = outcome(calls.stat, path, &found)) return error;
    describe(found, info);
    return NP_FIO_OK;
}

np_fio_error np_fio_stat_file(np_fio_file file, np_fio_info *info) {
    struct stat found;
    if (np_fio_error const error = outcome(calls.fstat, file, &found)) return error;
    describe(found, info);
    return NP_FIO_OK;
}

int np_fio_exists(char const *path) {
    np_fio_info info;
    return np_fio_stat(path, &info) == NP_FIO_OK ? 1 : 0;
}

np_fio_error np_fio_delete(char const *path) {
    return path == nullptr ? EINVAL : outcome(calls.unlink, path);
}
