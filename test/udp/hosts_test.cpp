/* UDP between two hosts: this process's namespace, and a peer across veth pairs, whose sockets are bare ones. */
#include <cs/cs.h>
#include <in/nw/in_nw_interface_private.h>
#include <in/nw/in_nw_interfaces.h>
#include <in/udp_support.hpp>
#include <net/ethernet.h>
#include <netinet/udp.h>
#include <netpacket/packet.h>
#include <poll.h>
#include <pr/pr.h>
#include <support/namespace.hpp>
#include <support/processes.hpp>
#include <tr/tr.h>

namespace {

using namespace test;

const int loopback = test::addLoopback();
test::Peer *peer = nullptr;

/** Two hosts on one link, for all tests: 10.9.0.1 here on v0, 10.9.0.2 on the peer's w0. */
const int link = test::addFixture( 0, { [] {
                                           if ( !std::getenv( "TEST_NAMESPACE" ) )
                                               return;
                                           peer = new test::Peer;
                                           peer->join( "v0", "w0" );
                                           sh( "ip address add 10.9.0.1/24 dev v0" );
                                           peer->run( "ip address add 10.9.0.2/24 dev w0" );
                                           peer->run( "ip route add 239.0.0.0/8 dev w0" );
                                       },
                                          [] { delete peer; } } );
const int modules = test::addModules( { trModule(), prModule(), csModule(), inModule() } );
const int threads = test::addThreads();

class UdpHosts : public testing::Test {
protected:
    void SetUp() override { NEEDS_NAMESPACE(); }
    static pb::Ref<IN_NW_INTERFACE> interface( const char *name )
    {
        return pb::adopt( inNwInterfacesInterfaceByIdentifier( str( name ).get() ) );
    }
    static pb::Ref<IN_STACK> stackOn( const char *name )
    {
        pb::Ref<IN_OPTIONS> options = pb::adopt( inOptionsCreate() );
        inOptionsSetInterface( options.handle(), str( name ).get() );
        inOptionsSetAddressVersion( options.handle(), IN_ADDRESS_VERSION_4 );
        return test::stackWith( options.get() );
    }
    static pb::Fd bareOnPeer( int port )
    {
        pb::Fd fd( peer->openSocket( AF_INET, SOCK_DGRAM, 0 ) );
        sockaddr_in own = sockaddrOf( "10.9.0.2", port );
        EXPECT_EQ( bind( fd.get(), reinterpret_cast<sockaddr *>( &own ), sizeof own ), 0 );
        return fd;
    }
    static sockaddr_in sockaddrOf( const char *address, PB_INT port )
    {
        sockaddr_in sa = test::BareSocket::sockaddrOf( port );
        inet_pton( AF_INET, address, &sa.sin_addr );
        return sa;
    }
    static ssize_t sendTo( const pb::Fd &fd, const std::string &bytes, const char *address, PB_INT port )
    {
        sockaddr_in to = sockaddrOf( address, port );
        return sendto( fd.get(), bytes.data(), bytes.size(), 0, reinterpret_cast<sockaddr *>( &to ), sizeof to );
    }
    /** What a bare socket gets within a while. */
    static std::string received( const pb::Fd &fd, int milliseconds = test::WAIT_LIMIT )
    {
        pollfd ready{ fd.get(), POLLIN, 0 };
        if ( poll( &ready, 1, milliseconds ) != 1 )
            return "(nothing came)";
        std::array<char, 2048> bytes;
        ssize_t count = recv( fd.get(), bytes.data(), bytes.size(), 0 );
        return { bytes.data(), static_cast<std::size_t>( std::max<ssize_t>( count, 0 ) ) };
    }
};

/** The priority of this process's socket on that port; -1 when there is none. */
int priorityOfSocket( PB_INT port )
{
    for ( int fd = 0; fd < 1'000; ++fd ) {
        sockaddr_in own{};
        socklen_t length = sizeof own;
        int priority = -1;
        socklen_t size = sizeof priority;
        if ( getsockname( fd, reinterpret_cast<sockaddr *>( &own ), &length ) == 0 && own.sin_family == AF_INET &&
             ntohs( own.sin_port ) == port && getsockopt( fd, SOL_SOCKET, SO_PRIORITY, &priority, &size ) == 0 )
            return priority;
    }
    return -1;
}

} // namespace

