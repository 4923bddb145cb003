/*
 * Host parts of IRIs. Beside not failing, a text that is accepted must hold nothing that ends a host in an IRI, and
 * brackets only around the whole.
 */
#include <algorithm>
#include <cstdint>
#include <iri/iri.h>
#include <pb/pb_text.hpp>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput( const uint8_t *data, size_t size );

extern "C" int LLVMFuzzerTestOneInput( const uint8_t *data, size_t size )
{
    pb::Ref<PB_STRING> text = pb::string( { reinterpret_cast<const char *>( data ), size } );
    if ( !iriGensValidatePart( text.get(), IRI_PART_HOST ) )
        return 0;
    pb::Chars host = pb::chars( text.get() );
    bool literal = !host.empty() && host.front() == '[';
    PB_ASSERT( !literal || host.back() == ']' );
    if ( literal )
        host = host.subspan( 1, host.size() - 2 );
    std::string_view ends = literal ? "/?#@[] %" : "/?#@[] :";
    bool ended = std::any_of( host.begin(), host.end(),
        [ends]( PB_CHAR ch ) { return ch < 0x80 && ends.find( static_cast<char>( ch ) ) != std::string_view::npos; } );
    PB_ASSERT( !ended );
    return 0;
}
