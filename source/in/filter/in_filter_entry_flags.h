/* How the host of a filter entry becomes addresses. No flags is 0: the entry permits nothing. */
#ifndef IN_FILTER_ENTRY_FLAGS_H
#define IN_FILTER_ENTRY_FLAGS_H

#include <pb/pb_string.h>

#define IN_FILTER_ENTRY_FLAG_ADDRESS 1             /* the host is a literal IP address */
#define IN_FILTER_ENTRY_FLAG_DNS_QUERY_ADDRESSES 2 /* the host is a domain name: its addresses */
#define IN_FILTER_ENTRY_FLAG_DNS_QUERY_SRV 4       /* each SRV prefix with the host: the addresses of the targets */

/** The flags without undefined bits. Any thread, as the others here. */
PB_API PB_INT inFilterEntryFlagsNormalize( PB_INT flags );
/** The flags that a text names, joined by "|"; unknown names count for nothing. Aborts on null. */
PB_API PB_INT inFilterEntryFlagsFromString( PB_STRING *pbs );
/** The names of the flags joined by "|", a new string, empty for none. */
PB_API PB_STRING *inFilterEntryFlagsToString( PB_INT flags );

#endif
