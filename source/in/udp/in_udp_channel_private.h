/* Channels around what was opened by somebody else. */
#ifndef IN_UDP_CHANNEL_PRIVATE_H
#define IN_UDP_CHANNEL_PRIVATE_H

#include <in/map/in_map_private.hpp>
#include <in/udp/in_udp_channel.h>

/** A new channel around a backend channel, which it takes over; the QoS stack is that of the backend channel. */
IN_UDP_CHANNEL *in___UdpChannelCreateWithImpUdpChannel(
    IN_STACK *stack, PB_INT impUdpChannel, IN_FILTER *optionalFilter, TR_ANCHOR *optionalTraceAnchor );
/** A new channel around a mapped channel; the QoS stack is the mapped channel's. */
IN_UDP_CHANNEL *in___UdpChannelCreateWithMapUdpChannel( IN_STACK *stack, IN_MAP_STACK *mapStack,
    IN___MAP_UDP_CHANNEL *mapUdpChannel, IN_FILTER *optionalFilter, TR_ANCHOR *optionalTraceAnchor );

#endif
