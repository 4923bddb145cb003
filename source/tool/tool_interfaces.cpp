/* The command that shows the host's interfaces as the interface monitor sees them, and follows them. */
#include <in/in.h>
#include <map>
#include <tool/tool_wake.hpp>
#include <tool/tool_watch.hpp>

namespace {

using tool::Json;
using tool::take;

using State = IN_NW_INTERFACE_STATE;

/** The interfaces of the host at one moment, by name. One that has gone and come back is another object. */
struct Seen {
    pb::Ref<IN_NW_INTERFACE> interface;
    pb::Ref<State> state;
};
using Host = std::map<std::string, Seen>;

Host look()
{
    Host host;
    tool::forEach<IN_NW_INTERFACE>( inNwInterfacesVector(), [&]( IN_NW_INTERFACE *interface ) {
        host[take( inNwInterfaceIdentifier( interface ) )] = {
            pb::share( interface ), pb::adopt( inNwInterfaceState( interface ) ) };
    } );
    return host;
}

std::string statusOf( State *state )
{
    if ( !inNwInterfaceStateHasStatus( state ) )
        return "";
    return inNwInterfaceStateStatus( state ) == IN_NW_INTERFACE_STATUS_UP ? "up" : "down";
}

std::string mtuOf( State *state )
{
    return inNwInterfaceStateLayer2HasMtu( state ) ? std::to_string( inNwInterfaceStateLayer2Mtu( state ) ) : "";
}

constexpr PB_INT unknownSpeed = 4294967295000000; // what drivers say when they do not know

bool speedKnown( State *state )
{
    return inNwInterfaceStateLayer2HasSpeedReceive( state ) &&
           inNwInterfaceStateLayer2SpeedReceive( state ) != unknownSpeed;
}

std::string speedOf( State *state )
{
    constexpr PB_INT gigabit = 1'000'000'000;
    if ( !speedKnown( state ) )
        return inNwInterfaceStateLayer2HasSpeedReceive( state ) ? "unknown" : "";
    PB_INT speed = inNwInterfaceStateLayer2SpeedReceive( state );
    return speed < gigabit ? fmt::format( "{} Mbit/s", speed / 1'000'000 )
                           : fmt::format( "{:.3g} Gbit/s", double( speed ) / gigabit );
}

std::string macsOf( State *state )
{
    return fmt::format( "{}", fmt::join( tool::texts( inNwInterfaceStateLayer2AddressesVector( state ) ), " " ) );
}

/** The networks on the interface that an address is in. */
std::string networksAround( State *state, IN_ADDRESS *address )
{
    std::vector<std::string> networks;
    tool::forEach<IN_NETWORK>( inNwInterfaceStateLayer3NetworksVector( state ), [&]( IN_NETWORK *network ) {
        if ( inNetworkContainsAddress( network, address ) )
            networks.push_back( take( inNetworkToString( network ) ) );
    } );
    return fmt::format( "{}", fmt::join( networks, ", " ) );
}

/** A row for each address, the interface itself beside the first one. */
std::vector<tool::Row> rowsOf( const std::string &name, State *state )
{
    std::vector<tool::Row> rows{ { name, statusOf( state ), macsOf( state ), mtuOf( state ), speedOf( state ) } };
    tool::forEach<IN_ADDRESS>( inNwInterfaceStateLayer3UnicastAddressesVector( state ), [&]( IN_ADDRESS *address ) {
        if ( rows.back().size() > 5 )
            rows.emplace_back( 5 );
        rows.back().push_back( take( inAddressToString( address ) ) );
        rows.back().push_back( networksAround( state, address ) );
    } );
    return rows;
}

void printTable( const tool::Output &output, const Host &host )
{
    std::vector<tool::Row> rows;
    for ( const auto &[name, seen] : host )
        for ( tool::Row &row : rowsOf( name, seen.state.get() ) )
            rows.push_back( std::move( row ) );
    output.table( { "INTERFACE", "STATUS", "MAC", "MTU", "SPEED", "ADDRESS", "NETWORK" }, rows );
    tool::flush();
}

Json details( State *state )
{
    Json item = tool::toJson( pb::adopt( inNwInterfaceStateStore( state ) ).get() );
    for ( const char *key : { "layer2SpeedReceive", "layer2SpeedTransmit" } )
        if ( item.contains( key ) && item[key] == unknownSpeed )
            item[key] = nullptr;
    return item;
}

void print( const tool::Output &output )
{
    Host host = look();
    if ( !output.json )
        return printTable( output, host );
    Json results = Json::array();
    for ( const auto &[name, seen] : host ) {
        Json item{ { "name", name } };
        item.update( details( seen.state.get() ) );
        results.push_back( item );
    }
    output.print( results );
}

std::set<std::string> setOf( const std::vector<std::string> &texts )
{
    return { texts.begin(), texts.end() };
}

std::set<std::string> one( const std::string &text )
{
    return text.empty() ? std::set<std::string>() : std::set{ text };
}

tool::Facts factsOf( State *state )
{
    return {
        { "status", one( statusOf( state ) ) },
        { "mtu", one( mtuOf( state ) ) },
        { "speed", one( speedKnown( state ) ? speedOf( state ) : "" ), true, "unknown" },
        { "mac", setOf( tool::texts( inNwInterfaceStateLayer2AddressesVector( state ) ) ), false },
        { "address", setOf( tool::texts( inNwInterfaceStateLayer3UnicastAddressesVector( state ) ) ), false },
        { "network", setOf( tool::texts( inNwInterfaceStateLayer3NetworksVector( state ) ) ), false },
    };
}

void printChanges( const tool::ChangePrinter &printer, const Host &before, const Host &now )
{
    for ( const auto &[name, seen] : before ) {
        auto still = now.find( name );
        if ( still == now.end() || still->second.interface.get() != seen.interface.get() )
            printer.happened( name, "gone" );
    }
    for ( const auto &[name, seen] : now ) {
        auto known = before.find( name );
        if ( known == before.end() || known->second.interface.get() != seen.interface.get() ) {
            pb::Ref<State> nothing = pb::adopt( inNwInterfaceStateCreate() );
            printer.happened( name, "appeared" );
            printer.changed( name, factsOf( nothing.get() ), factsOf( seen.state.get() ) );
        } else {
            printer.changed( name, factsOf( known->second.state.get() ), factsOf( seen.state.get() ) );
        }
    }
}

/** Follows the set of interfaces, and each one. */
Host follow( const tool::Wake &wake )
{
    inNwInterfacesUpdateAddSignalable( wake.signalable() );
    for ( const auto &[name, seen] : look() )
        inNwInterfaceUpdateAddSignalable( seen.interface.get(), wake.signalable() );
    return look(); // after that: what changes from here on fires
}

void watch( const tool::Output &output )
{
    tool::Wake wake;
    tool::Interrupt interrupt( wake );
    tool::ChangePrinter printer( output );
    Host host = follow( wake );
    if ( !output.json )
        printTable( output, host );
    for ( const auto &[name, seen] : host )
        if ( output.json )
            printer.happened( name, "present", details( seen.state.get() ) );
    for ( ;; ) {
        wake.wait();
        if ( interrupt.came() )
            return;
        Host now = follow( wake );
        printChanges( printer, host, now );
        host = std::move( now );
    }
}

} // namespace

void tool::addInterfacesCommand( CLI::App &app, Output &output )
{
    static bool watching = false;
    CLI::App *command = app.add_subcommand( "interfaces", "Show the host's network interfaces" );
    command->add_flag( "--watch", watching, "Then print each change, within five seconds, until interrupted" );
    command->callback( [&] { watching ? watch( output ) : print( output ); } );
}
