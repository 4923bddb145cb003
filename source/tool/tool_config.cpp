/* The commands on configuration files: config check, config normalise, config show. */
#include <tool/tool.hpp>

namespace {

using tool::Json;
using tool::take;

/** Describes each object of a configuration. */
template <class Describe>
Json objects( CS_CONFIG *config, Describe describe )
{
    Json results = Json::array();
    pb::Ref<PB_VECTOR> names = pb::adopt( csConfigNames( config ) );
    for ( PB_INT i = 0; i < pbVectorLength( names.get() ); ++i ) {
        pb::Ref<PB_STRING> name = pb::adoptAs<PB_STRING>( pbVectorObjAt( names.get(), i ) );
        pb::Ref<PB_STRING> sort = pb::adopt( csConfigObjectSort( config, name.get() ) );
        Json item{ { "name", pb::text( name.get() ) }, { "sort", pb::text( sort.get() ) } };
        describe( item, name.get(), sort.get() );
        results.push_back( item );
    }
    return results;
}

Json check( CS_CONFIG *config )
{
    return objects( config, [&]( Json &item, PB_STRING *name, PB_STRING *sort ) {
        if ( !csSortRegistered( sort ) )
            item["result"] = "kept as it is: no loaded module knows this sort";
        else if ( Json lines = tool::ignored( config, name ); lines.empty() )
            item["result"] = "ok";
        else
            item["ignored"] = lines;
    } );
}

/** Prints a line for each finding, and one for each object without any. */
void printFindings( const Json &results )
{
    for ( const Json &item : results ) {
        std::string object = item["name"].get<std::string>() + " (" + item["sort"].get<std::string>() + "): ";
        Json lines = item.contains( "ignored" ) ? item["ignored"] : Json::array( { item["result"] } );
        for ( const Json &line : lines )
            tool::write( tool::printable( object + line.get<std::string>() ) + "\n" );
    }
    if ( results.empty() )
        tool::write( "no objects\n" );
}

void checkFile( const std::string &file, const tool::Output &output )
{
    Json results = check( tool::loadConfig( file ).get() );
    std::size_t findings = 0;
    for ( const Json &item : results )
        findings += item.contains( "ignored" ) ? item["ignored"].size() : 0;
    if ( output.json )
        output.print( results );
    else
        printFindings( results );
    tool::flush();
    if ( findings > 0 )
        tool::fail( "{}: {} {} found", file, findings, findings == 1 ? "problem" : "problems" );
}

/** The objects as the file has them, or in full, with what is at its default. */
Json show( pb::Ref<CS_CONFIG> config, bool full )
{
    if ( full )
        csConfigNormalize( config.handle(), true );
    return objects( config.get(), [&]( Json &item, PB_STRING *name, PB_STRING * ) {
        pb::Ref<PB_STORE> store = pb::adopt( csConfigObjectConfig( config.get(), name ) );
        item["config"] = store ? tool::toJson( store.get() ) : Json();
    } );
}

void normalise( pb::Ref<CS_CONFIG> config, const std::string &file, bool write )
{
    csConfigNormalize( config.handle(), false );
    pb::Ref<PB_STRING> error;
    if ( !write ) {
        pb::Ref<PB_BUFFER> encoded = pb::adopt( csConfigEncode( config.get() ) );
        tool::write( { reinterpret_cast<const char *>( pbBufferBacking( encoded.get() ) ),
            static_cast<std::size_t>( pbBufferLength( encoded.get() ) ) } );
    } else if ( !csConfigTrySave( config.get(), pb::string( file ).get(), error.handle() ) ) {
        tool::fail( "{}", pb::text( error.get() ) );
    }
}

/** Written to a file, the defaults would count as chosen, and the one that is applied elsewhere would change another. */
void refuseFull()
{
    tool::refuse( "--full belongs to 'config show'; a file that holds every default would mean something else" );
}

} // namespace

pb::Ref<CS_CONFIG> tool::loadConfig( const std::string &file )
{
    pb::Ref<PB_STRING> error;
    pb::Ref<CS_CONFIG> config = pb::adopt( csConfigTryLoad( pb::string( file ).get(), error.handle() ) );
    if ( !config )
        fail( "{}", pb::text( error.get() ) );
    if ( !csConfigTryUpdate( config.handle(), error.handle() ) )
        fail( "{}: {}", file, pb::text( error.get() ) );
    return config;
}

tool::Json tool::ignored( CS_CONFIG *config, PB_STRING *name )
{
    Json lines = Json::array();
    pb::Ref<PB_STORE> report = pb::adopt( csConfigCheckObject( config, name ) );
    for ( PB_INT i = 0; report && i < pbStoreLength( report.get() ); ++i )
        lines.push_back( take( pbStoreKeyAt( report.get(), i ) ) + ": " + take( pbStoreValueAt( report.get(), i ) ) );
    return lines;
}

void tool::addConfigCommands( CLI::App &app, Output &output )
{
    static std::string file;
    static bool full = false;
    static bool write = false;

    CLI::App *config = app.add_subcommand( "config", "Check, normalise or show a configuration file" );
    config->require_subcommand( 1 );
    auto add = [&]( const char *name, const char *description ) {
        CLI::App *command = config->add_subcommand( name, description );
        addText( *command, "FILE", file, "", "The configuration file (JSON)" )->required();
        return command;
    };

    add( "check",
        "Show what in a file has no effect, or not the effect that it seems to have; exit code 1 if there is any" )
        ->callback( [&] { checkFile( file, output ); } );

    CLI::App *showCommand = add( "show", "Show the objects of a file" );
    showCommand->add_flag( "--full", full, "As the loaded modules take them, defaulted values too" );
    showCommand->callback( [&] { output.print( show( loadConfig( file ), full ) ); } );

    CLI::App *command = add( "normalise", "Print a file in its current, normalised form (JSON)" );
    command->add_flag( "--full", full )->group( "" );
    command->add_flag( "--write", write, "Replace the file instead of printing" );
    command->callback( [&] {
        if ( full )
            refuseFull();
        normalise( loadConfig( file ), file, write );
    } );
}
