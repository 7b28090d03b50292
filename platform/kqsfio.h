// Files: open, read, write, seek, truncate, examine; temporary files; paths; directories.
//
// General rules
// - Nothing throws. Operations return NP_FIO_OK (0) or a positive error code, whose description
//   np_fio_errdesc gives; on failure outputs are left as they were unless said otherwise.
// - An operation interrupted by a signal goes on; a short transfer is continued.
// - Descriptors are closed when another program is executed.
// - Paths are UTF-8, separated by "/" ("\" is an ordinary character of a name).
#pragma once

#include <cstddef>

typedef int np_fio_error;
constexpr np_fio_error NP_FIO_OK = 0;

// An open file; NP_FIO_NONE names none.
typedef int np_fio_file;
constexpr np_fio_file NP_FIO_NONE = -1;

enum np_fio_mode {
    NP_FIO_READ = 1,    // an existing file, for reading
    NP_FIO_WRITE = 2,   // for writing; created, or emptied where it exists
    NP_FIO_APPEND = 3,  // for writing, always at its end; created where it is missing
    NP_FIO_UPDATE = 4,  // an existing file, for reading and writing
};

enum np_fio_origin { NP_FIO_FROM_START = 0, NP_FIO_FROM_HERE = 1, NP_FIO_FROM_END = 2 };

enum np_fio_kind { NP_FIO_REGULAR = 1, NP_FIO_DIRECTORY = 2, NP_FIO_OTHER = 3 };

struct np_fio_info {
    long long size;  // bytes
    np_fio_kind kind;
};

// --- Files ------------------------------------------------------------------------------------

np_fio_error np_fio_open(char const *path, np_fio_mode mode, np_fio_file *file);

// Closes; NP_FIO_NONE is accepted. The descriptor is gone also when an error is told.
np_fio_error np_fio_close(np_fio_file file);

// Reads up to size bytes; *count is less than size only at the end of the file.
np_fio_error np_fio_read(np_fio_file file, void *data, std::size_t size, std::size_t *count);

// Writes all of size bytes, or tells why not.
np_fio_error np_fio_write(np_fio_file file, void const *data, std::size_t size);

// Reads or writes at a position, without moving the file's own.
np_fio_error np_fio_read_at(np_fio_file file, long long position, void *data, std::size_t size,
                            std::size_t *count);
np_fio_error np_fio_write_at(np_fio_file file, long long position, void const *data,
                             std::size_t size);

// A piece of memory in a transfer of several; writing does not change it.
struct np_fio_part {
    void *data;
    std::size_t size;
};

// The same for bytes that lie together in the file and in several pieces, in order, in memory.
np_fio_error np_fio_read_parts_at(np_fio_file file, long long position, np_fio_part const *parts,
                                  int partCount, std::size_t *count);
np_fio_error np_fio_write_parts_at(np_fio_file file, long long position, np_fio_part const *parts,
                                   int partCount);

// Moves the position; *position (may be null) receives the new one, from the start.
np_fio_error np_fio_seek(np_fio_file file, long long offset, np_fio_origin origin,
                         long long *position);

np_fio_error np_fio_truncate(np_fio_file file, long long size);

np_fio_error np_fio_stat(char const *path, np_fio_info *info);
np_fio_error np_fio_stat_file(np_fio_file file, np_fio_info *info);

// 1 when something is at the path, else 0.
int np_fio_exists(char const *path);

np_fio_error np_fio_delete(char const *path);

// Creates and opens a new file, private to the user (0600), for reading and writing. directory
// null: the system's directory for temporary files, which is TMPDIR of the environment where that
// is absolute and exists, else /tmp. The name is prefix (no "/" in it) and an unpredictable ending;
// the path is written to name (size bytes).
np_fio_error np_fio_tmpfile(char const *directory, char const *prefix, char *name, int size,
                            np_fio_file *file);

// --- Replacing a file in one step -------------------------------------------------------------

// A replacement is written beside the file it will replace and takes its place only when it is
// whole and on disk; whoever looks sees the old file or the new one. An interrupted program leaves
// the old file, and at worst a temporary one beside it.
struct np_fio_replacement;

// Begins to replace the file at path, which need not exist; symbolic links are followed, and
// what is not a regular file (a terminal, a pipe) is written directly. An old file that may not be
// written is not replaced. *file is open for writing and belongs to the replacement.
np_fio_error np_fio_replace_begin(char const *path, np_fio_replacement **replacement,
                                  np_fio_file *file);

// Puts the new file in place with the old one's mode and, where permitted, owner and group; where
// these cannot be kept, nobody gets more rights than before. Releases the replacement in every
// case; on failure the old file is untouched and the new one gone.
np_fio_error np_fio_replace_commit(np_fio_replacement *replacement);

// Gives up: the old file stays, the new one is deleted. Null is ignored.
void np_fio_replace_abandon(np_fio_replacement *replacement);

// --- Errors -----------------------------------------------------------------------------------

// An English description, "No such file or directory" for example. Never null; valid until the
// calling thread asks again.
char const *np_fio_errdesc(np_fio_error error);

// --- Paths ------------------------------------------------------------------------------------

// The parts of a path as places in it. directory has no trailing separator, save for the root
// itself; extension begins behind the last "." of the name, and a leading "." does not begin one.
struct np_fio_path {
    char const *directory;
    std::size_t directorySize;
    char const *name;  // extension included
    std::size_t nameSize;
    char const *extension;
    std::size_t extensionSize;
};
void np_fio_pparse(char const *path, np_fio_path *parts);

// Joins directory and name with one separator. Returns the length; buffer is terminated and, when
// too small, empty. Where either is empty (or null) the other stands as it is. An absolute name
// cannot be joined: 0.
int np_fio_pjoin(char const *directory, char const *name, char *buffer, int size);

// Makes a path absolute by the working directory, without touching the disk; the empty path is
// that directory itself, and "." and ".." stay. Returns its length;
// -1 with an empty buffer when it does not fit or the working directory is unknown.
int np_fio_pabsolute(char const *path, char *buffer, int size);

// --- Directories ------------------------------------------------------------------------------

struct np_fio_dir;

np_fio_error np_fio_dir_open(char const *path, np_fio_dir **directory);

// The next entry but "." and ".."; kind may be null (asking it may cost a look at the file).
// Returns 1 with *name valid until the next call, 0 at the end, and a negative error code when
// reading failed.
int np_fio_dir_next(np_fio_dir *directory, char const **name, np_fio_kind *kind);

void np_fio_dir_close(np_fio_dir *directory);
