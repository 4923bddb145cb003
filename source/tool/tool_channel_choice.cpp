/* Opening channels as the options say. */
#include <charconv>
#include <map>
#include <tool/tool_channel_choice.hpp>
#include <tool/tool_filter.hpp>
#include <tool/tool_reason.hpp>

namespace {

using tool::take;

/** The presets by the names that the command line has for them. */
const std::map<std::string, PB_INT> presets{ { "none", IN_QOS_DEFAULTS_NONE }, { "ipc", IN_QOS_DEFAULTS_IPC },
    { "voice", IN_QOS_DEFAULTS_VOICE }, { "signaling", IN_QOS_DEFAULTS_SIGNALING } };

bool readPort( std::string_view text, PB_INT &port )
{
    auto [end, error] = std::from_chars( text.data(), text.data() + text.size(), port );
    return error == std::errc() && end == text.data() + text.size() && IN_UDP_PORT_OK( port );
}

void setPortRange( IN_STACK *stack, IN_UDP_PORT_RANGE *range )
{
    pb::Ref<IN_OPTIONS> options = pb::adopt( inStackOptions( stack ) );
    pb::Ref<IN_UDP_OPTIONS> udpOptions = pb::adopt( inOptionsUdpOptions( options.get() ) );
    inUdpOptionsSetPortRange( udpOptions.handle(), range );
    inOptionsSetUdpOptions( options.handle(), udpOptions.get() );
    inStackSetOptions( stack, options.get() );
}

/** "FIRST-LAST". */
pb::Ref<IN_UDP_PORT_RANGE> rangeOf( std::string_view text )
{
    PB_INT first;
    PB_INT last;
    std::size_t hyphen = text.find( '-' );
    if ( hyphen == text.npos || !readPort( text.substr( 0, hyphen ), first ) ||
         !readPort( text.substr( hyphen + 1 ), last ) || last < first )
        tool::refuse( "'{}' is not a range of ports; give --port-range one like 16384-17383", text );
    return pb::adopt( inUdpPortRangeCreate( first, std::min<PB_INT>( last - first + 1, 65535 ) ) );
}

} // namespace

void tool::ChannelChoice::addOptions( CLI::App &command )
{
    stacks.addOptions( command, "--stack" );
    CLI::Option *local = addNumber( command, "--port", port, "PORT", "Use this local port", 1, 65535 );
    addText( command, "--port-range", portRange, "FIRST-LAST", "Choose the local port from these" )->excludes( local );
    addText( command, "--qos", qos, "PRESET", "Mark the sockets: none, ipc, voice or signaling" )
        ->check( CLI::IsMember( presets ).description( "" ) );
}

void tool::ChannelChoice::addPeerOptions( CLI::App &command )
{
    addText( command, "--filter", filters, "NETWORK",
        "Permit these peers only: a network or an address, which may be repeated, or the name of a filter of the file" )
        ->allow_extra_args( false );
    command.add_flag( "--rtp", rtp, "Open a pair of channels: RTP on an even port, RTCP on the next one" );
}

pb::Ref<IN_QOS_STACK> tool::ChannelChoice::qosStack() const
{
    if ( qos.empty() )
        return {};
    pb::Ref<IN_QOS_OPTIONS> options = pb::adopt( inQosOptionsCreate() );
    inQosOptionsSetDefaults( options.handle(), presets.at( qos ) );
    return pb::adopt( inQosStackCreate( options.get(), nullptr ) );
}

/** The local ports to choose from: those asked for, or, since a pair is always chosen, the two from the port on. */
pb::Ref<IN_UDP_PORT_RANGE> tool::ChannelChoice::ports() const
{
    if ( !portRange.empty() )
        return rangeOf( portRange );
    if ( !rtp || port == 0 )
        return {};
    if ( port % 2 )
        refuse( "port {} is odd; with --rtp give an even one for RTP, the next one is for RTCP", port );
    return pb::adopt( inUdpPortRangeCreate( port, 2 ) );
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
    PB_INT optionalPort = port > 0 ? port : IN_UDP_PORT_INVALID;
    pb::Ref<IN_UDP_CHANNEL> channel = pb::adopt(
        inUdpChannelTryCreate( stack, qosStack().get(), nullptr, optionalFilter, optionalPort, flags, nullptr ) );
    if ( !channel )
        return {};
    return { { "", channel, {} } };
}

tool::Lanes tool::ChannelChoice::open( PB_INT flags, IN_ADDRESS *optionalPeer ) const
{
    pb::Ref<IN_UDP_PORT_RANGE> range = ports(); // may end the command, which then needs no stack
    NamedStack named = stacks.only( optionalPeer );
    IN_STACK *stack = named.stack.get();
    if ( range )
        setPortRange( stack, range.get() );
    pb::Ref<IN_FILTER> filter = filters.empty() ? nullptr : makeFilter( filters, optionalPeer );
    TracedReason reason( rtp ? "inUdpChannelsVectorTryCreateRtp()" : "IN_UDP_CHANNEL" );
    Lanes lanes = rtp ? openPair( stack, filter.get(), flags ) : openOne( stack, filter.get(), flags );
    if ( lanes.empty() )
        fail( "no channel could be opened on {}{}: {}",
            take( inAddressToString( pb::adopt( inStackAddress( stack ) ).get() ) ),
            port > 0 ? fmt::format( " port {}", port ) : "", reason.text() );
    return lanes;
}
