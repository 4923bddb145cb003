/*
 * TCP channels and listeners beside the bare system calls and what users would take instead, on loopback.
 *
 *   bench_tcp [rounds [measurement [subject]]]
 *
 * Measurements: receiving, sending, accepting, connecting, roundtrip, messages, many, memory, ports.
 */
#include "processes.hpp"

#include <asio.hpp>
#include <optional>
#include <uv.h>

namespace {

using namespace bench;

constexpr PB_INT BLOCK = 65'536;       // bytes of one call in bulk
constexpr PB_INT BULK = 2'147'483'648; // bytes of a bulk transfer
constexpr int CONNECTIONS = 10'000;    // that come and go; each leaves a port in TIME_WAIT
constexpr int TRIPS = 50'000;
constexpr std::size_t MESSAGE = 200;
constexpr int BACKLOG = 4096; // of those beside in, whose own is 128
constexpr int LEAD = 64;      // connections by which a connecting end is ahead of an accepting one

// ---- bare sockets

int bareListener( int &port )
{
    int fd = bareSocket( SOCK_STREAM, port );
    check( listen( fd, BACKLOG ) == 0, "listen" );
    return fd;
}

int bareAccept( int listener )
{
    int fd = accept4( listener, nullptr, nullptr, SOCK_CLOEXEC );
    check( fd >= 0, "accept4" );
    return fd;
}

int bareConnect( int port )
{
    int fd = socket( AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0 );
    sockaddr_in to = loopback( port );
    check( fd >= 0 && connect( fd, reinterpret_cast<sockaddr *>( &to ), sizeof to ) == 0, "connect" );
    return fd;
}

/** Listens, tells the port and takes so many connections. */
std::vector<int> bareServe( Shared &shared, int count )
{
    int port;
    int listener = bareListener( port );
    shared.port = port;
    std::vector<int> fds;
    while ( int( fds.size() ) < count )
        fds.push_back( bareAccept( listener ) );
    close( listener );
    return fds;
}

/** So many connections. Waits now and then until the other end has taken those that there are, for its backlog is short. */
std::vector<int> bareConnections( int port, int count )
{
    std::vector<int> fds;
    while ( int( fds.size() ) < count ) {
        fds.push_back( bareConnect( port ) );
        if ( fds.size() % LEAD == 0 )
            usleep( 2000 );
    }
    return fds;
}

// ---- in: channels and listeners on loopback

struct Channels : Library {
    pb::Ref<IN_TCP_CHANNEL_LISTENER> listener()
    {
        auto lsn = pb::adopt(
            inTcpChannelListenerTryCreate( stack.get(), nullptr, nullptr, nullptr, IN_TCP_PORT_INVALID, 0, nullptr ) );
        check( bool( lsn ), "inTcpChannelListenerTryCreate" );
        return lsn;
    }
    static int portOf( IN_TCP_CHANNEL_LISTENER *lsn )
    {
        return int( inTcpAddressPort( pb::adopt( inTcpChannelListenerLocalAddress( lsn ) ).get() ) );
    }
    static pb::Ref<IN_TCP_ADDRESS> peer( int port ) { return pb::adopt( inTcpAddressCreate( address().get(), port ) ); }
    /** A channel that begins to connect. */
    pb::Ref<IN_TCP_CHANNEL> begin( IN_TCP_ADDRESS *to )
    {
        auto chan = pb::adopt(
            inTcpChannelTryCreate( stack.get(), nullptr, nullptr, nullptr, to, IN_TCP_PORT_INVALID, 0, nullptr ) );
        check( bool( chan ), "inTcpChannelTryCreate" );
        return chan;
    }
    /** A channel that is connected. This is not measured. */
    pb::Ref<IN_TCP_CHANNEL> connected( int port )
    {
        auto chan = begin( peer( port ).get() );
        while ( !inTcpChannelActive( chan.get() ) )
            usleep( 100 );
        check( !inTcpChannelError( chan.get() ), "connecting" );
        return chan;
    }
    /** The next connection, or null. */
    static pb::Ref<IN_TCP_CHANNEL> next( IN_TCP_CHANNEL_LISTENER *lsn )
    {
        auto prop = pb::adopt( inTcpChannelListenerListen( lsn ) );
        return prop ? pb::adopt( inTcpChannelProposalAccept( prop.get() ) ) : nullptr;
    }
    /** The next connection, which is waited for. This is not measured. */
    static pb::Ref<IN_TCP_CHANNEL> accepted( IN_TCP_CHANNEL_LISTENER *lsn )
    {
        for ( ;; ) {
            if ( auto chan = next( lsn ) )
                return chan;
            usleep( 100 );
        }
    }
    /** Listens, tells the port and takes so many connections. */
    std::vector<pb::Ref<IN_TCP_CHANNEL>> serve( Shared &shared, int count )
    {
        auto lsn = listener();
        shared.port = portOf( lsn.get() );
        std::vector<pb::Ref<IN_TCP_CHANNEL>> channels;
        while ( int( channels.size() ) < count )
            channels.push_back( accepted( lsn.get() ) );
        return channels;
    }
};

pb::Ref<PB_BUFFER> emptyBlock()
{
    return pb::adopt( pbBufferCreateWithCapacity( BLOCK ) );
}

pb::Ref<PB_BUFFER> fullBlock( PB_INT length = BLOCK )
{
    const std::vector<char> bytes( static_cast<std::size_t>( length ) );
    return pb::adopt( pbBufferCreateFromBytesCopy( bytes.data(), length ) );
}

/** Hands what was received to a function, in the way given, until that gives false. The buffer is cleared each time. */
template <class Way, class Take>
void receiveIn( IN_TCP_CHANNEL *chan, Take take )
{
    pb::Ref<PB_BUFFER> block = emptyBlock();
    auto step = [&] {
        for ( ;; ) {
            pbBufferClear( block.handle() );
            PB_INT count = inTcpChannelReceive( chan, block.handle(), -1 );
            if ( count == 0 )
                return true;
            if ( !take( block.get(), count ) )
                return false;
        }
    };
    Way::run( [&]( PB_ALERTABLE *alertable ) { inTcpChannelReceiveAddAlertable( chan, alertable ); }, step );
}

// ---- libuv: a listener that hands its connections to a function

class UvListener {
public:
    using Connected = void( uv_tcp_t *connection );

