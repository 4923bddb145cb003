/* What the commands of the diagnostic program share: their output, their failures, and text in and out of the library. */
#ifndef TOOL_HPP
#define TOOL_HPP

#include <CLI/CLI.hpp>
#include <cs/cs.h>
#include <fmt/format.h>
#include <nlohmann/json.hpp>
#include <pb/pb.hpp>
#include <stdexcept>
#include <string>
#include <vector>

namespace tool {

using Json = nlohmann::ordered_json;

/** Ends the program: one line on standard error that says what is wrong or what to do, and exit code 1. */
struct Failure : std::runtime_error {
    using std::runtime_error::runtime_error;
};
template <class... Arguments>
[[noreturn]] void fail( fmt::format_string<Arguments...> text, Arguments &&...arguments )
{
    throw Failure( fmt::format( text, std::forward<Arguments>( arguments )... ) );
}

/** The same for what is wrong with the command line, exit code 2. */
struct Misuse : std::runtime_error {
    using std::runtime_error::runtime_error;
};
template <class... Arguments>
[[noreturn]] void refuse( fmt::format_string<Arguments...> text, Arguments &&...arguments )
{
    throw Misuse( fmt::format( text, std::forward<Arguments>( arguments )... ) );
}

/** What a command found, for programs and for people: JSON with numbers, and lines of a word and what it says. */
struct Report {
    Json json = Json::object();
    Json text = Json::object();
};

using Row = std::vector<std::string>;

/** How results are printed: as JSON, or as text, keys set off in bold on a terminal. */
class Output {
public:
    bool json = false;

    /** Prints the results: in JSON as they are; as text an array item by item, an object as lines of key and value. */
    void print( const Json &results ) const;
    /** Prints one JSON object on a line of its own, or one line of text, and hands it on at once. */
    void line( const Json &object, const std::string &text ) const;
    /** Prints a report: its JSON on one line, or its text. */
    void report( const Report &report ) const;
    /** Prints columns, as wide as they need, under a bold head; for people only. */
    void table( const Row &head, const std::vector<Row> &rows, const std::string &indent = "" ) const;
    std::string bold( const std::string &text ) const;

private:
    void printItem( const Json &item ) const;
};

/** The text of an owned string, which is released; "" for null. */
inline std::string take( PB_STRING *owned )
{
    pb::Ref<PB_STRING> held = pb::adopt( owned );
    return held ? pb::text( held.get() ) : std::string();
}

/** A store as JSON, bare values as what they are. */
Json toJson( PB_STORE *store );

/** A value from text; one that does not parse is a fault of the command line. */
template <class T>
pb::Ref<T> parse( const std::string &text, T *( *tryCreate )(PB_STRING *), const char *what )
{
    pb::Ref<T> value = pb::adopt( tryCreate( pb::string( text ).get() ) );
    if ( !value )
        refuse( "'{}' is no {}", text, what );
    return value;
}

/** Calls a function with each object of an owned vector, all of class T. */
template <class T, class Call>
void forEach( PB_VECTOR *owned, Call call )
{
    pb::Ref<PB_VECTOR> objects = pb::adopt( owned );
    for ( PB_INT i = 0; i < pbVectorLength( objects.get() ); ++i )
        call( pb::adoptAs<T>( pbVectorObjAt( objects.get(), i ) ).get() );
}

/** The texts of the objects of an owned vector. */
std::vector<std::string> texts( PB_VECTOR *owned );

/** Loads a configuration file and brings it to the current form; what is wrong is told with line and column. */
pb::Ref<CS_CONFIG> loadConfig( const std::string &file );
/** What the loaded modules would pass over in an object's configuration: "udpOptions.portRange: wrong type". */
Json ignored( CS_CONFIG *config, PB_STRING *name );

/** Parses every text first, so that a bad one stops the command before anything is printed, then describes each. */
template <class T, class Parse, class Describe>
Json describeAll( const std::vector<std::string> &texts, const char *what, Parse parse, Describe describe )
{
    std::vector<pb::Ref<T>> objects;
    for ( const std::string &text : texts ) {
        objects.push_back( pb::adopt( parse( pb::string( text ).get() ) ) );
        if ( !objects.back() )
            fail( "'{}' is no {}", text, what );
    }
    Json results = Json::array();
    for ( std::size_t i = 0; i < texts.size(); ++i ) {
        Json item{ { "text", texts[i] } };
        item.update( describe( objects[i].get() ) );
        results.push_back( item );
    }
    return results;
}

/** Adds an option, or an argument, that takes a text, or a number within bounds; the help calls the value `type`. */
template <class T>
CLI::Option *addText( CLI::App &command, const char *name, T &variable, const char *type, const char *description )
{
    return command.add_option( name, variable, description )->type_name( type );
}
template <class T>
CLI::Option *addNumber( CLI::App &command, const char *name, T &variable, const char *type, const char *description,
    std::type_identity_t<T> low, std::type_identity_t<T> high )
{
    return addText( command, name, variable, type, description )->check( CLI::Range( low, high ).description( "" ) );
}

/** Add the commands to the program. */
void addValueCommands( CLI::App &app, Output &output );
void addHostCommands( CLI::App &app, Output &output );
void addConfigCommands( CLI::App &app, Output &output );
void addInterfacesCommand( CLI::App &app, Output &output );
void addStackCommand( CLI::App &app, Output &output );
void addUdpCommands( CLI::App &app, Output &output );
void addMulticastCommands( CLI::App &app, Output &output );

} // namespace tool

#endif
