/* The UDP backend on real sockets: which ports it takes, its bounds, and its races. */
#include "udp_support.hpp"
#include <cstdlib>
#include <fstream>
#include <in/imp/in_imp_udp_private.h>
#include <netinet/udp.h>
#include <set>
#include <sstream>
#include <sys/resource.h>

namespace {

using namespace test;

const pb::Ref<IN_ADDRESS> &localhost()
{
    static auto *ina = new pb::Ref<IN_ADDRESS>( test::address( "127.0.0.1" ) );
    return *ina;
}
const bool prepared = ( localhost(), true ); // before objects are counted

/** A handle that is destroyed at the end of the scope. */
class Handle {
public:
    explicit Handle( PB_INT handle ) : chan( handle ) {}
    Handle( Handle &&other ) noexcept : chan( std::exchange( other.chan, -1 ) ) {}
    Handle &operator=( Handle &&other ) noexcept
    {
        std::swap( chan, other.chan );
        return *this;
    }
    ~Handle()
    {
        if ( chan >= 0 )
            in___ImpUdpChannelDestroy( chan );
    }
    explicit operator bool() const { return chan >= 0; }
    PB_INT get() const { return chan; }
    PB_INT port() const { return inUdpAddressPort( in___ImpUdpChannelPath( chan ).localAddress().get() ); }

private:
    PB_INT chan;
};

in::OpenPlan planOf( PB_INT port = -1, IN_UDP_PORT_RANGE *range = nullptr, PB_INT flags = 0 )
{
    in::OpenPlan plan{ .localAddress = localhost().get(), .optionalPort = port, .ports = {}, .flags = flags };
    if ( range )
        plan.ports = in::Ports{ inUdpPortRangeFirstPort( range ), inUdpPortRangeCount( range ) };
    return plan;
}

Handle open( PB_INT port = -1, IN_UDP_PORT_RANGE *range = nullptr, PB_INT flags = 0 )
{
    in::OpenFailure failure;
    return Handle( in___ImpUdpChannelTryCreate( planOf( port, range, flags ), failure ) );
}
pb::Ref<IN_UDP_PORT_RANGE> range( PB_INT first, PB_INT count )
{
    return pb::adopt( inUdpPortRangeCreate( first, count ) );
}

pb::Ref<IN_UDP_PACKET> receive( const Handle &chan )
{
    return in___ImpUdpChannelPath( chan.get() ).optionalReceive();
}

/** The next one, when it is there; its payload. */
pb::Ref<IN_UDP_PACKET> next( const Handle &chan )
{
    pb::Ref<IN_UDP_PACKET> pkt;
    EXPECT_TRUE( eventually( [&] { return bool( pkt = receive( chan ) ); } ) );
    return pkt;
}
std::string nextText( const Handle &chan )
{
    pb::Ref<IN_UDP_PACKET> pkt = next( chan );
    return pkt ? test::payloadOf( pkt.get() ) : "(nothing came)";
}

/** How many bytes wait in the socket itself, as the kernel tells; -1 when there is no such socket. */
int64_t bytesInSocket( PB_INT port )
{
    std::ostringstream key;
    key << "0100007F:" << std::uppercase << std::hex << port;
    std::ifstream file( "/proc/net/udp" );
    for ( std::string line; std::getline( file, line ); )
        if ( std::size_t place = line.find( key.str() ); place != std::string::npos )
            return std::stoll( line.substr( place + 40, 8 ), nullptr, 16 ); // behind remote address, state, send queue
    return -1;
}

/** How often a race is run: as often as QUELVARIS_RACE_CYCLES says. */
int cycles( int usual )
{
    const char *asked = std::getenv( "QUELVARIS_RACE_CYCLES" );
    return asked ? std::atoi( asked ) : usual;
}

} // namespace