    UvListener( Shared &shared, std::function<Connected> itsConnected ) : connected( std::move( itsConnected ) )
    {
        uv_loop_init( &loop );
        uv_tcp_init( &loop, &listener );
        sockaddr_in address = loopback( 0 );
        int length = sizeof address;
        uv_tcp_bind( &listener, reinterpret_cast<sockaddr *>( &address ), 0 );
        listener.data = this;
        check( uv_listen( reinterpret_cast<uv_stream_t *>( &listener ), BACKLOG, accept ) == 0, "uv_listen" );
        uv_tcp_getsockname( &listener, reinterpret_cast<sockaddr *>( &address ), &length );
        shared.port = ntohs( address.sin_port );
    }
    void run() { uv_run( &loop, UV_RUN_DEFAULT ); }

    static void allocate( uv_handle_t *, std::size_t, uv_buf_t *buffer )
    {
        static std::array<char, BLOCK> memory;
        *buffer = uv_buf_init( memory.data(), memory.size() );
    }
    static void release( uv_handle_t *handle ) { delete reinterpret_cast<uv_tcp_t *>( handle ); }

private:
    static void accept( uv_stream_t *stream, int )
    {
        auto *self = static_cast<UvListener *>( stream->data );
        auto *connection = new uv_tcp_t;
        uv_tcp_init( &self->loop, connection );
        check( uv_accept( stream, reinterpret_cast<uv_stream_t *>( connection ) ) == 0, "uv_accept" );
        self->connected( connection );
    }
    std::function<Connected> connected;
    uv_loop_t loop;
    uv_tcp_t listener;
};

// ---- asio

using AsioTcp = asio::ip::tcp;

AsioTcp::endpoint asioEndpoint( int port )
{
    return { asio::ip::make_address( "127.0.0.1" ), static_cast<uint16_t>( port ) };
}

// ---- bulk: the receiver opens the port, the sender connects

/** What a receiver has got: bytes, until there are enough, and the times that this took. */
class Bulk {
public:
    explicit Bulk( Shared &itsShared ) : shared( itsShared ) {}
    /** More bytes; false when these were the last ones. */
    bool add( PB_INT count )
    {
        received += count;
        if ( received < BULK )
            return true;
        shared.wall = wallTime() - wall;
        shared.cpu = processorTime() - cpu;
        return false;
    }

private:
    Shared &shared;
    PB_INT received = 0;
    int64_t wall = wallTime();
    int64_t cpu = processorTime();
};

void receiveBare( Shared &shared )
{
    int fd = bareServe( shared, 1 ).front();
    std::vector<char> block( BLOCK );
    Bulk bulk( shared );
    ssize_t count;
    do {
        count = recv( fd, block.data(), block.size(), 0 );
        check( count > 0, "recv" );
    } while ( bulk.add( count ) );
}

void sendBare( Shared &shared )
{
    int fd = bareConnect( shared.port );
    const std::vector<char> block( BLOCK );
    PB_INT left = BULK;
    while ( left > 0 ) {
        ssize_t count = send( fd, block.data(), static_cast<std::size_t>( std::min( BLOCK, left ) ), MSG_NOSIGNAL );
        check( count > 0, "send" );
        left -= count;
    }
}

template <class Way>
void receiveBulkIn( Shared &shared )
{
    Channels library;
    auto chan = library.serve( shared, 1 ).front();
    Bulk bulk( shared );
    receiveIn<Way>( chan.get(), [&]( PB_BUFFER *, PB_INT count ) { return bulk.add( count ); } );
}

template <class Way>
void sendBulkIn( Shared &shared )
{
    Channels library;
    auto chan = library.connected( shared.port );
    pb::Ref<PB_BUFFER> block = fullBlock();
    PB_INT left = BULK;
    auto step = [&] {
        while ( left > 0 ) {
            PB_INT count = inTcpChannelSend( chan.get(), block.get(), 0, std::min( BLOCK, left ) );
            if ( count == 0 )
                return true;
            left -= count;
        }
        return false;
    };
    Way::run( [&]( PB_ALERTABLE *alertable ) { inTcpChannelSendAddAlertable( chan.get(), alertable ); }, step );
}

void receiveAsio( Shared &shared )
{
    asio::io_context context( 1 );
    AsioTcp::acceptor acceptor( context, asioEndpoint( 0 ) );
    shared.port = acceptor.local_endpoint().port();
    AsioTcp::socket socket = acceptor.accept();
    std::vector<char> block( BLOCK );
    Bulk bulk( shared );
    std::function<void()> receive = [&] {
        socket.async_read_some( asio::buffer( block ), [&]( const std::error_code &, std::size_t count ) {
            if ( bulk.add( PB_INT( count ) ) )
                receive();
        } );
    };
    receive();
    context.run();
}

void sendAsio( Shared &shared )
{
    asio::io_context context( 1 );
    AsioTcp::socket socket( context );
    socket.connect( asioEndpoint( shared.port ) );
    const std::vector<char> block( BLOCK );
    PB_INT left = BULK;
    std::function<void()> send = [&] {
        auto bytes = asio::buffer( block, static_cast<std::size_t>( std::min( BLOCK, left ) ) );
        socket.async_write_some( bytes, [&]( const std::error_code &, std::size_t count ) {
            left -= PB_INT( count );
            if ( left > 0 )
                send();
        } );
    };
    send();
    context.run();
}

void receiveUv( Shared &shared )
{
    std::optional<Bulk> bulk;
    UvListener listener( shared, [&]( uv_tcp_t *connection ) {
        connection->data = &bulk.emplace( shared );
        uv_read_start( reinterpret_cast<uv_stream_t *>( connection ), UvListener::allocate,
            []( uv_stream_t *stream, ssize_t count, const uv_buf_t * ) {
                if ( count > 0 && !static_cast<Bulk *>( stream->data )->add( count ) )
                    uv_stop( stream->loop );
            } );
    } );
    listener.run();
}

void sendUv( Shared &shared )
{
    struct Sender {
        uv_loop_t loop;
        uv_tcp_t tcp;
        uv_connect_t connecting;
        uv_write_t writing;
        std::vector<char> block = std::vector<char>( BLOCK );
        PB_INT left = BULK;
        static void write( uv_stream_t *stream )
        {
            auto *self = static_cast<Sender *>( stream->data );
            PB_INT count = std::min( BLOCK, self->left );
            uv_buf_t buffer = uv_buf_init( self->block.data(), static_cast<unsigned>( count ) );
            self->left -= count;
            if ( count == 0 )
                uv_close( reinterpret_cast<uv_handle_t *>( stream ), nullptr );
            else
                uv_write( &self->writing, stream, &buffer, 1, []( uv_write_t *done, int ) { write( done->handle ); } );
        }
    } sender;
    uv_loop_init( &sender.loop );
    uv_tcp_init( &sender.loop, &sender.tcp );
    sender.tcp.data = &sender;
    sockaddr_in to = loopback( shared.port );
    uv_tcp_connect( &sender.connecting, &sender.tcp, reinterpret_cast<sockaddr *>( &to ),
        []( uv_connect_t *connected, int ) { Sender::write( connected->handle ); } );
    uv_run( &sender.loop, UV_RUN_DEFAULT );
}

const std::vector<Ends> receivers{ { "bare", receiveBare, sendBare }, { "in", receiveBulkIn<WaitingThread>, sendBare },
    { "in, function", receiveBulkIn<Function>, sendBare },
    { "in, descriptor", receiveBulkIn<PolledDescriptor>, sendBare }, { "asio", receiveAsio, sendBare },
    { "libuv", receiveUv, sendBare } };

const std::vector<Ends> senders{ { "bare", receiveBare, sendBare }, { "in", receiveBare, sendBulkIn<WaitingThread> },
    { "in, function", receiveBare, sendBulkIn<Function> },
    { "in, descriptor", receiveBare, sendBulkIn<PolledDescriptor> }, { "asio", receiveBare, sendAsio },
    { "libuv", receiveBare, sendUv } };

/** Both on one core: bytes a second. */
double bulkRate( const Ends &ends )
{
    Shared &shared = freshShared();
    run( ends, shared, 0, 0 );
    return double( BULK ) * 1e9 / double( shared.wall );
}

/** Each on a core of its own: the receiver's processor time, ns a MiB. */
double receiverTime( const Ends &ends )
{
    Shared &shared = freshShared();
    run( ends, shared, 1, 0 );
    return double( shared.cpu ) * 1'048'576 / double( BULK );
}

// ---- connections that come and go: who accepts opens the port, and closes each connection

void acceptBare( Shared &shared )
{
    int port;
    int listener = bareListener( port );
    shared.port = port;
    ProcessorTime time( shared.cpu );
    for ( int i = 0; i < CONNECTIONS; ++i )
        close( bareAccept( listener ) );
}

/** Now and then waits for the peer's close: a full backlog would drop a connection, which is tried again a second later. */
void connectBare( Shared &shared )
{
    ProcessorTime time( shared.cpu );
    char byte;
    for ( int i = 0; i < CONNECTIONS; ++i ) {
        int fd = bareConnect( shared.port );
        if ( i % LEAD == 0 )
            check( recv( fd, &byte, 1, 0 ) == 0, "recv" );
        close( fd );
    }
}

template <class Way>
void acceptIn( Shared &shared )
{
    Channels library;
    auto lsn = library.listener();
    int left = CONNECTIONS;
    ProcessorTime time( shared.cpu );
    auto add = [&]( PB_ALERTABLE *alertable ) {
        inTcpChannelListenerListenAddAlertable( lsn.get(), alertable );
        shared.port = Channels::portOf( lsn.get() );
    };
    Way::run( add, [&] {
        while ( Channels::next( lsn.get() ) )
            if ( --left == 0 )
                return false;
        return true;
    } );
}

void connectIn( Shared &shared )
{
    Channels library;
    auto to = Channels::peer( shared.port );
    pb::Ref<PB_BARRIER> barrier = pb::adopt( pbBarrierCreate( 1 ) );
    pb::Ref<PB_SIGNALABLE> active = pb::adopt( pbSignalableCreateBarrier( barrier.get() ) );
    ProcessorTime time( shared.cpu );
    for ( int i = 0; i < CONNECTIONS; ++i ) {
        auto chan = library.begin( to.get() );
        inTcpChannelActiveAddSignalable( chan.get(), active.get() );
        pbBarrierPass( barrier.get() );
        pbBarrierBlock( barrier.get() );
        check( !inTcpChannelError( chan.get() ), "connecting" );
    }
}

/** The function releases the channel that has become active, and begins the next one. */
void connectInFunction( Shared &shared )
{
    Channels library;
    auto to = Channels::peer( shared.port );
    auto active = Handler::signalable( nullptr );
    pb::Ref<IN_TCP_CHANNEL> chan;
    int left = CONNECTIONS;
    auto begin = [&] {
        auto next = library.begin( to.get() ); // held here too, for the function may run, and release it, meanwhile
        chan = next;
        inTcpChannelActiveAddSignalable( next.get(), active.get() );
    };
    ProcessorTime time( shared.cpu );
    Handler handler( [&]( PB_OBJ * ) {
        check( !inTcpChannelError( chan.get() ), "connecting" );
        if ( --left > 0 )
            begin();
        return left > 0;
    } );
    begin();
    handler.pass();
}

void acceptAsio( Shared &shared )
{
    asio::io_context context( 1 );
    AsioTcp::acceptor acceptor( context, asioEndpoint( 0 ) );
    shared.port = acceptor.local_endpoint().port();
    int left = CONNECTIONS;
    ProcessorTime time( shared.cpu );
    std::function<void()> accept = [&] {
        acceptor.async_accept( [&]( const std::error_code &, AsioTcp::socket ) {
            if ( --left > 0 )
                accept();
        } );
    };
    accept();
    context.run();
}

void connectAsio( Shared &shared )
{
    asio::io_context context( 1 );
    std::optional<AsioTcp::socket> socket;
    int left = CONNECTIONS;
    ProcessorTime time( shared.cpu );
    std::function<void()> connect = [&] {
        socket.emplace( context );
        socket->async_connect( asioEndpoint( shared.port ), [&]( const std::error_code &error ) {
            check( !error, "async_connect" );
            if ( --left > 0 )
                connect();
        } );
    };
    connect();
    context.run();
}

void acceptUv( Shared &shared )
{
    int left = CONNECTIONS;
    ProcessorTime time( shared.cpu );
    UvListener listener( shared, [&]( uv_tcp_t *connection ) {
        if ( --left == 0 )
            uv_stop( connection->loop );
        uv_close( reinterpret_cast<uv_handle_t *>( connection ), UvListener::release );
    } );
    listener.run();
}

const std::vector<Ends> acceptors{ { "bare", acceptBare, connectBare }, { "in", acceptIn<WaitingThread>, connectBare },
    { "in, function", acceptIn<Function>, connectBare }, { "in, descriptor", acceptIn<PolledDescriptor>, connectBare },
    { "asio", acceptAsio, connectBare }, { "libuv", acceptUv, connectBare } };

const std::vector<Ends> connectors{ { "bare", acceptBare, connectBare }, { "in", acceptBare, connectIn },
    { "in, function", acceptBare, connectInFunction }, { "asio", acceptBare, connectAsio } };

double connectionRate( const Ends &ends )
{
    Shared &shared = freshShared();
    run( ends, shared, 0, 0 );
    return double( CONNECTIONS ) * 1e9 / double( shared.cpu );
}

// ---- round trips: who answers opens the port

void answerBare( Shared &shared )
{
    int fd = bareServe( shared, 1 ).front();
    std::array<char, MESSAGE> bytes;
    ProcessorTime time( shared.cpu );
    for ( int i = 0; i < TRIPS; ++i ) {
        ssize_t count = recv( fd, bytes.data(), bytes.size(), 0 );
        (void)send( fd, bytes.data(), static_cast<std::size_t>( count ), MSG_NOSIGNAL );
    }
}

void askBare( Shared &shared )
{
    int fd = bareConnect( shared.port );
    std::array<char, MESSAGE> bytes{};
    ProcessorTime time( shared.cpu );
    for ( int i = 0; i < TRIPS; ++i ) {
        (void)send( fd, bytes.data(), bytes.size(), MSG_NOSIGNAL );
        check( recv( fd, bytes.data(), bytes.size(), 0 ) == MESSAGE, "recv" );
    }
}

template <class Way>
void answerIn( Shared &shared )
{
    Channels library;
    auto chan = library.serve( shared, 1 ).front();
    int left = TRIPS;
    ProcessorTime time( shared.cpu );
    receiveIn<Way>( chan.get(), [&]( PB_BUFFER *block, PB_INT count ) {
        check( inTcpChannelSend( chan.get(), block, 0, count ) == count, "inTcpChannelSend" );
        return --left > 0;
    } );
}

template <class Way>
void askIn( Shared &shared )
{
    Channels library;
    auto chan = library.connected( shared.port );
    pb::Ref<PB_BUFFER> message = fullBlock( MESSAGE );
    auto ask = [&] {
        check( inTcpChannelSend( chan.get(), message.get(), 0, MESSAGE ) == MESSAGE, "inTcpChannelSend" );
    };
    int left = TRIPS;
    ProcessorTime time( shared.cpu );
    ask();
    receiveIn<Way>( chan.get(), [&]( PB_BUFFER *, PB_INT ) {
        if ( --left > 0 )
            ask();
        return left > 0;
    } );
}

const std::vector<Ends> trips{ { "bare", answerBare, askBare }, { "in", answerIn<WaitingThread>, askIn<WaitingThread> },
    { "in, function", answerIn<Function>, askIn<Function> },
    { "in, descriptor", answerIn<PolledDescriptor>, askIn<PolledDescriptor> } };

double roundTripTime( const Ends &ends )
{
    Shared &shared = freshShared();
    run( ends, shared, 0, 0 );
    return double( shared.cpu ) / TRIPS;
}

// ---- messages: many connections that each get and send back 50 messages a second; who sends back opens the port

constexpr int TALKS = 1'000;
constexpr int64_t INTERVAL = 1'000'000'000 / ( TALKS * 50 ); // ns between two messages

/** Sends on one connection after the other, and takes the answer of the last time. */
void talk( Shared &shared )
{
    const std::vector<int> fds = bareConnections( shared.port, TALKS );
    std::array<char, MESSAGE> bytes{};
    std::size_t next = 0;
    while ( !shared.ready )
        usleep( 1000 );
    paced( shared, INTERVAL, INTERVAL, [&] {
        int fd = fds[next++ % fds.size()];
        (void)recv( fd, bytes.data(), bytes.size(), MSG_DONTWAIT );
        (void)send( fd, bytes.data(), bytes.size(), MSG_NOSIGNAL );
    } );
}

void echoBare( Shared &shared )
{
    EpollLoop loop;
    for ( int fd : bareServe( shared, TALKS ) )
        loop.add( fd, fd );
    Meter meter( shared );
    std::vector<char> block( BLOCK );
    shared.ready = true;
    loop.run( [&]( int fd ) {
        ssize_t count = recv( fd, block.data(), block.size(), MSG_DONTWAIT );
        if ( count > 0 )
            (void)send( fd, block.data(), static_cast<std::size_t>( count ), MSG_NOSIGNAL | MSG_DONTWAIT );
        return meter.count();
    } );
}

/** Sends back what waits; false when the meter has enough. */
bool echo( IN_TCP_CHANNEL *chan, pb::Ref<PB_BUFFER> &block, Meter &meter )
{
    for ( ;; ) {
        pbBufferClear( block.handle() );
        PB_INT count = inTcpChannelReceive( chan, block.handle(), -1 );
        if ( count == 0 )
            return true;
        inTcpChannelSend( chan, block.get(), 0, count );
        if ( !meter.count() )
            return false;
    }
}

void echoInFunction( Shared &shared )
{
    Channels library;
    auto channels = library.serve( shared, TALKS );
    Meter meter( shared );
    pb::Ref<PB_BUFFER> block = emptyBlock();
    Handler handler( [&]( PB_OBJ *object ) { return echo( inTcpChannelFrom( object ), block, meter ); } );
    for ( const auto &chan : channels )
        inTcpChannelReceiveAddAlertable( chan.get(), Handler::alertable( inTcpChannelObj( chan.get() ) ).get() );
    shared.ready = true;
    handler.pass();
}

void echoInDescriptor( Shared &shared )
{
    Channels library;
    auto channels = library.serve( shared, TALKS );
    EpollLoop loop;
    std::vector<pb::Ref<PB_ALERTABLE>> alertables;
    for ( const auto &chan : channels ) {
        alertables.push_back( pb::adopt( pbAlertableTryCreateDescriptor() ) );
        inTcpChannelReceiveAddAlertable( chan.get(), alertables.back().get() );
        loop.add( pbAlertableDescriptor( alertables.back().get() ), int( alertables.size() ) - 1 );
    }
    Meter meter( shared );
    pb::Ref<PB_BUFFER> block = emptyBlock();
    shared.ready = true;
    loop.run( [&]( int number ) { return echo( channels[static_cast<std::size_t>( number )].get(), block, meter ); } );
}

void echoAsio( Shared &shared )
{
    asio::io_context context( 1 );
    AsioTcp::acceptor acceptor( context, asioEndpoint( 0 ) );
    shared.port = acceptor.local_endpoint().port();
    std::vector<AsioTcp::socket> sockets;
    for ( int i = 0; i < TALKS; ++i )
        sockets.push_back( acceptor.accept() );
    std::vector<std::array<char, MESSAGE>> blocks( sockets.size() );
    Meter meter( shared );
    std::function<void( std::size_t )> receive = [&]( std::size_t i ) {
        sockets[i].async_read_some( asio::buffer( blocks[i] ), [&, i]( const std::error_code &, std::size_t count ) {
            sockets[i].async_write_some( asio::buffer( blocks[i], count ),
                [&, i]( const std::error_code &, std::size_t ) { meter.count() ? receive( i ) : context.stop(); } );
        } );
    };
    for ( std::size_t i = 0; i < sockets.size(); ++i )
        receive( i );
    shared.ready = true;
    context.run();
}

void echoUv( Shared &shared )
{
    Meter meter( shared );
    UvListener listener( shared, [&]( uv_tcp_t *connection ) {
        connection->data = &meter;
        uv_read_start( reinterpret_cast<uv_stream_t *>( connection ), UvListener::allocate,
            []( uv_stream_t *stream, ssize_t count, const uv_buf_t *bytes ) {
                if ( count <= 0 )
                    return;
                uv_buf_t answer = uv_buf_init( bytes->base, static_cast<unsigned>( count ) );
                uv_try_write( stream, &answer, 1 );
                if ( !static_cast<Meter *>( stream->data )->count() )
                    uv_stop( stream->loop );
            } );
    } );
    shared.ready = true;
    listener.run();
}

const std::vector<Ends> echoes{ { "bare", echoBare, talk }, { "in, function", echoInFunction, talk },
    { "in, descriptor", echoInDescriptor, talk }, { "asio", echoAsio, talk }, { "libuv", echoUv, talk } };

double messageTime( const Ends &ends )
{
    Shared &shared = freshShared();
    run( ends, shared, 1, 0 );
    return double( shared.cpu ) / double( shared.count );
}

// ---- many that are open

constexpr int OPEN = 16'384;

/** Answers on the first of so many connections. */
template <int Count>
void answerAmong( Shared &shared )
{
    Channels library;
    auto channels = library.serve( shared, Count );
    int left = TRIPS;
    ProcessorTime time( shared.cpu );
    receiveIn<WaitingThread>( channels.front().get(), [&]( PB_BUFFER *block, PB_INT count ) {
        inTcpChannelSend( channels.front().get(), block, 0, count );
        return --left > 0;
    } );
}

template <int Count>
void askAmong( Shared &shared )
{
    const std::vector<int> fds = bareConnections( shared.port, Count );
    std::array<char, MESSAGE> bytes{};
    for ( int i = 0; i < TRIPS; ++i ) {
        (void)send( fds.front(), bytes.data(), bytes.size(), MSG_NOSIGNAL );
        check( recv( fds.front(), bytes.data(), bytes.size(), 0 ) == MESSAGE, "recv" );
    }
}

const std::vector<Ends> amongOthers{
    { "1 open", answerAmong<1>, askAmong<1> }, { "16,384 open", answerAmong<OPEN>, askAmong<OPEN> } };

void holdAccepted( Shared &shared )
{
    const std::vector<int> fds = bareServe( shared, OPEN );
    while ( !shared.done )
        usleep( 1000 );
}

void holdConnected( Shared &shared )
{
    const std::vector<int> fds = bareConnections( shared.port, OPEN );
    while ( !shared.done )
        usleep( 1000 );
}

void fillConnected( Shared &shared )
{
    Channels library;
    std::vector<pb::Ref<IN_TCP_CHANNEL>> channels;
    channels.reserve( OPEN );
    std::size_t before = heap();
    for ( int i = 0; i < OPEN; ++i )
        channels.push_back( library.connected( shared.port ) );
    shared.value = double( heap() - before ) / OPEN;
    shared.done = true;
}

void fillAccepted( Shared &shared )
{
    Channels library;
    auto lsn = library.listener();
    std::vector<pb::Ref<IN_TCP_CHANNEL>> channels;
    channels.reserve( OPEN );
    std::size_t before = heap();
    shared.port = Channels::portOf( lsn.get() );
    for ( int i = 0; i < OPEN; ++i )
        channels.push_back( Channels::accepted( lsn.get() ) );
    shared.value = double( heap() - before ) / OPEN;
    shared.done = true;
}

double heapPerChannel( const Ends &ends )
{
    Shared &shared = freshShared();
    run( ends, shared, 0, 1 );
    return shared.value;
}

/** The processor time of a call with 10,000 sockets on the host, ns. */
double portUsedTime()
{
    constexpr int SOCKETS = 10'000;
    constexpr int CALLS = 20;
    moveToOwnNetwork();
    int port;
    int listener = bareListener( port );
    std::vector<int> fds;
    for ( int i = 0; i < SOCKETS / 2; ++i ) {
        fds.push_back( bareConnect( port ) );
        fds.push_back( bareAccept( listener ) );
    }
    Library library;
    std::vector<double> times;
    for ( int i = 0; i < CALLS; ++i ) {
        int64_t start = processorTime();
        check( !inTcpPortUsed( Library::address().get(), 1 ), "inTcpPortUsed" );
        times.push_back( double( processorTime() - start ) );
    }
    return medianOf( times );
}

// ---- measurements

void receiving( int rounds )
{
    compare<Ends>( "receiving in bulk, bytes a second, both ends on one core", "at least 0.95, reach for 1.0", rounds,
        receivers, bulkRate );
    compare<Ends>( "receiving in bulk, ns of the receiver's processor time a MiB, two cores", "at most 1.2", rounds,
        receivers, receiverTime );
}

void sending( int rounds )
{
    compare<Ends>( "sending in bulk, bytes a second, both ends on one core", "none", rounds, senders, bulkRate );
}

void accepting( int rounds )
{
    compare<Ends>( "accepting and closing, connections a second of both ends' processor time, one core", "at least 0.9",
        rounds, acceptors, connectionRate );
}

void connecting( int rounds )
{
    compare<Ends>( "connecting and closing, connections a second of both ends' processor time, one core",
        "at least 0.9", rounds, connectors, connectionRate );
}

void roundTrip( int rounds )
{
    compare<Ends>( "round trip, ns of processor time, both ends on one core",
        "at most 1.35 with a function, 1.75 with a thread, 1.6 with a descriptor", rounds, trips, roundTripTime );
}

void messages( int rounds )
{
    compare<Ends>(
        "processor time, ns a message, 1,000 connections with 50 messages of 200 bytes a second each, sent back",
        "at most 1.1 with a function", rounds, echoes, messageTime );
}

void manyOpen( int rounds )
{
    compare<Ends>( "answering, ns of processor time, one channel of many in use", "at most 1.1", rounds, amongOthers,
        roundTripTime );
}

void memory( int )
{
    std::printf( "\nheap an idle channel with 16,384 open, bytes: %.0f connected, %.0f accepted; aim: at most 1280\n",
        heapPerChannel( { "", holdAccepted, fillConnected } ), heapPerChannel( { "", fillAccepted, holdConnected } ) );
    std::fflush( stdout );
}

void ports( int )
{
    std::printf(
        "\ninTcpPortUsed with 10,000 sockets on the host, ms: %.2f; aim: at most 10\n", valueOf( portUsedTime ) / 1e6 );
    std::fflush( stdout );
}

const Measurement measurements[] = { { "receiving", receiving }, { "sending", sending }, { "accepting", accepting },
    { "connecting", connecting }, { "roundtrip", roundTrip }, { "messages", messages }, { "many", manyOpen },
    { "memory", memory }, { "ports", ports } };

} // namespace

int main( int argc, char **argv )
{
    return runMeasurements( argc, argv, measurements );
}
