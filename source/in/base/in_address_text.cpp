/*
 * The text forms of IP addresses. Parsing works on views of the text and makes one object, the address; printing makes
 * one, the string. No state.
 */
#include <in/base/in_address_private.h>
#include <iri/iri.h>
#include <pb/pb_text.hpp>

namespace {

/** Four decimal numbers joined by full stops, nothing around them. */
bool in___AddressParseV4Groups( pb::Chars text, PB_BYTE *groups )
{
    auto pieces = pb::split<4>( text, '.' );
    if ( pieces.count != 4 )
        return false;
    for ( PB_CHAR i = 0; i < 4; ++i ) {
        PB_INT value;
        if ( !pb::scanWhole( pieces.at[i], 10, 255, value ) )
            return false;
        groups[i] = static_cast<PB_BYTE>( value );
    }
    return true;
}

IN_ADDRESS *tryCreateV4( pb::Chars text )
{
    PB_BYTE bytes[4];
    return in___AddressParseV4Groups( pb::trim( text ), bytes ) ? inAddressCreateV4( bytes ) : nullptr;
}

/** One piece between colons: empty, a group of 16 bits, or neither (-1). */
struct Group {
    bool empty = false;
    PB_INT value = -1;
};

/** The groups of an IPv6 text: up to nine pieces, one more when the last is the dotted form of two groups. */
struct Groups {
    std::array<Group, 10> at{};
    std::size_t count = 0;

    void add( Group group ) { at[count++] = group; }
    bool beginEmpty() const { return at[0].empty && at[1].empty; }
    bool endEmpty() const { return at[count - 1].empty && at[count - 2].empty; }
    /** Eight, and nine where "::" begins or ends the text, since there it is two empty pieces. */
    std::size_t limit() const { return beginEmpty() || endEmpty() ? 9 : 8; }
    void remove( std::size_t first, std::size_t removed )
    {
        std::copy( at.begin() + first + removed, at.begin() + count, at.begin() + first );
        count -= removed;
    }
    /** Inserts zero groups until there are eight. */
    void fill( std::size_t gap )
    {
        std::size_t missing = 8 - count;
        std::copy_backward( at.begin() + gap, at.begin() + count, at.begin() + 8 );
        std::fill_n( at.begin() + gap, missing, Group{ false, 0 } );
        count = 8;
    }
};

Groups scanGroups( const pb::Pieces<9> &pieces )
{
    Groups groups;
    for ( std::size_t i = 0; i < pieces.count; ++i ) {
        PB_BYTE v4[4];
        if ( i + 1 == pieces.count && in___AddressParseV4Groups( pieces.at[i], v4 ) ) {
            groups.add( { false, v4[0] << 8 | v4[1] } );
            groups.add( { false, v4[2] << 8 | v4[3] } );
            break;
        }
        Group group{ pieces.at[i].empty(), -1 };
        pb::scanWhole( pieces.at[i], 16, 0xffff, group.value );
        groups.add( group );
    }
    return groups;
}

/** Puts zero groups where "::" stands: at the beginning, else at the end, else at the first empty piece within. */
void fillGap( Groups &groups )
{
    if ( groups.beginEmpty() ) {
        groups.remove( 0, 2 );
        return groups.fill( 0 );
    }
    if ( groups.endEmpty() ) {
        groups.remove( groups.count - 2, 2 );
        return groups.fill( groups.count );
    }
    for ( std::size_t i = 1; i + 1 < groups.count; ++i ) {
        if ( groups.at[i].empty ) {
            groups.remove( i, 1 );
            return groups.fill( i );
        }
    }
}

IN_ADDRESS *tryCreateV6( pb::Chars text )
{
    auto pieces = pb::split<9>( pb::trim( text ), ':' );
    if ( pieces.count < 3 )
        return nullptr;
    if ( pieces.count == 3 && pieces.at[0].empty() && pieces.at[1].empty() && pieces.at[2].empty() )
        return inAddressCreate( IN_ADDRESS_VERSION_6 );
    Groups groups = scanGroups( pieces );
    if ( groups.count > groups.limit() )
        return nullptr;
    fillGap( groups );
    if ( groups.count != 8 )
        return nullptr;
    PB_BYTE bytes[16];
    for ( std::size_t i = 0; i < 8; ++i ) {
        if ( groups.at[i].value < 0 )
            return nullptr;
        bytes[i * 2] = static_cast<PB_BYTE>( groups.at[i].value >> 8 );
        bytes[i * 2 + 1] = static_cast<PB_BYTE>( groups.at[i].value );
    }
    return inAddressCreateV6( bytes );
}

using Writer = pb::CharWriter<40>; // the longest text is eight groups of four digits with seven colons

void writeV4( Writer &text, const PB_BYTE *bytes )
{
    for ( std::size_t i = 0; i < 4; ++i ) {
        if ( i > 0 )
            text.put( '.' );
        text.number( bytes[i], 10 );
    }
}

/** A run of zero groups. */
struct Run {
    std::size_t first = 0;
    std::size_t length = 0;
};

Run longestZeroRun( const uint16_t ( &group )[8] )
{
    Run longest;
    Run current;
    for ( std::size_t i = 0; i < 8; ++i ) {
        current = group[i] ? Run{ i + 1, 0 } : Run{ current.first, current.length + 1 };
        if ( current.length > longest.length )
            longest = current;
    }
    return longest;
}

void writeV6( Writer &text, IN_ADDRESS *ina )
{
    uint16_t group[8];
    PB_ASSERT( inAddressLength( ina ) == PB_SIZEOF_ARRAY(group) * 2 );
    for ( std::size_t i = 0; i < 8; ++i )
        group[i] = static_cast<uint16_t>( ina->bytes[i * 2] << 8 | ina->bytes[i * 2 + 1] );
    Run run = longestZeroRun( group );
    for ( std::size_t i = 0; i < 8; ++i ) {
        if ( run.length > 0 && i == run.first ) {
            text.put( ':' );
            text.put( ':' );
            i += run.length;
            if ( i == 8 )
                return;
        } else if ( i > 0 ) {
            text.put( ':' );
        }
        text.number( group[i], 16, 1, true );
    }
}

} // namespace

