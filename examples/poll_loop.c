/*
 * An echo service in C for a program with a loop of its own: one poll(2) serves UDP channels, a TCP listener with its
 * connections, and what has to end the loop. No function of this program runs on another thread.
 *
 *     example-poll-loop [address [channels]]
 *
 * An alertable with a descriptor is readable while there is something to take from its channel, so poll says which channels
 * have something. A signalable with a descriptor says that a connection has ended, that something has failed, or that the
 * stack was updated. SIGINT and SIGTERM come through a descriptor as well. With epoll, libuv or GLib only watch, ready and
 * awaitReadable would be others.
 *
 * A channel that has ended sends nothing, so a peer that closes its direction gets no answer to what was taken last.
 */
#define _GNU_SOURCE /* signalfd */
#include <errno.h>
#include <in/in.h>
#include <poll.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/signalfd.h>
#include <unistd.h>

#define CHANNELS_MAX 100
#define CONNECTIONS_MAX 100

/* What is polled: a descriptor, or -1, which poll passes over. */
enum {
    STOP,
    FAILED,
    UPDATED,
    PENDING,                           /* connections to the listener */
    CHANNELS,                          /* datagrams of the first channel */
    MOVABLE = CHANNELS + CHANNELS_MAX, /* the first connection can receive, or send what it owes */
    ENDED = MOVABLE + CONNECTIONS_MAX, /* the first connection has ended */
    SOURCES = ENDED + CONNECTIONS_MAX
};
static struct pollfd polled[SOURCES];

static void watch( int source, int fd )
{
    polled[source].fd = fd;
    polled[source].events = POLLIN;
    polled[source].revents = 0;
}

static PB_BOOL ready( int source )
{
    return polled[source].revents != 0;
}

/** Waits for any source; false when that cannot be done. */
static PB_BOOL awaitReadable( int milliseconds )
{
    int count;
    do
        count = poll( polled, SOURCES, milliseconds );
    while ( count < 0 && errno == EINTR );
    return count >= 0;
}

/** A channel, and what it is watched with. */
struct channel {
    IN_UDP_CHANNEL *chan;
    PB_ALERTABLE *received;
};
static struct channel channels[CHANNELS_MAX];

/** An accepted connection, or none when `chan` is null. It is added to one alert: of sending as long as it owes bytes. */
struct connection {
    IN_TCP_CHANNEL *chan;
    PB_ALERTABLE *movable;
    PB_SIGNALABLE *ended;
    PB_BUFFER *bytes; /* taken, and sent up to `sent` */
    PB_INT sent;
    PB_BOOL owes;
};
static struct connection connections[CONNECTIONS_MAX];

static IN_TCP_CHANNEL_LISTENER *listener;
static PB_ALERTABLE *pending;

/** Prints a line, the text of an object in it; the string is owned, and released. */
static void say( const char *words, PB_STRING *owned )
{
    PB_BUFFER *utf8 = pbStringToUtf8( owned );
    printf( "%s%.*s\n", words, (int)pbBufferLength( utf8 ), (const char *)pbBufferBacking( utf8 ) );
    fflush( stdout );
    pbBufferRelease( utf8 );
    pbStringRelease( owned );
}

/* ---- UDP */

/** Takes and answers all that waits: then the descriptor is readable no longer. */
static void echo( struct channel *channel )
{
    IN_UDP_PACKET *pkt;
    while ( ( pkt = inUdpChannelReceive( channel->chan ) ) ) {
        inUdpChannelSend( channel->chan, pkt );
        inUdpPacketRelease( pkt );
    }
}

static PB_BOOL beginChannel( int index, IN_STACK *stack, PB_SIGNALABLE *failed )
{
    struct channel *channel = &channels[index];
    channel->received = pbAlertableTryCreateDescriptor();
    if ( !channel->received )
        return false;
    channel->chan = inUdpChannelTryCreate( stack, NULL, NULL, NULL, IN_UDP_PORT_INVALID, 0, NULL );
    if ( !channel->chan ) {
        pbAlertableRelease( channel->received );
        return false;
    }
    inUdpChannelErrorAddSignalable( channel->chan, failed );
    inUdpChannelReceiveAddAlertable( channel->chan, channel->received );
    watch( CHANNELS + index, pbAlertableDescriptor( channel->received ) );
    IN_UDP_ADDRESS *local = inUdpChannelLocalAddress( channel->chan );
    say( "udp echo on ", inUdpAddressToString( local ) );
    inUdpAddressRelease( local );
    return true;
}

/** Forgets the descriptor first: it is closed with the alertable, and its number may be given out again. */
static void endChannel( int index, PB_SIGNALABLE *failed )
{
    struct channel *channel = &channels[index];
    watch( CHANNELS + index, -1 );
    inUdpChannelReceiveDelAlertable( channel->chan, channel->received );
    inUdpChannelErrorDelSignalable( channel->chan, failed );
    pbAlertableRelease( channel->received );
    inUdpChannelRelease( channel->chan );
}

