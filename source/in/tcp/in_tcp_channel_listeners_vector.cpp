/* RTP/RTCP pairs of TCP listeners. No state. */
#include <in/channel/in_pair_private.hpp>
#include <in/imp/in_imp_tcp_private.h>
#include <in/tcp/in_tcp_channel_listener_private.h>
#include <in/tcp/in_tcp_channel_listeners_vector.h>

namespace {

struct TcpPairs {
    static constexpr const char *stream = "inTcpChannelListenersVectorTryCreateRtp()";
    static constexpr const char *nullMapped = "inMapStackPeerTryCreateTcpChannelListenersRtp(): null";
    static constexpr const char *invalid = "rtpListener: IN___IMP_TCP_CHANNEL_LISTENER_INVALID";

    static std::optional<in::Ports> ports( IN_STACK *stack )
    {
        return in::portsOf( pb::adopt( inTcpOptionsPortRange( in::tcpOptionsOf( stack ).get() ) ) );
    }
    static in::PortPair tryCreate( IN_STACK *stack, const in::OpenPlan &plan, in::OpenFailure &failure )
    {
        PB_INT rtpListener;
        PB_INT rtcpChannelListener;
        in___ImpTcpChannelListenerTryCreateRtp(
            &rtpListener, &rtcpChannelListener, plan, in::tcpOptionsOf( stack ).get(), failure );
        PB_ASSERT( ( rtpListener == IN___IMP_TCP_CHANNEL_LISTENER_INVALID && rtcpChannelListener == IN___IMP_TCP_CHANNEL_LISTENER_INVALID ) || ( rtpListener != IN___IMP_TCP_CHANNEL_LISTENER_INVALID && rtcpChannelListener != IN___IMP_TCP_CHANNEL_LISTENER_INVALID ) );
        return { rtpListener, rtcpChannelListener };
    }
    static pb::Ref<PB_VECTOR> tryCreateMapped( in::MapPeer &peer, const in::PairPlan &plan )
    {
        return peer.tryCreateTcpChannelListenersRtp( plan.stack, plan.optionalQosStack, plan.flags, plan.anchor );
    }
    static pb::Ref<IN_TCP_CHANNEL_LISTENER> wrap( const in::PairPlan &plan, PB_INT impTcpChannelListener )
    {
        return pb::adopt( in___TcpChannelListenerCreateWithImpTcpChannelListener(
            plan.stack, impTcpChannelListener, plan.optionalFilter, plan.anchor ) );
    }
    static pb::Ref<IN_TCP_CHANNEL_LISTENER> wrapMapped( const in::PairPlan &plan, PB_OBJ *mapped )
    {
        return pb::adopt( in___TcpChannelListenerCreateWithMapTcpChannelListener( plan.stack, plan.optionalMapStack,
            in___MapTcpChannelListenerFrom( mapped ), plan.optionalFilter, plan.anchor ) );
    }
};

} // namespace

PB_VECTOR *inTcpChannelListenersVectorTryCreateRtp( IN_STACK *stack, IN_QOS_STACK *optionalQosStack,
    IN_MAP_STACK *optionalMapStack, IN_FILTER *optionalFilter, PB_INT flags, TR_ANCHOR *optionalTraceAnchor )
{
    PB_ASSERT( stack );
    return in::tryCreatePair<TcpPairs>(
        stack, optionalQosStack, optionalMapStack, optionalFilter, inTcpFlagsNormalize( flags ), optionalTraceAnchor );
}
