// Building blocks: locks, events, per-thread slots (and, from kqatom.h, atomic counters; from
// kqtp.h, thread pools).
//
// General rules
// - Nothing throws. A create operation answers null when memory or a system resource is missing.
// - Objects are destroyed by whoever created them, when no thread uses them any more. A null
//   object is accepted by every destroy operation and ignored.
// - Texts for failures are UTF-8, cut to the caller's buffer and always terminated.
#pragma once

#include "platform/kqatom.h"
#include "platform/kqtp.h"

// --- The library itself ---------------------------------------------------------------------

// Brings the building blocks up; calls are counted. `executablePath` names the host's program
// and may not be empty. Returns 0, or a positive number with the reason in buffer (size bytes).
int kqbbInitialize(char const *executablePath, char *buffer, int size);

// The same with an explicit utility directory, `mxPath`, which must exist.
int kqbbInitializeWithMX(char const *mxPath, char *buffer, int size);

// Takes the building blocks down with the last counted call; without one it does nothing.
void kqbbTerminate();

// Sets the directory for the utility's temporary files, once per life of the library.
// 0: set (or set to the same path before). Negative: another path is already set, and buffer
// holds it. Positive: the path cannot be used (it is no directory that the process may write to, or
// the library is down), and buffer holds the path.
int kqbbSetTempPath(char const *path, char *buffer, int size);

// --- Locks ------------------------------------------------------------------------------------

struct kqLock;

// Creates a lock.
//   strict 0: the holder may take the lock again, and releases it as many times.
//   strict 1: taking it again while holding it is the caller's error.
//   readers 0: exclusive holders only.
//   readers 1: any number of readers, or one exclusive holder (strict is then taken as 1). Each
//              reader thread marks a slot of its own, so readers do not share a cache line;
//              taking it exclusively is correspondingly dearer. A waiting writer keeps new
//              readers out.
kqLock *kqLockCreate(int strict, int readers);
void kqLockDestroy(kqLock *lock);

// Takes the lock. exclusive 0 asks for a reader's share (exclusive where the lock has no reader
// side). wait 0 gives up at once when the lock is held, a reader also when a writer waits for it.
// Returns 1 when taken, else 0.
int kqLockGet(kqLock *lock, int exclusive, int wait);

// Releases what the calling thread took last from this lock.
void kqLockRelease(kqLock *lock, int exclusive);

// --- Events -----------------------------------------------------------------------------------

struct kqEvent;

// Creates an event. manual 1: stays set until reset. manual 0: waking one waiter resets it.
kqEvent *kqEventCreate(int manual);
void kqEventDestroy(kqEvent *event);
void kqEventSet(kqEvent *event);
void kqEventReset(kqEvent *event);

// Waits until the event is set, at most `milliseconds` (negative: without limit).
// Returns 1 when it was set, 0 when the time was up.
int kqEventWait(kqEvent *event, int milliseconds);

// --- Per-thread slots -------------------------------------------------------------------------

// A slot holds one pointer per thread. When a thread ends with a non-null pointer in it,
// `atThreadEnd` receives that pointer, on that thread, after the destructors of its thread-local
// objects have run; it is called again if something sets the slot anew meanwhile.
// Slots are few: create them once per process. Returns a slot number, or -1.
int kqThreadSlotCreate(void (*atThreadEnd)(void *));

// Stores value for the calling thread. Returns 1, or 0 when memory is missing.
int kqThreadSlotSet(int slot, void *value);