/* ---- TCP */

/** Watches for room to send, or for bytes: the alert of sending is nearly always set, and would end each poll at once. */
static void follow( struct connection *connection, PB_BOOL owes )
{
    if ( owes == connection->owes )
        return;
    ( owes ? inTcpChannelReceiveDelAlertable : inTcpChannelSendDelAlertable )( connection->chan, connection->movable );
    ( owes ? inTcpChannelSendAddAlertable : inTcpChannelReceiveAddAlertable )( connection->chan, connection->movable );
    connection->owes = owes;
}

/** Sends what is owed until the system takes no more; whether that was all. */
static PB_BOOL sendOwed( struct connection *connection )
{
    while ( connection->sent < pbBufferLength( connection->bytes ) ) {
        PB_INT count = inTcpChannelSend( connection->chan, connection->bytes, connection->sent,
            pbBufferLength( connection->bytes ) - connection->sent );
        if ( count == 0 )
            return false;
        connection->sent += count;
    }
    pbBufferClear( &connection->bytes );
    connection->sent = 0;
    return true;
}

/** Receives until there is nothing, or until a peer that does not read has to be waited for. */
static void move( struct connection *connection )
{
    PB_BOOL all;
    while ( ( all = sendOwed( connection ) ) && inTcpChannelReceive( connection->chan, &connection->bytes, -1 ) > 0 )
        ;
    follow( connection, !all );
}

static void endConnection( int index )
{
    struct connection *connection = &connections[index];
    watch( MOVABLE + index, -1 );
    watch( ENDED + index, -1 );
    pbAlertableRelease( connection->movable );
    pbSignalableRelease( connection->ended );
    pbBufferRelease( connection->bytes );
    inTcpChannelRelease( connection->chan ); /* with it go its alerts, which hold the alertable too */
    connection->chan = NULL;
}

/** Serves a new connection, which is owned; one for which there is no room is closed. */
static void beginConnection( IN_TCP_CHANNEL *chan )
{
    int index = 0;
    while ( index < CONNECTIONS_MAX && connections[index].chan )
        ++index;
    PB_ALERTABLE *movable = pbAlertableTryCreateDescriptor();
    PB_SIGNALABLE *ended = pbSignalableTryCreateDescriptor();
    if ( index == CONNECTIONS_MAX || !movable || !ended ) {
        if ( movable )
            pbAlertableRelease( movable );
        if ( ended )
            pbSignalableRelease( ended );
        inTcpChannelRelease( chan );
        return;
    }
    connections[index] = ( struct connection ){ chan, movable, ended, pbBufferCreateWithCapacity( 65536 ), 0, false };
    inTcpChannelReceiveAddAlertable( chan, movable );
    inTcpChannelEndAddSignalable( chan, ended );
    watch( MOVABLE + index, pbAlertableDescriptor( movable ) );
    watch( ENDED + index, pbSignalableDescriptor( ended ) );
}

static void acceptAll( void )
{
    IN_TCP_CHANNEL_PROPOSAL *prop;
    while ( ( prop = inTcpChannelListenerListen( listener ) ) ) {
        beginConnection( inTcpChannelProposalAccept( prop ) );
        inTcpChannelProposalRelease( prop );
    }
}

static PB_BOOL beginListener( IN_STACK *stack, PB_SIGNALABLE *failed )
{
    pending = pbAlertableTryCreateDescriptor();
    if ( !pending )
        return false;
    listener = inTcpChannelListenerTryCreate( stack, NULL, NULL, NULL, IN_TCP_PORT_INVALID, 0, NULL );
    if ( !listener ) {
        pbAlertableRelease( pending );
        return false;
    }
    inTcpChannelListenerErrorAddSignalable( listener, failed );
    inTcpChannelListenerListenAddAlertable( listener, pending );
    watch( PENDING, pbAlertableDescriptor( pending ) );
    IN_TCP_ADDRESS *local = inTcpChannelListenerLocalAddress( listener );
    say( "tcp echo on ", inTcpAddressToString( local ) );
    inTcpAddressRelease( local );
    return true;
}

static void endListener( PB_SIGNALABLE *failed )
{
    watch( PENDING, -1 );
    inTcpChannelListenerListenDelAlertable( listener, pending );
    inTcpChannelListenerErrorDelSignalable( listener, failed );
    pbAlertableRelease( pending );
    inTcpChannelListenerRelease( listener );
    for ( int index = 0; index < CONNECTIONS_MAX; ++index )
        if ( connections[index].chan )
            endConnection( index );
}

/* ---- the loop */

