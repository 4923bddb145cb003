/* RTP/RTCP pairs of UDP channels. No state. */
#include <in/imp/in_imp_udp_private.h>
#include <in/udp/in_udp_channel_private.h>
#include <in/udp/in_udp_channels_vector.h>
#include <in/udp/in_udp_opening_private.hpp>

namespace {

/** What the pair is opened with. */
struct PairPlan {
    TR_STREAM *stream;
    IN_STACK *stack;
    IN_QOS_STACK *optionalQosStack;
    IN_MAP_STACK *optionalMapStack;
    IN_FILTER *optionalFilter;
    PB_INT flags;
    pb::Ref<TR_ANCHOR> anchor; // on `stream`, for each channel
};

PB_VECTOR *refuse( const PairPlan &plan, const char *why )
{
    trStreamSetNotable( plan.stream );
    trStreamTextCstr( plan.stream, why, -1 );
    return nullptr;
}

PB_VECTOR *vectorOf( pb::Ref<IN_UDP_CHANNEL> rtp, pb::Ref<IN_UDP_CHANNEL> rtcp )
{
    pb::Ref<PB_VECTOR> channels = pb::adopt( pbVectorCreate() );
    pbVectorAppend( channels.handle(), inUdpChannelObj( rtp.get() ) );
    pbVectorAppend( channels.handle(), inUdpChannelObj( rtcp.get() ) );
    return channels.give();
}

PB_VECTOR *openMapped( const PairPlan &plan )
{
    pb::Ref<IN_MAP_STACK_PEER> peer = pb::adopt( inMapStackPeer( plan.optionalMapStack ) );
    if ( !peer )
        return refuse( plan, "inMapStackPeer(): null" );
    pb::Ref<PB_VECTOR> mapped =
        peer->peer->tryCreateUdpChannelsRtp( plan.stack, plan.optionalQosStack, plan.flags, plan.anchor.get() );
    if ( !mapped )
        return refuse( plan, "inMapStackPeerTryCreateUdpChannelsRtp(): null" );
    auto wrap = [&]( PB_INT index ) {
        auto mapUdpChannel = pb::adoptAs<IN___MAP_UDP_CHANNEL>( pbVectorObjAt( mapped.get(), index ) );
        return pb::adopt( in___UdpChannelCreateWithMapUdpChannel(
            plan.stack, plan.optionalMapStack, mapUdpChannel.get(), plan.optionalFilter, plan.anchor.get() ) );
    };
    return vectorOf( wrap( 0 ), wrap( 1 ) );
}

PB_VECTOR *openOnStack( const PairPlan &plan )
{
    pb::Ref<IN_OPTIONS> options = pb::adopt( inStackOptions( plan.stack ) );
    pb::Ref<IN_UDP_OPTIONS> udpOptions = pb::adopt( inOptionsUdpOptions( options.get() ) );
    in::UdpOpening opening( plan.stack, udpOptions.get(), plan.optionalQosStack, plan.flags );
    if ( !opening.plan.localAddress )
        return refuse( plan, "inStackAddress(): null" );
    PB_INT rtpChannel;
    PB_INT rtcpChannel;
    in::OpenFailure failure;
    in___ImpUdpChannelTryCreateRtp( &rtpChannel, &rtcpChannel, opening.plan, failure );
    PB_ASSERT( ( rtpChannel == IN___IMP_UDP_CHANNEL_INVALID && rtcpChannel == IN___IMP_UDP_CHANNEL_INVALID ) || ( rtpChannel != IN___IMP_UDP_CHANNEL_INVALID && rtcpChannel != IN___IMP_UDP_CHANNEL_INVALID ) );
    if ( rtpChannel == IN___IMP_UDP_CHANNEL_INVALID ) {
        refuse( plan, "rtpChannel: IN___IMP_UDP_CHANNEL_INVALID" );
        in::traceFailure( plan.stream, "%~s", failure );
        return nullptr;
    }
    auto wrap = [&]( PB_INT impUdpChannel ) {
        return pb::adopt( in___UdpChannelCreateWithImpUdpChannel(
            plan.stack, impUdpChannel, plan.optionalFilter, plan.anchor.get() ) );
    };
    return vectorOf( wrap( rtpChannel ), wrap( rtcpChannel ) );
}

} // namespace

PB_VECTOR *inUdpChannelsVectorTryCreateRtp( IN_STACK *stack, IN_QOS_STACK *optionalQosStack,
    IN_MAP_STACK *optionalMapStack, IN_FILTER *optionalFilter, PB_INT flags, TR_ANCHOR *optionalTraceAnchor )
{
    PB_ASSERT( stack );
    pb::Ref<TR_STREAM> stream = pb::adopt( trStreamCreateCstr( "inUdpChannelsVectorTryCreateRtp()", -1 ) );
    if ( optionalTraceAnchor )
        trAnchorComplete( optionalTraceAnchor, stream.get() );
    inStackTraceCompleteAnchor( stack, pb::adopt( trAnchorCreate( stream.get(), TR_ANCHOR_KIND_PARENT ) ).get() );
    PairPlan plan{ stream.get(), stack, optionalQosStack, optionalMapStack, optionalFilter,
        inUdpFlagsNormalize( flags ), pb::adopt( trAnchorCreate( stream.get(), TR_ANCHOR_KIND_USES ) ) };
    return optionalMapStack ? openMapped( plan ) : openOnStack( plan );
}
