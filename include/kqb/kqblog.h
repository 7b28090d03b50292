/* Log records from modules and hosts, among the library's own. Acceptable to C and C++. */
#ifndef KQB_KQBLOG_H
#define KQB_KQBLOG_H

#include "kqb/kqbtypes.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Writes one record to the logger of a dotted name such as "KQ.Deps", if level is at or above the
 * level in force there: 1 trace, 2 information, 3 note, 4 warning, 5 error. source names the
 * reporting source file without its ending; text is UTF-8. Null texts count as empty. Records made
 * before start-up has configured logging are kept and delivered then; before kqbInitialize and
 * after the last kqbShutdown they are dropped. Any thread may call. */
KQB_API void kqbLogMessage(char const *logger, int level, char const *source, int line,
                           char const *text);

#ifdef __cplusplus
}
#endif

#endif
