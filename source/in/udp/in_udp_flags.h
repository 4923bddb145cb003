/* Flags of UDP channels. No flags is 0. */
#ifndef IN_UDP_FLAGS_H
#define IN_UDP_FLAGS_H

#include <pb/pb_string.h>

#define IN_UDP_FLAG_NO_RECEIVE 1 /* the channel only sends: no receive buffer, not watched for reading */

/** The flags without undefined bits. Any thread, as the others here. */
PB_API PB_INT inUdpFlagsNormalize( PB_INT flags );
/** The flags that a text names, joined by "|"; unknown names count for nothing. Aborts on null. */
PB_API PB_INT inUdpFlagsFromString( PB_STRING *pbs );
/** The names of the flags joined by "|", a new string, empty for none. */
PB_API PB_STRING *inUdpFlagsToString( PB_INT flags );

#endif
