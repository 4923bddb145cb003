/*
 * quelvaris-in, the diagnostic program. It uses the library as any module does: loaded by the runtime, public functions
 * only. Exit codes: 0, 1 when the command found something wrong, 2 when the command line is.
 */
#include <in/in.h>
#include <tool/tool.hpp>

namespace {

/** Keeps the module and what it requires running to the end of the scope. */
struct Runtime {
    Runtime()
    {
        if ( !pbRuntimeTryStart( "in", -1 ) )
            tool::fail( "{}", tool::take( pbRuntimeErrorText() ) );
    }
    ~Runtime() { pbRuntimeStop(); }
    Runtime( const Runtime & ) = delete;
    Runtime &operator=( const Runtime & ) = delete;
};

std::string versionText()
{
    const PB_MODULE_RECORD *record = pbModuleRecord( inModule() );
    return fmt::format( "quelvaris-in {}.{}.{} (in {}, built {})", record->productMajor, record->productMinor,
        record->productPatch, record->version, record->buildTime );
}

int complain( const std::string &text, int exitCode )
{
    fmt::print( stderr, "quelvaris-in: {}\n", text );
    return exitCode;
}

int run( int argc, char **argv )
{
    CLI::App app{ "Looks at what the IP networking layer sees and does.", "quelvaris-in" };
    tool::Output output;
    app.set_version_flag( "--version", versionText() );
    app.add_flag( "--json", output.json, "Print results as JSON" );
    app.fallthrough();
    app.require_subcommand( 1 );
    tool::addValueCommands( app, output );
    tool::addHostCommands( app, output );
    tool::addConfigCommands( app, output );
    try {
        Runtime runtime;
        app.parse( argc, argv );
        return 0;
    } catch ( const CLI::ParseError &error ) {
        if ( error.get_exit_code() == 0 )
            return app.exit( error );
        return complain( fmt::format( "{} (see quelvaris-in --help)", error.what() ), 2 );
    }
}

} // namespace

int main( int argc, char **argv )
{
    try {
        return run( argc, argv );
    } catch ( const std::exception &error ) {
        return complain( error.what(), 1 );
    }
}
