/*
 * UDP channels beside the bare system calls and what users would take instead, with 160-byte datagrams on loopback.
 *
 *   bench_udp [rounds [capacity|processor|many|roundtrip|sending|opening]]
 */
#include "processes.hpp"

#include <asio.hpp>
#include <cstring>
#include <malloc.h>
#include <netinet/udp.h>
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
    pb::Ref<IN_UDP_CHANNEL> channel()
    {
        auto chan = pb::adopt( inUdpChannelTryCreate( stack.get(), nullptr, nullptr, nullptr, -1, 0, nullptr ) );
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

enum class Load { overload, ticks, smooth };

void sendLoad( Shared &shared, Load load )
{
    awaitPort( shared );
    int port;
    int fd = bareUdp( port );
    sockaddr_in to = loopback( shared.port );
    if ( load == Load::overload )
        return overload( shared, fd, to );
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

/** What the subject gets under the load: datagrams a second, or the processor time of each in ns. */
double measureReceive( const Receive &subject, Load load, bool perSecond )
{
    Shared &shared = freshShared();
    pid_t sender = process( [&] { sendLoad( shared, load ); } );
    await( process( [&] { subject.receive( shared, subject.otherChannels ); } ) );
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

/** Bare; with options, all that a channel's socket is opened with. */
template <bool Options>
double openBare()
{
    int64_t start = processorTime();
    int set = epoll_create1( EPOLL_CLOEXEC );
    for ( int i = 0; i < CHANNELS; ++i ) {
        int fd = socket( AF_INET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0 );
        sockaddr_in address = loopback( 0 );
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

double openIn()
{
    Channels library;
    std::vector<pb::Ref<IN_UDP_CHANNEL>> channels;
    channels.reserve( CHANNELS );
    int64_t start = processorTime();
    for ( int i = 0; i < CHANNELS; ++i )
        channels.push_back( library.channel() );
    return double( processorTime() - start ) / CHANNELS;
}

double heapPerChannel()
{
    Channels library;
    std::vector<pb::Ref<IN_UDP_CHANNEL>> channels;
    channels.reserve( 16'384 );
    std::size_t before = mallinfo2().uordblks;
    for ( int i = 0; i < 16'384; ++i )
        channels.push_back( library.channel() );
    return double( mallinfo2().uordblks - before ) / 16'384;
}

const std::vector<Local> senders{ { "bare", sendBare }, { "in", sendIn }, { "asio", sendAsio } };
const std::vector<Local> openers{ { "bare", openBare<false> }, { "bare, options", openBare<true> }, { "in", openIn } };

// ---- measurements

void capacity( int rounds )
{
    compare<Receive>( "capacity, datagrams a second that the consumer gets", "at least 1.1, reach for 1.25", rounds,
        receives, []( const Receive &subject ) { return measureReceive( subject, Load::overload, true ); } );
}

void processorTimes( int rounds )
{
    compare<Receive>( "processor time, ns a datagram, 100,000 a second in ticks of 1 ms", "at most 2.0", rounds,
        receives, []( const Receive &subject ) { return measureReceive( subject, Load::ticks, false ); } );
    compare<Receive>( "processor time, ns a datagram, one every 10 us", "none", rounds, receives,
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
    std::printf( "heap a channel with 16,384 open, bytes: %.0f; aim: at most 1536\n", valueOf( heapPerChannel ) );
}

const Measurement measurements[] = { { "capacity", capacity }, { "processor", processorTimes }, { "many", manyOpen },
    { "roundtrip", roundTrip }, { "sending", sending }, { "opening", opening } };

} // namespace

int main( int argc, char **argv )
{
    return runMeasurements( argc, argv, measurements );
}
