/* Listeners around what was opened by somebody else. */
#ifndef IN_TCP_CHANNEL_LISTENER_PRIVATE_H
#define IN_TCP_CHANNEL_LISTENER_PRIVATE_H

#include <in/map/in_map_private.hpp>
#include <in/tcp/in_tcp_channel_listener.h>

/** A new listener around a backend listener, which it takes over; the QoS stack is that of the backend listener. */
IN_TCP_CHANNEL_LISTENER *in___TcpChannelListenerCreateWithImpTcpChannelListener(
    IN_STACK *stack, PB_INT impTcpChannelListener, IN_FILTER *optionalFilter, TR_ANCHOR *optionalTraceAnchor );
/** A new listener around a mapped listener; the QoS stack is the mapped listener's. */
IN_TCP_CHANNEL_LISTENER *in___TcpChannelListenerCreateWithMapTcpChannelListener( IN_STACK *stack,
    IN_MAP_STACK *mapStack, IN___MAP_TCP_CHANNEL_LISTENER *mapTcpChannelListener, IN_FILTER *optionalFilter,
    TR_ANCHOR *optionalTraceAnchor );

#endif
