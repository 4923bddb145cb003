/* Printing results as JSON or as aligned text. */
#include <algorithm>
#include <cstdlib>
#include <tool/tool.hpp>
#include <unistd.h>

namespace {

std::string plain( const tool::Json &value )
{
    if ( value.is_string() )
        return value.get<std::string>();
    if ( value.is_boolean() )
        return value.get<bool>() ? "yes" : "no";
    if ( !value.is_array() )
        return value.dump();
    std::string joined;
    for ( const tool::Json &entry : value )
        joined += ( joined.empty() ? "" : ", " ) + plain( entry );
    return joined.empty() ? "none" : joined;
}

/** https://no-color.org: colour for people at a terminal who did not decline it. */
bool wantsColour()
{
    const char *terminal = std::getenv( "TERM" );
    return isatty( STDOUT_FILENO ) && !std::getenv( "NO_COLOR" ) && terminal && std::string( terminal ) != "dumb";
}

tool::Json valueToJson( PB_STORE *store, PB_INT index )
{
    std::string text = tool::take( pbStoreValueAt( store, index ) );
    if ( !pbStoreIsBareAt( store, index ) )
        return text;
    tool::Json parsed = tool::Json::parse( text, nullptr, false );
    return parsed.is_discarded() ? tool::Json( text ) : parsed;
}

} // namespace

std::string tool::Output::bold( const std::string &text ) const
{
    static const bool colour = wantsColour();
    return colour ? "\033[1m" + text + "\033[0m" : text;
}

void tool::Output::printItem( const Json &item ) const
{
    if ( !item.is_object() ) {
        fmt::print( "{}\n", plain( item ) );
        return;
    }
    std::size_t width = 0;
    for ( const auto &[key, value] : item.items() )
        width = std::max( width, key.size() );
    for ( const auto &[key, value] : item.items() )
        fmt::print( "{}{}  {}\n", bold( key ), std::string( width - key.size(), ' ' ), plain( value ) );
}

void tool::Output::print( const Json &results ) const
{
    if ( json ) {
        fmt::print( "{}\n", results.dump( 4, ' ', false, Json::error_handler_t::replace ) );
        return;
    }
    if ( !results.is_array() )
        return printItem( results );
    for ( std::size_t i = 0; i < results.size(); ++i ) {
        if ( i > 0 && results[i].is_object() )
            fmt::print( "\n" );
        printItem( results[i] );
    }
}

void tool::Output::line( const Json &object, const std::string &text ) const
{
    fmt::print( "{}\n", json ? object.dump( -1, ' ', false, Json::error_handler_t::replace ) : text );
    std::fflush( stdout );
}

void tool::Output::report( const Report &report ) const
{
    if ( json )
        line( report.json, "" );
    else
        printItem( report.text );
}

void tool::Output::table( const Row &head, const std::vector<Row> &rows, const std::string &indent ) const
{
    std::vector<std::size_t> widths;
    for ( const std::string &cell : head )
        widths.push_back( cell.size() );
    for ( const Row &row : rows )
        for ( std::size_t i = 0; i < row.size(); ++i )
            widths[i] = std::max( widths[i], row[i].size() );
    auto aligned = [&]( const Row &row ) {
        std::string line;
        for ( std::size_t i = 0; i < row.size(); ++i )
            line += fmt::format( "{:<{}}", row[i], widths[i] + 2 );
        return line.erase( line.find_last_not_of( ' ' ) + 1 );
    };
    fmt::print( "{}{}\n", indent, bold( aligned( head ) ) );
    for ( const Row &row : rows )
        fmt::print( "{}{}\n", indent, aligned( row ) );
}

tool::Json tool::toJson( PB_STORE *store )
{
    bool array = pbStoreIsArray( store );
    Json json = array ? Json::array() : Json::object();
    for ( PB_INT i = 0; i < pbStoreLength( store ); ++i ) {
        pb::Ref<PB_STORE> inner = pb::adopt( pbStoreStoreAt( store, i ) );
        Json entry = inner ? toJson( inner.get() ) : valueToJson( store, i );
        if ( array )
            json.push_back( entry );
        else
            json[take( pbStoreKeyAt( store, i ) )] = entry;
    }
    return json;
}

std::vector<std::string> tool::texts( PB_VECTOR *owned )
{
    std::vector<std::string> all;
    pb::Ref<PB_VECTOR> objects = pb::adopt( owned );
    for ( PB_INT i = 0; i < pbVectorLength( objects.get() ); ++i )
        all.push_back( take( pbObjToString( pb::adopt( pbVectorObjAt( objects.get(), i ) ).get() ) ) );
    return all;
}
