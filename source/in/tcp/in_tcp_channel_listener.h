/*
 * A TCP port on which a stack is connected to: hands out each incoming connection as a proposal, which is accepted or dropped.
 * Any thread. A listener that has failed takes no more connections; release it and open another one.
 */
#ifndef IN_TCP_CHANNEL_LISTENER_H
#define IN_TCP_CHANNEL_LISTENER_H

#include <in/tcp/in_tcp_channel_proposal.h>

/** Orders by identity. The last release closes the port and the connections that nobody has taken. */
PB_CLASS( IN_TCP_CHANNEL_LISTENER, inTcpChannelListener )
/* Names: inTcpChannelListenerSort, inTcpChannelListenerObj, inTcpChannelListenerFrom, inTcpChannelListenerRetain,
   inTcpChannelListenerRelease, inTcpChannelListenerToString, inTcpChannelListenerCompare, inTcpChannelListenerEquals */

/**
 * Listens on the stack's address, or through a map stack: on the port, or with -1 on one of the port range of the stack's
 * options, or else on one that the system picks. The flags, the options of this moment and the QoS stack, with the marks
 * that it has then, are those of the connections. Connections from addresses that the filter refuses are closed, and not handed out.
 * Null when the stack has no address, or the system refuses; the reason is in the trace stream "IN_TCP_CHANNEL_LISTENER",
 * with which the anchor is completed. Aborts on a port outside 1..65535 other than -1.
 */
PB_API IN_TCP_CHANNEL_LISTENER *inTcpChannelListenerTryCreate( IN_STACK *stack, IN_QOS_STACK *optionalQosStack,
    IN_MAP_STACK *optionalMapStack, IN_FILTER *optionalFilter, PB_INT optionalLocalPort, PB_INT flags,
    TR_ANCHOR *optionalTraceAnchor );

PB_API void inTcpChannelListenerTraceCompleteAnchor( IN_TCP_CHANNEL_LISTENER *lsn, TR_ANCHOR *anchor );

/** What it was opened with, new references, or null where there is none. */
PB_API IN_STACK *inTcpChannelListenerStack( IN_TCP_CHANNEL_LISTENER *lsn );
PB_API IN_QOS_STACK *inTcpChannelListenerQosStack( IN_TCP_CHANNEL_LISTENER *lsn );
PB_API PB_BOOL inTcpChannelListenerHasQosStack( IN_TCP_CHANNEL_LISTENER *lsn );
PB_API IN_MAP_STACK *inTcpChannelListenerMapStack( IN_TCP_CHANNEL_LISTENER *lsn );
PB_API PB_BOOL inTcpChannelListenerHasMapStack( IN_TCP_CHANNEL_LISTENER *lsn );
PB_API IN_FILTER *inTcpChannelListenerFilter( IN_TCP_CHANNEL_LISTENER *lsn );
PB_API PB_BOOL inTcpChannelListenerHasFilter( IN_TCP_CHANNEL_LISTENER *lsn );
/** The local address with the port that it really got, a new reference. */
PB_API IN_TCP_ADDRESS *inTcpChannelListenerLocalAddress( IN_TCP_CHANNEL_LISTENER *lsn );
/** The flags in force. */
PB_API PB_INT inTcpChannelListenerFlags( IN_TCP_CHANNEL_LISTENER *lsn );

/**
 * Whether the listener has failed, for example because the process has no descriptors left; the trace tells why. The
 * signalables are fired on the thread of the listeners ("in___ImpTcpUnixListenerThreadFunc()"), when it is released on the
 * thread that drops the last reference, and in this call when it has failed already.
 */
PB_API PB_BOOL inTcpChannelListenerError( IN_TCP_CHANNEL_LISTENER *lsn );
PB_API void inTcpChannelListenerErrorAddSignalable( IN_TCP_CHANNEL_LISTENER *lsn, PB_SIGNALABLE *signalable );
PB_API void inTcpChannelListenerErrorDelSignalable( IN_TCP_CHANNEL_LISTENER *lsn, PB_SIGNALABLE *signalable );

/** As inTcpChannelMapped and the functions that follow it. */
PB_API PB_BOOL inTcpChannelListenerMapped( IN_TCP_CHANNEL_LISTENER *lsn );
PB_API void inTcpChannelListenerMappedAddSignalable( IN_TCP_CHANNEL_LISTENER *lsn, PB_SIGNALABLE *signalable );
PB_API void inTcpChannelListenerMappedDelSignalable( IN_TCP_CHANNEL_LISTENER *lsn, PB_SIGNALABLE *signalable );
PB_API IN_TCP_ADDRESS *inTcpChannelListenerMappedLocalAddress( IN_TCP_CHANNEL_LISTENER *lsn );

/**
 * The oldest connection that waits and passes the filter, a new proposal; null when there is none, and when the listener has
 * failed. Never blocks. At most 2048 connections wait here, further ones in the system. While 16,384 channels are open,
 * connections are closed instead of handed out.
 */
PB_API IN_TCP_CHANNEL_PROPOSAL *inTcpChannelListenerListen( IN_TCP_CHANNEL_LISTENER *lsn );
/**
 * The alertables are fired when connections begin to wait: on the thread of the listeners
 * ("in___ImpTcpUnixListenerThreadFunc()"), and in this call when some wait already. They are not fired again before all have
 * been taken, so call inTcpChannelListenerListen until it gives null. Their functions may do that, and even release the
 * listener; they hold up all other listeners meanwhile.
 */
PB_API void inTcpChannelListenerListenAddAlertable( IN_TCP_CHANNEL_LISTENER *lsn, PB_ALERTABLE *alertable );
PB_API void inTcpChannelListenerListenDelAlertable( IN_TCP_CHANNEL_LISTENER *lsn, PB_ALERTABLE *alertable );

#endif