static void serveReady( int channelCount )
{
    for ( int index = 0; index < channelCount; ++index )
        if ( ready( CHANNELS + index ) )
            echo( &channels[index] );
    for ( int index = 0; index < CONNECTIONS_MAX; ++index ) {
        if ( ready( MOVABLE + index ) )
            move( &connections[index] );
        if ( ready( ENDED + index ) )
            endConnection( index );
    }
    if ( ready( PENDING ) ) /* last, since it takes the places of connections that have ended */
        acceptAll();
}

/** The loop; whether it ended because it was told to, and not by a failure. */
static PB_BOOL loop( int channelCount )
{
    while ( awaitReadable( -1 ) && !ready( FAILED ) ) {
        if ( ready( STOP ) )
            return true;
        serveReady( channelCount );
    }
    return false;
}

/** Opens the channels and the listener and runs the loop; whether that went well. Releases everything that it made. */
static PB_BOOL serve( IN_STACK *stack, int wanted, PB_SIGNALABLE *failed )
{
    int count = 0;
    while ( count < wanted && beginChannel( count, stack, failed ) )
        ++count;
    PB_BOOL listening = count == wanted && beginListener( stack, failed );
    PB_BOOL good = listening && loop( count );
    if ( !listening )
        fputs( "not all could be opened; QUELVARIS_TRACE=stderr tells why\n", stderr );
    if ( listening )
        endListener( failed );
    while ( count-- > 0 )
        endChannel( count, failed );
    return good;
}

/**
 * Waits until the stack has an address, ten seconds at most. A signal is asserted once, and a stack takes a new one after
 * each update: so the descriptor is read, which makes it unreadable, before the signalable is added again, and then one
 * looks.
 */
static void awaitAddress( IN_STACK *stack, PB_SIGNALABLE *updated )
{
    PB_INT until = pbTimestamp() + 10000;
    int fd = pbSignalableDescriptor( updated );
    uint64_t fired;
    watch( UPDATED, fd );
    do {
        if ( ready( UPDATED ) && read( fd, &fired, sizeof fired ) < 0 )
            break;
        inStackUpdateAddSignalable( stack, updated );
    } while ( !inStackHasAddress( stack ) && pbTimestamp() < until &&
              awaitReadable( (int)pbIntConstrain( until - pbTimestamp(), 0, 10000 ) ) && !ready( STOP ) );
    watch( UPDATED, -1 );
    inStackUpdateDelSignalable( stack, updated );
}

/** A stack on the address, or on one that it chooses. */
static IN_STACK *createStack( IN_ADDRESS *optionalAddress )
{
    IN_OPTIONS *options = inOptionsCreate();
    if ( optionalAddress )
        inOptionsSetAddress( &options, optionalAddress );
    IN_STACK *stack = inStackCreate( options, NULL );
    inOptionsRelease( options );
    return stack;
}

static PB_BOOL run( IN_ADDRESS *optionalAddress, int count )
{
    PB_SIGNALABLE *failed = pbSignalableTryCreateDescriptor();
    PB_SIGNALABLE *updated = pbSignalableTryCreateDescriptor();
    PB_BOOL good = false;
    if ( failed && updated ) {
        IN_STACK *stack = createStack( optionalAddress );
        watch( FAILED, pbSignalableDescriptor( failed ) );
        awaitAddress( stack, updated );
        good = serve( stack, count, failed );
        inStackRelease( stack );
    }
    if ( failed )
        pbSignalableRelease( failed );
    if ( updated )
        pbSignalableRelease( updated );
    return good;
}

/** SIGINT and SIGTERM as a descriptor; blocked here and in every thread of the library, so that they wait there. */
static int openStop( void )
{
    sigset_t signals;
    sigemptyset( &signals );
    sigaddset( &signals, SIGINT );
    sigaddset( &signals, SIGTERM );
    sigprocmask( SIG_BLOCK, &signals, NULL );
    return signalfd( -1, &signals, SFD_CLOEXEC | SFD_NONBLOCK );
}

int main( int argc, char **argv )
{
    for ( int source = 0; source < SOURCES; ++source )
        watch( source, -1 );
    int stop = openStop();
    watch( STOP, stop );
    if ( !pbRuntimeTryStart( "in", -1 ) ) {
        say( "", pbRuntimeErrorText() );
        return 1;
    }
    IN_ADDRESS *address = argc > 1 ? inAddressTryCreateFromCstr( argv[1], -1 ) : NULL;
    long count = argc > 2 ? strtol( argv[2], NULL, 10 ) : 4;
    PB_BOOL good = false;
    if ( stop < 0 || ( argc > 1 && !address ) || count < 1 || count > CHANNELS_MAX )
        fputs( "usage: example-poll-loop [address [channels, up to 100]]\n", stderr );
    else
        good = run( address, (int)count );
    if ( address )
        inAddressRelease( address );
    pbRuntimeStop(); /* last: all channels and stacks are released */
    close( stop );
    return good ? 0 : 1;
}
