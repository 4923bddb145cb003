/* The base encodings of RFC 4648, decoding only: one decoder, and a row for each alphabet. */
#include <pb/pb_text.hpp>
#include <rfc/rfc.h>
#include <string_view>

namespace {

struct Base {
    std::string_view alphabet;
    unsigned bits;     // that a character stands for
    std::size_t group; // of characters that stand for whole bytes
    bool eitherCase;
    bool padding; // must fill the last group
};

constexpr Base BASES[] = {
    { "0123456789ABCDEF", 4, 2, true, true },
    { "ABCDEFGHIJKLMNOPQRSTUVWXYZ234567", 5, 8, true, true },
    { "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/", 6, 4, false, true },
    { "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_", 6, 4, false, false },
};

/** Whether a text of so many characters and so much padding can be: whole bytes, no character more than they need. */
bool lengthsFit( const Base &base, std::size_t digits, std::size_t padding )
{
    std::size_t rest = digits % base.group;
    if ( rest * base.bits % 8 >= base.bits )
        return false;
    std::size_t wanted = rest ? base.group - rest : 0;
    return padding == wanted || ( padding == 0 && !base.padding );
}

std::size_t digitValue( const Base &base, PB_CHAR ch )
{
    if ( ch > 0x7F )
        return std::string_view::npos;
    char digit = static_cast<char>( ch );
    if ( base.eitherCase && digit >= 'a' && digit <= 'z' )
        digit = static_cast<char>( digit - 'a' + 'A' );
    return base.alphabet.find( digit );
}

} // namespace

PB_BUFFER *rfcBaseTryDecode( PB_INT base, PB_STRING *text )
{
    PB_ASSERT( RFC_BASE_OK( base ) );
    PB_ASSERT( text );
    const Base &rules = BASES[base];
    pb::Chars chars = pb::chars( text );
    auto padding = static_cast<std::size_t>(
        std::find_if( chars.rbegin(), chars.rend(), []( PB_CHAR ch ) { return ch != '='; } ) - chars.rbegin() );
    pb::Chars digits = chars.first( chars.size() - padding );
    if ( !lengthsFit( rules, digits.size(), padding ) )
        return nullptr;

    pb::Ref<PB_BUFFER> bytes = pb::adopt( pbBufferCreateWithCapacity( PB_INT( digits.size() * rules.bits / 8 ) ) );
    uint32_t pending = 0; // bits that make no whole byte yet
    unsigned pendingBits = 0;
    for ( PB_CHAR ch : digits ) {
        std::size_t value = digitValue( rules, ch );
        if ( value == std::string_view::npos )
            return nullptr;
        pending = pending << rules.bits | static_cast<uint32_t>( value );
        pendingBits += rules.bits;
        if ( pendingBits < 8 )
            continue;
        pendingBits -= 8;
        pbBufferAppendByte( bytes.handle(), static_cast<PB_BYTE>( pending >> pendingBits ) );
        pending &= ( 1U << pendingBits ) - 1;
    }
    return pending == 0 ? bytes.give() : nullptr;
}
