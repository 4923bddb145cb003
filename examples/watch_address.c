/*
 * Follows a stack in C: prints the address that it has now, and then each one that it changes to, until SIGINT or SIGTERM.
 *
 *     example-watch-address [interface]
 *
 * A process of the library does the looking. It never runs twice at once, so what it remembers needs no lock; and being
 * scheduled while it runs makes it run again, so that no change is missed.
 */
#define _POSIX_C_SOURCE 200809L /* sigwait */
#include <in/in.h>
#include <pr/pr.h>
#include <signal.h>
#include <stdio.h>

static PB_SIGNALABLE *wakes; /* schedules the process */
static PB_STRING *shown;     /* the text that was printed last */

/** What there is to say of the stack now, a new string. */
static PB_STRING *describe( IN_STACK *stack )
{
    IN_ADDRESS *address = inStackAddress( stack );
    if ( !address )
        return pbStringCreateFromCstr( "no address", -1 );
    PB_STRING *text = inAddressToString( address );
    inAddressRelease( address );
    return text;
}

static void print( PB_STRING *text )
{
    PB_BUFFER *utf8 = pbStringToUtf8( text );
    printf( "%.*s\n", (int)pbBufferLength( utf8 ), (const char *)pbBufferBacking( utf8 ) );
    fflush( stdout );
    pbBufferRelease( utf8 );
}

/** The process. A signalable is fired once, so it is registered at each run, and before the look. */
static void look( PB_OBJ *argument )
{
    IN_STACK *stack = inStackFrom( argument );
    inStackUpdateAddSignalable( stack, wakes );
    PB_STRING *text = describe( stack );
    if ( !shown || !pbStringEquals( text, shown ) )
        print( text );
    if ( shown )
        pbStringRelease( shown );
    shown = text;
}

static IN_STACK *createStack( const char *optionalInterface )
{
    IN_OPTIONS *options = inOptionsCreate();
    if ( optionalInterface ) {
        PB_STRING *name = pbStringCreateFromCstr( optionalInterface, -1 );
        inOptionsSetInterface( &options, name );
        pbStringRelease( name );
    }
    IN_STACK *stack = inStackCreate( options, NULL );
    inOptionsRelease( options );
    return stack;
}

static void watch( IN_STACK *stack, const sigset_t *signals )
{
    PR_PROCESS *process = prProcessCreateCstr( NULL, look, inStackObj( stack ), "look", -1 );
    wakes = prProcessCreateSignalable( process );
    prProcessSchedule( process );

    int number;
    sigwait( signals, &number );

    prProcessHalt( process );
    prProcessHaltWait( process ); /* the last run is over, and the process has released the stack */
    inStackUpdateDelSignalable( stack, wakes );
    pbSignalableRelease( wakes );
    prProcessRelease( process );
    if ( shown )
        pbStringRelease( shown );
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
        PB_STRING *why = pbRuntimeErrorText();
        print( why );
        pbStringRelease( why );
        return 1;
    }
    IN_STACK *stack = createStack( argc > 1 ? argv[1] : NULL );
    watch( stack, &signals );
    inStackRelease( stack );
    pbRuntimeStop(); /* last: nothing of the library is held any more */
    return 0;
}
