// Building blocks: memory shared between processes, with locks that outlive nobody.
//
// General rules
// - Nothing throws. Operations return 0 or a positive error code, which np_fio_errdesc describes; on
//   failure outputs are left as they were.
// - A segment is one user's: its name carries the user's number, only that user may open it, and what
//   has the name but is another's, or open to others, is refused (KQ_SHM_FOREIGN).
// - A handle belongs to one thread at a time, and to the process that opened it. Locks belong to
//   handles: two handles on one segment are two parties, also within a process.
// - Locks are the kernel's (open file description locks). However a process ends, its locks end with
//   it, once no child that it forked without starting another program has the handle open any more.
#pragma once

struct kqShm;

enum kqShmError {
    KQ_SHM_FOREIGN = 100'001,  // not this user's alone, or no segment at all
    KQ_SHM_BUSY = 100'002,     // the time was up
};

// Opens the segment of a name (letters, digits and . _ - %, not empty), and with create 1 makes an
// empty one where there is none. ENAMETOOLONG, EINVAL and ENOENT are told of names.
int kqShmOpen(char const *name, int create, kqShm **handle);

// Closes: the memory must not be used any more, and the handle's locks are gone. Null is ignored.
void kqShmClose(kqShm *handle);

// Takes the name from the segment, which lives on for those who have it open. isNamed tells whether
// it still has one.
int kqShmUnlink(kqShm *handle);
bool kqShmIsNamed(kqShm *handle);

// The size in bytes; negative when it cannot be told.
long long kqShmSize(kqShm *handle);

// Changes the size. What is added is zero, and reserved: it can be written to without running out
// of memory later. Mappings of other handles that reach beyond the end must not be used there.
int kqShmResize(kqShm *handle, long long size);

// The segment's first bytes in memory, mapped anew when the size changed since the last time; they
// stay valid until then. 0 bytes or more than there are: EINVAL.
int kqShmMap(kqShm *handle, long long size, void **memory);

enum kqShmLockMode { KQ_SHM_UNLOCK = 0, KQ_SHM_SHARED = 1, KQ_SHM_EXCLUSIVE = 2 };

// Takes, changes or gives back one of the segment's locks, which are numbered from 0. Waits at most
// `milliseconds` (0: not at all; negative: without limit) and then answers KQ_SHM_BUSY. A failed
// change leaves the lock as it was. From exclusive to shared nobody comes in between.
int kqShmLock(kqShm *handle, int number, kqShmLockMode mode, int milliseconds);
