/* Printing results as JSON or as aligned text. */
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <tool/tool.hpp>
#include <unistd.h>

namespace {

std::string plain( const tool::Json &value )
{
    if ( value.is_string() )
        return tool::printable( value.get<std::string>() );
    if ( value.is_boolean() )
        return value.get<bool>() ? "yes" : "no";
    if ( !value.is_array() )
        return value.dump( -1, ' ', false, tool::Json::error_handler_t::replace );
    std::string joined;
    for ( const tool::Json &entry : value )
        joined += ( joined.empty() ? "" : ", " ) + plain( entry );
    return joined.empty() ? "none" : joined;
}

[[noreturn]] void failOutput()
{
    tool::fail( "standard output: {}", strerrordesc_np( errno ) );
}

/** https://no-color.org: colour for people at a terminal who did not decline it. */
bool wantsColour()
{
    const char *terminal = secure_getenv( "TERM" );
    return isatty( STDOUT_FILENO ) && !secure_getenv( "NO_COLOR" ) && terminal && std::string( terminal ) != "dumb";
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

void tool::write( std::string_view text )
{
    if ( std::fwrite( text.data(), 1, text.size(), stdout ) != text.size() )
        failOutput();
}

void tool::flush()
{
    if ( std::fflush( stdout ) != 0 )
        failOutput();
}

void tool::tell( const std::string &text ) noexcept
{
    std::fputs( text.c_str(), stderr );
}

std::string tool::printable( std::string_view text )
{
    std::string shown;
    for ( std::size_t i = 0; i < text.size(); ++i ) {
        auto byte = static_cast<uint8_t>( text[i] );
        auto next = static_cast<uint8_t>( i + 1 < text.size() ? text[i + 1] : 0 );
        if ( byte < ' ' || byte == 0x7F )
            shown += fmt::format( "\\x{:02x}", byte );
        else if ( byte == 0xC2 && next >= 0x80 && next <= 0x9F ) // U+0080 to U+009F in UTF-8
            shown += fmt::format( "\\x{:02x}", static_cast<uint8_t>( text[++i] ) );
        else
            shown += text[i];
    }
    return shown;
}

std::string tool::Output::bold( const std::string &text ) const
{
    static const bool colour = wantsColour();
    return colour ? "\033[1m" + text + "\033[0m" : text;
}

void tool::Output::printItem( const Json &item ) const
{
    if ( !item.is_object() ) {
        write( fmt::format( "{}\n", plain( item ) ) );
        return;
    }
    std::size_t width = 0;
    for ( const auto &[key, value] : item.items() )
        width = std::max( width, key.size() );
    for ( const auto &[key, value] : item.items() )
        write( fmt::format(
            "{}{}  {}\n", bold( printable( key ) ), std::string( width - key.size(), ' ' ), plain( value ) ) );
}

void tool::Output::print( const Json &results ) const
{
    if ( json )
        return write( fmt::format( "{}\n", results.dump( 4, ' ', false, Json::error_handler_t::replace ) ) );
    if ( !results.is_array() )
        return printItem( results );
    for ( std::size_t i = 0; i < results.size(); ++i ) {
        if ( i > 0 && results[i].is_object() )
            write( "\n" );
        printItem( results[i] );
    }
}

void tool::Output::line( const Json &object, const std::string &text ) const
{
    write( fmt::format( "{}\n", json ? object.dump( -1, ' ', false, Json::error_handler_t::replace ) : text ) );
    flush();
}

void tool::Output::report( const Report &report ) const
{
    if ( json )
        return line( report.json, "" );
    printItem( report.text );
    flush();
}

void tool::Output::table( const Row &head, const std::vector<Row> &rows, const std::string &indent ) const
{
    std::vector<std::size_t> widths;
    for ( const std::string &cell : head )
        widths.push_back( cell.size() );
    for ( const Row &row : rows )
        for ( std::size_t i = 0; i < row.size(); ++i )
            widths[i] = std::max( widths[i], printable( row[i] ).size() );
    auto aligned = [&]( const Row &row ) {
        std::string line;
        for ( std::size_t i = 0; i < row.size(); ++i )
            line += fmt::format( "{:<{}}", printable( row[i] ), widths[i] + 2 );
        return line.erase( line.find_last_not_of( ' ' ) + 1 );
    };
    write( fmt::format( "{}{}\n", indent, bold( aligned( head ) ) ) );
    for ( const Row &row : rows )
        write( fmt::format( "{}{}\n", indent, aligned( row ) ) );
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
