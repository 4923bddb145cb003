/* Interfaces on real links: what is seen of them against what `ip` says, and what the library changes. */
#include <arpa/inet.h>
#include <cs/cs.h>
#include <linux/if_packet.h>
#include <net/ethernet.h>
#include <net/if.h>
#include <nw/nw_support.hpp>
#include <pr/pr.h>
#include <support/processes.hpp>
#include <sys/socket.h>
#include <tr/tr.h>

namespace {

using namespace test;

const int loopback = addLoopback();
const int clock =
    addFixture( -1, { [] { fastClock = std::make_unique<FastClock>( 50 ); }, [] { fastClock.reset(); } } );
const int modules = addModules( { trModule(), prModule(), csModule(), inModule() } );
const int threads = addThreads();

constexpr PB_INT noSpeed = -1;
constexpr PB_INT anySpeed = -2;

/** The state that the monitor should see, made of what `ip` says; the speed, which `ip` does not say, in Mbit/s. */
State expectedState( const std::string &name, PB_INT speed )
{
    nlohmann::json link = ip( "address show dev '" + name + "'" ).at( 0 );
    State state = pb::adopt( inNwInterfaceStateCreate() );
    inNwInterfaceStateSetDisplayName( state.handle(), str( name ).get() );
    auto flags = link.at( "flags" ).get<std::vector<std::string>>();
    inNwInterfaceStateSetStatus( state.handle(), std::ranges::count( flags, "UP" ) );
    inNwInterfaceStateLayer2SetMtu( state.handle(), link.at( "mtu" ).get<PB_INT>() );
    if ( link.at( "link_type" ) == "ether" ) {
        auto text = str( link.at( "address" ).get<std::string>() );
        auto mac = pb::adopt( inNwMacAddressTryCreateFromString( text.get() ) );
        inNwInterfaceStateLayer2SetAddress( state.handle(), pb::adopt( inNwAddressCreateMac( mac.get() ) ).get() );
    }
    if ( speed >= 0 ) {
        inNwInterfaceStateLayer2SetSpeedReceive( state.handle(), speed * 1'000'000 );
        inNwInterfaceStateLayer2SetSpeedTransmit( state.handle(), speed * 1'000'000 );
    }
    for ( const nlohmann::json &entry : link.at( "addr_info" ) ) {
        auto ina = address( entry.at( "local" ).get<std::string>() );
        auto prefixLength = entry.at( "prefixlen" ).get<PB_INT>();
        inNwInterfaceStateLayer3SetUnicastAddress( state.handle(), ina.get() );
        if ( prefixLength < inAddressLength( ina.get() ) * 8 )
            inNwInterfaceStateLayer3SetNetwork(
                state.handle(), pb::adopt( inNetworkCreate( ina.get(), prefixLength ) ).get() );
    }
    return state;
}

std::string stored( const State &state )
{
    return textOf( pb::adopt( inNwInterfaceStateStore( state.get() ) ).get() );
}

TEST_F( Nw, StatesAreWhatIpSays )
{
    struct Row {
        const char *name;
        PB_INT speed;
    };
    const Row rows[] = {
        { "v0", 10000 },
        { "w0", 10000 },
        { "n2345678901234_", 10000 }, // the longest name, no address, down
        { "peer.1@x", 10000 },
        { "tun0", anySpeed }, // no hardware address; the speed is up to the kernel
        { "lo", noSpeed },
    };
    Links links( "ip link add v0 type veth peer name w0 && ip link add n2345678901234_ type veth peer name peer.1@x && "
                 "ip tuntap add dev tun0 mode tun",
        { "v0", "n2345678901234_", "tun0" } );
    sh( "ip link set v0 addrgenmode none && ip link set w0 addrgenmode none" ); // it comes when it likes
    sh( "ip link set v0 mtu 1400 up && ip link set w0 address 02:53:00:0a:0b:0c up" );
    sh( "ip address add 10.1.2.3/12 dev v0 && ip address add 10.1.2.4/32 dev v0 && ip address add 10.1.2.5/32 "
        "peer 10.9.9.9/24 dev v0 && ip address add 169.254.7.7/16 dev v0 && ip address add 192.0.2.1/31 dev w0" );
    sh( "ip -6 address add fd00:1::1/64 dev v0 nodad && ip -6 address add fd00:1::2/128 dev v0 nodad && "
        "ip -6 address add fe80::7/64 dev v0 nodad" );
    for ( const Row &row : rows ) {
        State seen = stateOf( look( row.name ) );
        PB_INT speed =
            row.speed == anySpeed ? inNwInterfaceStateLayer2SpeedReceive( seen.get() ) / 1'000'000 : row.speed;
        EXPECT_EQ( stored( seen ), stored( expectedState( row.name, speed ) ) ) << row.name;
    }
}

TEST_F( Nw, WhatCannotBeAskedIsAbsent )
{
    // A name that is too long to ask for is not cut off and asked for.
    Links links( "ip link add n2345678901234_ type veth peer name w0", { "w0" } );
    for ( const char *name : { "n2345678901234_6", "nosuch", "" } ) {
        Interface iface = look( name );
        auto nothing = pb::adopt( inNwInterfaceStateCreate() );
        inNwInterfaceStateSetDisplayName( nothing.handle(), str( name ).get() );
        EXPECT_EQ( stored( stateOf( iface ) ), stored( nothing ) );
        EXPECT_FALSE( in___NwInterfaceTrySetStatus( iface.get(), IN_NW_INTERFACE_STATUS_UP ) );
        EXPECT_FALSE( in___NwInterfaceTrySetLayer3UnicastAddress( iface.get(), address( "10.0.0.1" ).get(), nullptr ) );
        EXPECT_FALSE( in___NwInterfaceTryDelLayer3UnicastAddress( iface.get(), address( "10.0.0.1" ).get() ) );
    }
}

TEST_F( Nw, StatusIsSet )
{
    Links links( "ip link add v0 type veth peer name w0", { "v0" } );
    Interface iface = look( "v0" );
    for ( PB_INT status : { IN_NW_INTERFACE_STATUS_UP, IN_NW_INTERFACE_STATUS_UP, IN_NW_INTERFACE_STATUS_DOWN,
              IN_NW_INTERFACE_STATUS_DOWN } ) {
        EXPECT_TRUE( in___NwInterfaceTrySetStatus( iface.get(), status ) );
        EXPECT_EQ( inNwInterfaceStateStatus( expectedState( "v0", noSpeed ).get() ), status );
    }
}

TEST_F( Nw, AddressesComeAndGo )
{
    struct Row {
        const char *address;
        const char *network; // or null
        PB_INT prefixLength; // as `ip` says
    };
    const Row rows[] = {
        { "10.7.0.1", "10.7.0.0/16", 16 },
        { "10.7.0.2", "10.7.0.2", 32 }, // a network without a prefix length
        { "10.7.0.3", nullptr, 32 },
        { "fd00:7::1", "fd00:7::/64", 64 },
        { "fd00:7::2", nullptr, 128 },
    };
    Links links( "ip link add v0 type veth peer name w0 && ip link set v0 addrgenmode none", { "v0" } );
    Interface iface = look( "v0" );
    ASSERT_TRUE( in___NwInterfaceTrySetStatus( iface.get(), IN_NW_INTERFACE_STATUS_UP ) );
    for ( const Row &row : rows ) {
        pb::Ref<IN_ADDRESS> ina = address( row.address );
        pb::Ref<IN_NETWORK> network =
            row.network ? pb::adopt( inNetworkTryCreateFromString( str( row.network ).get() ) ) : nullptr;
        auto has = [&]( IN_NW_INTERFACE_STATE *state ) {
            return inNwInterfaceStateLayer3HasUnicastAddress( state, ina.get() );
        };
        // again: what is there is replaced
        for ( int i = 0; i < 2; ++i )
            EXPECT_TRUE( in___NwInterfaceTrySetLayer3UnicastAddress( iface.get(), ina.get(), network.get() ) )
                << row.address;
        nlohmann::json seen = ip( "address show dev v0" ).at( 0 ).at( "addr_info" );
        ASSERT_EQ( seen.size(), 1U ) << row.address << seen;
        EXPECT_EQ( seen.at( 0 ).at( "local" ), row.address );
        EXPECT_EQ( seen.at( 0 ).at( "prefixlen" ), row.prefixLength );
        EXPECT_TRUE( waitForState( iface, 1'000, has ) ) << row.address << ": not in the state soon";
        EXPECT_EQ( stored( stateOf( iface ) ), stored( expectedState( "v0", 10000 ) ) );

        EXPECT_TRUE( in___NwInterfaceTryDelLayer3UnicastAddress( iface.get(), ina.get() ) ) << row.address;
        EXPECT_TRUE( ip( "address show dev v0" ).at( 0 ).at( "addr_info" ).empty() );
        EXPECT_TRUE( waitForState( iface, 1'000, std::not_fn( has ) ) ) << row.address << ": still in the state";
        EXPECT_FALSE( in___NwInterfaceTryDelLayer3UnicastAddress( iface.get(), ina.get() ) ) << row.address;
    }
}

/** Reads the ARP frames that come in on a link, as hexadecimal digits. */
class ArpReader {
public:
    explicit ArpReader( const char *name ) : fd( socket( AF_PACKET, SOCK_RAW | SOCK_CLOEXEC, htons( ETH_P_ARP ) ) )
    {
        sockaddr_ll link{};
        link.sll_family = AF_PACKET;
        link.sll_protocol = htons( ETH_P_ARP );
        link.sll_ifindex = static_cast<int>( if_nametoindex( name ) );
        EXPECT_EQ( bind( fd.get(), reinterpret_cast<sockaddr *>( &link ), sizeof link ), 0 );
        timeval wait{ 0, 200'000 };
        setsockopt( fd.get(), SOL_SOCKET, SO_RCVTIMEO, &wait, sizeof wait );
    }
    /** All until none has come for a fifth of a second. */
    std::vector<std::string> read()
    {
        std::vector<std::string> frames;
        PB_BYTE bytes[200];
        for ( ssize_t count; ( count = recv( fd.get(), bytes, sizeof bytes, 0 ) ) > 0; )
            frames.push_back( textOf( pb::adopt( pbBufferCreateFromBytesCopy( bytes, count ) ).get() ) );
        return frames;
    }

private:
    pb::Fd fd;
};

TEST_F( Nw, NeighboursAreTold )
{
    Links links( "ip link add v0 type veth peer name w0 && ip link set v0 address 02:53:00:0a:0b:0c up && "
                 "ip link set w0 up && ip tuntap add dev tun0 mode tun",
        { "v0", "tun0" } );
    ArpReader arp( "w0" );
    // the kernel drops what is sent before it has seen the carrier
    ASSERT_TRUE( eventually( [] { return ip( "link show v0" )[0]["operstate"] == "UP"; } ) );
    PB_INT begin = pbTimestamp();
    EXPECT_TRUE(
        in___NwInterfaceTrySetLayer3UnicastAddress( look( "v0" ).get(), address( "10.7.0.1" ).get(), nullptr ) );
    EXPECT_GE( pbTimestamp() - begin, 10 ) << "two pauses of five milliseconds";
    // to all, an announcement: its own hardware and IP address, which it asks for
    const std::string frame = "ffffffffffff"
                              "0253000a0b0c"
                              "0806"
                              "0001080006040001"
                              "0253000a0b0c"
                              "0a070001"
                              "000000000000"
                              "0a070001";
    EXPECT_EQ( arp.read(), std::vector<std::string>( 3, frame ) );

    EXPECT_TRUE(
        in___NwInterfaceTrySetLayer3UnicastAddress( look( "v0" ).get(), address( "fd00::1" ).get(), nullptr ) );
    EXPECT_TRUE(
        in___NwInterfaceTrySetLayer3UnicastAddress( look( "tun0" ).get(), address( "10.7.0.2" ).get(), nullptr ) );
    EXPECT_EQ( arp.read(), std::vector<std::string>() );
}

} // namespace
