/* Pairs of TCP listeners. */
#ifndef IN_TCP_CHANNEL_LISTENERS_VECTOR_H
#define IN_TCP_CHANNEL_LISTENERS_VECTOR_H

#include <in/tcp/in_tcp_channel_listener.h>

/**
 * Opens two listeners on neighbouring ports (RFC 3550 section 11): a new vector of the RTP listener, on an even port, and the
 * RTCP listener, on the next. Ports come from the port range of the stack's options, or else from the system. Null when the
 * stack has no address or no pair is found; the reason is in the trace stream "inTcpChannelListenersVectorTryCreateRtp()".
 * The rest as with inTcpChannelListenerTryCreate.
 */
PB_API PB_VECTOR *inTcpChannelListenersVectorTryCreateRtp( IN_STACK *stack, IN_QOS_STACK *optionalQosStack,
    IN_MAP_STACK *optionalMapStack, IN_FILTER *optionalFilter, PB_INT flags, TR_ANCHOR *optionalTraceAnchor );

#endif
