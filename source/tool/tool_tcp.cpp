/* The commands over TCP: tcp connect, listen, send, ping. */
#include <tool/tool_relay.hpp>
#include <tool/tool_tcp_listening.hpp>
#include <tool/tool_tcp_pinging.hpp>
#include <tool/tool_tcp_sending.hpp>

namespace {

/** What a command was given. */
struct Given {
    tool::TcpChoice sockets;
    tool::Target target;
    tool::TcpListenOptions listen;
    tool::TcpSendOptions send;
    tool::SendOptions ping;
    bool connects = false;
    bool progress = false;
};

void relay( const tool::Output &output, const Given &given )
{
    tool::Dialer dialer( given.sockets, given.target );
    tool::Relay relay( dialer.connect() );
    relay.run( given.progress );
    if ( output.json ) // standard output is the peer's
        tool::tell( relay.report( dialer.remote() ).json.dump() + "\n" );
    relay.check( dialer.remote() );
}

void addConnect( CLI::App &tcp, const tool::Output &output )
{
    auto given = std::make_shared<Given>();
    CLI::App *command = tcp.add_subcommand( "connect",
        "Send standard input to a peer, and print what it sends, until it has closed; the end of the input closes this "
        "direction. With --json the summary goes to standard error" );
    given->target.addOptions( *command, "ADDRESS", "Connect to" );
    given->sockets.addConnectOptions( *command );
    command->add_flag( "--progress", given->progress, "Print the progress on standard error" );
    command->callback( [=, &output] { relay( output, *given ); } );
}

void addListen( CLI::App &tcp, const tool::Output &output )
{
    auto given = std::make_shared<Given>();
    CLI::App *command = tcp.add_subcommand( "listen", "Take connections, and print what arrives on them" );
    given->sockets.addOptions( *command );
    given->sockets.addPairOption( *command, "Open a pair of listeners: RTP on an even port, RTCP on the next one" );
    given->listen.addOptions( *command );
    command->callback( [=, &output] { tool::listen( output, given->sockets.listen(), given->listen ); } );
}

void addSend( CLI::App &tcp, const tool::Output &output )
{
    auto given = std::make_shared<Given>();
    CLI::App *command = tcp.add_subcommand( "send", "Send bytes over a connection; show how fast they go" );
    given->send.addOptions( *command );
    given->sockets.addConnectOptions( *command );
    command->callback( [=, &output] { tool::send( output, given->sockets, given->send ); } );
}

void addPing( CLI::App &tcp, const tool::Output &output )
{
    auto given = std::make_shared<Given>();
    CLI::App *command =
        tcp.add_subcommand( "ping", "Send numbered messages over a connection to an echo; show the round-trip times" );
    given->ping.addOptions( *command, "ADDRESS", "message", 1 << 20, true );
    given->sockets.addConnectOptions( *command );
    command->add_flag( "--connect", given->connects,
        "Open a connection each time, and measure how long that takes; anything that listens will do" );
    command->callback( [=, &output] { tool::ping( output, given->sockets, given->ping, given->connects ); } );
}

} // namespace

void tool::addTcpCommands( CLI::App &app, Output &output )
{
    CLI::App *tcp = app.add_subcommand( "tcp", "Connect, listen, send or ping over TCP" );
    tcp->require_subcommand( 1 );
    addConnect( *tcp, output );
    addListen( *tcp, output );
    addSend( *tcp, output );
    addPing( *tcp, output );
}
