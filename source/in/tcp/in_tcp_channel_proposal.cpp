/* Proposals. The monitor guards the channel; the rest does not change. */
#include <in/tcp/in_tcp_channel_proposal_private.h>

struct IN_TCP_CHANNEL_PROPOSAL : PB_OBJ {
    explicit IN_TCP_CHANNEL_PROPOSAL( pb::Ref<IN_TCP_CHANNEL> channel ) : chan( std::move( channel ) ) {}

    pb::Ref<TR_STREAM> stream = pb::adopt( trStreamCreateCstr( "IN_TCP_CHANNEL_PROPOSAL", -1 ) );
    pb::Monitor monitor{ pb::Rank::leaf };
    pb::Ref<IN_TCP_CHANNEL> chan PB_GUARDED_BY( monitor ); // null once accepted
    pb::Ref<IN_TCP_ADDRESS> localAddress = pb::adopt( inTcpChannelLocalAddress( chan.get() ) );
    pb::Ref<IN_TCP_ADDRESS> remoteAddress = pb::adopt( inTcpChannelRemoteAddress( chan.get() ) );
    PB_INT flags = inTcpChannelFlags( chan.get() );
};

PB_CLASS_DEFINE(
    IN_TCP_CHANNEL_PROPOSAL, inTcpChannelProposal, pb::destroy<IN_TCP_CHANNEL_PROPOSAL>, nullptr, nullptr );

IN_TCP_CHANNEL_PROPOSAL *in___TcpChannelProposalCreate( pb::Ref<IN_TCP_CHANNEL> chan )
{
    IN_TCP_CHANNEL *channel = chan.get();
    IN_TCP_CHANNEL_PROPOSAL *prop = pb::create<IN_TCP_CHANNEL_PROPOSAL>( std::move( chan ) );
    inTcpChannelTraceCompleteAnchor(
        channel, pb::adopt( trAnchorCreate( prop->stream.get(), TR_ANCHOR_KIND_USES ) ).get() );
    return prop;
}

IN_TCP_ADDRESS *inTcpChannelProposalLocalAddress( IN_TCP_CHANNEL_PROPOSAL *prop )
{
    PB_ASSERT( prop );
    return prop->localAddress.retained();
}

IN_TCP_ADDRESS *inTcpChannelProposalRemoteAddress( IN_TCP_CHANNEL_PROPOSAL *prop )
{
    PB_ASSERT( prop );
    return prop->remoteAddress.retained();
}

PB_INT inTcpChannelProposalFlags( IN_TCP_CHANNEL_PROPOSAL *prop )
{
    PB_ASSERT( prop );
    return prop->flags;
}

void inTcpChannelProposalTraceCompleteAnchor( IN_TCP_CHANNEL_PROPOSAL *prop, TR_ANCHOR *anchor )
{
    PB_ASSERT( prop );
    trAnchorComplete( anchor, prop->stream.get() );
}

IN_TCP_CHANNEL *inTcpChannelProposalAccept( IN_TCP_CHANNEL_PROPOSAL *prop )
{
    PB_ASSERT( prop );
    pb::Lock lock( prop->monitor );
    return prop->chan.give();
}
