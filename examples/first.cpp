/* A first program in C++: starts the library and prints what class of address its arguments are. */
#include <in/in.h>
#include <iostream>
#include <pb/pb.hpp>

int main( int argc, char **argv )
{
    if ( !pbRuntimeTryStart( "in", -1 ) ) {
        std::cerr << pb::text( pb::adopt( pbRuntimeErrorText() ).get() ) << '\n';
        return 1;
    }
    for ( int i = 1; i < argc; ++i ) {
        pb::Ref<IN_ADDRESS> ina = pb::adopt( inAddressTryCreateFromCstr( argv[i], -1 ) );
        if ( !ina ) {
            std::cout << argv[i] << " is not an IP address\n";
            continue;
        }
        std::cout << pb::text( pb::adopt( inAddressToString( ina.get() ) ).get() )
                  << ( inAddressIsPrivate( ina.get() )       ? " is private\n"
                         : inAddressIsMulticast( ina.get() ) ? " is multicast\n"
                         : inAddressIsUnicast( ina.get() )   ? " is unicast\n"
                                                             : " is no peer\n" );
    }
    pbRuntimeStop();
}
