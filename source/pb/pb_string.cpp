/*
 * Strings. One allocation each, code points behind the object; a setter that needs more room replaces the object.
 * Values, so no lock: a writer holds the only reference.
 */
#include <algorithm>
#include <cstring>
#include <pb/pb_buffer_private.hpp>
#include <pb/pb_unicode_private.hpp>

struct PB_STRING : PB_OBJ {
    PB_INT length;
    PB_INT capacity;

    PB_CHAR *chars() { return reinterpret_cast<PB_CHAR *>( this + 1 ); }
    pb::Chars view() { return { chars(), static_cast<std::size_t>( length ) }; }
};

static PB_INT pb___StringCompFunc( PB_OBJ *thisObj, PB_OBJ *thatObj )
{
    pb::Chars a = static_cast<PB_STRING *>( thisObj )->view();
    pb::Chars b = static_cast<PB_STRING *>( thatObj )->view();
    std::size_t common = std::min( a.size(), b.size() );
    std::size_t at = 0;
    while ( at < common && a[at] == b[at] )
        ++at;
    return at < common ? pb::order( a[at], b[at] ) : pb::order( a.size(), b.size() );
}

static PB_STRING *pb___StringToStringFunc( PB_OBJ *obj )
{
    return pb::share( static_cast<PB_STRING *>( obj ) ).give();
}

PB_CLASS_DEFINE( PB_STRING, pbString, nullptr, pb___StringCompFunc, pb___StringToStringFunc );

