// System services: loadable modules, environment, unique identifiers, time stamps.
//
// General rules
// - Nothing throws. Texts are UTF-8, cut to the caller's buffer and always terminated.
#pragma once

// --- Loadable modules -------------------------------------------------------------------------

struct np_dso;

enum np_dso_result {
    NP_DSO_OK = 0,
    NP_DSO_BADPATH = 1,   // the path is empty or not absolute
    NP_DSO_NOTFOUND = 2,  // there is no such file
    NP_DSO_LOADER = 3,    // the loader refused it; its own text is in the buffer
};

// Writes the file name of the module `base` ("kqbio38": "libkqbio38.so"). Returns its length, or
// -1 when it does not fit size bytes.
int np_dso_mkfname(char const *base, char *buffer, int size);

// Loads the module at an absolute path, with all its references resolved and its symbols kept to
// itself. A file that every user may write to is refused as the loader would (NP_DSO_LOADER),
// since whoever can change it could run anything in this process.
np_dso_result np_dso_load(char const *path, np_dso **module, char *buffer, int size);

// The address of a symbol, or null.
void *np_dso_symbol(np_dso *module, char const *name);

// Unloads; null is ignored.
void np_dso_unload(np_dso *module);

// --- Environment ------------------------------------------------------------------------------

// Copies the variable's value into buffer and returns its length; -1 with an empty buffer when it
// is not set, and when it does not fit size bytes. A variable set to nothing has length 0.
int np_env_get(char const *name, char *buffer, int size);

// Sets the variable (replacing), or removes it when value is null. Returns 0 on success. Not safe
// while another thread reads the environment.
int np_env_set(char const *name, char const *value);

// The entries "NAME=value" of the process's environment, in the narrow encoding of the locale;
// ends with null. Valid until the environment changes.
char const *const *np_env_entries();

// The name of the character set of the process's locale.
char const *np_lcinfo_charset();

// --- Identifiers and time ---------------------------------------------------------------------

// Writes a new unique identifier, a random (version 4) UUID of 36 characters by RFC 4122, and its
// NUL. Returns 0, or 1 when buffer is too small.
int np_uniq_s64(char *buffer, int size);

// A moment on a clock that only goes forward, in nanoseconds from some start.
typedef long long np_stamp;
np_stamp np_stamp_current();

// A span of time in whole microseconds, in units that add up: milliseconds and microseconds are
// below 1000.
struct np_stamp_span {
    long long seconds;
    short milliseconds;
    short microseconds;
};

// The time from start to end; none where end is not behind start.
void np_stamp_diff(np_stamp start, np_stamp end, np_stamp_span *span);

// Makes time stamps come from the system call, never from a processor counter.
void np_stamp_set_safe_mode();
