/*
 * Receives what is sent to a multicast group. Several receivers, in one process and in others, may share a group and port;
 * each gets every datagram. Any thread.
 */
#ifndef IN_UDP_MULTICAST_RECEIVER_H
#define IN_UDP_MULTICAST_RECEIVER_H

#include <in/udp/in_udp_packet.h>
#include <pb/pb_sync.h>
#include <tr/tr.h>

/** Orders by identity. The last release leaves the group. */
PB_CLASS( IN_UDP_MULTICAST_RECEIVER, inUdpMulticastReceiver )
/* Names: inUdpMulticastReceiverSort, inUdpMulticastReceiverObj, inUdpMulticastReceiverFrom,
   inUdpMulticastReceiverRetain, inUdpMulticastReceiverRelease, inUdpMulticastReceiverToString,
   inUdpMulticastReceiverCompare, inUdpMulticastReceiverEquals */

/**
 * Joins the group, on the interface of that name (null: the one the system chooses), and receives on the port. With a name
 * it hears what arrives there and nothing else; a link-local IPv6 group needs one. Null when that fails, as it always does
 * without a port (-1); the reason is in the trace stream "IN_UDP_MULTICAST_RECEIVER", with which the anchor is completed.
 * Aborts on an address that is not multicast, and on a port outside 1..65535 other than -1.
 */
PB_API IN_UDP_MULTICAST_RECEIVER *inUdpMulticastReceiverTryCreate( IN_ADDRESS *multicastAddress,
    PB_STRING *optionalInterface, PB_INT optionalLocalPort, TR_ANCHOR *optionalTraceAnchor );
PB_API void inUdpMulticastReceiverTraceCompleteAnchor( IN_UDP_MULTICAST_RECEIVER *recv, TR_ANCHOR *anchor );

/** The group and port, and the name of the interface or null; new references. */
PB_API IN_UDP_ADDRESS *inUdpMulticastReceiverLocalAddress( IN_UDP_MULTICAST_RECEIVER *recv );
PB_API PB_STRING *inUdpMulticastReceiverInterface( IN_UDP_MULTICAST_RECEIVER *recv );
PB_API PB_BOOL inUdpMulticastReceiverHasInterface( IN_UDP_MULTICAST_RECEIVER *recv );

/** Whether the receiver has failed, for good. The signalables are fired as with inUdpChannelError. */
PB_API PB_BOOL inUdpMulticastReceiverError( IN_UDP_MULTICAST_RECEIVER *recv );
PB_API void inUdpMulticastReceiverErrorAddSignalable( IN_UDP_MULTICAST_RECEIVER *recv, PB_SIGNALABLE *signalable );
PB_API void inUdpMulticastReceiverErrorDelSignalable( IN_UDP_MULTICAST_RECEIVER *recv, PB_SIGNALABLE *signalable );

/** The oldest packet that waits, a new reference, or null when there is none or the receiver has failed. Never blocks. */
PB_API IN_UDP_PACKET *inUdpMulticastReceiverReceive( IN_UDP_MULTICAST_RECEIVER *recv );
/** The alertables are fired as with inUdpChannelReceiveAddAlertable. */
PB_API void inUdpMulticastReceiverReceiveAddAlertable( IN_UDP_MULTICAST_RECEIVER *recv, PB_ALERTABLE *alertable );
PB_API void inUdpMulticastReceiverReceiveDelAlertable( IN_UDP_MULTICAST_RECEIVER *recv, PB_ALERTABLE *alertable );
/** Blocks until a packet may wait, the receiver has failed, or the signal is asserted. */
PB_API void inUdpMulticastReceiverReceiveWait( IN_UDP_MULTICAST_RECEIVER *recv, PB_SIGNAL *optionalAbortSignal );
/** Blocks until there is a packet, which it returns, a new reference; null when the receiver fails or on the signal. */
PB_API IN_UDP_PACKET *inUdpMulticastReceiverBlockReceive(
    IN_UDP_MULTICAST_RECEIVER *recv, PB_SIGNAL *optionalAbortSignal );

#endif
