/* The host part of an IRI, checked by hand against the grammar: each function takes the rule that it is named after. */
#include <algorithm>
#include <array>
#include <iri/iri.h>
#include <pb/pb_module.hpp>
#include <pb/pb_text.hpp>
#include <string_view>

namespace {

using pb::Chars;

bool isHexDigit( PB_CHAR ch )
{
    return pb::digitValue( ch ) < 16;
}

/** RFC 3987 section 2.2. The last two code points of each plane, the private ones and the non-characters are out. */
bool isUcschar( PB_CHAR ch )
{
    if ( ch < 0x10000 )
        return ( ch >= 0xA0 && ch <= 0xD7FF ) || ( ch >= 0xF900 && ch <= 0xFDCF ) || ( ch >= 0xFDF0 && ch <= 0xFFEF );
    return ( ch <= 0xDFFFD || ( ch >= 0xE1000 && ch <= 0xEFFFD ) ) && ( ch & 0xFFFF ) <= 0xFFFD;
}

/** unreserved / sub-delims, RFC 3986 sections 2.2 and 2.3. */
bool isUnreservedOrSubDelim( PB_CHAR ch )
{
    return pb::digitValue( ch ) < 36 ||
           ( ch <= 0x7F && std::string_view( "-._~!$&'()*+,;=" ).find( char( ch ) ) != std::string_view::npos );
}

bool isIregName( Chars text )
{
    for ( std::size_t at = 0; at < text.size(); ++at ) {
        if ( isUnreservedOrSubDelim( text[at] ) || isUcschar( text[at] ) )
            continue;
        if ( text[at] != '%' || text.size() - at < 3 || !isHexDigit( text[at + 1] ) || !isHexDigit( text[at + 2] ) )
            return false;
        at += 2;
    }
    return true;
}

bool isDecOctet( Chars text )
{
    PB_INT value;
    bool digits = std::all_of( text.begin(), text.end(), []( PB_CHAR ch ) { return pb::digitValue( ch ) < 10; } );
    bool leadingZero = text.size() > 1 && text[0] == '0';
    return digits && !leadingZero && pb::scanWhole( text, 10, 255, value );
}

bool isIpv4Address( Chars text )
{
    pb::Pieces<5> octets = pb::split<5>( text, '.' );
    return octets.count == 4 && std::all_of( octets.at.begin(), octets.at.begin() + 4, isDecOctet );
}

bool isH16( Chars text )
{
    return !text.empty() && text.size() <= 4 && std::all_of( text.begin(), text.end(), isHexDigit );
}

/**
 * The number of 16-bit groups in a run of them, joined by colons; the last may be an IPv4 address. -1 for no such run.
 */
int countGroups( Chars text, bool ipv4MayEnd )
{
    if ( text.empty() )
        return 0;
    pb::Pieces<9> pieces = pb::split<9>( text, ':' );
    std::size_t last = pieces.count - 1;
    if ( !std::all_of( pieces.at.begin(), pieces.at.begin() + last, isH16 ) )
        return -1;
    if ( isH16( pieces.at[last] ) )
        return int( pieces.count );
    return ipv4MayEnd && isIpv4Address( pieces.at[last] ) ? int( pieces.count ) + 1 : -1;
}

/** RFC 3986 section 3.2.2: eight groups, or two runs around "::", which stands for at least one. */
bool isIpv6Address( Chars text )
{
    constexpr std::array<PB_CHAR, 2> gap{ ':', ':' };
    auto found = std::search( text.begin(), text.end(), gap.begin(), gap.end() );
    if ( found == text.end() )
        return countGroups( text, true ) == 8;
    auto before = static_cast<std::size_t>( found - text.begin() );
    int leading = countGroups( text.first( before ), false );
    int trailing = countGroups( text.subspan( before + 2 ), true );
    return leading >= 0 && trailing >= 0 && leading + trailing <= 7;
}

bool isIpvFuture( Chars text )
{
    if ( text.empty() || ( text[0] != 'v' && text[0] != 'V' ) )
        return false;
    pb::Pieces<2> pieces = pb::split<2>( text.subspan( 1 ), '.' );
    Chars version = pieces.at[0];
    Chars address = pieces.at[1];
    return pieces.count == 2 && !version.empty() && std::all_of( version.begin(), version.end(), isHexDigit ) &&
           !address.empty() && std::all_of( address.begin(), address.end(), []( PB_CHAR ch ) {
               return ch == ':' || isUnreservedOrSubDelim( ch );
           } );
}

/** An IPv4 address is a registered name too, as far as the characters go, so it needs no case of its own. */
bool isIhost( Chars text )
{
    if ( text.size() < 2 || text.front() != '[' || text.back() != ']' )
        return isIregName( text );
    Chars literal = text.subspan( 1, text.size() - 2 );
    return isIpv6Address( literal ) || isIpvFuture( literal );
}

} // namespace

PB_BOOL iriGensValidatePart( PB_STRING *str, PB_INT part )
{
    PB_ASSERT( str );
    PB_ASSERT( IRI_PART_OK( part ) );
    return isIhost( pb::chars( str ) );
}

PB_MODULE_DEFINE( iri, iriModule, "Internationalized resource identifiers", "1.0", "pb", nullptr, nullptr, nullptr );
/* Names: iri___module_record, iri___module_version_string, iri___module */
