/*
 * Nameprep, over GNU libidn's stringprep, whose tables are those of Unicode 3.2 as RFC 3454 wants them. Two things that
 * it leaves to its caller are done here: surrogates are prohibited (RFC 3454 table C.5), and it ends a text at U+0000,
 * which the profile lets through.
 */
#include <algorithm>
#include <pb/pb_text.hpp>
#include <rfc/rfc.h>
#include <stringprep.h>
#include <vector>

namespace {

constexpr PB_CHAR MAX_CONTROL = 0x1F;

/**
 * A control character that the text does not hold, to stand for U+0000 meanwhile: the profile treats all of
 * U+0000..U+001F alike (it neither maps nor prohibits them, and none has a direction). 0 for a text that holds all of
 * them.
 */
PB_CHAR findStandIn( const std::vector<PB_CHAR> &text )
{
    for ( PB_CHAR ch = 1; ch <= MAX_CONTROL; ++ch )
        if ( std::find( text.begin(), text.end(), ch ) == text.end() )
            return ch;
    return 0;
}

/** Prepares the text in place; mapping and normalising can make it longer, so the room grows until it is enough. */
int prepare( std::vector<PB_CHAR> &text, Stringprep_profile_flags flags )
{
    for ( std::size_t room = 2 * text.size() + 16;; room *= 2 ) {
        std::vector<PB_CHAR> prepared( text );
        prepared.resize( room );
        std::size_t length = text.size();
        int result = stringprep_4i( prepared.data(), &length, room, flags, stringprep_nameprep );
        if ( result == STRINGPREP_TOO_SMALL_BUFFER )
            continue;
        prepared.resize( length );
        text = std::move( prepared );
        return result;
    }
}

} // namespace

PB_STRING *rfcStringprepProfileNameprep( PB_STRING *str, PB_BOOL allowUnassigned )
{
    PB_ASSERT( str );
    pb::Chars chars = pb::chars( str );
    std::vector<PB_CHAR> text( chars.begin(), chars.end() );
    if ( std::any_of( text.begin(), text.end(), []( PB_CHAR ch ) { return ch >= 0xD800 && ch <= 0xDFFF; } ) )
        return nullptr;
    bool zeros = std::find( text.begin(), text.end(), 0U ) != text.end();
    PB_CHAR standIn = zeros ? findStandIn( text ) : 0;
    if ( zeros && standIn == 0 )
        return nullptr;
    if ( zeros )
        std::replace( text.begin(), text.end(), 0U, standIn );

    auto flags = static_cast<Stringprep_profile_flags>( allowUnassigned ? 0 : STRINGPREP_NO_UNASSIGNED );
    int result = prepare( text, flags );
    PB_ASSERT( result != STRINGPREP_MALLOC_ERROR );
    if ( result != STRINGPREP_OK )
        return nullptr;
    if ( zeros )
        std::replace( text.begin(), text.end(), standIn, 0U );
    return pbStringCreateFromCharsCopy( text.data(), static_cast<PB_INT>( text.size() ) );
}
