/* TCP between two hosts: this process's namespace, and a peer across a veth pair, whose sockets are bare ones. */
#include <in/tcp_support.hpp>
#include <net/ethernet.h>
#include <netpacket/packet.h>
#include <support/namespace.hpp>
#include <thread>

namespace {

using test::BareTcp;
using test::eventually;
using test::sh;
using test::Stream;
using test::tosOf;

test::Peer *peer = nullptr;

/** 10.8.0.1 here on v0, 10.8.0.2 on the peer's w0; for all tests. */
const int link = test::addFixture( 0, { [] {
                                           if ( !std::getenv( "TEST_NAMESPACE" ) )
                                               return;
                                           peer = new test::Peer;
                                           peer->join( "v0", "w0" );
                                           sh( "ip address add 10.8.0.1/24 dev v0" );
                                           peer->run( "ip address add 10.8.0.2/24 dev w0" );
                                       },
                                          [] { delete peer; } } );

pb::Ref<IN_STACK> stackOn( const char *name, PB_INT version = IN_ADDRESS_VERSION_4, const char *network = "0.0.0.0/0" )
{
    pb::Ref<IN_OPTIONS> options = pb::adopt( inOptionsCreate() );
    inOptionsSetInterface( options.handle(), test::str( name ).get() );
    inOptionsSetAddressVersion( options.handle(), version );
    inOptionsSetNetwork(
        options.handle(), pb::adopt( inNetworkTryCreateFromString( test::str( network ).get() ) ).get() );
    return test::stackWith( options.get() );
}

/** What the monitor has to tell of the link is there before objects are counted. */
const int known = test::addFixture( 100, { [] {
                                              if ( std::getenv( "TEST_NAMESPACE" ) )
                                                  (void)stackOn( "v0", IN_ADDRESS_VERSION_6, "fe80::/10" );
                                          },
                                             [] {} } );

class TcpHosts : public testing::Test {
protected:
    void SetUp() override { NEEDS_NAMESPACE(); }
    static BareTcp listeningOnPeer( int port )
    {
        BareTcp listener( peer->openSocket( AF_INET, SOCK_STREAM, 0 ) );
        int on = 1;
        setsockopt( listener.fd.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on );
        sockaddr_in own = test::BareSocket::sockaddrOf( port );
        inet_pton( AF_INET, "10.8.0.2", &own.sin_addr );
        EXPECT_EQ( bind( listener.fd.get(), reinterpret_cast<sockaddr *>( &own ), sizeof own ), 0 );
        EXPECT_EQ( listen( listener.fd.get(), 16 ), 0 );
        return listener;
    }
};

} // namespace

