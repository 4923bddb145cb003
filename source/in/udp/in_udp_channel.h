/*
 * A UDP endpoint on a stack: sends datagrams to any address, and hands out what was received one datagram at a time. Any
 * thread may send while others receive. A channel that has failed neither sends nor receives any more; release it and open
 * another one.
 */
#ifndef IN_UDP_CHANNEL_H
#define IN_UDP_CHANNEL_H

#include <in/base/in_stack.h>
#include <in/filter/in_filter.h>
#include <in/map/in_map_stack.h>
#include <in/qos/in_qos_stack.h>
#include <in/udp/in_udp_flags.h>
#include <in/udp/in_udp_packet.h>

/** Orders by identity. The last release closes the socket. */
PB_CLASS( IN_UDP_CHANNEL, inUdpChannel )
/* Names: inUdpChannelSort, inUdpChannelObj, inUdpChannelFrom, inUdpChannelRetain, inUdpChannelRelease,
   inUdpChannelToString, inUdpChannelCompare, inUdpChannelEquals */

/**
 * Opens a channel on the stack's address, or through a map stack: on the port, or with -1 on one of the port range of the
 * stack's options, or else on one that the system picks. The options, and the marks of the QoS stack, are those of this
 * moment. The filter screens remote addresses, both ways. Null when the stack has no address, or the channel cannot be
 * opened; the reason is in the trace stream "IN_UDP_CHANNEL", with which the anchor is completed. Aborts on a port outside
 * 1..65535 other than -1.
 */
PB_API IN_UDP_CHANNEL *inUdpChannelTryCreate( IN_STACK *stack, IN_QOS_STACK *optionalQosStack,
    IN_MAP_STACK *optionalMapStack, IN_FILTER *optionalFilter, PB_INT optionalLocalPort, PB_INT flags,
    TR_ANCHOR *optionalTraceAnchor );

PB_API void inUdpChannelTraceCompleteAnchor( IN_UDP_CHANNEL *chan, TR_ANCHOR *anchor );

/** What the channel was opened with, new references, or null where there is none. */
PB_API IN_STACK *inUdpChannelStack( IN_UDP_CHANNEL *chan );
PB_API IN_QOS_STACK *inUdpChannelQosStack( IN_UDP_CHANNEL *chan );
PB_API PB_BOOL inUdpChannelHasQosStack( IN_UDP_CHANNEL *chan );
PB_API IN_MAP_STACK *inUdpChannelMapStack( IN_UDP_CHANNEL *chan );
PB_API PB_BOOL inUdpChannelHasMapStack( IN_UDP_CHANNEL *chan );
PB_API IN_FILTER *inUdpChannelFilter( IN_UDP_CHANNEL *chan );
PB_API PB_BOOL inUdpChannelHasFilter( IN_UDP_CHANNEL *chan );
/** The local address with the port that it really got, a new reference. */
PB_API IN_UDP_ADDRESS *inUdpChannelLocalAddress( IN_UDP_CHANNEL *chan );
/** The flags in force. */
PB_API PB_INT inUdpChannelFlags( IN_UDP_CHANNEL *chan );

/**
 * Whether the channel has failed. The signalables are fired when it does, on the UDP thread
 * ("in___ImpUdpUnixChannelThreadFunc()") or on the thread whose call finds out, and when it is released, on the thread that
 * drops the last reference; in this call when the channel has failed already.
 */
PB_API PB_BOOL inUdpChannelError( IN_UDP_CHANNEL *chan );
PB_API void inUdpChannelErrorAddSignalable( IN_UDP_CHANNEL *chan, PB_SIGNALABLE *signalable );
PB_API void inUdpChannelErrorDelSignalable( IN_UDP_CHANNEL *chan, PB_SIGNALABLE *signalable );

/**
 * Whether the address is known under which the channel is seen outside; at once, unless a map stack has to find out. The
 * signalables are fired by the map stack's threads; in this call when it is known.
 */