namespace {

constexpr PB_INT smallestGrowth = 16; // code points

/** An empty string with room for `capacity` code points, which are not initialised. */
PB_STRING *newString( PB_INT capacity )
{
    PB_ASSERT( capacity <= ( PB_INT_MAX - PB_INT_FROM( sizeof( PB_STRING ) ) ) / PB_INT_FROM( sizeof( PB_CHAR ) ) );
    PB_INT size = PB_INT_FROM( sizeof( PB_STRING ) ) + capacity * PB_INT_FROM( sizeof( PB_CHAR ) );
    PB_OBJ *memory = pb___ObjCreate( size, pbStringSort() );
    return ::new ( memory ) PB_STRING{ { pbStringSort(), {} }, 0, capacity };
}

/** Writes code points at the end, where there is room. */
void put( PB_STRING &str, pb::Chars text )
{
    if ( !text.empty() )
        std::memcpy( str.chars() + str.length, text.data(), text.size_bytes() );
    str.length += PB_INT_FROM( text.size() );
}

/** The same for UTF-8, which never has more code points than bytes. */
void put( PB_STRING &str, std::string_view utf8 )
{
    PB_CHAR *end = str.chars() + str.length;
    std::size_t ascii = 0;
    for ( ; ascii < utf8.size() && static_cast<PB_BYTE>( utf8[ascii] ) <= 0x7F; ++ascii )
        *end++ = static_cast<PB_BYTE>( utf8[ascii] );
    pb::Utf8Reader reader( utf8.substr( ascii ) );
    for ( PB_CHAR ch; reader.next( ch ); )
        *end++ = ch;
    str.length = end - str.chars();
}

PB_STRING *newString( pb::Chars text )
{
    PB_STRING *str = newString( PB_INT_FROM( text.size() ) );
    put( *str, text );
    return str;
}

pb::Chars part( PB_STRING *str, PB_INT offset, PB_INT count )
{
    return str->view().subspan( static_cast<std::size_t>( offset ), static_cast<std::size_t>( count ) );
}

bool allCodePoints( const PB_CHAR *chars, PB_INT count )
{
    PB_CHAR largest = 0;
    for ( PB_INT at = 0; at < count; ++at )
        largest = std::max( largest, chars[at] );
    return PB_CHAR_OK( largest );
}

pb::Ref<PB_STRING> replace( PB_STRING **str, PB_STRING *fresh )
{
    return pb::adopt( std::exchange( *str, fresh ) );
}

/**
 * Makes *str the caller's own, with room for `count` more code points. What it replaced lives as long as the result,
 * since the text to append may lie in it.
 */
pb::Ref<PB_STRING> makeRoom( PB_STRING **str, PB_INT count )
{
    PB_STRING &old = **str;
    PB_ASSERT( PB_INT_ADD_OK( old.length, count ) );
    PB_INT needed = old.length + count;
    bool shared = pb::shared( &old );
    if ( !shared && needed <= old.capacity ) [[likely]]
        return {};
    PB_STRING *grown = newString( shared ? needed : std::max( { needed, old.capacity * 2, smallestGrowth } ) );
    put( *grown, old.view() );
    return replace( str, grown );
}

/** Reduces *str to a part of it. */
void keep( PB_STRING **str, PB_INT offset, PB_INT count )
{
    PB_STRING &own = **str;
    if ( count == own.length )
        return;
    if ( pb::shared( &own ) ) {
        pb::Ref<PB_STRING> replaced = replace( str, newString( part( &own, offset, count ) ) );
        return;
    }
    std::memmove( own.chars(), own.chars() + offset, static_cast<std::size_t>( count ) * sizeof( PB_CHAR ) );
    own.length = count;
}

void keep( PB_STRING **str, pb::Chars kept )
{
    keep( str, kept.empty() ? 0 : kept.data() - ( *str )->chars(), PB_INT_FROM( kept.size() ) );
}

void appendPiece( pb::Ref<PB_VECTOR> &pieces, pb::Chars piece )
{
    pb::Ref<PB_STRING> str = pb::adopt( newString( piece ) );
    pbVectorAppend( pieces.handle(), str.get() );
}

PB_INT find( PB_STRING *str, PB_INT offset, pb::Chars text )
{
    pb::Chars all = str->view();
    auto found = std::search( all.begin() + offset, all.end(), text.begin(), text.end() );
    return found == all.end() && !text.empty() ? -1 : found - all.begin();
}

/** Surrogates are code points, but have no UTF-8 form (RFC 3629, section 3). */
PB_CHAR encodable( PB_CHAR ch )
{
    return ch >= 0xD800 && ch <= 0xDFFF ? pb::charReplacement : ch;
}

PB_INT utf8Length( pb::Chars text )
{
    PB_INT length = 0;
    for ( PB_CHAR ch : text )
        length += ch <= 0x7F ? 1 : ch <= 0x7FF ? 2 : ch <= 0xFFFF ? 3 : 4;
    return length;
}

PB_BYTE *putUtf8( PB_BYTE *at, PB_CHAR ch )
{
    unsigned tail = ch <= 0x7FF ? 1 : ch <= 0xFFFF ? 2 : 3;
    *at++ = static_cast<PB_BYTE>( 0xFF00U >> ( tail + 1 ) | ch >> ( 6 * tail ) );
    while ( tail-- > 0 )
        *at++ = static_cast<PB_BYTE>( 0x80U | ( ch >> ( 6 * tail ) & 0x3FU ) );
    return at;
}

/** The text as UTF-8 in a buffer that has room for `extra` more bytes. */
PB_BUFFER *toUtf8( pb::Chars text, PB_INT extra )
{
    PB_BUFFER *buf = pbBufferCreateWithCapacity( utf8Length( text ) + extra );
    PB_BYTE *at = buf->bytes();
    for ( PB_CHAR ch : text ) {
        if ( ch <= 0x7F ) [[likely]]
            *at++ = static_cast<PB_BYTE>( ch );
        else
            at = putUtf8( at, encodable( ch ) );
    }
    buf->length = at - buf->bytes();
    return buf;
}

template <class Reader>
bool equalsCaseFold( PB_STRING *str, Reader other )
{
    return pb::sameText( pb::CaseFoldReader( pb::CharsReader( str->view() ) ), pb::CaseFoldReader( other ) );
}

} // namespace

PB_STRING *pbStringCreate( void )
{
    return newString( 0 ); // grows when something is appended; many stay empty
}

PB_STRING *pbStringCreateFromCstr( const char *cstr, PB_INT length )
{
    PB_ASSERT( cstr || length == 0 );
    PB_ASSERT( length >= -1 );
    std::string_view utf8 = pb::cstrView( cstr, length );
    PB_STRING *str = newString( PB_INT_FROM( utf8.size() ) );
    put( *str, utf8 );
    return str;
}

