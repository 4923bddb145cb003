/*
 * quelvaris-in, the diagnostic program. It uses the library as any module does: loaded by the runtime, public functions
 * only. Exit codes: 0, 1 when the command found something wrong, 2 when the command line is; a command may have further ones.
 */
#include <fcntl.h>
#include <in/in.h>
#include <optional>
#include <sstream>
#include <tool/tool.hpp>
#include <unistd.h>

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

/** One line on standard error; of a very long one, which quotes what it was given, the beginning and the end. */
int complain( std::string text, int exitCode )
{
    constexpr std::size_t most = 1000;
    if ( text.size() > most )
        text.replace( most / 2, text.size() - most, " ... " );
    tool::tell( "quelvaris-in: " + tool::printable( text ) + "\n" );
    return exitCode;
}

/**
 * A standard descriptor that was closed is taken by one that can be neither read nor written. Otherwise a socket would get
 * its number, and the output.
 */
void holdStandardDescriptors()
{
    for ( int fd : { STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO } )
        if ( fcntl( fd, F_GETFD ) < 0 && open( "/", O_PATH | O_CLOEXEC ) != fd )
            _exit( 1 );
}

/** Help without the types, needs and exclusions that each option would be followed by: the words say what is meant. */
class Help : public CLI::Formatter {
    std::string make_option_opts( const CLI::Option *option ) const override
    {
        std::string type = option->get_type_name();
        std::string value = option->get_default_str().empty() ? "" : " (" + option->get_default_str() + ")";
        return ( type.empty() ? "" : " " + type ) + value;
    }
};

/** The command that the command line got to. */
const CLI::App *deepest( const CLI::App *app )
{
    while ( !app->get_subcommands().empty() )
        app = app->get_subcommands().front();
    return app;
}

std::string namesOfCommands( const CLI::App *app )
{
    std::string names;
    for ( const CLI::App *command : app->get_subcommands( {} ) )
        names += ( names.empty() ? "" : ", " ) + command->get_name();
    return names;
}

/** What is wrong with the values of an option, by what the parser says: "--port: At Most 1 required but received 2". */
std::string problemOfValues( const std::string &said )
{
    return said.substr( 0, said.find( ':' ) ) +
           ( said.ends_with( "missing" ) ? " needs a value" : " may be given only once" );
}

/** What is wrong with the command line, in one line. */
std::string problem( const CLI::App &app, const CLI::ParseError &error )
{
    const CLI::App *last = deepest( &app );
    std::vector<std::string> unknown = app.remaining( true );
    if ( !unknown.empty() && last->get_require_subcommand_min() > 0 )
        return fmt::format( "unknown command '{}'; there are {}", unknown.front(), namesOfCommands( last ) );
    if ( !unknown.empty() )
        return fmt::format( "'{}' is not expected", unknown.front() );
    if ( last->get_require_subcommand_min() > 0 )
        return fmt::format( "a command is missing; there are {}", namesOfCommands( last ) );
    return error.get_name() == "ArgumentMismatch" ? problemOfValues( error.what() ) : error.what();
}

std::string helpOf( const CLI::App &app )
{
    std::string path = "--help";
    for ( const CLI::App *one = deepest( &app ); one; one = one->get_parent() )
        path = one->get_name() + " " + path;
    return path;
}

void addCommands( CLI::App &app, tool::Output &output )
{
    tool::addInterfacesCommand( app, output );
    tool::addStackCommand( app, output );
    tool::addUdpCommands( app, output );
    tool::addTcpCommands( app, output );
    tool::addMulticastCommands( app, output );
    tool::addPortCommand( app, output );
    tool::addValueCommands( app, output );
    tool::addHostCommands( app, output );
    tool::addConfigCommands( app, output );
}

/** Prints the help or the version that was asked for. */
int answer( const CLI::App &app, const CLI::ParseError &question )
{
    std::ostringstream text;
    app.exit( question, text );
    tool::write( text.str() );
    tool::flush();
    return 0;
}

int run( int argc, char **argv )
{
    CLI::App app{ "Shows what the IP networking layer sees, and exercises it.", "quelvaris-in" };
    tool::Output output;
    std::optional<Runtime> runtime;
    app.formatter( std::make_shared<Help>() ); // which the commands inherit
    app.set_version_flag( "--version", versionText() );
    app.add_flag( "--json", output.json, "Print results as JSON" );
    app.fallthrough();
    app.require_subcommand( 1 );
    app.parse_complete_callback( [&] { runtime.emplace(); } ); // the command line is good, the command runs next
    addCommands( app, output );
    try {
        app.parse( argc, argv );
        tool::flush();
        return output.exitCode;
    } catch ( const CLI::ParseError &error ) {
        if ( error.get_exit_code() == 0 )
            return answer( app, error );
        return complain( fmt::format( "{} (see {})", problem( app, error ), helpOf( app ) ), 2 );
    } catch ( const tool::Misuse &misuse ) {
        return complain( fmt::format( "{} (see {})", misuse.what(), helpOf( app ) ), 2 );
    }
}

} // namespace

int main( int argc, char **argv )
{
    holdStandardDescriptors();
    try {
        return run( argc, argv );
    } catch ( const std::exception &error ) {
        return complain( error.what(), 1 );
    }
}