TEST_F( UdpHosts, MarksAreOnTheWire )
{
    pb::Fd packets( peer->openSocket( AF_PACKET, SOCK_RAW, htons( ETH_P_ALL ) ) );
    pb::Ref<IN_STACK> stack = stackOn( "v0" );
    pb::Ref<IN_UDP_ADDRESS> to = test::udpAddress( "10.9.0.2", 5'002 );
    struct Row {
        PB_INT preset;
        int tos;
        int priority;
    };
    for ( const Row &row : { Row{ IN_QOS_DEFAULTS_VOICE, 184, 5 }, Row{ IN_QOS_DEFAULTS_SIGNALING, 160, 2 },
              Row{ IN_QOS_DEFAULTS_NONE, 0, 0 } } ) {
        pb::Ref<IN_QOS_OPTIONS> options = pb::adopt( inQosOptionsCreate() );
        inQosOptionsSetDefaults( options.handle(), row.preset );
        pb::Ref<IN_QOS_STACK> qos = pb::adopt( inQosStackCreate( options.get(), nullptr ) );
        pb::Ref<IN_UDP_CHANNEL> chan =
            pb::adopt( inUdpChannelTryCreate( stack.get(), qos.get(), nullptr, nullptr, -1, 0, nullptr ) );
        std::string payload = "marked " + std::to_string( row.preset );
        test::send( chan.get(), to.get(), payload );
        EXPECT_EQ( tosOf( packets, payload ), row.tos ) << payload;
        PB_INT port = inUdpAddressPort( test::localOf( chan ).get() );
        EXPECT_EQ( priorityOfSocket( port ), row.priority ) << payload;
    }
}

TEST_F( UdpHosts, APeerWithoutAPortIsNotHeard )
{
    pb::Ref<IN_STACK> stack = stackOn( "v0" );
    pb::Ref<IN_UDP_CHANNEL> chan = test::channelOn( stack.get(), 5'000 );
    ASSERT_TRUE( chan );
    test::Receiver receiver( chan.get() );
    pb::Fd raw( peer->openSocket( AF_INET, SOCK_RAW, IPPROTO_UDP ) );
    struct {
        udphdr header;
        char payload[4];
    } datagram{ {}, { 'z', 'e', 'r', 'o' } };
    datagram.header.dest = htons( 5'000 );
    datagram.header.len = htons( sizeof datagram ); // the checksum stays 0: there is none
    sockaddr_in to = sockaddrOf( "10.9.0.1", 0 );
    ASSERT_EQ( sendto( raw.get(), &datagram, sizeof datagram, 0, reinterpret_cast<sockaddr *>( &to ), sizeof to ),
        ssize_t( sizeof datagram ) );
    pb::Fd bare = bareOnPeer( 5'001 );
    sendTo( bare, "from a port", "10.9.0.1", 5'000 );
    EXPECT_EQ( receiver.text(), "from a port" );
}

TEST_F( UdpHosts, TheAddressGoesAndComes )
{
    pb::Ref<IN_STACK> stack = stackOn( "v0" );
    pb::Ref<IN_UDP_CHANNEL> chan = test::channelOn( stack.get(), 5'000 );
    ASSERT_TRUE( chan );
    pb::Fd bare = bareOnPeer( 5'001 );
    pb::Ref<IN_UDP_ADDRESS> to = test::udpAddress( "10.9.0.2", 5'001 );
    test::send( chan.get(), to.get(), "before" );
    EXPECT_EQ( received( bare ), "before" );

    pb::Ref<IN_NW_INTERFACE> v0 = interface( "v0" );
    pb::Ref<IN_ADDRESS> ina = test::address( "10.9.0.1" );
    sh( "ip address del 10.9.0.1/24 dev v0 && ip address add 10.9.0.1/32 dev v0" ); // what is taken away has 32 bits
    ASSERT_TRUE( in___NwInterfaceTryDelLayer3UnicastAddress( v0.get(), ina.get() ) );
    EXPECT_TRUE( eventually( [&] { return !inStackHasAddress( stack.get() ); } ) );
    EXPECT_FALSE( test::channelOn( stack.get() ) ) << "none is opened without an address";
    test::send( chan.get(), to.get(), "lost" );
    EXPECT_FALSE( inUdpChannelError( chan.get() ) ) << "one that is open stays";

    pb::Ref<IN_NETWORK> network = pb::adopt( inNetworkCreate( ina.get(), 24 ) );
    ASSERT_TRUE( in___NwInterfaceTrySetLayer3UnicastAddress( v0.get(), ina.get(), network.get() ) );
    EXPECT_TRUE( eventually( [&] { return inStackHasAddress( stack.get() ); } ) );
    test::send( chan.get(), to.get(), "after" );
    EXPECT_EQ( received( bare ), "after" );
    EXPECT_TRUE( test::channelOn( stack.get() ) );

    EXPECT_TRUE( inStackUp( stack.get() ) );
    ASSERT_TRUE( in___NwInterfaceTrySetStatus( v0.get(), IN_NW_INTERFACE_STATUS_DOWN ) );
    EXPECT_TRUE( eventually( [&] { return !inStackUp( stack.get() ); } ) );
    ASSERT_TRUE( in___NwInterfaceTrySetStatus( v0.get(), IN_NW_INTERFACE_STATUS_UP ) );
    EXPECT_TRUE( eventually( [&] { return inStackUp( stack.get() ); } ) );
}

TEST_F( UdpHosts, AGroupOnAChosenInterface )
{
    pb::Ref<IN_ADDRESS> group = test::address( "239.192.7.9" );
    auto join = [&]( const char *name ) {
        return pb::adopt( inUdpMulticastReceiverTryCreate( group.get(), str( name ).get(), 5'009, nullptr ) );
    };
    pb::Ref<IN_UDP_MULTICAST_RECEIVER> one = join( "v0" );
    pb::Ref<IN_UDP_MULTICAST_RECEIVER> other = join( "v0" );
    ASSERT_TRUE( one && other );
    pb::Fd bare = bareOnPeer( 5'001 );
    EXPECT_EQ( sendTo( bare, "all", "239.192.7.9", 5'009 ), 3 );
    for ( auto *recv : { one.get(), other.get() } ) {
        pb::Ref<IN_UDP_PACKET> pkt = pb::adopt( inUdpMulticastReceiverBlockReceive( recv, nullptr ) );
        EXPECT_EQ( test::payloadOf( pkt.get() ), "all" );
        EXPECT_EQ( textOf( pb::adopt( inUdpPacketRemoteAddress( pkt.get() ) ).get() ), "10.9.0.2:5001" );
    }
    one = join( "lo" );
    ASSERT_TRUE( one );
    sendTo( bare, "one", "239.192.7.9", 5'009 );
    EXPECT_TRUE( pb::adopt( inUdpMulticastReceiverBlockReceive( other.get(), nullptr ) ) );
    EXPECT_FALSE( pb::adopt( inUdpMulticastReceiverReceive( one.get() ) ) ) << "who joined elsewhere hears nothing";
}

TEST_F( UdpHosts, ALinkLocalGroup )
{
    pb::Ref<IN_ADDRESS> group = test::address( "FF02::7:9" );
    pb::Ref<IN_UDP_MULTICAST_RECEIVER> recv =
        pb::adopt( inUdpMulticastReceiverTryCreate( group.get(), str( "v0" ).get(), 5'009, nullptr ) );
    ASSERT_TRUE( recv );
    pb::Fd bare( peer->openSocket( AF_INET6, SOCK_DGRAM, 0 ) );
    sockaddr_in6 to{};
    to.sin6_family = AF_INET6;
    to.sin6_port = htons( 5'009 );
    inet_pton( AF_INET6, "ff02::7:9", &to.sin6_addr );
    ASSERT_EQ( setsockopt( bare.get(), SOL_SOCKET, SO_BINDTODEVICE, "w0", 3 ), 0 );
    // it is sent when the peer's own address has been found to be free
    ASSERT_TRUE( eventually(
        [&] { return sendto( bare.get(), "all", 3, 0, reinterpret_cast<sockaddr *>( &to ), sizeof to ) == 3; } ) );
    pb::Ref<IN_UDP_PACKET> pkt = pb::adopt( inUdpMulticastReceiverBlockReceive( recv.get(), nullptr ) );
    EXPECT_EQ( test::payloadOf( pkt.get() ), "all" );
}

TEST_F( UdpHosts, AStackOnALinkLocalAddress )
{
    auto linkLocal = []( IN_NW_INTERFACE *iface ) -> pb::Ref<IN_ADDRESS> {
        pb::Ref<IN_NW_INTERFACE_STATE> state = pb::adopt( inNwInterfaceState( iface ) );
        for ( auto &ina : test::takeAll<IN_ADDRESS>( inNwInterfaceStateLayer3UnicastAddressesVector( state.get() ) ) )
            if ( inAddressIsV6( ina.get() ) && inAddressIsLinkLocalUnicast( ina.get() ) )
                return ina;
        return {};
    };
    pb::Ref<IN_NW_INTERFACE> iface = interface( "v0" );
    pb::Ref<IN_ADDRESS> own;
    ASSERT_TRUE( eventually( [&] { return bool( own = linkLocal( iface.get() ) ); } ) );
    // until the kernel has found out that nobody else has the address, it cannot be bound (RFC 4862 section 5.4)
    auto tentative = [] { return std::system( "ip -6 address show dev v0 tentative | grep -q inet6" ) == 0; };
    ASSERT_TRUE( eventually( [&] { return !tentative(); } ) );
    pb::Ref<IN_OPTIONS> options = pb::adopt( inOptionsCreate() );
    inOptionsSetInterface( options.handle(), str( "v0" ).get() );
    inOptionsSetAddress( options.handle(), own.get() );
    pb::Ref<IN_STACK> stack = test::stackWith( options.get() );
    pb::Ref<IN_UDP_CHANNEL> one = test::channelOn( stack.get() );
    pb::Ref<IN_UDP_CHANNEL> other = test::channelOn( stack.get() );
    ASSERT_TRUE( one && other );
    test::Receiver receiver( other.get() );
    test::send( one.get(), test::localOf( other ).get(), "on the link" );
    EXPECT_EQ( receiver.text(), "on the link" );
    pb::Ref<PB_VECTOR> pair =
        pb::adopt( inUdpChannelsVectorTryCreateRtp( stack.get(), nullptr, nullptr, nullptr, 0, nullptr ) );
    EXPECT_TRUE( pair );
}
