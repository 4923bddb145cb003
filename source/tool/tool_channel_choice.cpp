/* Opening UDP channels as the options say. */
#include <tool/tool_channel_choice.hpp>
#include <tool/tool_reason.hpp>

namespace {

void setPortRange( IN_STACK *stack, IN_UDP_PORT_RANGE *range )
{
    pb::Ref<IN_OPTIONS> options = pb::adopt( inStackOptions( stack ) );
    pb::Ref<IN_UDP_OPTIONS> udpOptions = pb::adopt( inOptionsUdpOptions( options.get() ) );
    inUdpOptionsSetPortRange( udpOptions.handle(), range );
    inOptionsSetUdpOptions( options.handle(), udpOptions.get() );
    inStackSetOptions( stack, options.get() );
}

} // namespace

void tool::ChannelChoice::addPeerOptions( CLI::App &command )
{
    addFilterOption( command );
    addPairOption( command, "Open a pair of channels: RTP on an even port, RTCP on the next one" );
}

tool::Lanes tool::ChannelChoice::openPair( IN_STACK *stack, IN_FILTER *optionalFilter, PB_INT flags ) const
{
    pb::Ref<PB_VECTOR> pair = pb::adopt(
        inUdpChannelsVectorTryCreateRtp( stack, qosStack().get(), nullptr, optionalFilter, flags, nullptr ) );
    if ( !pair )
        return {};
    return { { "rtp", pb::adoptAs<IN_UDP_CHANNEL>( pbVectorObjAt( pair.get(), 0 ) ), {} },
        { "rtcp", pb::adoptAs<IN_UDP_CHANNEL>( pbVectorObjAt( pair.get(), 1 ) ), {} } };
}

tool::Lanes tool::ChannelChoice::openOne( IN_STACK *stack, IN_FILTER *optionalFilter, PB_INT flags ) const
{
    pb::Ref<IN_UDP_CHANNEL> channel = pb::adopt(
        inUdpChannelTryCreate( stack, qosStack().get(), nullptr, optionalFilter, optionalPort(), flags, nullptr ) );
    if ( !channel )
        return {};
    return { { "", channel, {} } };
}

tool::Lanes tool::ChannelChoice::open( PB_INT flags, IN_ADDRESS *optionalPeer ) const
{
    std::optional<Ports> range = ports(); // may end the command, which then needs no stack
    NamedStack named = stack( optionalPeer );
    IN_STACK *on = named.stack.get();
    if ( range )
        setPortRange( on, pb::adopt( inUdpPortRangeCreate( range->first, range->count ) ).get() );
    pb::Ref<IN_FILTER> behind = filter( optionalPeer );
    TracedReason reason( isPair() ? "inUdpChannelsVectorTryCreateRtp()" : "IN_UDP_CHANNEL" );
    Lanes lanes = isPair() ? openPair( on, behind.get(), flags ) : openOne( on, behind.get(), flags );
    if ( lanes.empty() )
        failToOpen( "channel", on, reason.text() );
    return lanes;
}