IN_ADDRESS *inAddressTryCreateV4FromString( PB_STRING *source )
{
    PB_ASSERT( source );
    return tryCreateV4( pb::chars( source ) );
}

IN_ADDRESS *inAddressTryCreateV6FromString( PB_STRING *source )
{
    PB_ASSERT( source );
    return tryCreateV6( pb::chars( source ) );
}

IN_ADDRESS *inAddressTryCreateFromString( PB_STRING *source )
{
    PB_ASSERT( source );
    IN_ADDRESS *ina = tryCreateV4( pb::chars( source ) );
    return ina ? ina : tryCreateV6( pb::chars( source ) );
}

IN_ADDRESS *inAddressTryCreateFromChars( const PB_CHAR *source, PB_INT count )
{
    PB_ASSERT( source );
    return inAddressTryCreateFromString( pb::adopt( pbStringCreateFromCharsCopy( source, count ) ).get() );
}

IN_ADDRESS *inAddressTryCreateFromCstr( const char *source, PB_INT length )
{
    PB_ASSERT( source );
    return inAddressTryCreateFromString( pb::adopt( pbStringCreateFromCstr( source, length ) ).get() );
}

IN_ADDRESS *inAddressTryCreateFromWcstr( const wchar_t *source, PB_INT length )
{
    PB_ASSERT( source );
    return inAddressTryCreateFromString( pb::adopt( pbStringCreateFromWcstr( source, length ) ).get() );
}

IN_ADDRESS *inAddressTryCreateFromHost( PB_STRING *source )
{
    PB_ASSERT( source );
    if ( !iriGensValidatePart( source, IRI_PART_HOST ) )
        return nullptr;
    pb::Chars text = pb::chars( source );
    if ( text.size() >= 2 && text.front() == '[' && text.back() == ']' )
        return tryCreateV6( text.subspan( 1, text.size() - 2 ) );
    return tryCreateV4( text );
}

PB_STRING *inAddressToStringShrink( IN_ADDRESS *ina )
{
    Writer text;
    if ( inAddressLength( ina ) == 4 )
        writeV4( text, ina->bytes.data() );
    else
        writeV6( text, ina );
    return text.toString();
}

PB_STRING *inAddressToStringExpand( IN_ADDRESS *ina )
{
    Writer text;
    if ( inAddressLength( ina ) == 4 ) {
        writeV4( text, ina->bytes.data() );
    } else {
        for ( std::size_t i = 0; i < ina->bytes.size(); ++i ) {
            if ( i > 0 && i % 2 == 0 )
                text.put( ':' );
            text.number( ina->bytes[i], 16, 2, true );
        }
    }
    PB_STRING *res = text.toString();
    PB_ASSERT( res );
    return res;
}

PB_STRING *inAddressToHost( IN_ADDRESS *ina )
{
    PB_STRING *text = inAddressToStringShrink( ina );
    return inAddressIsV4( ina ) ? text : pb::format( "[%~s]", text ).give();
}
