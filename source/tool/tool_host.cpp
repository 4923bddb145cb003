/* The commands that look at the host and at the program itself: neighbour, nameservers, modules. */
#include <in/in.h>
#include <tool/tool.hpp>

namespace {

using tool::Json;
using tool::take;

Json neighbour( const std::string &text, const std::string &interface )
{
    pb::Ref<IN_ADDRESS> ina =
        tool::parse( text, inAddressTryCreateFromString, "an IP address; write one like 192.0.2.1 or fe80::1" );
    pb::Ref<PB_STRING> name = interface.empty() ? pb::Ref<PB_STRING>() : pb::string( interface );
    pb::Ref<IN_EUI48_ADDRESS> inea = pb::adopt( inEui48AddressTryLookup( ina.get(), name.get() ) );
    if ( !inea )
        tool::fail( "no answer from {}{}; the neighbour must be up, and on a link of this host", text,
            interface.empty() ? "" : " on " + interface );
    Json item{ { "address", take( inAddressToString( ina.get() ) ) } };
    if ( name )
        item["interface"] = interface;
    item["mac"] = take( inEui48AddressToString( inea.get() ) );
    return item;
}

Json nameServers()
{
    Json results = Json::array();
    pb::Ref<PB_VECTOR> servers = pb::adopt( inDnsServersVector() );
    for ( PB_INT i = 0; i < pbVectorLength( servers.get() ); ++i )
        results.push_back( take( pbObjToString( pb::adopt( pbVectorObjAt( servers.get(), i ) ).get() ) ) );
    return results;
}

Json words( const std::string &text )
{
    Json names = Json::array();
    for ( const std::string &word : CLI::detail::split( text, ' ' ) )
        if ( !word.empty() )
            names.push_back( word );
    return names;
}

Json modules()
{
    Json results = Json::array();
    pb::Ref<PB_VECTOR> running = pb::adopt( pbRuntimeModulesVector() );
    for ( PB_INT i = 0; i < pbVectorLength( running.get() ); ++i ) {
        pb::Ref<PB_MODULE> module = pb::adoptAs<PB_MODULE>( pbVectorObjAt( running.get(), i ) );
        const PB_MODULE_RECORD *record = pbModuleRecord( module.get() );
        results.push_back( { { "module", record->name }, { "title", record->title }, { "version", record->version },
            { "requires", words( record->required ) },
            { "product", fmt::format( "{} {}.{}.{}", record->product, record->productMajor, record->productMinor,
                             record->productPatch ) },
            { "built", record->buildTime } } );
    }
    return results;
}

} // namespace

void tool::addHostCommands( CLI::App &app, Output &output )
{
    static std::string address;
    static std::string interface;

    CLI::App *look = app.add_subcommand( "neighbour", "Look up the hardware address of a host on the link" );
    addText( *look, "ADDRESS", address, "", "Its IPv4 or IPv6 address" )->required();
    addText( *look, "--interface", interface, "NAME", "Look on this interface only" );
    look->callback( [&] { output.print( neighbour( address, interface ) ); } );

    CLI::App *servers = app.add_subcommand( "nameservers", "Show the host's name servers" );
    servers->callback( [&] { output.print( nameServers() ); } );

    CLI::App *list = app.add_subcommand( "modules", "Show the loaded modules, their versions and what they require" );
    list->callback( [&] { output.print( modules() ); } );
}
