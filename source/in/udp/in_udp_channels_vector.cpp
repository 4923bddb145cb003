/* RTP/RTCP pairs of UDP channels. No state. */
#include <in/channel/in_pair_private.hpp>
#include <in/imp/in_imp_udp_private.h>
#include <in/udp/in_udp_channel_private.h>
#include <in/udp/in_udp_channels_vector.h>

namespace {

struct UdpPairs {
    static constexpr const char *stream = "inUdpChannelsVectorTryCreateRtp()";
    static constexpr const char *nullMapped = "inMapStackPeerTryCreateUdpChannelsRtp(): null";
    static constexpr const char *invalid = "rtpChannel: IN___IMP_UDP_CHANNEL_INVALID";

    static std::optional<in::Ports> ports( IN_STACK *stack )
    {
        pb::Ref<IN_OPTIONS> options = pb::adopt( inStackOptions( stack ) );
        pb::Ref<IN_UDP_OPTIONS> udpOptions = pb::adopt( inOptionsUdpOptions( options.get() ) );
        return in::portsOf( pb::adopt( inUdpOptionsPortRange( udpOptions.get() ) ) );
    }
    static in::PortPair tryCreate( IN_STACK *, const in::OpenPlan &plan, in::OpenFailure &failure )
    {
        PB_INT rtpChannel;
        PB_INT rtcpChannel;
        in___ImpUdpChannelTryCreateRtp( &rtpChannel, &rtcpChannel, plan, failure );
        PB_ASSERT( ( rtpChannel == IN___IMP_UDP_CHANNEL_INVALID && rtcpChannel == IN___IMP_UDP_CHANNEL_INVALID ) || ( rtpChannel != IN___IMP_UDP_CHANNEL_INVALID && rtcpChannel != IN___IMP_UDP_CHANNEL_INVALID ) );
        return { rtpChannel, rtcpChannel };
    }
    static pb::Ref<PB_VECTOR> tryCreateMapped( in::MapPeer &peer, const in::PairPlan &plan )
    {
        return peer.tryCreateUdpChannelsRtp( plan.stack, plan.optionalQosStack, plan.flags, plan.anchor );
    }
    static pb::Ref<IN_UDP_CHANNEL> wrap( const in::PairPlan &plan, PB_INT impUdpChannel )
    {
        return pb::adopt(
            in___UdpChannelCreateWithImpUdpChannel( plan.stack, impUdpChannel, plan.optionalFilter, plan.anchor ) );
    }
    static pb::Ref<IN_UDP_CHANNEL> wrapMapped( const in::PairPlan &plan, PB_OBJ *mapped )
    {
        return pb::adopt( in___UdpChannelCreateWithMapUdpChannel(
            plan.stack, plan.optionalMapStack, in___MapUdpChannelFrom( mapped ), plan.optionalFilter, plan.anchor ) );
    }
};

} // namespace

PB_VECTOR *inUdpChannelsVectorTryCreateRtp( IN_STACK *stack, IN_QOS_STACK *optionalQosStack,
    IN_MAP_STACK *optionalMapStack, IN_FILTER *optionalFilter, PB_INT flags, TR_ANCHOR *optionalTraceAnchor )
{
    PB_ASSERT( stack );
    return in::tryCreatePair<UdpPairs>(
        stack, optionalQosStack, optionalMapStack, optionalFilter, inUdpFlagsNormalize( flags ), optionalTraceAnchor );
}
