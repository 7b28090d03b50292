/* What every header of the library shares. Acceptable to C and C++. */
#ifndef KQB_KQBTYPES_H
#define KQB_KQBTYPES_H

/* Version and build that the library reports. */
#define KQB_VERSION "3.8"
#define KQB_BUILD 219

/* Marks what the shared library exports. */
#define KQB_API __attribute__((visibility("default")))

/* The 64-bit integer of the interfaces. It is `long long` here; functions taking it have an
   overload for every standard integer type, so no caller needs a cast. */
#ifndef __int64
#define __int64 long long
#endif

#endif
