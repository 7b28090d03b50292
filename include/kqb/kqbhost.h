/* The host's side: bringing the library up, staging options, taking it down. Acceptable to C.
 *
 * A host calls kqbInitialize, may stage files and options, calls kqbStartup, uses the library
 * from any thread, and calls kqbShutdown once for each successful kqbInitialize.
 *
 * Results are 0 for success, else as told. *errorMessage points into a process-wide buffer that
 * the next failure overwrites; errorMessage itself may be null. */
#ifndef KQB_KQBHOST_H
#define KQB_KQBHOST_H

#include "kqb/kqbtypes.h"

#ifdef __cplusplus
class KqbStringCursor; /* kqb/kqbstringcursor.h */
extern "C" {
#else
typedef struct KqbStringCursor KqbStringCursor;
#endif

typedef void (*KqbShutdownHandler)(void *argument);
typedef void (*KqbAssertionHandler)(char const *message, char const *sourceFile, int line,
                                    void *argument);

/* Flag of kqbStartup: what is missing of the product's surroundings is passed over: the dependency
 * library, app.cfg, a logging configuration. */
#define KQB_STARTUP_TOLERANT 2u

/* Brings up the process-wide infrastructure. executablePath: the host's own program, at most 260
 * bytes, with a directory part; run-time modules are looked for in that directory. Calls are
 * counted, and only the first does the work. Returns 1 on failure, with everything undone: a later
 * correct call works. One thread only, while no other uses the library. */
KQB_API int kqbInitialize(char const *executablePath, char const **errorMessage);

/* The same with a utility directory of its own, which must exist; null as kqbInitialize. */
KQB_API int kqbInitializeWithMX(char const *executablePath, char const *mxPath,
                                char const **errorMessage);

/* Reads KQEXEC_HOME from the environment and gathers the effective options: home/etc/app.cfg, the
 * staged files, the macro files, the environment, the staged options, later ones over earlier
 * ones. Applies the BASE settings, configures messages and logging and starts the dependency
 * library. flags: 0 or KQB_STARTUP_TOLERANT. Returns 1 on failure; the registries are then filled
 * as far as it came. May be called again to merge the sources anew. */
KQB_API int kqbStartup(char const **errorMessage, unsigned int flags);

/* Undoes one kqbInitialize; the last one takes everything down. Without one it does nothing. */
KQB_API void kqbShutdown(void);

/* 0 down, 1 initialised, 2 started. */
KQB_API int kqbGetBootLevel(void);

/* Have function called with argument at the last kqbShutdown, newest first, or at every broken
 * internal rule, newest first. Registrations stay for the life of the process. An assertion
 * handler runs under the library's global mutex and must not register handlers. */
KQB_API void kqbRegisterShutdownHandler(KqbShutdownHandler function, void *argument);
KQB_API void kqbRegisterAssertionHandler(KqbAssertionHandler function, void *argument);

/* Reports a broken internal rule to the assertion handlers and returns. Null message: "FAILURE".
 * Any thread, any time. */
KQB_API void kqbAssertFailure(char const *message, char const *sourceFile, int line);

/* Before start-up: read this file as well. A relative path is taken from the configuration
 * directory, and from the user path when one is set. Returns 0; 1 when memory runs out or the
 * library is not initialised. */
KQB_API int kqbStartupAddConfigFile(char const *path, char const **errorMessage);

/* Before start-up: impose this option over all other sources. value may be null. Returns as
 * above. */
KQB_API int kqbStartupAddOption(char const *key, char const *value, char const **errorMessage);

/* Before start-up: imposes the options of an attribute list (kqb/kqbparse.h), such as
 * "BASE/TEMP=/var/tmp; VERBOSE; TITLE=50%25%3B net", in its order. A bare word becomes an option
 * with a null value; a value that is missing behind "=" is null too. Returns 0. 1: the text cannot
 * be parsed, or as kqbStartupAddOption. 2: an attribute cannot be read. The options before a failure
 * stay staged. text may be null. */
KQB_API int kqbStartupAddParsedOptions(char const *text, char const **errorMessage);

/* The user's directory, searched besides the configuration directory; at most 259 bytes are kept.
 * Null empties it. kqbInitialize empties it too. */
KQB_API void kqbStartupSetUserPath(char const *path);

/* The user path, "" when none was set. Valid for the life of the process. */
KQB_API char const *kqbStartupGetUserPath(void);

/* At any time: sets the options of an attribute list in the default registry, and tells what undoes
 * that. A bare word is a value of the null key. A value "%%KEY%%" is replaced by the value of that
 * option, where there is one.
 *
 * *previousValues receives the options that were there, in columns "key" and "value", and *newKeys
 * those that were not, in a column "key"; a row for each attribute, in the list's order. The caller
 * ends both cursors with release(). A null output is not wanted. To undo, hand previousValues to
 * kqbStartupSetOptions and then newKeys to kqbStartupDeleteOptions. (A key that the list names twice
 * has a row in previousValues that holds the list's own first value.)
 *
 * Returns 0, or what failed: 1 making the cursors, or the library is not initialised; 2 their
 * columns, or parsing; 3 reading an attribute; 4 and 5 beginning and completing a row of
 * previousValues; 6 and 7 of newKeys; 8 completing the cursors; 9 memory ran out as an option was
 * looked up or set. Options set before a failure stay set, and no cursor tells of them.
 *
 * These three take no lock but the registry's, for one option at a time: other threads may see a
 * part of what they do. */
KQB_API int kqbStartupSetParsedOptions(char const *text, KqbStringCursor **previousValues,
                                       KqbStringCursor **newKeys, char const **errorMessage);

/* Sets an option of the default registry for every row: its key is column 0, its value column 1. The
 * cursor is read from the row behind its place on and stays the caller's; null is one without rows.
 * Returns 0; 1 when a row cannot be read, memory runs out or the library is not initialised, with
 * the rows before that done. */
KQB_API int kqbStartupSetOptions(KqbStringCursor *pairs, char const **errorMessage);

/* Deletes an option of the default registry for every row: its key is column 0. The rest as
 * above. */
KQB_API int kqbStartupDeleteOptions(KqbStringCursor *keys, char const **errorMessage);

/* Copies the value of an option, unexpanded, with its NUL. registryName null or empty: the default
 * registry. 0: copied (nothing is written where buffer is null or bufferSize 0 and the value is
 * empty). 1: no such registry can be had, or the library is not initialised. 2: no option of that
 * key. Negative n: buffer is null or too small; -n bytes are needed. Any thread. */
KQB_API int kqbGetOption(char const *registryName, char const *key, char *buffer, int bufferSize);

#ifdef __cplusplus
}
#endif

#endif
