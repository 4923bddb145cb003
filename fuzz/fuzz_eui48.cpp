/* Any text parses or does not; what parses prints, and what was printed parses to an equal object. */
#include <fuzz_text.hpp>
#include <in/in.h>

extern "C" int LLVMFuzzerTestOneInput( const uint8_t *data, size_t size )
{
    return fuzz::roundTrip(
        data, size, inEui48AddressTryCreateFromString, inEui48AddressToString, inEui48AddressEquals );
}
