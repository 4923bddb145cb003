/* A connection that came in on a listener, to be accepted or dropped. Any thread. */
#ifndef IN_TCP_CHANNEL_PROPOSAL_H
#define IN_TCP_CHANNEL_PROPOSAL_H

#include <in/tcp/in_tcp_channel.h>

/** Orders by identity. The last release of one that was not accepted closes the connection. */
PB_CLASS( IN_TCP_CHANNEL_PROPOSAL, inTcpChannelProposal )
/* Names: inTcpChannelProposalSort, inTcpChannelProposalObj, inTcpChannelProposalFrom, inTcpChannelProposalRetain,
   inTcpChannelProposalRelease, inTcpChannelProposalToString, inTcpChannelProposalCompare, inTcpChannelProposalEquals */

/** The addresses of both ends, new references, and the channel's flags; also after it was accepted. */
PB_API IN_TCP_ADDRESS *inTcpChannelProposalLocalAddress( IN_TCP_CHANNEL_PROPOSAL *prop );
PB_API IN_TCP_ADDRESS *inTcpChannelProposalRemoteAddress( IN_TCP_CHANNEL_PROPOSAL *prop );
PB_API PB_INT inTcpChannelProposalFlags( IN_TCP_CHANNEL_PROPOSAL *prop );
/** Completes the anchor with the trace stream "IN_TCP_CHANNEL_PROPOSAL". */
PB_API void inTcpChannelProposalTraceCompleteAnchor( IN_TCP_CHANNEL_PROPOSAL *prop, TR_ANCHOR *anchor );
/** The channel, whose reference goes to the caller; null when it was accepted before. */
PB_API IN_TCP_CHANNEL *inTcpChannelProposalAccept( IN_TCP_CHANNEL_PROPOSAL *prop );

#endif
