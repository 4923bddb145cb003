/* Excerpts. */
#include <algorithm>
#include <tool/tool_excerpt.hpp>

std::string tool::addExcerpt( Json &object, std::span<const uint8_t> bytes )
{
    constexpr std::size_t shown = 64;
    bytes = bytes.first( std::min( bytes.size(), shown ) );
    std::string text( bytes.begin(), bytes.end() );
    while ( !text.empty() && ( text.back() == '\n' || text.back() == '\r' ) )
        text.pop_back();
    if ( std::ranges::all_of( text, []( char ch ) { return ch >= ' ' && ch <= '~'; } ) ) {
        object["text"] = text;
        return '"' + text + '"';
    }
    std::string digits;
    for ( char ch : text )
        digits += fmt::format( "{:02x}", static_cast<uint8_t>( ch ) );
    object["hex"] = digits;
    return digits;
}
