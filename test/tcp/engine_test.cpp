/* The TCP engines under load: what is lost, bounds, ports, and races. Peers are this library's or bare sockets. */
#include <cs/cs.h>
#include <cstdlib>
#include <in/imp/in_imp_tcp_private.h>
#include <in/tcp_support.hpp>
#include <netinet/tcp.h>
#include <pr/pr.h>
#include <random>
#include <support/namespace.hpp>
#include <support/processes.hpp>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <thread>
#include <tr/tr.h>

namespace {

const int loopback = test::addLoopback(); // a namespace of its own, for the many ports
const int modules = test::addModules( { trModule(), prModule(), csModule(), inModule() } );
const int workers = test::addThreads();

using test::BareTcp;
using test::connectTo;
using test::eventually;
using test::listenOn;
using test::localOf;
using test::Stream;
using test::StreamPair;

int cycles( int usual )
{
    const char *asked = std::getenv( "QUELVARIS_RACE_CYCLES" );
    return asked ? std::atoi( asked ) : usual;
}

PB_INT portOf( const pb::Ref<IN_TCP_CHANNEL_LISTENER> &lsn )
{
    return inTcpAddressPort( localOf( lsn ).get() );
}

/** A byte of a stream of known bytes. */
char byteAt( std::size_t place, unsigned seed )
{
    return char( ( place * 2'654'435'761u + seed ) >> 13 );
}
std::string bytesFrom( std::size_t begin, std::size_t count, unsigned seed )
{
    std::string bytes( count, 0 );
    for ( std::size_t i = 0; i < count; ++i )
        bytes[i] = byteAt( begin + i, seed );
    return bytes;
}

/** Sends a stream of known bytes in pieces of random sizes. */
void sendKnown( const pb::Ref<IN_TCP_CHANNEL> &chan, std::size_t count, unsigned seed )
{
    Stream stream( chan );
    std::minstd_rand random( seed );
    for ( std::size_t at = 0; at < count; ) {
        std::size_t piece = std::min<std::size_t>( count - at, 1 + random() % ( random() % 4 ? 700 : 150'000 ) );
        if ( !stream.send( bytesFrom( at, piece, seed ) ) )
            return;
        at += piece;
        if ( random() % 64 == 0 )
            std::this_thread::yield();
    }
}

/** Takes one in pieces of random sizes; how many bytes were as they should be. */
std::size_t receiveKnown( const pb::Ref<IN_TCP_CHANNEL> &chan, std::size_t count, unsigned seed )
{
    Stream stream( chan );
    std::minstd_rand random( seed + 1 );
    std::size_t at = 0;
    while ( at < count && !inTcpChannelEnd( stream.chan.get() ) ) {
        std::string some = stream.take( PB_INT( random() % 4 ? 65'536 : 1 + random() % 5'000 ) );
        if ( some != bytesFrom( at, some.size(), seed ) )
            return at;
        at += some.size();
        if ( some.empty() )
            stream.wait();
    }
    return at;
}

/** Raises the limit of descriptors to the end of the scope; whether that many are allowed. */
class ManyDescriptors : test::Pinned {
public:
    explicit ManyDescriptors( rlim_t count )
    {
        getrlimit( RLIMIT_NOFILE, &before );
        rlimit raised{ before.rlim_max, before.rlim_max };
        allowed = before.rlim_max >= count && setrlimit( RLIMIT_NOFILE, &raised ) == 0;
    }
    ~ManyDescriptors() { setrlimit( RLIMIT_NOFILE, &before ); }

    bool allowed;

private:
    rlimit before;
};

int optionOf( int fd, int level, int option )
{
    int value = -1;
    socklen_t length = sizeof value;
    getsockopt( fd, level, option, &value, &length );
    return value;
}

/** The descriptor of the socket that has that local port and the far one. */
int descriptorOf( IN_TCP_CHANNEL *chan )
{
    PB_INT near = inTcpAddressPort( pb::adopt( inTcpChannelLocalAddress( chan ) ).get() );
    PB_INT far = inTcpAddressPort( pb::adopt( inTcpChannelRemoteAddress( chan ) ).get() );
    for ( int fd = 0; fd < 1024; ++fd ) {
        sockaddr_in local{}, remote{};
        socklen_t length = sizeof local;
        if ( getsockname( fd, reinterpret_cast<sockaddr *>( &local ), &length ) == 0 &&
             getpeername( fd, reinterpret_cast<sockaddr *>( &remote ), &length ) == 0 &&
             ntohs( local.sin_port ) == near && ntohs( remote.sin_port ) == far )
            return fd;
    }
    return -1;
}

} // namespace

TEST( TcpEngine, OptionsOfBothEnds )
{
    pb::Ref<IN_OPTIONS> options = test::loopbackOptions();
    pb::Ref<IN_TCP_OPTIONS> tcpOptions = pb::adopt( inTcpOptionsCreate() );
    inTcpOptionsSetKeepAliveEnabled( tcpOptions.handle(), true );
    for ( auto [milliseconds, seconds] : { std::pair( 1'500, 2 ), { 10, 1 }, { 32'000'000, 32'000 } } ) {
        inTcpOptionsSetKeepAliveTime( tcpOptions.handle(), milliseconds );
        inOptionsSetTcpOptions( options.handle(), tcpOptions.get() );
        StreamPair pair( test::stackWith( options.get() ).get(), IN_TCP_FLAG_NO_DELAY );
        for ( IN_TCP_CHANNEL *chan : { pair.near.chan.get(), pair.far.chan.get() } ) {
            int fd = descriptorOf( chan );
            EXPECT_EQ( optionOf( fd, SOL_SOCKET, SO_KEEPALIVE ), 1 );
            EXPECT_EQ( optionOf( fd, IPPROTO_TCP, TCP_KEEPIDLE ), seconds );
            EXPECT_EQ( optionOf( fd, IPPROTO_TCP, TCP_KEEPINTVL ), seconds );
            EXPECT_EQ( optionOf( fd, IPPROTO_TCP, TCP_NODELAY ), 1 );
        }
    }
}

TEST( TcpEngine, PortsOfARange )
{
    pb::Ref<IN_OPTIONS> options = test::loopbackOptions();
    pb::Ref<IN_TCP_OPTIONS> tcpOptions = pb::adopt( inTcpOptionsCreate() );
    inTcpOptionsSetPortRange( tcpOptions.handle(), pb::adopt( inTcpPortRangeCreate( 34'500, 4 ) ).get() );
    inOptionsSetTcpOptions( options.handle(), tcpOptions.get() );
    pb::Ref<IN_STACK> stack = test::stackWith( options.get() );

    std::set<PB_INT> ports;
    std::vector<pb::Ref<IN_TCP_CHANNEL_LISTENER>> listeners;
    for ( auto lsn = listenOn( stack.get() ); lsn; lsn = listenOn( stack.get() ) ) {
        ports.insert( portOf( lsn ) );
        listeners.push_back( std::move( lsn ) );
    }
    EXPECT_EQ( ports, ( std::set<PB_INT>{ 34'500, 34'501, 34'502, 34'503 } ) );

    // an accepted channel shares its listener's port, which is in use until both have gone
    PB_INT shared = portOf( listeners[0] );
    BareTcp peer = BareTcp::connectedTo( shared );
    pb::Ref<IN_TCP_CHANNEL> chan = test::acceptOn( listeners[0].get() );
    listeners.clear();
    for ( auto lsn = listenOn( stack.get() ); lsn; lsn = listenOn( stack.get() ) ) {
        EXPECT_NE( portOf( lsn ), shared );
        listeners.push_back( std::move( lsn ) );
    }
    EXPECT_EQ( listeners.size(), 3u );
    chan = nullptr;
    listeners.clear();

    // a port from which somebody is connected to the same address is passed over
    BareTcp target = BareTcp::listening();
    BareTcp other = BareTcp::connectedTo( inTcpAddressPort( target.address().get() ), "127.0.0.1", 34'502 );
    std::set<PB_INT> froms;
    std::vector<pb::Ref<IN_TCP_CHANNEL>> chans;
    for ( auto to = connectTo( stack.get(), target.address().get() ); to;
          to = connectTo( stack.get(), target.address().get() ) ) {
        froms.insert( inTcpAddressPort( pb::adopt( inTcpChannelLocalAddress( to.get() ) ).get() ) );
        chans.push_back( std::move( to ) );
    }
    EXPECT_EQ( froms, ( std::set<PB_INT>{ 34'500, 34'501, 34'503 } ) );
    chans.clear();
    other.reset();

    // RTP on the even port
    auto pair = test::takeAll<IN_TCP_CHANNEL_LISTENER>(
        inTcpChannelListenersVectorTryCreateRtp( stack.get(), nullptr, nullptr, nullptr, 0, nullptr ) );
    ASSERT_EQ( pair.size(), 2u );
    EXPECT_EQ( portOf( pair[0] ) % 2, 0 );
    EXPECT_EQ( portOf( pair[1] ), portOf( pair[0] ) + 1 );
}

TEST( TcpEngine, PortInUse )
{
    pb::Ref<IN_STACK> stack = test::loopbackStack();
    pb::Ref<IN_ADDRESS> localhost = test::address( "127.0.0.1" );
    pb::Ref<IN_TCP_CHANNEL_LISTENER> lsn = listenOn( stack.get() );
    PB_INT port = portOf( lsn );
    EXPECT_TRUE( inTcpPortUsed( localhost.get(), port ) );
    EXPECT_FALSE( inTcpPortUsed( test::address( "127.0.0.3" ).get(), port ) );
    EXPECT_TRUE( inTcpPortUsed( localhost.get(), IN_TCP_PORT_ANY ) ) << "something listens";
    lsn = nullptr;
    EXPECT_FALSE( inTcpPortUsed( localhost.get(), port ) );
    pb::Ref<IN_STACK> stack6 = test::stackWith( test::loopbackOptions( IN_ADDRESS_VERSION_6 ).get() );
    lsn = listenOn( stack6.get() );
    EXPECT_TRUE( inTcpPortUsed( test::address( "::1" ).get(), portOf( lsn ) ) );
    EXPECT_FALSE( inTcpPortUsed( test::address( "::2" ).get(), portOf( lsn ) ) );
}

TEST( TcpEngine, NothingIsLostDoubledOrReordered )
{
    pb::Ref<IN_STACK> stack = test::loopbackStack();
    pb::Ref<IN_TCP_CHANNEL_LISTENER> lsn = listenOn( stack.get() );
    int count = cycles( 12 );
    std::vector<pb::Ref<IN_TCP_CHANNEL>> chans; // every other one is the far end of the one before
    for ( int i = 0; i < count; ++i ) {
        chans.push_back( connectTo( stack.get(), localOf( lsn ).get() ) );
        chans.push_back( test::acceptOn( lsn.get() ) );
    }
    {
        std::vector<std::jthread> threads;
        for ( unsigned i = 0; i < chans.size(); ++i ) {
            std::size_t length = 300'000 + i * 10'007;
            threads.emplace_back( [&, i, length] { sendKnown( chans[i], length, i ); } );
            threads.emplace_back(
                [&, i, length] { EXPECT_EQ( receiveKnown( chans[i ^ 1], length, i ), length ) << i; } );
        }
    }
    for ( auto &chan : chans ) // both directions at the same time
        inTcpChannelTerminate( chan.get() );
    for ( auto &chan : chans ) {
        EXPECT_TRUE( eventually( [&] { return inTcpChannelEnd( chan.get() ); } ) );
        EXPECT_FALSE( inTcpChannelError( chan.get() ) );
    }
}

TEST( TcpEngine, ReadingPausesAndResumesAtItsMarks )
{
    pb::Ref<IN_STACK> stack = test::loopbackStack();
    pb::Ref<IN_TCP_CHANNEL_LISTENER> lsn = listenOn( stack.get() );
    BareTcp peer = BareTcp::connectedTo( portOf( lsn ) );
    Stream far( test::acceptOn( lsn.get() ) );
    int fd = descriptorOf( far.chan.get() );
    auto inSocket = [&] {
        int count = -1;
        EXPECT_EQ( ioctl( fd, FIONREAD, &count ), 0 );
        return count;
    };
    peer.send( std::string( 65'535, 'a' ) );
    EXPECT_TRUE( eventually( [&] { return inSocket() == 0; } ) );
    peer.send( "b" );
    EXPECT_TRUE( eventually( [&] { return inSocket() == 0; } ) ) << "65,535 bytes are no reason to pause";
    peer.send( "c" );
    pbSleep( 20 );
    EXPECT_EQ( inSocket(), 1 ) << "65,536 are";
    for ( int taken = 0; taken < 65'536 - 1'025; )
        taken += int( far.take( 65'536 - 1'025 - taken ).size() );
    pbSleep( 20 );
    EXPECT_EQ( inSocket(), 1 ) << "1,025 are left";
    EXPECT_EQ( far.take( 1 ).size(), 1u );
    EXPECT_TRUE( eventually( [&] { return inSocket() == 0; } ) ) << "1,024 are";
    EXPECT_EQ( far.receive( 1'025 ).back(), 'c' );
}

TEST( TcpEngine, PendingConnectionsAreBounded )
{
    ManyDescriptors many( 3 * 2'300 );
    if ( !many.allowed )
        GTEST_SKIP() << "too few descriptors are allowed here";
    pb::Ref<IN_STACK> stack = test::loopbackStack();
    pb::Ref<IN_TCP_CHANNEL_LISTENER> lsn = listenOn( stack.get() );
    std::vector<BareTcp> peers;
    int before = test::openDescriptors(); // the listener among them
    for ( int i = 0; i < 2'048 + 20; ++i )
        peers.push_back( BareTcp::connectedTo( portOf( lsn ) ) );
    auto pending = [&] { return test::openDescriptors() - before - int( peers.size() ); };
    EXPECT_TRUE( eventually( [&] { return pending() == 2'048; } ) );
    pbSleep( 20 );
    EXPECT_EQ( pending(), 2'048 ) << "the rest waits in the system";
    for ( int left = 2'048; left > 33; --left )
        ASSERT_TRUE( pb::adopt( inTcpChannelListenerListen( lsn.get() ) ) );
    pbSleep( 20 );
    EXPECT_EQ( pending(), 33 );
    ASSERT_TRUE( pb::adopt( inTcpChannelListenerListen( lsn.get() ) ) );
    EXPECT_TRUE( eventually( [&] { return pending() == 52; } ) ) << "32 are left, so accepting goes on";
    lsn = nullptr;
    EXPECT_EQ( pending(), -1 );
    for ( BareTcp &peer : peers )
        ASSERT_EQ( peer.rest(), "" );
}

TEST( TcpEngine, EverySlot )
{
    ManyDescriptors many( 16'384 + 200 );
    if ( !many.allowed )
        GTEST_SKIP() << "too few descriptors are allowed here";
    pb::Ref<IN_STACK> stack = test::loopbackStack();
    pb::Ref<IN_TCP_CHANNEL_LISTENER> lsn = listenOn( stack.get() );
    std::vector<pb::Ref<IN_TCP_CHANNEL>> chans;
    while ( chans.size() < 16'384 ) {
        chans.push_back( connectTo( stack.get(), localOf( lsn ).get() ) );
        chans.push_back( test::acceptOn( lsn.get() ) );
        ASSERT_TRUE( chans[chans.size() - 2] && chans.back() );
    }
    EXPECT_FALSE( connectTo( stack.get(), localOf( lsn ).get() ) ) << "there is no more";
    BareTcp peer = BareTcp::connectedTo( portOf( lsn ) );
    Stream last( chans.front() );
    EXPECT_TRUE( last.send( "the first one works" ) );
    EXPECT_EQ( Stream( chans[1] ).receive( 19 ), "the first one works" );
    EXPECT_TRUE(
        eventually( [&] { return !pb::adopt( inTcpChannelListenerListen( lsn.get() ) ) && peer.rest().empty(); } ) )
        << "closed, since there is no slot";
}

TEST( TcpEngine, AListenerWithoutDescriptorsFailsAndSaysWhy )
{
    pb::Ref<IN_STACK> stack = test::loopbackStack();
    pb::Ref<IN_TCP_CHANNEL_LISTENER> lsn = listenOn( stack.get() );
    test::Waiter failed;
    inTcpChannelListenerErrorAddSignalable( lsn.get(), failed.get() );
    rlimit before;
    BareTcp peer( socket( AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0 ) );
    sockaddr_in sa = test::BareSocket::sockaddrOf( portOf( lsn ) );
    getrlimit( RLIMIT_NOFILE, &before );
    rlimit none{ 0, before.rlim_max };
    setrlimit( RLIMIT_NOFILE, &none );
    EXPECT_EQ( connect( peer.fd.get(), reinterpret_cast<sockaddr *>( &sa ), sizeof sa ), 0 );
    EXPECT_TRUE( failed.wait() );
    setrlimit( RLIMIT_NOFILE, &before );
    EXPECT_TRUE( inTcpChannelListenerError( lsn.get() ) );
    EXPECT_FALSE( pb::adopt( inTcpChannelListenerListen( lsn.get() ) ) );
}

// Functions of users call back into everything, and let go of what called them.
TEST( TcpRaces, FunctionsThatTakeSendAndRelease )
{
    struct Answer : PB_OBJ {};
    pb::Ref<IN_STACK> stack = test::loopbackStack();
    pb::Ref<IN_TCP_CHANNEL_LISTENER> lsn = listenOn( stack.get() );
    static std::atomic<int> ended;
    ended = 0;
    // answers all that comes, and takes the last bytes when the end is told
    auto answer = []( PB_OBJ *obj ) {
        IN_TCP_CHANNEL *chan = inTcpChannelFrom( obj );
        pb::Ref<PB_BUFFER> buf = pb::adopt( pbBufferCreateWithCapacity( 4'096 ) );
        while ( PB_INT count = inTcpChannelReceive( chan, buf.handle(), -1 ) ) {
            inTcpChannelSend( chan, buf.get(), 0, count );
            pbBufferClear( buf.handle() );
        }
        (void)pb::adopt( inTcpChannelLocalAddress( chan ) );
        if ( inTcpChannelEnd( chan ) )
            ++ended;
    };
    for ( int i = 0; i < cycles( 300 ); ++i ) {
        BareTcp peer = BareTcp::connectedTo( portOf( lsn ) );
        pb::Ref<IN_TCP_CHANNEL> chan = test::acceptOn( lsn.get() );
        pb::Ref<PB_ALERTABLE> alertable = pb::adopt( pbAlertableCreate( answer, inTcpChannelObj( chan.get() ) ) );
        pb::Ref<PB_SIGNALABLE> signalable = pb::adopt( pbSignalableCreate( answer, inTcpChannelObj( chan.get() ) ) );
        inTcpChannelReceiveAddAlertable( chan.get(), alertable.get() );
        inTcpChannelEndAddSignalable( chan.get(), signalable.get() );
        peer.send( "hello" );
        std::array<char, 5> back;
        ASSERT_EQ( recv( peer.fd.get(), back.data(), back.size(), MSG_WAITALL ), 5 );
        i % 2 ? peer.shutdown() : peer.reset();
        EXPECT_TRUE( eventually( [&] { return ended > i; } ) );
        inTcpChannelReceiveDelAlertable( chan.get(), alertable.get() );
    }
}

// The error of a reset goes to whoever calls first, and one thread sends while another closes this direction.
TEST( TcpRaces, ResetsAndHalfClosesWhileAnotherThreadSends )
{
    pb::Ref<IN_STACK> stack = test::loopbackStack();
    BareTcp listening = BareTcp::listening();
    for ( int i = 0; i < cycles( 300 ); ++i ) {
        Stream near( connectTo( stack.get(), listening.address().get() ) );
        BareTcp peer = listening.accepted();
        ASSERT_TRUE( near.connected() );
        std::atomic<bool> done = false;
        std::jthread sender( [&] {
            pb::Ref<PB_BUFFER> buf = test::buffer( "x" );
            while ( !done )
                inTcpChannelSend( near.chan.get(), buf.get(), 0, 1 );
        } );
        std::this_thread::sleep_for( std::chrono::microseconds( 50 + i % 300 ) );
        if ( i % 2 ) {
            peer.reset();
            while ( !inTcpChannelEnd( near.chan.get() ) )
                ;
            EXPECT_TRUE( inTcpChannelError( near.chan.get() ) ) << "a reset is no clean end";
        } else {
            inTcpChannelTerminate( near.chan.get() );
            peer.rest();
            EXPECT_FALSE( inTcpChannelError( near.chan.get() ) ) << "the peer may go on sending";
        }
        done = true;
    }
}

// Connecting, accepting and closing at any moment, by eight threads; a peer resets in between.
TEST( TcpRaces, EightThreadsConnectAcceptAndClose )
{
    pb::Ref<IN_STACK> stack = test::loopbackStack();
    test::onThreads( 8, [&]( int number ) {
        std::minstd_rand random( unsigned( number ) + 1 );
        pb::Ref<IN_TCP_CHANNEL_LISTENER> lsn = listenOn( stack.get() );
        ASSERT_TRUE( lsn );
        for ( int i = 0; i < cycles( 2'000 ) / 8; ++i ) {
            pb::Ref<IN_TCP_CHANNEL> near = connectTo( stack.get(), localOf( lsn ).get() );
            ASSERT_TRUE( near );
            if ( random() % 4 == 0 )
                near = nullptr; // while it connects
            pb::Ref<IN_TCP_CHANNEL_PROPOSAL> prop;
            if ( random() % 4 )
                prop = pb::adopt( inTcpChannelListenerListen( lsn.get() ) );
            if ( random() % 64 == 0 )
                lsn = listenOn( stack.get() ); // with what is pending
            pb::Ref<IN_TCP_CHANNEL> far = pb::adopt( prop ? inTcpChannelProposalAccept( prop.get() ) : nullptr );
            if ( far && random() % 2 ) {
                inTcpChannelSend( far.get(), test::buffer( "x" ).get(), 0, 1 );
                inTcpChannelTerminate( far.get() );
            }
        }
    } );
}
