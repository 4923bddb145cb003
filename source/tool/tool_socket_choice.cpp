/* The options that all sockets have. */
#include <charconv>
#include <map>
#include <tool/tool_filter.hpp>
#include <tool/tool_socket_choice.hpp>

namespace {

/** The presets by the names that the command line has for them. */
const std::map<std::string, PB_INT> presets{ { "none", IN_QOS_DEFAULTS_NONE }, { "ipc", IN_QOS_DEFAULTS_IPC },
    { "voice", IN_QOS_DEFAULTS_VOICE }, { "signaling", IN_QOS_DEFAULTS_SIGNALING } };

bool readPort( std::string_view text, PB_INT &port )
{
    auto [end, error] = std::from_chars( text.data(), text.data() + text.size(), port );
    return error == std::errc() && end == text.data() + text.size() && IN_UDP_PORT_OK( port );
}

} // namespace

void tool::SocketChoice::addOptions( CLI::App &command )
{
    stacks.addOptions( command, "--stack" );
    CLI::Option *local = addNumber( command, "--port", port, "PORT", "Use this local port", 1, 65535 );
    addText( command, "--port-range", portRange, "FIRST-LAST", "Choose the local port from these" )->excludes( local );
    addText( command, "--qos", qos, "PRESET", "Mark the sockets: none, ipc, voice or signaling" )
        ->check( CLI::IsMember( presets ).description( "" ) );
}

void tool::SocketChoice::addFilterOption( CLI::App &command )
{
    addText( command, "--filter", filters, "NETWORK",
        "Permit these peers only: a network or an address, which may be repeated, or the name of a filter of the file" )
        ->allow_extra_args( false );
}

void tool::SocketChoice::addPairOption( CLI::App &command, const char *description )
{
    command.add_flag( "--rtp", rtp, description );
}

std::optional<tool::SocketChoice::Ports> tool::SocketChoice::ports() const
{
    if ( portRange.empty() && ( !rtp || port == 0 ) )
        return {};
    if ( portRange.empty() && port % 2 )
        refuse( "port {} is odd; with --rtp give an even one for RTP, the next one is for RTCP", port );
    if ( portRange.empty() )
        return Ports{ port, 2 };
    PB_INT first;
    PB_INT last;
    std::size_t hyphen = portRange.find( '-' );
    if ( hyphen == portRange.npos || !readPort( std::string_view( portRange ).substr( 0, hyphen ), first ) ||
         !readPort( std::string_view( portRange ).substr( hyphen + 1 ), last ) || last < first )
        refuse( "'{}' is not a range of ports; give --port-range one like 16384-17383", portRange );
    return Ports{ first, std::min<PB_INT>( last - first + 1, 65535 ) };
}

pb::Ref<IN_QOS_STACK> tool::SocketChoice::qosStack() const
{
    if ( qos.empty() )
        return {};
    pb::Ref<IN_QOS_OPTIONS> options = pb::adopt( inQosOptionsCreate() );
    inQosOptionsSetDefaults( options.handle(), presets.at( qos ) );
    return pb::adopt( inQosStackCreate( options.get(), nullptr ) );
}

pb::Ref<IN_FILTER> tool::SocketChoice::filter( IN_ADDRESS *optionalPeer ) const
{
    return filters.empty() ? nullptr : makeFilter( filters, optionalPeer );
}

void tool::SocketChoice::failToOpen( const char *what, IN_STACK *stack, const std::string &reason ) const
{
    fail( "no {} could be opened on {}{}: {}", what,
        take( inAddressToString( pb::adopt( inStackAddress( stack ) ).get() ) ),
        port > 0 ? fmt::format( " port {}", port ) : "", reason );
}