PB_STRING *pbStringCreateFromWcstr( const wchar_t *wcstr, PB_INT length )
{
    PB_ASSERT( wcstr || length == 0 );
    PB_ASSERT( length >= -1 );
    PB_INT count = length == -1 ? PB_INT_FROM( std::wcslen( wcstr ) ) : length;
    PB_STRING *str = newString( count );
    for ( ; str->length < count; ++str->length ) {
        auto ch = static_cast<PB_CHAR>( wcstr[str->length] );
        str->chars()[str->length] = PB_CHAR_OK( ch ) ? ch : pb::charReplacement;
    }
    return str;
}

PB_STRING *pbStringCreateFromCharsCopy( const PB_CHAR *chars, PB_INT count )
{
    PB_ASSERT( count >= 0 );
    PB_ASSERT( chars || count == 0 );
    PB_ASSERT( allCodePoints( chars, count ) );
    return newString( { chars, static_cast<std::size_t>( count ) } );
}

PB_STRING *pbStringCreateFrom( PB_STRING *source )
{
    PB_ASSERT( source );
    return newString( source->view() );
}

PB_STRING *pbStringCreateInner( PB_STRING *source, PB_INT offset, PB_INT count )
{
    PB_ASSERT( source );
    PB_ASSERT( offset >= 0 );
    PB_ASSERT( count >= 0 );
    PB_ASSERT( PB_INT_ADD_OK( offset, count ) );
    PB_ASSERT( offset + count <= pbStringLength( source ) );
    return newString( part( source, offset, count ) );
}

PB_STRING *pbStringCreateLeading( PB_STRING *source, PB_INT count )
{
    PB_ASSERT( source );
    PB_ASSERT( count >= 0 );
    PB_ASSERT( count <= pbStringLength( source ) );
    return newString( part( source, 0, count ) );
}

PB_STRING *pbStringCreateTrailing( PB_STRING *source, PB_INT count )
{
    PB_ASSERT( source );
    PB_ASSERT( count >= 0 );
    PB_ASSERT( count <= pbStringLength( source ) );
    return newString( part( source, source->length - count, count ) );
}

PB_INT pbStringLength( PB_STRING *str )
{
    PB_ASSERT( str );
    return str->length;
}

const PB_CHAR *pbStringBacking( PB_STRING *str )
{
    PB_ASSERT( str );
    return str->chars();
}

PB_CHAR pbStringCharAt( PB_STRING *str, PB_INT index )
{
    PB_ASSERT( str );
    PB_ASSERT( index >= 0 );
    PB_ASSERT( index < pbStringLength( str ) );
    return str->chars()[index];
}

PB_BUFFER *pbStringToUtf8( PB_STRING *str )
{
    PB_ASSERT( str );
    return toUtf8( str->view(), 0 );
}

PB_BUFFER *pbStringTryToCstr( PB_STRING *str )
{
    PB_ASSERT( str );
    if ( pbStringFindChar( str, 0, 0 ) >= 0 )
        return nullptr;
    PB_BUFFER *buf = toUtf8( str->view(), 1 );
    buf->bytes()[buf->length++] = 0;
    return buf;
}

void pbStringAppend( PB_STRING **str, PB_STRING *tail )
{
    PB_ASSERT( str );
    PB_ASSERT( *str );
    PB_ASSERT( tail );
    pb::Chars text = tail->view();
    pb::Ref<PB_STRING> replaced = makeRoom( str, tail->length );
    put( **str, text );
}

void pbStringAppendChar( PB_STRING **str, PB_CHAR ch )
{
    PB_ASSERT( str );
    PB_ASSERT( *str );
    PB_ASSERT( PB_CHAR_OK( ch ) );
    pb::Ref<PB_STRING> replaced = makeRoom( str, 1 );
    PB_STRING &own = **str;
    own.chars()[own.length++] = ch;
}

void pbStringAppendChars( PB_STRING **str, const PB_CHAR *chars, PB_INT count )
{
    PB_ASSERT( str );
    PB_ASSERT( *str );
    PB_ASSERT( count >= 0 );
    PB_ASSERT( chars || count == 0 );
    PB_ASSERT( allCodePoints( chars, count ) );
    pb::Ref<PB_STRING> replaced = makeRoom( str, count );
    put( **str, pb::Chars( chars, static_cast<std::size_t>( count ) ) );
}

