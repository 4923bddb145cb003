/* The commands on multicast groups: multicast listen, multicast send. */
#include <tool/tool_channel_choice.hpp>
#include <tool/tool_listening.hpp>
#include <tool/tool_reason.hpp>
#include <tool/tool_sending.hpp>

namespace {

/** Which group to join. */
struct Group {
    std::string address;
    int port = 0;
    std::string interface;
    tool::RunOptions run;
};

void checkGroup( IN_ADDRESS *group )
{
    if ( !inAddressIsMulticast( group ) )
        tool::refuse( "{} is not a multicast group; write one like 239.1.2.3 or ff15::1",
            tool::take( inAddressToString( group ) ) );
}

tool::Lanes join( const Group &group )
{
    pb::Ref<IN_ADDRESS> address = tool::parse(
        group.address, inAddressTryCreateFromString, "an IP address; write one like 239.1.2.3 or ff15::1" );
    checkGroup( address.get() );
    pb::Ref<PB_STRING> interface = group.interface.empty() ? pb::Ref<PB_STRING>() : pb::string( group.interface );
    tool::TracedReason reason( "IN_UDP_MULTICAST_RECEIVER" );
    pb::Ref<IN_UDP_MULTICAST_RECEIVER> receiver =
        pb::adopt( inUdpMulticastReceiverTryCreate( address.get(), interface.get(), group.port, nullptr ) );
    if ( !receiver )
        tool::fail(
            "{} could not be joined{}: {}", group.address, interface ? " on " + group.interface : "", reason.text() );
    return { { "", {}, receiver } };
}

} // namespace

void tool::addMulticastCommands( CLI::App &app, Output &output )
{
    CLI::App *multicast = app.add_subcommand( "multicast", "Listen to a multicast group, or send to one" );
    multicast->require_subcommand( 1 );

    auto group = std::make_shared<Group>();
    CLI::App *listener = multicast->add_subcommand( "listen", "Join a group and print what arrives" );
    addText( *listener, "GROUP", group->address, "", "The multicast group" )->required();
    addNumber( *listener, "PORT", group->port, "", "The port", 1, 65535 )->required();
    addText(
        *listener, "--interface", group->interface, "NAME", "Join on this interface (default: the system chooses)" );
    group->run.addOptions( *listener, "datagrams" );
    group->run.addQuiet( *listener );
    listener->callback( [=, &output] { listen( output, join( *group ), group->run, false ); } );

    auto options = std::make_shared<SendOptions>();
    auto channels = std::make_shared<ChannelChoice>();
    CLI::App *sender = multicast->add_subcommand( "send", "Send numbered, time-stamped datagrams to a group" );
    options->addOptions( *sender, "GROUP", "datagram", 65507, false );
    channels->addOptions( *sender );
    sender->callback( [=, &output] {
        checkGroup( options->target.parsed().get() );
        send( output, channels->open( IN_UDP_FLAG_NO_RECEIVE, options->target.parsed().get() ), *options );
    } );
}
