// Process groups.
#pragma once

#include <sys/types.h>

namespace kqssys {

// Whether a member of the group still runs. One that has ended and only waits for its parent to
// notice, which the first process of a container may not do soon, does not count. True where the
// system does not let us look.
bool isAlive(pid_t group);

}  // namespace kqssys
