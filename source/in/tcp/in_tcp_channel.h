/*
 * A TCP connection (RFC 9293): opened on a stack towards a remote address, or taken from a listener. All calls return at
 * once; to wait, register with a signal or an alert. One thread may send while another one receives.
 *
 * A channel connects; it is active when that is over, with success or without. It ends when the peer has closed and the last
 * byte was taken, and at once when the connection fails. These states never go back.
 */
#ifndef IN_TCP_CHANNEL_H
#define IN_TCP_CHANNEL_H

#include <in/base/in_stack.h>
#include <in/filter/in_filter.h>
#include <in/map/in_map_stack.h>
#include <in/qos/in_qos_stack.h>
#include <in/tcp/in_tcp_address.h>
#include <in/tcp/in_tcp_flags.h>
#include <pb/pb_buffer.h>

/** Orders by identity. The last release closes the socket; bytes that the system has taken are still delivered. */
PB_CLASS( IN_TCP_CHANNEL, inTcpChannel )
/* Names: inTcpChannelSort, inTcpChannelObj, inTcpChannelFrom, inTcpChannelRetain, inTcpChannelRelease,
   inTcpChannelToString, inTcpChannelCompare, inTcpChannelEquals */

/**
 * Begins to connect from the stack's address, or through a map stack: from the port, or with -1 from one of the port range of
 * the stack's options, or else from one that the system picks. The options, and the marks of the QoS stack, are those of this
 * moment. A remote address that the filter refuses is not connected to. Null when it is refused, when the stack has no address,
 * or the system fails the attempt at once; the reason is in the trace stream "IN_TCP_CHANNEL", with which the anchor is
 * completed. An attempt that fails later makes the channel active, ended and failed; the system gives up after some two
 * minutes. The blacklist of the stack is not asked. Aborts on a port outside 1..65535 other than -1.
 */
PB_API IN_TCP_CHANNEL *inTcpChannelTryCreate( IN_STACK *stack, IN_QOS_STACK *optionalQosStack,
    IN_MAP_STACK *optionalMapStack, IN_FILTER *optionalFilter, IN_TCP_ADDRESS *remoteAddress, PB_INT optionalLocalPort,
    PB_INT flags, TR_ANCHOR *optionalTraceAnchor );

PB_API void inTcpChannelTraceCompleteAnchor( IN_TCP_CHANNEL *chan, TR_ANCHOR *anchor );

/** What it was opened with, new references, or null where there is none. */
PB_API IN_STACK *inTcpChannelStack( IN_TCP_CHANNEL *chan );
PB_API IN_QOS_STACK *inTcpChannelQosStack( IN_TCP_CHANNEL *chan );
PB_API PB_BOOL inTcpChannelHasQosStack( IN_TCP_CHANNEL *chan );
PB_API IN_MAP_STACK *inTcpChannelMapStack( IN_TCP_CHANNEL *chan );
PB_API PB_BOOL inTcpChannelHasMapStack( IN_TCP_CHANNEL *chan );
PB_API IN_FILTER *inTcpChannelFilter( IN_TCP_CHANNEL *chan );
PB_API PB_BOOL inTcpChannelHasFilter( IN_TCP_CHANNEL *chan );
/** The addresses of both ends, the local one with the port that it really got; new references. */
PB_API IN_TCP_ADDRESS *inTcpChannelLocalAddress( IN_TCP_CHANNEL *chan );
PB_API IN_TCP_ADDRESS *inTcpChannelRemoteAddress( IN_TCP_CHANNEL *chan );
/** The flags in force. */
PB_API PB_INT inTcpChannelFlags( IN_TCP_CHANNEL *chan );

/**
 * Whether nothing more will be received: the peer has closed and the last byte was taken, or the channel has failed. After
 * that nothing is sent either: a peer that closes its direction cannot be answered once all that it sent was taken.
 *
 * The signalables of this state and the next two are fired on the TCP thread ("in___ImpTcpUnixChannelThreadFunc()"), or on
 * the thread whose call to inTcpChannelReceive, inTcpChannelSend or inTcpChannelTerminate brings the state about; when the
 * channel is released, on the thread that drops the last reference; and in this call when the state is there already. The
 * state, and those that it implies, are set before. Their functions may call everything on the channel, also release it;
 * on the TCP thread they hold up all other channels meanwhile.
 */
