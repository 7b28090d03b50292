// Byte buffers that processes of one user share by name.
#pragma once

#include "kqb/kqbstring.h"

// A handle on a shared buffer. Made by ssSharedBufferManager, ended with release().
//
// The bytes are looked at under a lock only, which any number of readers may have, or one writer:
//
//   ssSharedBuffer *buffer = ssSharedBufferManager::attach("rates", &error);
//   if (buffer->lockForReading()) {
//       use(buffer->getData(), buffer->getSize());
//       buffer->unlock();
//   }
//   buffer->release();
//
// Locks are the kernel's, and belong to handles: each handle is a party of its own, also among those
// of one process, so that threads with a handle each exclude one another as processes do. A waiting
// writer keeps new readers out, so one thread must not lock two handles of one buffer. Taking and
// giving back a lock costs a handful of system calls.
//
// A holder that dies, however it does, takes its locks with it (a child that it forked keeps them
// until it starts another program or ends). If it died while writing, the bytes may be half old and
// half new: isDamaged() then says so to whoever has the lock, until the next writer gives back
// its own, who is expected to have put the bytes right.
//
// One handle belongs to one thread at a time, and to the process that made it.
class KQB_API ssSharedBuffer {
public:
    // Wait for the lock, at most `milliseconds` (0: not at all; negative: without limit). False
    // when the time was up (message 1817 of "Base Services"), the handle has a lock already or
    // the kernel refuses (1816), or the buffer was damaged from outside (1814). What was resized
    // meanwhile is found at its new size.
    virtual bool lockForReading(int milliseconds = -1) = 0;
    virtual bool lockForWriting(int milliseconds = -1) = 0;

    // Gives the lock back; without one it does nothing.
    virtual void unlock() = 0;

    // The bytes, aligned for any type, valid until unlock() or resize(), and their number. Null
    // and 0 without a lock; getWritableData() is null without the lock for writing.
    virtual void const *getData() const = 0;
    virtual void *getWritableData() = 0;
    virtual __int64 getSize() const = 0;

    // Whether the last writer died before it was done; false without a lock.
    virtual bool isDamaged() const = 0;

    // Changes the size, keeping the bytes that both sizes have; new ones are zero. Memory is reserved,
    // so that writing cannot run out of it later. False, with everything as it was, without the
    // lock for writing (1818), for a negative size, and when there is not so much memory (1819).
    virtual bool resize(__int64 size) = 0;

    virtual KqbString getName() const = 0;

    // Text of the last failure; null when there was none.
    virtual KqbString getErrorMessage() const = 0;

    // Gives the lock back and ends the handle. The last handle on a buffer ends the buffer.
    virtual void release() = 0;

protected:
    ~ssSharedBuffer() = default;
};

// Finds and makes shared buffers.
//
// A buffer lives as long as any process has a handle on it. Handles are counted by the kernel, so a
// process that dies does not keep a buffer alive: what it leaves behind is found by the next who
// asks for the name, and removed. Until then it takes up memory.
//
// A name is 1 byte or more, compared exactly; bytes other than ASCII letters, digits and . _ - take
// three characters of the 240 or so that there are. Users do not see each other's buffers: a buffer is
// the shared memory /kqb.UID.NAME, which only its user may open. One of that name that is another
// user's, or open to others, or no buffer at all, is refused (1814), never used.
//
// Layout: 8 bytes "KQSHBUF1"; the size, 8 bytes; 4 bytes, 1 while a writer is at work; 44 bytes zero;
// then the bytes. Byte order is the machine's. Locks are on the bytes 0 (shared by every handle),
// 1 (for who is next) and 2 (the lock proper) of the shared memory.
//
// Failures: null, with the text of a message of "Base Services" in *error (may be null). The loggers
// are "KQ.KQWSVC.SharedBuffer.Manager" and "KQ.KQWSVC.SharedBuffer.Buffer". Any thread may call. The
// library must be initialised, also when handles are released.
class KQB_API ssSharedBufferManager {
public:
    // Makes a buffer of zeros. Null when there is one of that name already (1813), the name
    // cannot be one (1815), size is negative or there is not so much memory (1811).
    static ssSharedBuffer *create(KqbString const &name, __int64 size, KqbString *error = nullptr);

    // A further handle on a buffer. Null when there is none (1812).
    static ssSharedBuffer *attach(KqbString const &name, KqbString *error = nullptr);

    // Attaches, or creates where there is none; *created (may be null) tells which. Of several that
    // come at once, one creates. A buffer that exists keeps its size.
    static ssSharedBuffer *createOrAttach(KqbString const &name, __int64 size, bool *created,
                                          KqbString *error = nullptr);
};