TEST( UdpPorts, OfARange )
{
    EXPECT_FALSE( open( -1, range( 20'000, 0 ).get() ) ) << "a range without ports";

    // a range that goes past the last port wraps, and each port is taken once
    auto last = range( 65'530, 100 );
    std::vector<Handle> open6;
    std::set<PB_INT> ports;
    for ( Handle chan = open( -1, last.get() ); chan; chan = open( -1, last.get() ) ) {
        ports.insert( chan.port() );
        open6.push_back( std::move( chan ) );
    }
    EXPECT_EQ( ports, ( std::set<PB_INT>{ 65'530, 65'531, 65'532, 65'533, 65'534, 65'535 } ) );

    // a port that is busy outside the library is passed over; one that is free again is found
    open6.pop_back();
    EXPECT_TRUE( open( -1, last.get() ) );
    BareSocket busy( 65'529 );
    EXPECT_FALSE( open( busy.port, nullptr ) ) << "a port of its own is not shared";

    // a range whose first port was changed to 0
    auto changed = range( 20'000, 0 );
    inUdpPortRangeSetFirstPort( changed.handle(), 3 );
    ASSERT_EQ( inUdpPortRangeFirstPort( changed.get() ), 0 );
    for ( int i = 0; i < 8; ++i )
        if ( Handle chan = open( -1, changed.get() ) ) {
            EXPECT_GE( chan.port(), 1 );
        }
}

TEST( UdpPorts, Pairs )
{
    auto tryPair = []( IN_UDP_PORT_RANGE *optionalRange ) {
        PB_INT rtp = 7, rtcp = 7;
        in::OpenFailure failure;
        PB_BOOL found = in___ImpUdpChannelTryCreateRtp( &rtp, &rtcp, planOf( -1, optionalRange ), failure );
        EXPECT_EQ( found, rtp >= 0 && rtcp >= 0 );
        EXPECT_EQ( rtp < 0, rtcp < 0 );
        return std::pair<Handle, Handle>( rtp, rtcp );
    };
    auto [rtp, rtcp] = tryPair( nullptr );
    ASSERT_TRUE( rtp && rtcp );
    EXPECT_EQ( rtp.port() % 2, 0 );
    EXPECT_EQ( rtcp.port(), rtp.port() + 1 );

    // 30001 and 30002 have no partners within, 30003 is busy, so only 30004 and 30005 are left
    BareSocket busy( 30'003 );
    auto narrow = range( 30'001, 5 );
    auto [one, two] = tryPair( narrow.get() );
    ASSERT_TRUE( one && two );
    EXPECT_EQ( one.port(), 30'004 );
    EXPECT_EQ( two.port(), 30'005 );
    EXPECT_FALSE( tryPair( narrow.get() ).first ) << "none is left";
    EXPECT_TRUE( open( 30'001 ) ) << "what was opened while looking is closed";
}

TEST( UdpEngine, Datagrams )
{
    Handle chan = open();
    BareSocket peer;
    std::string largest( 65'507, 'x' );
    std::vector<std::string> sent{ "", "a", std::string( 160, 'b' ), largest, "", "c" };
    for ( const std::string &bytes : sent )
        peer.send( chan.port(), bytes );
    for ( const std::string &bytes : sent ) {
        pb::Ref<IN_UDP_PACKET> pkt = next( chan );
        ASSERT_TRUE( pkt );
        EXPECT_EQ( test::payloadOf( pkt.get() ), bytes );
        EXPECT_EQ( inUdpAddressPort( pb::adopt( inUdpPacketRemoteAddress( pkt.get() ) ).get() ), peer.port );
    }
    EXPECT_FALSE( receive( chan ) );

    test::Waiter waiter;
    Handle deaf = open( -1, nullptr, IN_UDP_FLAG_NO_RECEIVE );
    in___ImpUdpChannelPath( deaf.get() ).receiveAddAlertable( waiter.alert() );
    peer.send( deaf.port(), "nobody listens" );
    auto to = test::udpAddress( "127.0.0.1", chan.port() );
    in___ImpUdpChannelPath( deaf.get() ).sendBytes( to.get(), "heard", 5 );
    EXPECT_EQ( nextText( chan ), "heard" );
    EXPECT_FALSE( waiter.fired() );
    EXPECT_FALSE( receive( deaf ) );
}

TEST( UdpEngine, BurstsOfManySenders )
{
    Handle chan = open();
    std::vector<BareSocket> peers( 1'000 );
    constexpr std::size_t BURST = 200; // what the socket's buffer holds even if the thread comes late
    for ( std::size_t begin = 0; begin < peers.size(); begin += BURST ) {
        for ( std::size_t i = begin; i < begin + BURST; ++i )
            peers[i].send( chan.port(), std::to_string( i ) );
        for ( std::size_t i = begin; i < begin + BURST; ++i ) {
            pb::Ref<IN_UDP_PACKET> pkt = next( chan );
            ASSERT_TRUE( pkt );
            EXPECT_EQ( inUdpAddressPort( pb::adopt( inUdpPacketRemoteAddress( pkt.get() ) ).get() ), peers[i].port );
            EXPECT_EQ( test::payloadOf( pkt.get() ), std::to_string( i ) );
        }
    }
}

TEST( UdpEngine, ASlowConsumerBoundsTheQueue )
{
    Handle chan = open();
    BareSocket peer;
    auto sendSlowly = [&]( int from, int to ) {
        for ( int i = from; i < to; ++i ) {
            peer.send( chan.port(), std::to_string( i ) );
            if ( i < 512 ) {
                EXPECT_TRUE( eventually( [&] { return bytesInSocket( chan.port() ) == 0; } ) ) << i;
            }
        }
    };
    sendSlowly( 0, 512 );
    sendSlowly( 512, 600 );
    pbSleep( 50 );
    int64_t waiting = bytesInSocket( chan.port() );
    EXPECT_GT( waiting, 0 ) << "what comes behind the 512th stays in the socket";

    int taken = 0;
    auto take = [&] { EXPECT_EQ( nextText( chan ), std::to_string( taken++ ) ) << "each once, in order"; };
    while ( taken < 255 )
        take();
    pbSleep( 50 );
    EXPECT_EQ( bytesInSocket( chan.port() ), waiting ) << "257 are queued still";
    take();
    EXPECT_TRUE( eventually( [&] { return bytesInSocket( chan.port() ) == 0; } ) ) << "256 are, so reading goes on";
    while ( taken < 600 )
        take();
    EXPECT_FALSE( receive( chan ) );
}

// The kernel hands a busy channel datagrams in trains; users see them one by one, as they were sent.
TEST( UdpEngine, TrainsAreTakenApart )
{
    Handle chan = open();
    BareSocket peer;
    constexpr int SIZE = 100;
    ASSERT_EQ( setsockopt( peer.fd.get(), SOL_UDP, UDP_SEGMENT, &SIZE, sizeof SIZE ), 0 );
    auto datagram = []( int number, bool isLast ) {
        std::string bytes = std::to_string( number );
        return isLast ? bytes : bytes.append( SIZE - bytes.size(), '.' );
    };
    auto isLastOfTrain = []( int number ) { return number % 50 == 49; };
    int sent = 0, taken = 0;
    auto send = [&]( int trains ) {
        for ( ; trains > 0; --trains ) {
            std::string train;
            do
                train += datagram( sent, isLastOfTrain( sent ) );
            while ( !isLastOfTrain( sent++ ) );
            peer.send( chan.port(), train );
        }
    };
    auto take = [&]( int end ) {
        for ( ; taken < end; ++taken )
            ASSERT_EQ( nextText( chan ), datagram( taken, isLastOfTrain( taken ) ) ) << taken;
    };
    while ( sent < 600 ) { // more than is queued: the rest is read at once later, and the channel is busy then
        send( 1 );
        EXPECT_TRUE( sent > 500 || eventually( [&] { return bytesInSocket( chan.port() ) == 0; } ) );
    }
    take( sent );
    send( 20 ); // more than queue and socket have room for when each stands alone
    take( 300 );
    send( 4 );
    take( sent );
    EXPECT_FALSE( receive( chan ) );
}

TEST( UdpEngine, EverySlot )
{
    rlimit limit;
    ASSERT_EQ( getrlimit( RLIMIT_NOFILE, &limit ), 0 );
    rlimit raised{ limit.rlim_max, limit.rlim_max };
    if ( raised.rlim_cur < 16'384 + 100 )
        GTEST_SKIP() << "only " << raised.rlim_cur << " descriptors are allowed here";
    ASSERT_EQ( setrlimit( RLIMIT_NOFILE, &raised ), 0 );
    {
        std::vector<Handle> all;
        for ( int i = 0; i < 16'384; ++i )
            all.push_back( open() );
        std::set<PB_INT> handles;
        for ( const Handle &chan : all )
            handles.insert( chan.get() );
        EXPECT_TRUE( handles.size() == 16'384 && *handles.begin() == 0 && *handles.rbegin() == 16'383 );
        EXPECT_FALSE( open() ) << "there is no more";

        BareSocket peer;
        for ( const Handle &chan : all ) {
            peer.send( chan.port(), "x" );
            ASSERT_TRUE( next( chan ) );
        }
        PB_INT freed = all[5'000].get();
        all[5'000] = Handle( -1 );
        EXPECT_EQ( open().get(), freed ) << "the slot that is free is found";
    }
    ASSERT_EQ( setrlimit( RLIMIT_NOFILE, &limit ), 0 );
}

/** Sends to ports that are open, or were, until it ends. */
class Noise {
public:
    void aimAt( PB_INT port ) { target = port; }
    ~Noise()
    {
        ended = true;
        thread.join();
    }

private:
    void run()
    {
        BareSocket peer;
        while ( !ended ) {
            sockaddr_in sa = BareSocket::sockaddrOf( target );
            for ( int i = 0; i < 4; ++i )
                (void)sendto( peer.fd.get(), "noise", 5, 0, reinterpret_cast<sockaddr *>( &sa ), sizeof sa );
        }
    }
    std::atomic<PB_INT> target = 9;
    std::atomic<bool> ended = false;
    std::thread thread{ [this] { run(); } };
};

// A channel is released at any moment of its being served: before the thread has looked it up, while it reads, while it
// hands over, while its waiters are being fired.
TEST( UdpRaces, ReleaseAgainstTheThread )
{
    Noise noise;
    test::Waiter waiter;
    for ( int i = 0; i < cycles( 100'000 ); ++i ) {
        Handle chan = open();
        ASSERT_TRUE( chan );
        in___ImpUdpChannelPath( chan.get() ).receiveAddAlertable( waiter.alert() );
        noise.aimAt( chan.port() );
        if ( i % 2 )
            (void)receive( chan );
        if ( i % 64 == 0 )
            pbSleep( 1 );
    }
}

TEST( UdpRaces, EightThreadsOpenAndClose )
{
    int before = test::openDescriptors();
    test::onThreads( 8, []( int seed ) {
        BareSocket peer;
        std::mt19937 random( static_cast<unsigned>( seed ) );
        std::vector<Handle> mine;
        for ( int i = 0; i < cycles( 20'000 ) / 8; ++i ) {
            mine.push_back( open() );
            for ( const Handle &chan : mine )
                peer.send( chan.port(), "x" );
            (void)receive( mine[random() % mine.size()] );
            if ( mine.size() > random() % 8 ) {
                std::swap( mine[random() % mine.size()], mine.back() );
                mine.pop_back();
            }
        }
    } );
    EXPECT_EQ( test::openDescriptors(), before );
}

// Whoever is woken may release the channel, on the very thread that serves it.
TEST( UdpRaces, ReleaseFromWithinAWakeUp )
{
    static std::atomic<PB_INT> owned = -1;
    static std::atomic<int> released = 0;
    auto destroy = []( PB_OBJ * ) {
        PB_INT chan = owned.exchange( -1 );
        if ( chan < 0 )
            return;
        in___ImpUdpChannelDestroy( chan );
        ++released;
    };
    BareSocket peer;
    for ( int i = 0; i < 200; ++i ) {
        pb::Ref<PB_ALERTABLE> alertable = pb::adopt( pbAlertableCreate( destroy, nullptr ) );
        in::OpenFailure failure;
        PB_INT chan = in___ImpUdpChannelTryCreate( planOf(), failure );
        owned = chan;
        PB_INT port = inUdpAddressPort( in___ImpUdpChannelPath( chan ).localAddress().get() );
        in___ImpUdpChannelPath( chan ).receiveAddAlertable( alertable.get() );
        peer.send( port, "wake up" );
        ASSERT_TRUE( eventually( [&] { return released == i + 1; } ) );
    }
}

TEST( UdpRaces, ManyConsumersOfOneChannel )
{
    Handle chan = open();
    std::atomic<int> received = 0;
    std::atomic<bool> ended = false;
    std::vector<std::jthread> consumers;
    for ( int i = 0; i < 3; ++i )
        consumers.emplace_back( [&] {
            test::Waiter waiter;
            in___ImpUdpChannelPath( chan.get() ).receiveAddAlertable( waiter.alert() );
            for ( int last = -1; !ended; ) {
                pb::Ref<IN_UDP_PACKET> pkt = receive( chan );
                if ( !pkt ) {
                    EXPECT_TRUE( waiter.wait() ) << "a datagram is never left with everybody asleep";
                    continue;
                }
                int number = std::stoi( test::payloadOf( pkt.get() ) );
                EXPECT_GT( number, last ) << "what one consumer gets is in order";
                last = number;
                ++received;
            }
            in___ImpUdpChannelPath( chan.get() ).receiveDelAlertable( waiter.alert() );
        } );
    BareSocket peer;
    constexpr int COUNT = 20'000;
    for ( int i = 0; i < COUNT; ++i ) {
        peer.send( chan.port(), std::to_string( i ) );
        if ( i % 100 == 99 ) {
            EXPECT_TRUE( eventually( [&] { return received > i - 100; } ) );
        }
    }
    EXPECT_TRUE( eventually( [&] { return received == COUNT; } ) ) << received << ": each is delivered once";
    ended = true;
    peer.send( chan.port(), std::to_string( COUNT ) ); // wakes them all
}

TEST( UdpEngine, Misuse )
{
    EXPECT_DEATH( in___ImpUdpChannelPath( -1 ), "in_imp_udp_unix.cpp:.*: IN___IMP_UDP_CHANNEL_OK\\( chan \\)" );
    EXPECT_DEATH( in___ImpUdpChannelPath( 16'384 ), ": chan < PB_SIZEOF_ARRAY\\( channelArray \\)" );
    EXPECT_DEATH( in___ImpUdpChannelPath( 16'383 ), ": CHAN" );
    EXPECT_DEATH( open( 65'536 ), ": optionalLocalPort == IN_UDP_PORT_INVALID \\|\\| IN_UDP_PORT_OK" );
}
