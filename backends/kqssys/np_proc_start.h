// Starting a child process.
#pragma once

#include <sys/types.h>

#include "platform/kqssysproc.h"

namespace kqssys {

// The first of the entries without a name or without "=", or null. Null entries are none.
char const *badEntry(char const *const *entries);

// Starts argv[0], found through PATH, with flags and record as np_proc_execute has them, the
// record's entries being good ones. Returns 0, or why it could not be started.
int start(char const *const *argv, unsigned flags, np_proc_record const &record, pid_t *child);

}  // namespace kqssys
