/* The command that tells whether a TCP port is in use on this host, and when that changes. */
#include <in/in.h>
#include <tool/tool_wake.hpp>
#include <tool/tool_watch.hpp>

namespace {

using tool::Json;

constexpr int NOT_IN_USE = 3; // the exit code; 1 and 2 are failures

/** What the command was given. */
struct Port {
    std::string address;
    int number = 0;
    bool watching = false;
    double interval = 0.5;
};

std::string stateOf( bool used )
{
    return used ? "in use" : "not in use";
}

/** The kernel tells nobody when a port is taken or given back; so its table is looked at again and again. */
void watch( const tool::Output &output, IN_ADDRESS *address, const Port &port )
{
    tool::Wake wake;
    tool::Interrupt interrupt( wake );
    tool::ChangePrinter printer( output );
    std::string name = fmt::format( "{} port {}", port.address, port.number );
    tool::Facts known{ { "state", {} } };
    for ( ;; ) {
        tool::Facts now{ { "state", { stateOf( inTcpPortUsed( address, port.number ) ) } } };
        if ( known[0].values.empty() )
            printer.happened( name, *now[0].values.begin() );
        else
            printer.changed( name, known, now );
        known = std::move( now );
        wake.wait( tool::later( tool::Clock::now(), port.interval ) );
        if ( interrupt.came() )
            return;
    }
}

void look( tool::Output &output, const Port &port )
{
    pb::Ref<IN_ADDRESS> address = tool::parse(
        port.address, inAddressTryCreateFromString, "an IP address; write one like 192.0.2.1 or 2001:db8::1" );
    if ( port.watching )
        return watch( output, address.get(), port );
    bool used = inTcpPortUsed( address.get(), port.number );
    output.exitCode = used ? 0 : NOT_IN_USE;
    if ( output.json )
        return output.print( { { "address", port.address }, { "port", port.number }, { "used", used } } );
    tool::write( stateOf( used ) + "\n" );
}

} // namespace

void tool::addPortCommand( CLI::App &app, Output &output )
{
    auto port = std::make_shared<Port>();
    CLI::App *command = app.add_subcommand( "port", "Tell whether a TCP port of this host is in use, at either end of "
                                                    "a connection: exit code 0 if it is, 3 if not" );
    addText( *command, "ADDRESS", port->address, "", "A local address; what is on all addresses counts too" )
        ->required();
    addNumber( *command, "PORT", port->number, "", "The port; 0 asks whether anything listens", 0, 65535 )->required();
    command->add_flag( "--watch", port->watching, "Tell it now and then each change, until interrupted" );
    addNumber( *command, "--interval", port->interval, "SECONDS", "With --watch: look so often", 0.01, 3600 )
        ->capture_default_str();
    command->callback( [=, &output] { look( output, *port ); } );
}
