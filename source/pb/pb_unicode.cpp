/*
 * Properties of code points and conversion of bytes to text. The only file that asks the Unicode tables; what is ASCII
 * is decided before they are asked. No state, any thread.
 */
#include <algorithm>
#include <pb/pb_unicode_private.hpp>
#include <utf8proc.h>
#include <vector>

/** The second byte has the narrower bounds of RFC 3629, section 4: no overlong form, no surrogate, no high plane. */
pb::Utf8Sequence pb::decodeBeyondAscii( std::string_view utf8 )
{
    auto lead = static_cast<PB_BYTE>( utf8.front() );
    unsigned tail = lead < 0xC2 || lead > 0xF4 ? 0 : lead < 0xE0 ? 1 : lead < 0xF0 ? 2 : 3;
    PB_BYTE low = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
    PB_BYTE high = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
    PB_CHAR ch = lead & ( 0x3FU >> tail );
    uint16_t length = 1;
    for ( ; length <= tail && length < utf8.size(); ++length ) {
        auto byte = static_cast<PB_BYTE>( utf8[length] );
        if ( byte < low || byte > high )
            break;
        ch = ch << 6 | ( byte & 0x3FU );
        low = 0x80;
        high = 0xBF;
    }
    bool whole = tail > 0 && length > tail;
    return { whole ? ch : charReplacement, length, whole };
}

/** utf8proc folds by CaseFolding C and F; without its decomposing options it leaves everything else as it is. */
pb::CaseFold pb::caseFoldBeyondAscii( PB_CHAR ch )
{
    std::array<utf8proc_int32_t, 4> folded;
    utf8proc_ssize_t count = utf8proc_decompose_char( static_cast<utf8proc_int32_t>( ch ), folded.data(),
        static_cast<utf8proc_ssize_t>( folded.size() ), UTF8PROC_CASEFOLD, nullptr );
    if ( count < 1 || count > static_cast<utf8proc_ssize_t>( folded.size() ) )
        return { { ch }, 1 };
    CaseFold result{ {}, static_cast<std::size_t>( count ) };
    std::copy_n( folded.begin(), result.count, result.chars.begin() );
    return result;
}

PB_INT pbUnicodeHexadecimalDigitValue( PB_CHAR ch )
{
    unsigned value = pb::digitValue( ch );
    return value < 16 ? PB_INT{ value } : -1;
}

/** White_Space is the separator categories and a few controls, among them NEXT LINE (0x85). */
PB_BOOL pbUnicodeIsWhiteSpace( PB_CHAR ch )
{
    if ( ch <= 0x7F )
        return pb::isWhiteSpace( ch );
    if ( ch == 0x85 )
        return true;
    if ( !PB_CHAR_OK( ch ) )
        return false;
    utf8proc_category_t category = utf8proc_category( static_cast<utf8proc_int32_t>( ch ) );
    return category == UTF8PROC_CATEGORY_ZS || category == UTF8PROC_CATEGORY_ZL || category == UTF8PROC_CATEGORY_ZP;
}

static PB_STRING *fromUtf8( std::string_view bytes, bool replace )
{
    pb::Utf8Reader reader( bytes );
    PB_CHAR ch;
    while ( !replace && reader.next( ch ) ) {
        if ( !reader.wellFormed() )
            return nullptr;
    }
    return pbStringCreateFromCstr( bytes.data(), PB_INT_FROM( bytes.size() ) );
}

static PB_STRING *fromAscii( std::string_view bytes, bool replace )
{
    std::vector<PB_CHAR> chars;
    chars.reserve( bytes.size() );
    for ( char byte : bytes ) {
        auto ch = static_cast<PB_BYTE>( byte );
        if ( ch > 0x7F && !replace )
            return nullptr;
        chars.push_back( ch > 0x7F ? pb::charReplacement : ch );
    }
    return pbStringCreateFromCharsCopy( chars.data(), PB_INT_FROM( chars.size() ) );
}

PB_STRING *pbCharsetTryConvertBufferToStringWithFlags( PB_INT charset, PB_BUFFER *buf, PB_INT flags )
{
    PB_ASSERT( PB_CHARSET_OK( charset ) );
    PB_ASSERT( buf );
    PB_ASSERT( ( flags & ~PB_CHARSET_FLAG_REPLACE ) == 0 );
    std::string_view bytes(
        reinterpret_cast<const char *>( pbBufferBacking( buf ) ), static_cast<std::size_t>( pbBufferLength( buf ) ) );
    bool replace = flags & PB_CHARSET_FLAG_REPLACE;
    return charset == PB_CHARSET_ASCII ? fromAscii( bytes, replace ) : fromUtf8( bytes, replace );
}
