/* Flags of TCP channels and listeners. No flags is 0. */
#ifndef IN_TCP_FLAGS_H
#define IN_TCP_FLAGS_H

#include <pb/pb_string.h>

#define IN_TCP_FLAG_NO_DELAY 1   /* no delay of small segments (RFC 9293 section 3.7.4), TCP_NODELAY on the socket */
#define IN_TCP_FLAG_KEEP_ALIVE 2 /* keep-alive on the socket, whatever the options say */

/** The flags without undefined bits. Any thread, as the others here. */
PB_API PB_INT inTcpFlagsNormalize( PB_INT flags );
/** The flags that a text names, joined by "|"; unknown names count for nothing. Aborts on null. */
PB_API PB_INT inTcpFlagsFromString( PB_STRING *pbs );
/** The names of the flags joined by "|", a new string, empty for none. */
PB_API PB_STRING *inTcpFlagsToString( PB_INT flags );

#endif
