// New files under names that nobody can foresee.
#pragma once

#include <string>

#include "backends/kqsfio/kqsfio_calls.h"

namespace kqsfio {

// Creates and opens a file named stem and an unpredictable ending, which nobody else has opened
// or linked there before. On success the path is *path and the descriptor *file.
np_fio_error createUnpredictable(std::string const &stem, int access, mode_t mode,
                                 std::string *path, int *file);

}  // namespace kqsfio
