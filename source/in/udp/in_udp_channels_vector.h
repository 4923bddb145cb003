/* Pairs of UDP channels. */
#ifndef IN_UDP_CHANNELS_VECTOR_H
#define IN_UDP_CHANNELS_VECTOR_H

#include <in/udp/in_udp_channel.h>

/**
 * Opens two channels on neighbouring ports (RFC 3550 section 11): a new vector of the RTP channel, on an even port, and the
 * RTCP channel, on the next. Ports come from the port range of the stack's options, or else from the system. Null when the
 * stack has no address or no pair is found; the reason is in the trace stream "inUdpChannelsVectorTryCreateRtp()". The
 * rest as with inUdpChannelTryCreate.
 */
PB_API PB_VECTOR *inUdpChannelsVectorTryCreateRtp( IN_STACK *stack, IN_QOS_STACK *optionalQosStack,
    IN_MAP_STACK *optionalMapStack, IN_FILTER *optionalFilter, PB_INT flags, TR_ANCHOR *optionalTraceAnchor );

#endif
