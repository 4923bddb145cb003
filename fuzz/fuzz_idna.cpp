/*
 * Domain names and Punycode. Beside not failing: what is decoded is encoded to the same text, case apart; the ASCII form
 * of a name is ASCII, and stays what it is by way of Unicode.
 */
#include <algorithm>
#include <cstdint>
#include <in/dns/in_dns_idna_private.h>
#include <in/dns/in_dns_punycode.h>
#include <pb/pb_text.hpp>

namespace {

using Text = pb::Ref<PB_STRING>;

bool holds( PB_STRING *text, PB_CHAR from, PB_CHAR to )
{
    pb::Chars chars = pb::chars( text );
    return std::any_of( chars.begin(), chars.end(), [=]( PB_CHAR ch ) { return ch >= from && ch <= to; } );
}

void checkPunycode( PB_STRING *text, PB_INT limit )
{
    Text decoded = pb::adopt( inDnsPunycodeTryDecode( text, limit ) );
    if ( !decoded || holds( decoded.get(), PB_CHAR_MAX, PB_CHAR_MAX ) )
        return;
    PB_ASSERT( limit == -1 || pbStringLength( decoded.get() ) <= limit );
    Text encoded = pb::adopt( inDnsPunycodeTryEncode( decoded.get(), -1 ) );
    PB_ASSERT( encoded && pbStringEqualsCaseFold( encoded.get(), text ) );
}

void checkLabel( PB_STRING *label, PB_BOOL allowUnassigned, PB_BOOL useStd3AsciiRules )
{
    Text ascii = pb::adopt( in___DnsIdnaLabelTryToAscii( label, allowUnassigned, useStd3AsciiRules ) );
    if ( !ascii )
        return;
    PB_ASSERT( pbStringLength( ascii.get() ) >= 1 && pbStringLength( ascii.get() ) <= 63 );
    PB_ASSERT( !holds( ascii.get(), 0x80, PB_CHAR_MAX ) );
    Text unicode = pb::adopt( in___DnsIdnaLabelToUnicode( ascii.get(), allowUnassigned, useStd3AsciiRules ) );
    Text again = pb::adopt( in___DnsIdnaLabelTryToAscii( unicode.get(), allowUnassigned, useStd3AsciiRules ) );
    PB_ASSERT( again && pbStringEqualsCaseFold( again.get(), ascii.get() ) );
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput( const uint8_t *data, size_t size );

extern "C" int LLVMFuzzerTestOneInput( const uint8_t *data, size_t size )
{
    Text text = pb::string( { reinterpret_cast<const char *>( data ), size } );
    checkPunycode( text.get(), 63 );
    checkPunycode( text.get(), -1 );
    for ( bool allowUnassigned : { false, true } )
        for ( bool useStd3AsciiRules : { false, true } )
            checkLabel( text.get(), allowUnassigned, useStd3AsciiRules );
    if ( !inDnsIdnaDomainNameOk( text.get() ) )
        return 0;
    Text unicode = pb::adopt( inDnsIdnaDomainNameToUnicode( text.get() ) );
    PB_ASSERT( inDnsIdnaDomainNameOk( unicode.get() ) );
    PB_ASSERT( inDnsIdnaDomainNameEquals( text.get(), unicode.get() ) );
    Text ascii = pb::adopt( inDnsIdnaDomainNameToAscii( text.get() ) );
    PB_ASSERT( !holds( ascii.get(), 0x80, PB_CHAR_MAX ) );
    return 0;
}
