/* A first program in C: starts the library, reads networks and tells which of them contain an address. */
#include <in/in.h>
#include <stdio.h>

static void print( PB_STRING *owned )
{
    PB_BUFFER *utf8 = pbStringTryToCstr( owned );
    printf( "%s", (const char *)pbBufferBacking( utf8 ) );
    pbBufferRelease( utf8 );
    pbStringRelease( owned );
}

int main( int argc, char **argv )
{
    if ( !pbRuntimeTryStart( "in", -1 ) ) {
        print( pbRuntimeErrorText() );
        return 1;
    }
    IN_ADDRESS *ina = inAddressTryCreateFromCstr( argc > 1 ? argv[1] : "192.168.1.77", -1 );
    for ( int i = 2; ina && i < argc; ++i ) {
        PB_STRING *text = pbStringCreateFromCstr( argv[i], -1 );
        IN_NETWORK *net = inNetworkTryCreateFromString( text );
        pbStringRelease( text );
        if ( !net )
            continue;
        print( inNetworkToString( net ) );
        printf( inNetworkContainsAddress( net, ina ) ? " contains it\n" : " does not contain it\n" );
        inNetworkRelease( net );
    }
    if ( ina ) {
        print( inAddressToStringExpand( ina ) );
        printf( "\n" );
        inAddressRelease( ina );
    }
    pbRuntimeStop();
    return ina ? 0 : 1;
}
