// System services: child processes.
//
// General rules
// - Nothing throws. Handles belong to one thread at a time; several children may run at once.
// - A child inherits its three standard streams and nothing else, with every signal at its default
//   and none blocked. Its standard input is empty (/dev/null); output and error are this process's
//   own where nothing else is asked for, and empty where it has none. It starts in the caller's
//   working directory.
// - "Ended with its group": asked by SIGTERM, killed two seconds later, and reaped. A member that
//   left the group is out of reach; nothing here waits for it.
// - Whatever happens, np_proc_release leaves no zombie behind.
// - No handler or disposition of this process is touched. Where it ignores SIGCHLD, or waits for
//   any child, the end of a child is seen but not how it came: it counts as ended, with code -1.
#pragma once

#include "platform/kqsfio.h"

// How a child is started; the values may be added.
enum np_proc_flags : unsigned {
    NP_PROC_OUTPUT = 4,        // both output streams go to the record's file
    NP_PROC_ENVIRONMENT = 32,  // the record's entries are added to the environment
    NP_PROC_OWN_GROUP = 128,   // the child leads a process group of its own
};

// What the flags refer to. Both stay the caller's and are not looked at after the start.
struct np_proc_record {
    np_fio_file output = NP_FIO_NONE;
    // "NAME=value" texts, ending with null; an entry replaces the process's own of the same name,
    // a later one an earlier. One without a name or without "=" makes the start fail.
    char const *const *environment = nullptr;
};

enum np_proc_status {
    NP_PROC_ENDED = 1,    // by itself; the code is its exit code, 0 to 255
    NP_PROC_RUNNING = 2,  // not seen to end yet
    NP_PROC_ABORTED = 3,  // by a signal; the code is the signal's number
};

struct np_proc;

// Starts the program argv[0], found as the shell would (a name without "/" through this process's
// PATH), with the arguments argv, which ends with null. Returns 0 when it runs; else a positive
// error code, and np_proc_geterr tells why. *handle is null only when memory ran out, and is to be
// released also after a failure.
int np_proc_execute(char const *const *argv, unsigned flags, np_proc_record const *record,
                    np_proc **handle);

// The same for a line that the system's shell (/bin/sh -c) reads.
int np_proc_shellexec(char const *line, unsigned flags, np_proc_record const *record,
                      np_proc **handle);

// Waits until the child has ended, at most `seconds` (0 or less: without limit), and answers how.
// Returns 0 when it has, also when asked again. A child that outlives the limit is ended with its
// group: the result is then not 0, np_proc_geterr names the limit, and status and code tell how it
// went. What remains of the own group (NP_PROC_OWN_GROUP) of a child that ended by itself is ended
// too; without that flag there is only the child.
int np_proc_wait(np_proc *handle, int seconds, np_proc_status *status, int *code);

// The text of the handle's last failure, empty when there was none; that of a null handle tells of
// memory. Valid until the next operation on the handle.
char const *np_proc_geterr(np_proc const *handle);

// Gives the handle back. A child not waited for to its end is ended with its group and reaped.
// Null is ignored.
void np_proc_release(np_proc *handle);
