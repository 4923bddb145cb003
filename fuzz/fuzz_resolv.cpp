/*
 * Lists of name servers. What any text gives is in ascending order, each once, and stands in the text behind the word that
 * begins its line; written as a list of its own it gives the same again, and the text twice over gives nothing else.
 */
#include <cstdint>
#include <in/imp/in_imp_sockaddr_unix_private.h>
#include <pb/pb.hpp>
#include <string>

namespace {

pb::Ref<PB_VECTOR> serversOf( const std::string &text )
{
    pb::Ref<PB_BUFFER> buf = pb::adopt( pbBufferCreateFromBytesCopy( text.data(), PB_INT_FROM( text.size() ) ) );
    pb::Ref<PB_LINE_SOURCE> lines = pb::adopt( pbLineSourceCreateFromBuffer( buf.get() ) );
    return pb::adopt( in___ImpReadDnsServers( lines.get() ) );
}

pb::Ref<IN_ADDRESS> serverAt( PB_VECTOR *servers, PB_INT index )
{
    return pb::adoptAs<IN_ADDRESS>( pbVectorObjAt( servers, index ) );
}

/** How many lines begin as those of servers do. */
PB_INT candidates( const std::string &text )
{
    PB_INT count = text.starts_with( "nameserver" );
    for ( std::size_t at = 0; ( at = text.find( "\nnameserver", at ) ) != std::string::npos; ++at )
        ++count;
    return count;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput( const uint8_t *data, size_t size );

extern "C" int LLVMFuzzerTestOneInput( const uint8_t *data, size_t size )
{
    std::string text( reinterpret_cast<const char *>( data ), size ), list;
    pb::Ref<PB_VECTOR> servers = serversOf( text );
    PB_ASSERT( pbVectorLength( servers.get() ) <= candidates( text ) );
    for ( PB_INT i = 0; i < pbVectorLength( servers.get() ); ++i ) {
        pb::Ref<IN_ADDRESS> ina = serverAt( servers.get(), i );
        PB_ASSERT( i == 0 || inAddressCompare( serverAt( servers.get(), i - 1 ).get(), ina.get() ) < 0 );
        list += "nameserver " + pb::text( pb::adopt( inAddressToStringExpand( ina.get() ) ).get() ) + "\n";
    }
    PB_ASSERT( pbVectorEquals( servers.get(), serversOf( list ).get() ) );
    PB_ASSERT( pbVectorEquals( servers.get(), serversOf( text + "\n" + text ).get() ) );
    return 0;
}
