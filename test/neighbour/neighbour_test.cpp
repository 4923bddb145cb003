/*
 * Neighbour look-up on real links: this process's namespace is the host, a peer across a veth pair its neighbour.
 */
#include <filesystem>
#include <fstream>
#include <in/in.h>
#include <support/command.hpp>
#include <support/namespace.hpp>

namespace {

using namespace test;

std::string lookup( std::string_view address, const char *interface = nullptr )
{
    pb::Ref<IN_ADDRESS> ina = pb::adopt( inAddressTryCreateFromString( str( address ).get() ) );
    pb::Ref<PB_STRING> name = interface ? str( interface ) : pb::Ref<PB_STRING>();
    pb::Ref<IN_EUI48_ADDRESS> inea = pb::adopt( inEui48AddressTryLookup( ina.get(), name.get() ) );
    return inea ? test::textOf( inea.get() ) : "null";
}

} // namespace

TEST( Neighbour, RealLinks )
{
    NEEDS_NAMESPACE();
    test::Peer peer;
    peer.join( "v0", "w0" );
    peer.join( "v1", "w1" );
    sh( "ip address add 10.9.0.1/24 dev v0 && ip -6 address add fd00:9::1/64 dev v0 nodad" );
    peer.run( "ip link set w0 address 02:53:00:00:00:aa && ip link set w1 address 02:53:00:00:00:bb" );
    peer.run( "ip address add 10.9.0.2/24 dev w0 && ip -6 address add fd00:9::2/64 dev w0 nodad" );
    peer.run( "echo 1 > /proc/sys/net/ipv4/conf/w1/arp_ignore" ); // else it answers for addresses of w0 too
    peer.run( "ip -6 address add fe80::2/64 dev w0 nodad && ip -6 address add fe80::2/64 dev w1 nodad" );
    sh( "ip -6 address add fe80::1/64 dev v0 nodad && ip -6 address add fe80::1/64 dev v1 nodad" );

    EXPECT_EQ( lookup( "10.9.0.2" ), "02:53:00:00:00:aa" );
    EXPECT_EQ( lookup( "10.9.0.2", "v0" ), "02:53:00:00:00:aa" );
    EXPECT_EQ( lookup( "10.9.0.2", "v1" ), "null" ) << "the entry stands on another interface";
    EXPECT_EQ( lookup( "10.9.0.2", "nosuch" ), "null" );
    EXPECT_EQ( lookup( "10.9.0.3" ), "null" ) << "nobody answers: the entry is incomplete";
    EXPECT_EQ( lookup( "fd00:9::2" ), "02:53:00:00:00:aa" );
    EXPECT_EQ( lookup( "fd00:9::2", "v0" ), "02:53:00:00:00:aa" );
    EXPECT_EQ( lookup( "fe80::2", "v0" ), "02:53:00:00:00:aa" );
    EXPECT_EQ( lookup( "fe80::2", "v1" ), "02:53:00:00:00:bb" );
    EXPECT_EQ( lookup( "fd00:9::3" ), "null" );
}

TEST( Neighbour, NamesThatMeanSomethingToAShell )
{
    // What the stand-in leaves behind tells that it was run.
    for ( const char *name :
        { "", "v0;touch x", "v0 v1", "v0\t", "$(id)", "`id`", "-v0", "v0'", "v0\"", "a|b", "../v0" } ) {
        Command ping( "ping", "touch \"$0.ran\"" );
        EXPECT_EQ( lookup( "10.9.0.2", name ), "null" );
        EXPECT_FALSE( std::filesystem::exists( ping.file( "ping.ran" ) ) ) << name;
    }
    Command ping( "ping", "printf '%s,' \"$@\" > \"$0.ran\"" );
    lookup( "fd00:9::2", "eth0.100@a" );
    std::ifstream ran( ping.file( "ping.ran" ) );
    std::string arguments( std::istreambuf_iterator<char>( ran ), {} );
    EXPECT_EQ( arguments, "-I,eth0.100@a,FD00:9::2,-c,1,-W,1," );
}

TEST( Neighbour, LinesOfTheTable )
{
    struct Line {
        const char *line;
        const char *interface;
        const char *result;
    };
    constexpr Line lines[] = { { "FD00:0::2 DEV e0 LLADDR 02:53:00:00:00:01 reachable", "e0", "02:53:00:00:00:01" },
        { "fd00::2 dev e0 lladdr 02:53:00:00:00:01 REACHABLE", "E0", "null" },
        { "fd00::2 at e0 lladdr 02:53:00:00:00:01 REACHABLE", nullptr, "02:53:00:00:00:01" },
        { "fd00::2 at e0 lladdr 02:53:00:00:00:01 REACHABLE", "e0", "null" },
        { "fd00::3 dev e0 lladdr 02:53:00:00:00:01 REACHABLE", nullptr, "null" },
        { "fd00::2 dev e0 lladdr 02:53:00:00:00:01 router REACHABLE", nullptr, "null" },
        { "fd00::2 dev e0 lladdr 02:53:00:00:00 REACHABLE", nullptr, "null" },
        { "\nx\nfd00::2 dev e0 lladdr 02:53:00:00:00:02 STALE\nfd00::2 dev e1 lladdr 02:53:00:00:00:01 REACHABLE",
            nullptr, "02:53:00:00:00:01" } };
    Command ping( "ping", "exit 2" );
    for ( const Line &row : lines ) {
        Command ip( "ip", std::string( "cat <<EOF\n" ) + row.line + "\nEOF" );
        EXPECT_EQ( lookup( "fd00::2", row.interface ), row.result ) << row.line;
    }
}

TEST( Neighbour, PollsWhileResolutionIsUnderWay )
{
    // Says DELAY twice and then REACHABLE; counts its runs by the length of a file.
    Command ip( "ip", "printf x >> \"$0.runs\"; read runs < \"$0.runs\" || true\n"
                      "state=DELAY; [ \"$runs\" = xxx ] && state=REACHABLE\n"
                      "echo \"fd00::2 dev e0 lladdr 02:53:00:00:00:01 $state\"" );
    Command ping( "ping", "exit 0" );
    PB_INT start = pbTimestamp();
    EXPECT_EQ( lookup( "fd00::2" ), "02:53:00:00:00:01" );
    EXPECT_GE( pbTimestamp() - start, 400 );
    EXPECT_EQ( std::filesystem::file_size( ip.file( "ip.runs" ) ), 3U );
}

/** Commands that never end, and hold their output open through children, cost a few seconds and no more. */
TEST( Neighbour, OutlastsCommandsThatHang )
{
    const std::string hang = "trap '' TERM\nsleep 1000 &\nsleep 1000";
    const std::string entry = "echo 'fd00::2 dev e0 lladdr 02:53:00:00:00:01 ";
    struct Row {
        std::string ping, ip, result;
        PB_INT least; // ms
    };
    const Row rows[] = { { hang, entry + "REACHABLE'", "02:53:00:00:00:01", 2'000 },
        { "exit 0", entry + "DELAY'\n" + hang, "null", 3'000 } };
    for ( const Row &row : rows ) {
        Command ping( "ping", row.ping );
        Command ip( "ip", row.ip );
        PB_INT start = pbTimestamp();
        EXPECT_EQ( lookup( "fd00::2" ), row.result );
        EXPECT_GE( pbTimestamp() - start, row.least );
        EXPECT_LT( pbTimestamp() - start, row.least + 6'000 );
    }
}
