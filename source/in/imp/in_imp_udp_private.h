/*
 * The UDP backend as channels and receivers see it. A channel handle is an index, 0..16383, or -1 for none; a handle that is
 * out of bounds, or whose slot is empty, aborts. Any thread; but a handle is destroyed once, when nobody else uses it.
 *
 * in_imp_udp chooses ports and keeps the table of local addresses in use; in_imp_udp_unix owns the sockets.
 */
#ifndef IN_IMP_UDP_PRIVATE_H
#define IN_IMP_UDP_PRIVATE_H

#include <in/qos/in_qos_stack.h>
#include <in/udp/in_udp_flags.h>
#include <in/udp/in_udp_packet.h>
#include <in/udp/in_udp_port_range.h>
#include <pb/pb_sync.h>

namespace in {
class Wakes;
}

#define IN___IMP_UDP_CHANNEL_INVALID ( (PB_INT)-1 )
#define IN___IMP_UDP_CHANNEL_OK( chan ) ( ( chan ) >= 0 )

void in___ImpUdpStartup();
void in___ImpUdpShutdown();

/**
 * Opens a channel: on the port, or without one (-1) on one of the range, or on one that the system picks. -1 when that
 * fails. For a multicast address, which needs a port, it joins the group on the interface of that name (null: the
 * system's choice).
 */
PB_INT in___ImpUdpChannelTryCreate( IN_ADDRESS *localAddress, PB_INT optionalLocalPort,
    IN_UDP_PORT_RANGE *optionalPortRange, PB_INT flags, IN_QOS_STACK *optionalQosStack, PB_STRING *optionalInterface );
/** Opens two channels on neighbouring ports, the RTP one on the even port. Both handles are -1 when there is no such pair. */
PB_BOOL in___ImpUdpChannelTryCreateRtp( PB_INT *rtp, PB_INT *rtcp, IN_ADDRESS *localAddress,
    IN_UDP_PORT_RANGE *optionalPortRange, PB_INT flags, IN_QOS_STACK *optionalQosStack );
void in___ImpUdpChannelDestroy( PB_INT chan );

/** Start the engine's thread and end it; every channel must have been destroyed by then. */
void in___ImpUdpChannelStartup();
void in___ImpUdpChannelShutdown();

/** Opens the socket of a channel, without the table of addresses. -1 when that fails. */
PB_INT in___ImpUdpChannelTryAllocate( IN_ADDRESS *localAddress, PB_INT optionalLocalPort, PB_INT flags,
    IN_QOS_STACK *optionalQosStack, PB_STRING *optionalInterface );
void in___ImpUdpChannelRelease( PB_INT chan );
/** The same; who waits for the error signal is told through `wakes`, later. */
void in___ImpUdpChannelReleaseDeferred( PB_INT chan, in::Wakes &wakes );

/** What the channel was opened with, and the address that it got; new references, or null. */
IN_UDP_ADDRESS *in___ImpUdpChannelLocalAddress( PB_INT chan );
PB_INT in___ImpUdpChannelFlags( PB_INT chan );
IN_QOS_STACK *in___ImpUdpChannelQosStack( PB_INT chan );
PB_BOOL in___ImpUdpChannelHasQosStack( PB_INT chan );
PB_STRING *in___ImpUdpChannelInterface( PB_INT chan );
PB_BOOL in___ImpUdpChannelHasInterface( PB_INT chan );
PB_BOOL in___ImpUdpChannelIsMulticast( PB_INT chan );

/** Whether the channel has failed, for good; it neither sends nor receives any more. */
PB_BOOL in___ImpUdpChannelError( PB_INT chan );
void in___ImpUdpChannelErrorAddSignalable( PB_INT chan, PB_SIGNALABLE *signalable );
void in___ImpUdpChannelErrorDelSignalable( PB_INT chan, PB_SIGNALABLE *signalable );

/** Sends a datagram; one that the system refuses is lost. */
void in___ImpUdpChannelSendBytes( PB_INT chan, IN_UDP_ADDRESS *remoteAddress, const void *bytes, PB_INT byteCount );
/** The oldest datagram that waits, the caller's to release, or null. */
IN_UDP_PACKET *in___ImpUdpChannelReceive( PB_INT chan );
/** The alert is set while datagrams wait. */
void in___ImpUdpChannelReceiveAddAlertable( PB_INT chan, PB_ALERTABLE *alertable );
void in___ImpUdpChannelReceiveDelAlertable( PB_INT chan, PB_ALERTABLE *alertable );

#endif
