/* Making proposals. */
#ifndef IN_TCP_CHANNEL_PROPOSAL_PRIVATE_H
#define IN_TCP_CHANNEL_PROPOSAL_PRIVATE_H

#include <in/tcp/in_tcp_channel_proposal.h>
#include <pb/pb.hpp>

/** A new proposal of a channel. */
IN_TCP_CHANNEL_PROPOSAL *in___TcpChannelProposalCreate( pb::Ref<IN_TCP_CHANNEL> chan );

#endif
