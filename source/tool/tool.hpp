/* What the commands of the diagnostic program share: their output, their failure, and text in and out of the library. */
#ifndef TOOL_HPP
#define TOOL_HPP

#include <CLI/CLI.hpp>
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

/** How results are printed: as JSON, or as text, keys set off in bold on a terminal. */
class Output {
public:
    bool json = false;

    /** Prints the results: in JSON as they are; as text an array item by item, an object as lines of key and value. */
    void print( const Json &results ) const;

private:
    void printItem( const Json &item ) const;
    std::string bold( const std::string &text ) const;
};

/** The text of an owned string, which is released; "" for null. */
inline std::string take( PB_STRING *owned )
{
    pb::Ref<PB_STRING> held = pb::adopt( owned );
    return held ? pb::text( held.get() ) : std::string();
}

/** A store as JSON, bare values as what they are. */
Json toJson( PB_STORE *store );

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

/** Add the commands to the program. */
void addValueCommands( CLI::App &app, Output &output );
void addHostCommands( CLI::App &app, Output &output );
void addConfigCommands( CLI::App &app, Output &output );

} // namespace tool

#endif