void pbStringAppendCstr( PB_STRING **str, const char *cstr, PB_INT length )
{
    PB_ASSERT( str );
    PB_ASSERT( *str );
    PB_ASSERT( cstr || length == 0 );
    PB_ASSERT( length >= -1 );
    std::string_view utf8 = pb::cstrView( cstr, length );
    pb::Ref<PB_STRING> replaced = makeRoom( str, PB_INT_FROM( utf8.size() ) );
    put( **str, utf8 );
}

void pbStringClear( PB_STRING **str )
{
    PB_ASSERT( str );
    PB_ASSERT( *str );
    keep( str, 0, 0 );
}

void pbStringDelInner( PB_STRING **str, PB_INT offset, PB_INT count )
{
    PB_ASSERT( str );
    PB_ASSERT( *str );
    PB_ASSERT( offset >= 0 );
    PB_ASSERT( count >= 0 );
    PB_ASSERT( PB_INT_ADD_OK( offset, count ) );
    PB_ASSERT( offset + count <= pbStringLength( *str ) );
    PB_STRING &unshared = PB_UNSHARE( str, pbStringCreateFrom );
    PB_CHAR *hole = unshared.chars() + offset;
    PB_INT rest = unshared.length - offset - count;
    std::memmove( hole, hole + count, static_cast<std::size_t>( rest ) * sizeof( PB_CHAR ) );
    unshared.length -= count;
}

void pbStringDelLeading( PB_STRING **str, PB_INT count )
{
    PB_ASSERT( str );
    PB_ASSERT( *str );
    PB_ASSERT( count >= 0 );
    PB_ASSERT( count <= pbStringLength( *str ) );
    keep( str, count, ( *str )->length - count );
}

void pbStringDelTrailing( PB_STRING **str, PB_INT count )
{
    PB_ASSERT( str );
    PB_ASSERT( *str );
    PB_ASSERT( count >= 0 );
    PB_ASSERT( count <= pbStringLength( *str ) );
    keep( str, 0, ( *str )->length - count );
}

void pbStringTrim( PB_STRING **str )
{
    PB_ASSERT( str );
    PB_ASSERT( *str );
    keep( str, pb::trim( ( *str )->view() ) );
}

void pbStringTrimLeading( PB_STRING **str )
{
    PB_ASSERT( str );
    PB_ASSERT( *str );
    keep( str, pb::trimLeading( ( *str )->view() ) );
}

PB_VECTOR *pbStringSplitChar( PB_STRING *str, PB_CHAR separator, PB_INT limit )
{
    PB_ASSERT( str );
    PB_ASSERT( PB_CHAR_OK( separator ) );
    PB_ASSERT( limit == -1 || limit >= 1 );
    pb::Ref<PB_VECTOR> pieces = pb::adopt( pbVectorCreate() );
    pb::Chars rest = str->view();
    for ( pb::Chars piece; limit != 1 && pb::takePiece( rest, separator, piece ); --limit )
        appendPiece( pieces, piece );
    appendPiece( pieces, rest );
    return pieces.give();
}

PB_VECTOR *pbStringSplitWhiteSpace( PB_STRING *str )
{
    PB_ASSERT( str );
    pb::Ref<PB_VECTOR> pieces = pb::adopt( pbVectorCreate() );
    for ( pb::Chars rest = pb::trimLeading( str->view() ); !rest.empty(); rest = pb::trimLeading( rest ) ) {
        auto end = std::find_if( rest.begin(), rest.end(), pb::isWhiteSpace );
        auto length = static_cast<std::size_t>( end - rest.begin() );
        appendPiece( pieces, rest.first( length ) );
        rest = rest.subspan( length );
    }
    return pieces.give();
}

PB_STRING *pbStringJoinCstr( PB_VECTOR *strings, const char *separator, PB_INT length )
{
    PB_ASSERT( strings );
    PB_ASSERT( pbVectorContainsOnly( strings, pbStringSort() ) );
    PB_ASSERT( separator || length == 0 );
    PB_ASSERT( length >= -1 );
    pb::Ref<PB_STRING> joined = pb::adopt( pbStringCreate() );
    PB_INT count = pbVectorLength( strings );
    for ( PB_INT at = 0; at < count; ++at ) {
        pb::Ref<PB_STRING> str = pb::adoptAs<PB_STRING>( pbVectorObjAt( strings, at ) );
        if ( at > 0 )
            pbStringAppendCstr( joined.handle(), separator, length );
        pbStringAppend( joined.handle(), str.get() );
    }
    return joined.give();
}