PB_API PB_BOOL inUdpChannelMapped( IN_UDP_CHANNEL *chan );
PB_API void inUdpChannelMappedAddSignalable( IN_UDP_CHANNEL *chan, PB_SIGNALABLE *signalable );
PB_API void inUdpChannelMappedDelSignalable( IN_UDP_CHANNEL *chan, PB_SIGNALABLE *signalable );
/** That address, a new reference; without a map stack the local one. With one it is null until it is known. */
PB_API IN_UDP_ADDRESS *inUdpChannelMappedLocalAddress( IN_UDP_CHANNEL *chan );

/**
 * Sends `byteCount` bytes as one datagram. It never blocks; a datagram that the filter refuses, that the system has no room
 * for or no way to deliver is lost, as UDP allows. A count of 0 sends an empty datagram.
 */
PB_API void inUdpChannelSendBytes(
    IN_UDP_CHANNEL *chan, IN_UDP_ADDRESS *remoteAddress, const void *bytes, PB_INT byteCount );
/**
 * How many datagrams were given to be sent and not sent, because the system refused them or the channel had failed. What the
 * filter keeps back is not counted. The first one for each reason is traced, with the reason.
 */
PB_API PB_INT inUdpChannelSendErrorCount( IN_UDP_CHANNEL *chan );
/** The packet's payload to its remote address. */
PB_API void inUdpChannelSend( IN_UDP_CHANNEL *chan, IN_UDP_PACKET *up );
/** The whole buffer, a part of it, its first or last bytes, or all but a part of it. Aborts when that is no byte at all. */
PB_API void inUdpChannelSendBuffer( IN_UDP_CHANNEL *chan, IN_UDP_ADDRESS *remoteAddress, PB_BUFFER *buffer );
PB_API void inUdpChannelSendBufferInner(
    IN_UDP_CHANNEL *chan, IN_UDP_ADDRESS *remoteAddress, PB_BUFFER *buffer, PB_INT byteOffset, PB_INT byteCount );
PB_API void inUdpChannelSendBufferLeading(
    IN_UDP_CHANNEL *chan, IN_UDP_ADDRESS *remoteAddress, PB_BUFFER *buffer, PB_INT byteCount );
PB_API void inUdpChannelSendBufferTrailing(
    IN_UDP_CHANNEL *chan, IN_UDP_ADDRESS *remoteAddress, PB_BUFFER *buffer, PB_INT byteCount );
PB_API void inUdpChannelSendBufferOuter(
    IN_UDP_CHANNEL *chan, IN_UDP_ADDRESS *remoteAddress, PB_BUFFER *buffer, PB_INT byteOffset, PB_INT byteCount );

/**
 * The oldest datagram that waits and passes the filter, a new reference, or null when there is none or the channel has
 * failed. Never blocks. At most 512 datagrams wait in the queue, further ones in the socket's buffer or what was read of
 * it; when that is full, the system drops what comes.
 */
PB_API IN_UDP_PACKET *inUdpChannelReceive( IN_UDP_CHANNEL *chan );
/**
 * The alertables are fired when datagrams begin to wait: on the UDP thread ("in___ImpUdpUnixChannelThreadFunc()"), now and
 * then on a thread that takes one, and in this call when some wait already. They are not fired again before all have been
 * taken, so take until inUdpChannelReceive gives null. Their functions may take datagrams, send and even release the
 * channel; on the UDP thread they hold up all other channels meanwhile.
 *
 * An alertable whose argument is the channel itself is a circle of references: delete it, or the channel is never released.
 */
PB_API void inUdpChannelReceiveAddAlertable( IN_UDP_CHANNEL *chan, PB_ALERTABLE *alertable );
PB_API void inUdpChannelReceiveDelAlertable( IN_UDP_CHANNEL *chan, PB_ALERTABLE *alertable );

#endif
