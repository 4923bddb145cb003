/*
 * UDP channels beside the bare system calls and what users would take instead, with 160-byte datagrams on loopback.
 *
 *   bench_udp [rounds [measurement [subject]]]
 *
 * Measurements: capacity, processor, many, roundtrip, sending, opening, voice.
 */
#include "processes.hpp"

#include <asio.hpp>
#include <cstring>
#include <mutex>
#include <netinet/udp.h>
#include <thread>
#include <uv.h>

namespace {

using namespace bench;

constexpr std::size_t DATAGRAM = 160;
constexpr int SEGMENTS = 40;         // datagrams a call of the overloading sender
constexpr int64_t INTERVAL = 10'000; // ns between two datagrams of the other loads

int bareUdp( int &port )
{
    return bareSocket( SOCK_DGRAM, port );
}

// ---- in: channels on loopback

struct Channels : Library {
    pb::Ref<IN_UDP_CHANNEL> channel( PB_INT port = IN_UDP_PORT_INVALID )
    {
        auto chan = pb::adopt( inUdpChannelTryCreate( stack.get(), nullptr, nullptr, nullptr, port, 0, nullptr ) );
        check( bool( chan ), "inUdpChannelTryCreate" );
        return chan;
    }
    static int portOf( IN_UDP_CHANNEL *chan )
    {
        return int( inUdpAddressPort( pb::adopt( inUdpChannelLocalAddress( chan ) ).get() ) );
    }
    static pb::Ref<IN_UDP_ADDRESS> peer( int port ) { return pb::adopt( inUdpAddressCreate( address().get(), port ) ); }
    /** Hands each datagram to a function, in the way given, until that gives false. `begin` runs before. */
    template <class Way, class Take>
    static void receive( IN_UDP_CHANNEL *chan, const std::function<void()> &begin, Take take )
    {
        auto add = [&]( PB_ALERTABLE *alertable ) {
            inUdpChannelReceiveAddAlertable( chan, alertable );
            begin();
        };
        Way::run( add, [&] {
            while ( auto pkt = pb::adopt( inUdpChannelReceive( chan ) ) )
                if ( !take( pkt.get() ) )
                    return false;
            return true;
        } );
    }
};

template <class Way>
void receiveIn( Shared &shared, int otherChannels )
{
    Channels library;
    std::vector<pb::Ref<IN_UDP_CHANNEL>> others;
    for ( int i = 0; i < otherChannels; ++i )
        others.push_back( library.channel() );
    pb::Ref<IN_UDP_CHANNEL> chan = library.channel();
    Meter meter( shared );
    Channels::receive<Way>(
        chan.get(), [&] { shared.port = Channels::portOf( chan.get() ); },
        [&]( IN_UDP_PACKET * ) { return meter.count(); } );
}

// ---- the others

void receiveBare( Shared &shared, int )
{
    int port;
    int fd = bareUdp( port );
    Meter meter( shared );
    shared.port = port;
    std::array<char, 65535> buffer;
    sockaddr_in6 from;
    socklen_t length;
    do {
        length = sizeof from;
        check( recvfrom( fd, buffer.data(), buffer.size(), 0, reinterpret_cast<sockaddr *>( &from ), &length ) >= 0,
            "recvfrom" );
    } while ( meter.count() );
}

void receiveAsio( Shared &shared, int )
{
    asio::io_context context( 1 );
    asio::ip::udp::socket socket( context, { asio::ip::make_address( "127.0.0.1" ), 0 } );
    Meter meter( shared );
    shared.port = socket.local_endpoint().port();
    std::array<char, 65535> buffer;
    asio::ip::udp::endpoint from;
    std::function<void()> receive = [&] {
        socket.async_receive_from( asio::buffer( buffer ), from, [&]( const std::error_code &, std::size_t ) {
            if ( meter.count() )
                receive();
        } );
    };
    receive();
    context.run();
}

template <unsigned Flags>
void receiveUv( Shared &shared, int )
{
    uv_loop_t loop;
    uv_udp_t handle;
    uv_loop_init( &loop );
    uv_udp_init_ex( &loop, &handle, AF_INET | Flags );
    sockaddr_in address = loopback( 0 );
    uv_udp_bind( &handle, reinterpret_cast<sockaddr *>( &address ), 0 );
    int length = sizeof address;
    uv_udp_getsockname( &handle, reinterpret_cast<sockaddr *>( &address ), &length );
    Meter meter( shared );
    handle.data = &meter;
    shared.port = ntohs( address.sin_port );
    auto allocate = []( uv_handle_t *, std::size_t, uv_buf_t *buffer ) {
        static std::array<char, 20 * 65536> memory; // 20 is what the library takes at once
        *buffer = uv_buf_init( memory.data(), memory.size() );
    };
    uv_udp_recv_start(
        &handle, allocate, []( uv_udp_t *udp, ssize_t count, const uv_buf_t *, const sockaddr *from, unsigned ) {
            if ( count > 0 && from && !static_cast<Meter *>( udp->data )->count() )
                uv_stop( udp->loop );
        } );
    uv_run( &loop, UV_RUN_DEFAULT );
}

// ---- loads

/** Segmentation offload: 40 datagrams a call, as fast as it goes. */
void overload( Shared &shared, int fd, const sockaddr_in &to )
{
    int segment = DATAGRAM;
    check( setsockopt( fd, SOL_UDP, UDP_SEGMENT, &segment, sizeof segment ) == 0, "UDP_SEGMENT" );
    std::array<char, DATAGRAM * SEGMENTS> bytes{};
    while ( !shared.done )
        (void)sendto( fd, bytes.data(), bytes.size(), 0, reinterpret_cast<const sockaddr *>( &to ), sizeof to );
}

/** One datagram a call, as fast as it goes. */
void fullRate( Shared &shared, int fd, const sockaddr_in &to )
{
    std::array<char, DATAGRAM> bytes{};
    while ( !shared.done )
        (void)sendto( fd, bytes.data(), bytes.size(), 0, reinterpret_cast<const sockaddr *>( &to ), sizeof to );
}

enum class Load { overload, full, ticks, smooth };

void sendLoad( Shared &shared, Load load )
{
    awaitPort( shared );
    int port;
    int fd = bareUdp( port );
    sockaddr_in to = loopback( shared.port );
    if ( load == Load::overload )
        return overload( shared, fd, to );
    if ( load == Load::full )
        return fullRate( shared, fd, to );
    std::array<char, DATAGRAM> bytes{};
    paced( shared, INTERVAL, load == Load::ticks ? 100 * INTERVAL : INTERVAL, [&] {
        (void)sendto( fd, bytes.data(), bytes.size(), 0, reinterpret_cast<const sockaddr *>( &to ), sizeof to );
    } );
}

// ---- receiving

struct Receive {
    const char *name;
    void ( *receive )( Shared &shared, int otherChannels );
    int otherChannels = 0;
};

const std::vector<Receive> receives{ { "bare", receiveBare }, { "in", receiveIn<WaitingThread> },
    { "in, function", receiveIn<Function> }, { "asio", receiveAsio }, { "libuv", receiveUv<0> },
    { "libuv, multi", receiveUv<UV_UDP_RECVMMSG> } };

/**
 * What the subject gets under the load: datagrams a second, or the processor time of each in ns. Under the loads of single
 * datagrams the sender has one core alone, and the subject the other one.
 */
double measureReceive( const Receive &subject, Load load, bool perSecond )
{
    Shared &shared = freshShared();
    auto pin = [load]( int core ) {
        if ( load == Load::smooth || load == Load::full )
            pinTo( core );
    };
    pid_t sender = process( [&] {
        pin( 0 );
        sendLoad( shared, load );
    } );
    await( process( [&] {
        pin( 1 );
        subject.receive( shared, subject.otherChannels );
    } ) );
    await( sender );
    return perSecond ? double( shared.count ) * 1e9 / double( shared.wall )
                     : double( shared.cpu ) / double( shared.count );
}

// ---- round trips: who asks and who answers are two processes on one core

constexpr int TRIPS = 50'000;

void answerBare( Shared &shared )
{
    int port;
    int fd = bareUdp( port );
    shared.port = port;
    std::array<char, DATAGRAM> bytes;
    sockaddr_in from;
    ProcessorTime time( shared.cpu );
    for ( int i = 0; i < TRIPS; ++i ) {
        socklen_t length = sizeof from;
        ssize_t count = recvfrom( fd, bytes.data(), bytes.size(), 0, reinterpret_cast<sockaddr *>( &from ), &length );
        (void)sendto( fd, bytes.data(), std::size_t( count ), 0, reinterpret_cast<sockaddr *>( &from ), length );
    }
}

void askBare( Shared &shared )
{
    int own;
    int fd = bareUdp( own );
    sockaddr_in to = loopback( shared.port );
    std::array<char, DATAGRAM> bytes{};
    ProcessorTime time( shared.cpu );
    for ( int i = 0; i < TRIPS; ++i ) {
        (void)sendto( fd, bytes.data(), bytes.size(), 0, reinterpret_cast<sockaddr *>( &to ), sizeof to );
        check( recv( fd, bytes.data(), bytes.size(), 0 ) > 0, "recv" );
    }
}

template <class Way>
void answerIn( Shared &shared )
{
    Channels library;
    auto chan = library.channel();
    int left = TRIPS;
    ProcessorTime time( shared.cpu );
    Channels::receive<Way>(
        chan.get(), [&] { shared.port = Channels::portOf( chan.get() ); },
        [&]( IN_UDP_PACKET *pkt ) {
            inUdpChannelSend( chan.get(), pkt );
            return --left > 0;
        } );
}

template <class Way>
void askIn( Shared &shared )
{
    Channels library;
    auto chan = library.channel();
    auto to = Channels::peer( shared.port );
    std::array<char, DATAGRAM> bytes{};
    auto ask = [&] { inUdpChannelSendBytes( chan.get(), to.get(), bytes.data(), bytes.size() ); };
    int left = TRIPS;
    ProcessorTime time( shared.cpu );
    Channels::receive<Way>( chan.get(), ask, [&]( IN_UDP_PACKET * ) {
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

// ---- sending, to a socket that nobody reads

constexpr int SENDS = 300'000;

template <class Send>
double sendRate( Send send )
{
    int64_t start = processorTime();
    for ( int i = 0; i < SENDS; ++i )
        send();
    return double( SENDS ) * 1e9 / double( processorTime() - start );
}

double sendBare()
{
    int port;
    int own;
    bareUdp( port );
    int fd = bareUdp( own );
    sockaddr_in to = loopback( port );
    std::array<char, DATAGRAM> bytes{};
    return sendRate(
        [&] { (void)sendto( fd, bytes.data(), bytes.size(), 0, reinterpret_cast<sockaddr *>( &to ), sizeof to ); } );
}

double sendIn()
{
    int port;
    bareUdp( port );
    Channels library;
    auto chan = library.channel();
    auto to = Channels::peer( port );
    std::array<char, DATAGRAM> bytes{};
    return sendRate( [&] { inUdpChannelSendBytes( chan.get(), to.get(), bytes.data(), bytes.size() ); } );
}

double sendAsio()
{
    int port;
    bareUdp( port );
    asio::io_context context( 1 );
    asio::ip::udp::socket socket( context, { asio::ip::make_address( "127.0.0.1" ), 0 } );
    asio::ip::udp::endpoint to( asio::ip::make_address( "127.0.0.1" ), static_cast<uint16_t>( port ) );
    std::array<char, DATAGRAM> bytes{};
    return sendRate( [&] { socket.send_to( asio::buffer( bytes ), to ); } );
}

// ---- opening many

constexpr int CHANNELS = 16'000;

constexpr int FIRST_PORT = 8'192; // of the given ones, which end before those that the system gives out

/** The port of a channel: a given one, or 0 for any. */
template <bool Given>
int portOf( int channel )
{
    return Given ? FIRST_PORT + channel : 0;
}

/** Bare; with options, all that a channel's socket is opened with. */
template <bool Options, bool Given>
double openBare()
{
    moveToOwnNetwork();
    int64_t start = processorTime();
    int set = epoll_create1( EPOLL_CLOEXEC );
    for ( int i = 0; i < CHANNELS; ++i ) {
        int fd = socket( AF_INET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0 );
        sockaddr_in address = loopback( portOf<Given>( i ) );
        socklen_t length = sizeof address;
        int on = 1;
        int off = 0;
        if ( Options )
            check( setsockopt( fd, SOL_SOCKET, SO_BROADCAST, &on, sizeof on ) == 0 &&
                       setsockopt( fd, SOL_SOCKET, SO_REUSEADDR, &off, sizeof off ) == 0,
                "setsockopt" );
        check( fd >= 0 && bind( fd, reinterpret_cast<sockaddr *>( &address ), length ) == 0, "bind" );
        if ( Options )
            check( getsockname( fd, reinterpret_cast<sockaddr *>( &address ), &length ) == 0, "getsockname" );
        epoll_event event{ EPOLLIN, { .fd = fd } };
        check( epoll_ctl( set, EPOLL_CTL_ADD, fd, &event ) == 0, "epoll_ctl" );
    }
    return double( processorTime() - start ) / CHANNELS;
}

template <bool Given>
double openIn()
{
    moveToOwnNetwork();
    Channels library;
    std::vector<pb::Ref<IN_UDP_CHANNEL>> channels;
    channels.reserve( CHANNELS );
    int64_t start = processorTime();
    for ( int i = 0; i < CHANNELS; ++i )
        channels.push_back( library.channel( Given ? portOf<Given>( i ) : IN_UDP_PORT_INVALID ) );
    return double( processorTime() - start ) / CHANNELS;
}

double heapPerChannel()
{
    Channels library;
    std::vector<pb::Ref<IN_UDP_CHANNEL>> channels;
    channels.reserve( 16'384 );
    std::size_t before = heap();
    for ( int i = 0; i < 16'384; ++i )
        channels.push_back( library.channel() );
    return double( heap() - before ) / 16'384;
}

const std::vector<Local> senders{ { "bare", sendBare }, { "in", sendIn }, { "asio", sendAsio } };
const std::vector<Local> openers{
    { "bare", openBare<false, false> }, { "bare, options", openBare<true, false> }, { "in", openIn<false> } };
const std::vector<Local> givenOpeners{ { "bare", openBare<false, true> }, { "in", openIn<true> } };

// ---- voice: many channels with 50 datagrams a second each, every one answered

constexpr std::size_t VOICE = 172; // bytes; at the front, when it was sent
using Voice = std::array<char, VOICE>;

/** Sends to one channel after the other, and takes an answer. */
void talk( Shared &shared )
{
    int own;
    int fd = bareUdp( own );
    Voice bytes{};
    int next = 0;
    int64_t interval = 1'000'000'000 / ( int64_t( shared.channels ) * 50 );
    paced( shared, interval, interval, [&] {
        sockaddr_in to = loopback( shared.ports[static_cast<std::size_t>( next )] );
        next = ( next + 1 ) % shared.channels;
        int64_t now = wallTime();
        (void)recv( fd, bytes.data(), bytes.size(), MSG_DONTWAIT );
        std::memcpy( bytes.data(), &now, sizeof now );
        (void)sendto( fd, bytes.data(), bytes.size(), 0, reinterpret_cast<const sockaddr *>( &to ), sizeof to );
    } );
}

/** When a datagram was sent. */
int64_t sentAt( const void *bytes )
{
    int64_t sent;
    std::memcpy( &sent, bytes, sizeof sent );
    return sent;
}

int64_t sentAt( IN_UDP_PACKET *pkt )
{
    return sentAt( static_cast<const void *>( pbBufferBacking( pb::adopt( inUdpPacketPayload( pkt ) ).get() ) ) );
}

/** Counts what was answered, and now and then looks how long that took. The result is the median. */
class Answers {
public:
    explicit Answers( Shared &itsShared ) : shared( itsShared ), meter( itsShared ) {}
    /** False when there are enough. */
    template <class Datagram>
    bool count( Datagram *datagram )
    {
        if ( ++answered % 16 == 0 )
            delays.push_back( double( wallTime() - sentAt( datagram ) ) );
        if ( meter.count() )
            return true;
        shared.value = medianOf( delays );
        return false;
    }

private:
    Shared &shared;
    Meter meter;
    int64_t answered = 0;
    std::vector<double> delays;
};

/** Hands over from the thread that receives to the one that answers. */
template <class Item>
class Queue {
public:
    void push( Item item )
    {
        std::unique_lock lock( mutex );
        waiting.push_back( std::move( item ) );
        bool first = waiting.size() == 1;
        lock.unlock();
        if ( first )
            pbBarrierUnblock( barrier.get() );
    }
    /** Works off what waits, until the function gives false. */
    template <class Work>
    void run( Work work )
    {
        for ( ;; ) {
            pbBarrierPass( barrier.get() );
            pbBarrierBlock( barrier.get() );
            for ( Item &item : take() )
                if ( !work( item ) )
                    return;
        }
    }

private:
    std::vector<Item> &take()
    {
        taken.clear();
        std::unique_lock lock( mutex );
        std::swap( taken, waiting );
        return taken;
    }
    std::mutex mutex;
    std::vector<Item> waiting;
    std::vector<Item> taken;
    pb::Ref<PB_BARRIER> barrier = pb::adopt( pbBarrierCreate( 1 ) );
};

struct BareDatagram {
    int fd;
    sockaddr_in from;
    Voice bytes;
    bool receive( int itsFd )
    {
        fd = itsFd;
        socklen_t length = sizeof from;
        return recvfrom( fd, bytes.data(), bytes.size(), MSG_DONTWAIT, reinterpret_cast<sockaddr *>( &from ),
                   &length ) == VOICE;
    }
    void answer() const
    {
        (void)sendto(
            fd, bytes.data(), bytes.size(), MSG_DONTWAIT, reinterpret_cast<const sockaddr *>( &from ), sizeof from );
    }
};

/** Opens the channels of the load, which begins then. */
EpollLoop openVoice( Shared &shared )
{
    EpollLoop loop;
    for ( int i = 0; i < shared.channels; ++i ) {
        int fd = bareUdp( shared.ports[static_cast<std::size_t>( i )] );
        loop.add( fd, fd );
    }
    return loop;
}

void answerVoiceBare( Shared &shared )
{
    EpollLoop loop = openVoice( shared );
    Answers answers( shared );
    BareDatagram datagram;
    shared.port = shared.ports[0];
    loop.run( [&]( int fd ) {
        if ( !datagram.receive( fd ) )
            return true;
        datagram.answer();
        return answers.count( datagram.bytes.data() );
    } );
}

/** What one would write: one thread receives, and feeds another one that answers. */
void answerVoiceBareWorker( Shared &shared )
{
    static Queue<BareDatagram> queue; // outlives this function, as the thread does
    EpollLoop loop = openVoice( shared );
    Answers answers( shared );
    std::thread( [loop]() mutable {
        BareDatagram datagram;
        loop.run( [&]( int fd ) {
            if ( datagram.receive( fd ) )
                queue.push( datagram );
            return true;
        } );
    } ).detach();
    shared.port = shared.ports[0];
    queue.run( [&]( const BareDatagram &datagram ) {
        datagram.answer();
        return answers.count( datagram.bytes.data() );
    } );
}

/** Channels of which each calls the handler with itself. The load begins then. */
std::vector<pb::Ref<IN_UDP_CHANNEL>> openVoice( Shared &shared, Channels &library )
{
    std::vector<pb::Ref<IN_UDP_CHANNEL>> channels;
    for ( int i = 0; i < shared.channels; ++i ) {
        auto chan = library.channel();
        auto alertable = Handler::alertable( inUdpChannelObj( chan.get() ) );
        inUdpChannelReceiveAddAlertable( chan.get(), alertable.get() );
        shared.ports[static_cast<std::size_t>( i )] = Channels::portOf( chan.get() );
        channels.push_back( chan );
    }
    shared.port = shared.ports[0];
    return channels;
}

void answerVoiceInFunction( Shared &shared )
{
    Channels library;
    Answers answers( shared );
    Handler handler( [&]( PB_OBJ *object ) {
        IN_UDP_CHANNEL *chan = inUdpChannelFrom( object );
        while ( auto pkt = pb::adopt( inUdpChannelReceive( chan ) ) ) {
            inUdpChannelSend( chan, pkt.get() );
            if ( !answers.count( pkt.get() ) )
                return false;
        }
        return true;
    } );
    auto channels = openVoice( shared, library );
    handler.pass();
}

void answerVoiceInWorker( Shared &shared )
{
    struct Received {
        IN_UDP_CHANNEL *chan;
        pb::Ref<IN_UDP_PACKET> pkt;
    };
    static Queue<Received> queue; // outlives this function, as the functions do
    Channels library;
    Answers answers( shared );
    Handler handler( []( PB_OBJ *object ) {
        IN_UDP_CHANNEL *chan = inUdpChannelFrom( object );
        while ( auto pkt = pb::adopt( inUdpChannelReceive( chan ) ) )
            queue.push( { chan, std::move( pkt ) } );
        return true;
    } );
    auto channels = openVoice( shared, library );
    queue.run( [&]( const Received &received ) {
        inUdpChannelSend( received.chan, received.pkt.get() );
        return answers.count( received.pkt.get() );
    } );
}

void answerVoiceAsio( Shared &shared )
{
    using asio::ip::udp;
    asio::io_context context( 1 );
    struct Channel {
        udp::socket socket;
        udp::endpoint from{};
        Voice bytes{};
    };
    std::vector<Channel> channels;
    for ( int i = 0; i < shared.channels; ++i ) {
        channels.push_back( { udp::socket( context, { asio::ip::make_address( "127.0.0.1" ), 0 } ) } );
        channels.back().socket.non_blocking( true );
        shared.ports[static_cast<std::size_t>( i )] = channels.back().socket.local_endpoint().port();
    }
    Answers answers( shared );
    std::function<void( Channel & )> receive = [&]( Channel &channel ) {
        channel.socket.async_receive_from(
            asio::buffer( channel.bytes ), channel.from, [&]( const std::error_code &, std::size_t ) {
                std::error_code error;
                channel.socket.send_to( asio::buffer( channel.bytes ), channel.from, 0, error );
                answers.count( channel.bytes.data() ) ? receive( channel ) : context.stop();
            } );
    };
    for ( Channel &channel : channels )
        receive( channel );
    shared.port = shared.ports[0];
    context.run();
}

void answerVoiceUv( Shared &shared )
{
    uv_loop_t loop;
    uv_loop_init( &loop );
    Answers answers( shared );
    std::vector<uv_udp_t> handles( static_cast<std::size_t>( shared.channels ) );
    auto allocate = []( uv_handle_t *, std::size_t, uv_buf_t *buffer ) {
        static std::array<char, 65536> memory;
        *buffer = uv_buf_init( memory.data(), memory.size() );
    };
    auto answer = []( uv_udp_t *udp, ssize_t count, const uv_buf_t *bytes, const sockaddr *from, unsigned ) {
        if ( count <= 0 || !from )
            return;
        uv_buf_t buffer = uv_buf_init( bytes->base, static_cast<unsigned>( count ) );
        uv_udp_try_send( udp, &buffer, 1, from );
        if ( !static_cast<Answers *>( udp->data )->count( bytes->base ) )
            uv_stop( udp->loop );
    };
    for ( std::size_t i = 0; i < handles.size(); ++i ) {
        uv_udp_init( &loop, &handles[i] );
        sockaddr_in address = loopback( 0 );
        int length = sizeof address;
        uv_udp_bind( &handles[i], reinterpret_cast<sockaddr *>( &address ), 0 );
        uv_udp_getsockname( &handles[i], reinterpret_cast<sockaddr *>( &address ), &length );
        shared.ports[i] = ntohs( address.sin_port );
        handles[i].data = &answers;
        uv_udp_recv_start( &handles[i], allocate, answer );
    }
    shared.port = shared.ports[0];
    uv_run( &loop, UV_RUN_DEFAULT );
}

const std::vector<Ends> voices{ { "bare", answerVoiceBare, talk }, { "in, function", answerVoiceInFunction, talk },
    { "in, worker", answerVoiceInWorker, talk }, { "bare, worker", answerVoiceBareWorker, talk },
    { "asio", answerVoiceAsio, talk }, { "libuv", answerVoiceUv, talk } };

const std::vector<Ends> workers{ { "bare, worker", answerVoiceBareWorker, talk },
    { "in, worker", answerVoiceInWorker, talk }, { "in, function", answerVoiceInFunction, talk } };

/** The load and who answers, each on a core of its own. */
Shared &runVoice( const Ends &ends, int channels )
{
    Shared &shared = freshShared();
    shared.channels = channels;
    run( ends, shared, 1, 0 );
    return shared;
}

// ---- measurements

void capacity( int rounds )
{
    compare<Receive>( "capacity, datagrams a second that the consumer gets", "at least 1.1, reach for 1.25", rounds,
        receives, []( const Receive &subject ) { return measureReceive( subject, Load::overload, true ); } );
    compare<Receive>( "capacity without offload of the sender, datagrams a second", "at least 0.9 with a thread",
        rounds, receives, []( const Receive &subject ) { return measureReceive( subject, Load::full, true ); } );
}

void processorTimes( int rounds )
{
    compare<Receive>( "processor time, ns a datagram, 100,000 a second in ticks of 1 ms", "at most 2.0", rounds,
        receives, []( const Receive &subject ) { return measureReceive( subject, Load::ticks, false ); } );
    compare<Receive>( "processor time, ns a datagram, one every 10 us", "at most 2.2 with a thread", rounds, receives,
        []( const Receive &subject ) { return measureReceive( subject, Load::smooth, false ); } );
}

void manyOpen( int rounds )
{
    const std::vector<Receive> subjects{
        { "1 open", receiveIn<WaitingThread>, 0 }, { "16,384 open", receiveIn<WaitingThread>, 16'383 } };
    compare<Receive>( "processor time, ns a datagram, one channel of many in use", "at most 1.1", rounds, subjects,
        []( const Receive &subject ) { return measureReceive( subject, Load::ticks, false ); } );
}

void roundTrip( int rounds )
{
    compare<Ends>(
        "round trip, ns of processor time, both ends on one core", "at most 1.6", rounds, trips, roundTripTime );
}

void sending( int rounds )
{
    compare<Local>( "sending, datagrams a second of processor time", "at least 0.95", rounds, senders, measureLocal );
}

void opening( int rounds )
{
    compare<Local>(
        "opening, ns of processor time a channel, 16,000 of them", "at most 1.5", rounds, openers, measureLocal );
    compare<Local>( "opening on given ports, ns of processor time a channel, 16,000 of them", "at most 2.0", rounds,
        givenOpeners, measureLocal );
    std::printf( "heap a channel with 16,384 open, bytes: %.0f; aim: at most 1024\n", valueOf( heapPerChannel ) );
}

void voice( int rounds )
{
    compare<Ends>( "voice, ns of processor time a datagram, 1,000 channels with 50 a second each, answered",
        "at most 1.08 with functions, 1.4 with a worker", rounds, voices, []( const Ends &ends ) {
            const Shared &shared = runVoice( ends, 1'000 );
            return double( shared.cpu ) / double( shared.count );
        } );
    compare<Ends>( "voice, median delay in ns of an answer, 3,000 channels", "at most 1.0 with a worker", rounds,
        workers, []( const Ends &ends ) { return runVoice( ends, 3'000 ).value; } );
}

const Measurement measurements[] = { { "capacity", capacity }, { "processor", processorTimes }, { "many", manyOpen },
    { "roundtrip", roundTrip }, { "sending", sending }, { "opening", opening }, { "voice", voice } };

} // namespace

int main( int argc, char **argv )
{
    return runMeasurements( argc, argv, measurements );
}
