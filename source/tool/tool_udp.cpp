/* The commands that open UDP channels: udp listen, echo, send, ping. */
#include <tool/tool_channel_choice.hpp>
#include <tool/tool_listening.hpp>
#include <tool/tool_sending.hpp>

namespace {

/** What a command was given. */
struct Given {
    tool::ChannelChoice channels;
    tool::RunOptions run;
    tool::SendOptions send;
};

void addReceiving( CLI::App &udp, const tool::Output &output, bool echoes )
{
    auto given = std::make_shared<Given>();
    CLI::App *command =
        echoes ? udp.add_subcommand( "echo", "Send every datagram back to its sender" )
               : udp.add_subcommand( "listen", "Print what arrives, and what is missing from numbered streams" );
    given->channels.addOptions( *command );
    given->channels.addPeerOptions( *command );
    given->run.addOptions( *command, "datagrams" );
    if ( !echoes )
        given->run.addQuiet( *command );
    command->callback( [=, &output] { tool::listen( output, given->channels.open(), given->run, echoes ); } );
}

/** Opens what a command sends on: channels for RTP and RTCP go to a pair of ports too. */
tool::Lanes openFor( const Given &given, PB_INT flags )
{
    if ( given.channels.isPair() && given.send.target.port % 2 )
        tool::refuse(
            "port {} is odd; with --rtp give the even one of RTP, the next one is for RTCP", given.send.target.port );
    return given.channels.open( flags, given.send.target.parsed().get() );
}

void addSending( CLI::App &udp, const tool::Output &output, bool pings )
{
    auto given = std::make_shared<Given>();
    CLI::App *command = pings ? udp.add_subcommand( "ping",
                                    "Send numbered datagrams to an echo; show loss, order and round-trip times" )
                              : udp.add_subcommand( "send", "Send numbered, time-stamped datagrams" );
    given->send.addOptions( *command, "ADDRESS", "datagram", 65507, pings );
    given->channels.addOptions( *command );
    given->channels.addPeerOptions( *command );
    command->callback( [=, &output] {
        if ( pings )
            tool::ping( output, openFor( *given, 0 ), given->send );
        else
            tool::send( output, openFor( *given, IN_UDP_FLAG_NO_RECEIVE ), given->send );
    } );
}

} // namespace

void tool::addUdpCommands( CLI::App &app, Output &output )
{
    CLI::App *udp = app.add_subcommand( "udp", "Listen, send, echo or ping over UDP channels" );
    udp->require_subcommand( 1 );
    addReceiving( *udp, output, false );
    addSending( *udp, output, false );
    addReceiving( *udp, output, true );
    addSending( *udp, output, true );
}