PB_BOOL pbStringScanInt( PB_STRING *str, PB_INT offset, PB_INT base, PB_INT *value, PB_INT *optionalEnd )
{
    PB_ASSERT( str );
    PB_ASSERT( offset >= 0 );
    PB_ASSERT( offset <= pbStringLength( str ) );
    PB_ASSERT( base >= 2 );
    PB_ASSERT( base <= 36 );
    PB_ASSERT( value );
    pb::Scan scan = pb::scanInt( part( str, offset, str->length - offset ), static_cast<unsigned>( base ) );
    if ( scan.ok )
        *value = scan.value;
    if ( optionalEnd )
        *optionalEnd = offset + PB_INT_FROM( scan.length );
    return scan.ok;
}

PB_INT pbStringFind( PB_STRING *str, PB_INT offset, PB_STRING *text )
{
    PB_ASSERT( str );
    PB_ASSERT( offset >= 0 );
    PB_ASSERT( offset <= pbStringLength( str ) );
    PB_ASSERT( text );
    return find( str, offset, text->view() );
}

PB_INT pbStringFindCstr( PB_STRING *str, PB_INT offset, const char *cstr, PB_INT length )
{
    pb::Ref<PB_STRING> text = pb::adopt( pbStringCreateFromCstr( cstr, length ) );
    return pbStringFind( str, offset, text.get() );
}

PB_INT pbStringFindChar( PB_STRING *str, PB_INT offset, PB_CHAR ch )
{
    PB_ASSERT( str );
    PB_ASSERT( offset >= 0 );
    PB_ASSERT( offset <= pbStringLength( str ) );
    PB_ASSERT( PB_CHAR_OK( ch ) );
    return find( str, offset, { &ch, 1 } );
}

PB_BOOL pbStringBeginsWithChar( PB_STRING *str, PB_CHAR ch )
{
    PB_ASSERT( str );
    PB_ASSERT( PB_CHAR_OK( ch ) );
    return str->length > 0 && str->view().front() == ch;
}

PB_BOOL pbStringBeginsWithCstr( PB_STRING *str, const char *cstr, PB_INT length )
{
    PB_ASSERT( str );
    PB_ASSERT( cstr || length == 0 );
    PB_ASSERT( length >= -1 );
    pb::Utf8Reader beginning( pb::cstrView( cstr, length ) );
    pb::CharsReader reader( str->view() );
    PB_CHAR ch;
    for ( PB_CHAR wanted; beginning.next( wanted ); ) {
        if ( !reader.next( ch ) || ch != wanted )
            return false;
    }
    return true;
}

PB_BOOL pbStringEndsWithChar( PB_STRING *str, PB_CHAR ch )
{
    PB_ASSERT( str );
    PB_ASSERT( PB_CHAR_OK( ch ) );
    return str->length > 0 && str->view().back() == ch;
}

PB_BOOL pbStringEqualsCstr( PB_STRING *str, const char *cstr, PB_INT length )
{
    PB_ASSERT( str );
    PB_ASSERT( cstr || length == 0 );
    PB_ASSERT( length >= -1 );
    return pb::sameText( pb::CharsReader( str->view() ), pb::Utf8Reader( pb::cstrView( cstr, length ) ) );
}

PB_BOOL pbStringEqualsCaseFold( PB_STRING *strA, PB_STRING *strB )
{
    PB_ASSERT( strA );
    PB_ASSERT( strB );
    return equalsCaseFold( strA, pb::CharsReader( strB->view() ) );
}

PB_BOOL pbStringEqualsCaseFoldCstr( PB_STRING *str, const char *cstr, PB_INT length )
{
    PB_ASSERT( str );
    PB_ASSERT( cstr || length == 0 );
    PB_ASSERT( length >= -1 );
    return equalsCaseFold( str, pb::Utf8Reader( pb::cstrView( cstr, length ) ) );
}

PB_STRING *pbStringToCaseFold( PB_STRING *str )
{
    PB_ASSERT( str );
    pb::Ref<PB_STRING> folded = pb::adopt( newString( str->length ) );
    pb::CaseFoldReader reader( ( pb::CharsReader( str->view() ) ) );
    for ( PB_CHAR ch; reader.next( ch ); )
        pbStringAppendChar( folded.handle(), ch );
    return folded.give();
}