PB_API PB_BOOL inTcpChannelEnd( IN_TCP_CHANNEL *chan );
PB_API void inTcpChannelEndAddSignalable( IN_TCP_CHANNEL *chan, PB_SIGNALABLE *signalable );
PB_API void inTcpChannelEndDelSignalable( IN_TCP_CHANNEL *chan, PB_SIGNALABLE *signalable );
/** Whether the connection has failed, or could not be made. The channel has ended then. */
PB_API PB_BOOL inTcpChannelError( IN_TCP_CHANNEL *chan );
PB_API void inTcpChannelErrorAddSignalable( IN_TCP_CHANNEL *chan, PB_SIGNALABLE *signalable );
PB_API void inTcpChannelErrorDelSignalable( IN_TCP_CHANNEL *chan, PB_SIGNALABLE *signalable );
/** Whether the attempt to connect is over; then inTcpChannelError tells whether it has failed. */
PB_API PB_BOOL inTcpChannelActive( IN_TCP_CHANNEL *chan );
PB_API void inTcpChannelActiveAddSignalable( IN_TCP_CHANNEL *chan, PB_SIGNALABLE *signalable );
PB_API void inTcpChannelActiveDelSignalable( IN_TCP_CHANNEL *chan, PB_SIGNALABLE *signalable );

/**
 * Whether the address is known under which the channel is seen outside; at once, unless a map stack has to find out. The
 * signalables are fired by the map stack's threads; in this call when it is known.
 */
PB_API PB_BOOL inTcpChannelMapped( IN_TCP_CHANNEL *chan );
PB_API void inTcpChannelMappedAddSignalable( IN_TCP_CHANNEL *chan, PB_SIGNALABLE *signalable );
PB_API void inTcpChannelMappedDelSignalable( IN_TCP_CHANNEL *chan, PB_SIGNALABLE *signalable );
/** That address, a new reference; without a map stack the local one. With one it is null until it is known. */
PB_API IN_TCP_ADDRESS *inTcpChannelMappedLocalAddress( IN_TCP_CHANNEL *chan );

/**
 * Sends `byteCount` bytes of a buffer, as many as the system takes now and at most 65,536: how many these are. 0 before the
 * channel is active, after its end, after inTcpChannelTerminate, and while the system has no room. Go on with the rest when
 * the alert is set: send until it gives 0, since the alert is not fired again before that. Aborts when the bytes are not in
 * the buffer.
 */
PB_API PB_INT inTcpChannelSend( IN_TCP_CHANNEL *chan, PB_BUFFER *buffer, PB_INT byteOffset, PB_INT byteCount );
/**
 * The alertables are fired when bytes can be sent, for the first time when the connection is there: on the TCP thread
 * ("in___ImpTcpUnixChannelThreadFunc()"), and in this call when some can be sent already. Their functions may do what those
 * of inTcpChannelEnd may.
 */
PB_API void inTcpChannelSendAddAlertable( IN_TCP_CHANNEL *chan, PB_ALERTABLE *alertable );
PB_API void inTcpChannelSendDelAlertable( IN_TCP_CHANNEL *chan, PB_ALERTABLE *alertable );

/**
 * Appends at most `maxByteCount` of the bytes that wait to a buffer, or with -1 as many as the buffer has space for: how many
 * these are. 0 while none wait, before the channel is active and after an error. Up to 131,070 bytes wait here, further ones
 * in the system, which holds up the sender when it has no more room. Aborts when the buffer has not that much space.
 *
 * A buffer with space for 65,536 bytes, emptied before each call, is the fastest: a full one is handed over uncopied.
 */
PB_API PB_INT inTcpChannelReceive( IN_TCP_CHANNEL *chan, PB_BUFFER **buf, PB_INT maxByteCount );
/**
 * The alertables are fired when bytes begin to wait: on the TCP thread ("in___ImpTcpUnixChannelThreadFunc()"), and in this call
 * when some wait already. They are not fired again before all have been taken, so receive until it gives 0; the end fires
 * no alert, only its signal. Their functions may do what those of inTcpChannelEnd may.
 *
 * An alertable or a signalable whose argument is the channel itself is a circle of references: delete it, or the channel is
 * never released.
 */
PB_API void inTcpChannelReceiveAddAlertable( IN_TCP_CHANNEL *chan, PB_ALERTABLE *alertable );
PB_API void inTcpChannelReceiveDelAlertable( IN_TCP_CHANNEL *chan, PB_ALERTABLE *alertable );

/** Closes this direction: the peer reads the end behind what was sent. Receiving goes on. While connecting, when that is over. */
PB_API void inTcpChannelTerminate( IN_TCP_CHANNEL *chan );

#endif
