/*
 * A configured filter: tells whether an address is permitted. Its table is rebuilt in the background from the entries of
 * its options, soon after it was created or got new options, when its stack changed, and at intervals. Checks run against
 * the last finished table, and permit nothing (but the stack's own address) before the first one. Any thread.
 */
#ifndef IN_FILTER_H
#define IN_FILTER_H

#include <in/filter/in_filter_options.h>
#include <in/raw/in_raw_address.h>
#include <in/tcp/in_tcp_address.h>
#include <in/udp/in_udp_address.h>
#include <tr/tr.h>

/** Orders by identity. The last release ends a rebuild that is under way and waits until it has. */
PB_CLASS( IN_FILTER, inFilter )
/* Names: inFilterSort, inFilterObj, inFilterFrom, inFilterRetain, inFilterRelease, inFilterToString, inFilterCompare,
   inFilterEquals */

/** A new filter; the anchor is completed with its trace stream "IN_FILTER". */
PB_API IN_FILTER *inFilterCreate( IN_FILTER_OPTIONS *options, TR_ANCHOR *optionalTraceAnchor );
/** The options last given, a new reference. */
PB_API IN_FILTER_OPTIONS *inFilterOptions( IN_FILTER *filter );
/** Replaces the options and has the table rebuilt; until that is done the former table holds. */
PB_API void inFilterSetOptions( IN_FILTER *filter, IN_FILTER_OPTIONS *options );

/** Whether the address, or that of the endpoint, is permitted. Takes about the same time for any number of entries. */
PB_API PB_BOOL inFilterCheck( IN_FILTER *filter, IN_ADDRESS *ina );
PB_API PB_BOOL inFilterCheckTcpAddress( IN_FILTER *filter, IN_TCP_ADDRESS *ta );
PB_API PB_BOOL inFilterCheckUdpAddress( IN_FILTER *filter, IN_UDP_ADDRESS *ua );
PB_API PB_BOOL inFilterCheckRawAddress( IN_FILTER *filter, IN_RAW_ADDRESS *ra );
/** Completes the anchor with the filter's trace stream "IN_FILTER". */
PB_API void inFilterTraceCompleteAnchor( IN_FILTER *filter, TR_ANCHOR *anchor );

#endif