TEST_F( TcpHosts, MarksAreOnTheWireOfBothKindsOfChannels )
{
    pb::Fd packets( peer->openSocket( AF_PACKET, SOCK_RAW, htons( ETH_P_ALL ) ) );
    pb::Ref<IN_QOS_OPTIONS> options = pb::adopt( inQosOptionsCreate() );
    inQosOptionsSetDefaults( options.handle(), IN_QOS_DEFAULTS_SIGNALING );
    pb::Ref<IN_QOS_STACK> qos = pb::adopt( inQosStackCreate( options.get(), nullptr ) );
    pb::Ref<IN_STACK> stack = stackOn( "v0" );
    BareTcp listener = listeningOnPeer( 6'000 );
    Stream chan( pb::adopt( inTcpChannelTryCreate(
        stack.get(), qos.get(), nullptr, nullptr, test::tcpAddress( "10.8.0.2", 6'000 ).get(), -1, 0, nullptr ) ) );
    ASSERT_TRUE( chan.send( "from a client" ) );
    EXPECT_EQ( tosOf( packets, "from a client" ), 160 );

    pb::Ref<IN_TCP_CHANNEL_LISTENER> lsn =
        pb::adopt( inTcpChannelListenerTryCreate( stack.get(), qos.get(), nullptr, nullptr, 6'001, 0, nullptr ) );
    BareTcp client( peer->openSocket( AF_INET, SOCK_STREAM, 0 ) );
    sockaddr_in to = test::BareSocket::sockaddrOf( 6'001 );
    inet_pton( AF_INET, "10.8.0.1", &to.sin_addr );
    ASSERT_EQ( connect( client.fd.get(), reinterpret_cast<sockaddr *>( &to ), sizeof to ), 0 );
    Stream accepted( test::acceptOn( lsn.get() ) );
    ASSERT_TRUE( accepted.send( "from a server" ) );
    EXPECT_EQ( tosOf( packets, "from a server" ), 160 );
}

TEST_F( TcpHosts, TheLinkGoesAndComesUnderATransfer )
{
    pb::Ref<IN_STACK> stack = stackOn( "v0" );
    BareTcp listener = listeningOnPeer( 6'002 );
    Stream chan( test::connectTo( stack.get(), test::tcpAddress( "10.8.0.2", 6'002 ).get() ) );
    BareTcp client = listener.accepted();
    ASSERT_TRUE( chan.connected() );
    const std::string block( 4'000'000, 'b' );
    std::string got;
    std::thread reader( [&] { got = client.rest(); } );
    std::thread breaker( [] {
        peer->run( "ip link set w0 down" );
        pbSleep( 100 );
        peer->run( "ip link set w0 up" );
    } );
    for ( int i = 0; i < 5; ++i )
        EXPECT_TRUE( chan.send( block ) );
    breaker.join();
    inTcpChannelTerminate( chan.chan.get() );
    reader.join();
    EXPECT_EQ( got.size(), 5 * block.size() );
    EXPECT_FALSE( inTcpChannelError( chan.chan.get() ) );
}

TEST_F( TcpHosts, APeerThatNeverAnswers )
{
    pb::Ref<IN_STACK> stack = stackOn( "v0" );
    std::vector<pb::Ref<IN_TCP_CHANNEL>> chans;
    for ( int i = 0; i < 50; ++i )
        chans.push_back( test::connectTo( stack.get(), test::tcpAddress( "10.8.0.9", 6'003 ).get() ) );
    for ( auto &chan : chans )
        EXPECT_TRUE( chan && !inTcpChannelActive( chan.get() ) );
    test::Waiter ended;
    inTcpChannelEndAddSignalable( chans[0].get(), ended.get() );
    chans.clear(); // while they connect
    EXPECT_TRUE( ended.fired() ) << "a release is told as a failure";
}

TEST_F( TcpHosts, APeerThatTakesNothingForAWhile )
{
    pb::Ref<IN_STACK> stack = stackOn( "v0" );
    BareTcp listener = listeningOnPeer( 6'004 );
    Stream chan( test::connectTo( stack.get(), test::tcpAddress( "10.8.0.2", 6'004 ).get() ) );
    BareTcp client = listener.accepted();
    ASSERT_TRUE( chan.connected() );
    const std::string block( 65'536, 'b' );
    pb::Ref<PB_BUFFER> buf = test::buffer( block );
    std::size_t taken = 0;
    for ( PB_INT idle = 0; idle < 30; ) { // until the window has been closed for a while
        PB_INT count = inTcpChannelSend( chan.chan.get(), buf.get(), 0, PB_INT( block.size() ) );
        taken += std::size_t( count );
        idle = count ? 0 : idle + 1;
        if ( !count )
            pbSleep( 10 );
    }
    std::string got;
    std::thread reader( [&] { got = client.rest(); } );
    EXPECT_TRUE( chan.send( "and on" ) ); // woken by the alert
    inTcpChannelTerminate( chan.chan.get() );
    reader.join();
    EXPECT_EQ( got.size(), taken + 6 );
}

TEST_F( TcpHosts, AStackOnALinkLocalAddress )
{
    pb::Ref<IN_STACK> stack = stackOn( "v0", IN_ADDRESS_VERSION_6, "fe80::/10" );
    pb::Ref<IN_TCP_CHANNEL_LISTENER> lsn;
    ASSERT_TRUE( eventually( [&] { return bool( lsn = test::listenOn( stack.get() ) ); } ) )
        << "the address is bound when it has been found to be free";
    Stream chan( test::connectTo( stack.get(), test::localOf( lsn ).get() ) );
    Stream far( test::acceptOn( lsn.get() ) );
    EXPECT_TRUE( chan.send( "on the link" ) );
    EXPECT_EQ( far.receive( 11 ), "on the link" );
}
