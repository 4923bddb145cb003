/* Any text parses or does not; what parses contains its own address and, printed, parses to an equal network. */
#include <fuzz_text.hpp>
#include <in/in.h>

static PB_STRING *print( IN_NETWORK *net )
{
    pb::Ref<IN_ADDRESS> ina = pb::adopt( inNetworkAddress( net ) );
    PB_ASSERT( inNetworkContainsAddress( net, ina.get() ) );
    return inNetworkToString( net );
}

extern "C" int LLVMFuzzerTestOneInput( const uint8_t *data, size_t size )
{
    return fuzz::roundTrip( data, size, inNetworkTryCreateFromString, print, inNetworkEquals );
}
