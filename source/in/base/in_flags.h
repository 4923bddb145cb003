/* The library-wide flags, used by stack options. No flags is 0. */
#ifndef IN_FLAGS_H
#define IN_FLAGS_H

#include <pb/pb_string.h>

#define IN_FLAG_LOOPBACK_ONLY 1 /* only loopback addresses are chosen */

/** The flags without undefined bits. Any thread, as the others here. */
PB_API PB_INT inFlagsNormalize( PB_INT flags );

/** The flags that a text names, joined by "|"; unknown names count for nothing. Aborts on null. */
PB_API PB_INT inFlagsFromString( PB_STRING *pbs );

/** The names of the flags joined by "|", a new string, empty for none; undefined bits are left out. */
PB_API PB_STRING *inFlagsToString( PB_INT flags );

#endif
