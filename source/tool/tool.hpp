/* What the commands of the diagnostic program share: their output, their failures, and text in and out of the library. */
#ifndef TOOL_HPP
#define TOOL_HPP

#include <CLI/CLI.hpp>
#include <charconv>
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

/** Writes to standard output, which is buffered, and hands on what was written. What cannot be written ends the command. */
void write( std::string_view text );
void flush();
/** Writes to standard error; what cannot be written there is lost. */
void tell( const std::string &text ) noexcept;
/** A text from outside as a terminal may get it: control characters are written as \x1b. */
std::string printable( std::string_view text );

/** How results are printed: as JSON, or as text, keys set off in bold on a terminal. */
class Output {
public:
    bool json = false;
    int exitCode = 0; // of a command that did what it should

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
        refuse( "'{}' is not {}", text, what );
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
template <class T, class Describe>
Json describeAll(
    const std::vector<std::string> &texts, const char *what, T *( *parse )(PB_STRING *), Describe describe )
{
    std::vector<pb::Ref<T>> objects;
    for ( const std::string &text : texts )
        objects.push_back( tool::parse( text, parse, what ) );
    Json results = Json::array();
    for ( std::size_t i = 0; i < texts.size(); ++i ) {
        Json item{ { "text", texts[i] } };
        item.update( describe( objects[i].get() ) );
        results.push_back( item );
    }
    return results;
}

/** A number within bounds in decimal digits, and nothing else: 070 is seventy, and nan is not a number. */
template <class T>
std::string checkNumber( std::string &text, T low, T high )
{
    constexpr auto shown = []( T number ) {
        if constexpr ( std::is_floating_point_v<T> )
            return fmt::format( "{:.10g}", number );
        else
            return std::to_string( number );
    };
    T value{};
    auto [end, error] = std::from_chars( text.data(), text.data() + text.size(), value );
    bool whole = error == std::errc() && end == text.data() + text.size();
    if ( !whole || !( value >= low && value <= high ) )
        return fmt::format( "'{}' is not a number from {} to {}", text, shown( low ), shown( high ) );
    text = fmt::format( "{}", value );
    return {};
}

/**
 * Adds an option, or an argument, that takes a text, or a number within bounds; the help calls the value `type`. An option
 * that is given must have a value: an empty one comes of a script's unset variable.
 */
template <class T>
CLI::Option *addText( CLI::App &command, const char *name, T &variable, const char *type, const char *description )
{
    CLI::Option *option = command.add_option( name, variable, description )->type_name( type );
    if ( *name == '-' )
        option->check( []( const std::string &text ) { return text.empty() ? "the value is empty" : ""; } );
    return option;
}
template <class T>
CLI::Option *addNumber( CLI::App &command, const char *name, T &variable, const char *type, const char *description,
    std::type_identity_t<T> low, std::type_identity_t<T> high )
{
    return addText( command, name, variable, type, description )
        ->transform( CLI::Validator( [=]( std::string &text ) { return checkNumber<T>( text, low, high ); }, "" ) );
}

/** Add the commands to the program. */
void addValueCommands( CLI::App &app, Output &output );
void addHostCommands( CLI::App &app, Output &output );
void addConfigCommands( CLI::App &app, Output &output );
void addInterfacesCommand( CLI::App &app, Output &output );
void addStackCommand( CLI::App &app, Output &output );
void addUdpCommands( CLI::App &app, Output &output );
void addTcpCommands( CLI::App &app, Output &output );
void addMulticastCommands( CLI::App &app, Output &output );
void addPortCommand( CLI::App &app, Output &output );

} // namespace tool

#endif
