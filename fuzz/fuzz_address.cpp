/*
 * Any text parses or does not; what parses prints in full, and that parses to an equal address. (The short form need not:
 * where "::" stands for a single group at an end it has nine pieces, which the parser does not take.)
 */
#include <fuzz_text.hpp>
#include <in/in.h>

extern "C" int LLVMFuzzerTestOneInput( const uint8_t *data, size_t size )
{
    return fuzz::roundTrip( data, size, inAddressTryCreateFromString, inAddressToStringExpand, inAddressEquals );
}
