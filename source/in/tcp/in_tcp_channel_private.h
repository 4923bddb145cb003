/* Channels around what was opened by somebody else. */
#ifndef IN_TCP_CHANNEL_PRIVATE_H
#define IN_TCP_CHANNEL_PRIVATE_H

#include <in/map/in_map_private.hpp>
#include <in/tcp/in_tcp_channel.h>

/** A new channel around a backend channel, which it takes over. */
IN_TCP_CHANNEL *in___TcpChannelTryCreateWithImpTcpChannel( IN_STACK *stack, IN_QOS_STACK *optionalQosStack,
    PB_INT impTcpChannel, IN_FILTER *optionalFilter, TR_ANCHOR *optionalTraceAnchor );
/** A new channel around a mapped channel. */
IN_TCP_CHANNEL *in___TcpChannelTryCreateWithMapTcpChannel( IN_STACK *stack, IN_QOS_STACK *optionalQosStack,
    IN_MAP_STACK *optionalMapStack, IN___MAP_TCP_CHANNEL *mapTcpChannel, IN_FILTER *optionalFilter,
    TR_ANCHOR *optionalTraceAnchor );

#endif
