// Paths: joining and taking apart.
#pragma once

#include "kqb/kqbstring.h"

// directory and name joined with one "/". An empty (or null) directory gives name, an empty name
// gives directory. An absolute name cannot be joined to a directory and gives the empty string.
// Null when memory ran out.
KQB_API KqbString kqbConcatPath(KqbString const &directory, KqbString const &name);

// Takes a path apart: directory without trailing "/" (save for the root itself), name with its
// extension, extension behind the last "." of the name (a leading "." begins none). What is not
// there is the empty string. Any output may be null. False when path is null or empty or memory
// ran out, with all outputs null.
KQB_API bool kqbParsePath(KqbString const &path, KqbString *directory, KqbString *name,
                          KqbString *extension);
