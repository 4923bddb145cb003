/*
 * An echo service in C: sends every datagram back to where it came from, until SIGINT or SIGTERM.
 *
 *     example-echo [address [port]]
 *
 * The function of an alertable does the work, on the thread that serves all UDP channels; the main thread waits to be told
 * that it is over. Without an address the stack chooses one, without a port the system does.
 */
#define _POSIX_C_SOURCE 200809L /* sigwait */
#include <in/in.h>
#include <signal.h>
#include <stdatomic.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

static atomic_bool over; /* what still comes is left */

/** Prints a line, the text of an object in it; the string is owned, and released. */
static void say( const char *words, PB_STRING *owned )
{
    PB_BUFFER *utf8 = pbStringToUtf8( owned );
    printf( "%s%.*s\n", words, (int)pbBufferLength( utf8 ), (const char *)pbBufferBacking( utf8 ) );
    fflush( stdout );
    pbBufferRelease( utf8 );
    pbStringRelease( owned );
}

/**
 * Called when datagrams begin to wait, and not again before all have been taken; so it takes all. A service that has more
 * to do than this lets the alertable of a process (prProcessCreateAlertable) do it, on another thread.
 */
static void echo( PB_OBJ *argument )
{
    IN_UDP_CHANNEL *chan = inUdpChannelFrom( argument );
    IN_UDP_PACKET *pkt;
    while ( !over && ( pkt = inUdpChannelReceive( chan ) ) ) {
        inUdpChannelSend( chan, pkt );
        inUdpPacketRelease( pkt );
    }
}

/** Called when the channel has failed: ends the wait of the main thread. */
static void fail( PB_OBJ *argument )
{
    (void)argument;
    kill( getpid(), SIGTERM );
}

/** Waits until the stack has an address, ten seconds at most. It looks at the host in the background. */
static void awaitAddress( IN_STACK *stack )
{
    PB_BARRIER *barrier = pbBarrierCreate( 1 );
    PB_SIGNALABLE *updated = pbSignalableCreateBarrier( barrier );
    PB_INT end = pbTimestamp() + 10000;
    for ( ;; ) {
        inStackUpdateAddSignalable( stack, updated ); /* register first, then look: so no change is missed */
        if ( inStackHasAddress( stack ) ||
             !pbBarrierPassTimed( barrier, pbIntConstrain( end - pbTimestamp(), 0, 10000 ) ) )
            break;
        pbBarrierBlock( barrier );
    }
    inStackUpdateDelSignalable( stack, updated );
    pbSignalableRelease( updated );
    pbBarrierRelease( barrier );
}

/** A stack on the address, or on one that it chooses. */
static IN_STACK *createStack( IN_ADDRESS *optionalAddress )
{
    IN_OPTIONS *options = inOptionsCreate();
    if ( optionalAddress )
        inOptionsSetAddress( &options, optionalAddress );
    IN_STACK *stack = inStackCreate( options, NULL );
    inOptionsRelease( options );
    awaitAddress( stack );
    return stack;
}

/** Serves until a signal comes; whether the channel is still good then. */
static PB_BOOL serve( IN_UDP_CHANNEL *chan, const sigset_t *signals )
{
    PB_ALERTABLE *alertable = pbAlertableCreate( echo, inUdpChannelObj( chan ) );
    PB_SIGNALABLE *failed = pbSignalableCreate( fail, NULL );
    inUdpChannelErrorAddSignalable( chan, failed );
    inUdpChannelReceiveAddAlertable( chan, alertable );

    int number;
    sigwait( signals, &number );
    over = true;
    PB_BOOL good = !inUdpChannelError( chan );

    /* the channel holds the alertable, and that the channel: deleting it breaks the circle */
    inUdpChannelReceiveDelAlertable( chan, alertable );
    inUdpChannelErrorDelSignalable( chan, failed );
    pbAlertableRelease( alertable );
    pbSignalableRelease( failed );
    return good;
}

/** Opens the channel and serves; whether that went well. Releases everything that it made. */
static PB_BOOL run( IN_ADDRESS *optionalAddress, PB_INT optionalPort, const sigset_t *signals )
{
    IN_STACK *stack = createStack( optionalAddress );
    IN_UDP_CHANNEL *chan = inUdpChannelTryCreate( stack, NULL, NULL, NULL, optionalPort, 0, NULL );
    PB_BOOL good = false;
    if ( chan ) {
        IN_UDP_ADDRESS *local = inUdpChannelLocalAddress( chan );
        say( "echo on ", inUdpAddressToString( local ) );
        inUdpAddressRelease( local );
        good = serve( chan, signals );
        inUdpChannelRelease( chan );
    } else {
        fputs( "no channel could be opened; QUELVARIS_TRACE=stderr tells why\n", stderr );
    }
    inStackRelease( stack );
    return good;
}

int main( int argc, char **argv )
{
    /* blocked here and in every thread of the library, so that they wait for sigwait */
    sigset_t signals;
    sigemptyset( &signals );
    sigaddset( &signals, SIGINT );
    sigaddset( &signals, SIGTERM );
    sigprocmask( SIG_BLOCK, &signals, NULL );

    if ( !pbRuntimeTryStart( "in", -1 ) ) {
        say( "", pbRuntimeErrorText() );
        return 1;
    }
    IN_ADDRESS *address = argc > 1 ? inAddressTryCreateFromCstr( argv[1], -1 ) : NULL;
    PB_INT port = argc > 2 ? strtol( argv[2], NULL, 10 ) : IN_UDP_PORT_INVALID; /* then the system picks one */
    PB_BOOL good = false;
    if ( ( argc > 1 && !address ) || ( argc > 2 && !IN_UDP_PORT_OK( port ) ) )
        fputs( "usage: example-echo [address [port]]\n", stderr );
    else
        good = run( address, port, &signals );
    if ( address )
        inAddressRelease( address );
    pbRuntimeStop(); /* last: all channels and stacks are released */
    return good ? 0 : 1;
}
