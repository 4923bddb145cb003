/* Any text parses or does not; what parses contains its own address and, printed in full, parses to an equal network. */
#include <fuzz_text.hpp>
#include <in/in.h>

static PB_STRING *printInFull( IN_NETWORK *net )
{
    pb::Ref<IN_ADDRESS> ina = pb::adopt( inNetworkAddress( net ) );
    PB_ASSERT( inNetworkContainsAddress( net, ina.get() ) );
    PB_STRING *address = inAddressToStringExpand( ina.get() );
    if ( !inNetworkHasPrefixLength( net ) )
        return address;
    return pb::format( "%~s/%i", address, inNetworkPrefixLength( net ) ).give();
}

extern "C" int LLVMFuzzerTestOneInput( const uint8_t *data, size_t size )
{
    return fuzz::roundTrip( data, size, inNetworkTryCreateFromString, printInFull, inNetworkEquals );
}
