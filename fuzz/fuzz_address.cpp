/* Any text parses or does not; what parses prints, short and in full, and both forms parse to an equal address. */
#include <fuzz_text.hpp>
#include <in/in.h>

extern "C" int LLVMFuzzerTestOneInput( const uint8_t *data, size_t size )
{
    fuzz::roundTrip( data, size, inAddressTryCreateFromString, inAddressToStringShrink, inAddressEquals );
    return fuzz::roundTrip( data, size, inAddressTryCreateFromString, inAddressToStringExpand, inAddressEquals );
}
