/*
 * A configured filter: tells whether an address is permitted. Its table is rebuilt in the background from the entries of
 * its options; checks run against the last finished table, and permit nothing (but the stack's own address) before the
 * first one. Any thread.
 */
#ifndef IN_FILTER_H
#define IN_FILTER_H

#include <in/raw/in_raw_address.h>
#include <in/tcp/in_tcp_address.h>
#include <in/udp/in_udp_address.h>
#include <tr/tr.h>

PB_CLASS( IN_FILTER, inFilter )

/** Whether the address, or that of the endpoint, is permitted. */
PB_API PB_BOOL inFilterCheck( IN_FILTER *filter, IN_ADDRESS *ina );
PB_API PB_BOOL inFilterCheckTcpAddress( IN_FILTER *filter, IN_TCP_ADDRESS *ta );
PB_API PB_BOOL inFilterCheckUdpAddress( IN_FILTER *filter, IN_UDP_ADDRESS *ua );
PB_API PB_BOOL inFilterCheckRawAddress( IN_FILTER *filter, IN_RAW_ADDRESS *ra );
/** Completes the anchor with the filter's trace stream "IN_FILTER". */
PB_API void inFilterTraceCompleteAnchor( IN_FILTER *filter, TR_ANCHOR *anchor );

#endif
