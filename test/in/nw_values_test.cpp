/* Values of network interfaces, netmasks, and the rules by which a stack chooses its address. */
#include <in/nw/in_nw_host_private.hpp>
#include <in/nw/in_nw_select_private.hpp>
#include <in/options_support.hpp>

namespace {

using namespace test;

std::string joined( const std::vector<std::string> &texts )
{
    std::string all;
    for ( const std::string &text : texts )
        all += ( all.empty() ? "" : " " ) + text;
    return all;
}

TEST( NwMacAddress, TextsAndBytes )
{
    const std::pair<const char *, const char *> rows[] = { { "00:11:22:aa:BB:fF", "00:11:22:AA:BB:FF" },
        { "00-11-22-33-44-55", "00:11:22:33:44:55" }, { "0:1:2:3:4:0005", "00:01:02:03:04:05" },
        { "00:11:22:33:44-55", "null" }, { "00:11:22:33:44", "null" }, { "00:11:22:33:44:55:66", "null" },
        { "00:11:22:33:44:55:66:77", "null" }, { "00:11:22:33:44:100", "null" }, { "00:11:22:33:44:-1", "null" },
        { "00:11:22:33:44:5g", "null" }, { "00:11:22:33::55", "null" }, { "001122334455", "null" }, { "", "null" } };
    for ( const auto &[text, result] : rows ) {
        auto mac = pb::adopt( inNwMacAddressTryCreateFromString( str( text ).get() ) );
        EXPECT_EQ( test::textOrNull( mac ), result ) << text;
    }
    constexpr PB_BYTE bytes[] = { 1, 2, 3, 4, 5, 6, 7 };
    for ( PB_INT length : { 0, 5, 6, 7 } ) {
        pb::Ref<PB_BUFFER> buf = pb::adopt( pbBufferCreateFromBytesCopy( bytes, length ) );
        auto mac = pb::adopt( inNwMacAddressTryCreateFromBuffer( buf.get() ) );
        EXPECT_EQ( test::textOrNull( mac ), length == 6 ? "01:02:03:04:05:06" : "null" );
    }
}

constexpr const char *fullState =
    R"({"end":true,"displayName":"eth0","status":"IN_NW_INTERFACE_STATUS_UP",)"
    R"("flags":"IN_NW_INTERFACE_FLAG_HIDE",)"
    R"("layer2Addresses":[{"type":"IN_NW_ADDRESS_TYPE_MAC","mac":"02:53:00:00:00:01"},)"
    R"({"type":"IN_NW_ADDRESS_TYPE_MAC","mac":"02:53:00:00:00:02"}],)"
    R"("layer2Mtu":1500,"layer2SpeedReceive":0,"layer2SpeedTransmit":4294967295000000,)"
    R"("layer3UnicastAddresses":["10.0.0.1","FE80::1"],"layer3Networks":["10.0.0.0/8","FE80::/64"]})";

std::string restoredAndStored( const std::string &json )
{
    pb::Ref<IN_NW_INTERFACE_STATE> state = pb::adopt( inNwInterfaceStateRestore( test::storeOf( json ).get() ) );
    return test::textOf( pb::adopt( inNwInterfaceStateStore( state.get() ) ).get() );
}

TEST( NwInterfaceState, Stores )
{
    const std::string empty =
        R"({"end":false,"flags":"","layer2Addresses":[],"layer3UnicastAddresses":[],"layer3Networks":[]})";
    EXPECT_EQ( restoredAndStored( "{}" ), empty );
    EXPECT_EQ( restoredAndStored( fullState ), fullState );
    EXPECT_EQ( restoredAndStored( R"({"end":"x","displayName":[],"status":"UP","layer2Addresses":{},"layer2Mtu":-1,)"
                                  R"("layer2SpeedReceive":"fast","layer3Networks":"10.0.0.0/8","other":1})" ),
        empty );
    // members that are bad, of the other kind, not unicast, or there already are passed over, the others stay
    EXPECT_EQ(
        restoredAndStored( R"({"layer2Addresses":["02:53:00:00:00:01",{"mac":"02:53:00:00:00:01"},{"type":"MAC"}],)"
                           R"("layer3UnicastAddresses":["::2","224.0.0.1","x",{},"10.0.0.1","::2","0.0.0.0"],)"
                           R"("layer3Networks":["10.0.0.0/33","10.0.0.1/8"]})" ),
        R"({"end":false,"flags":"","layer2Addresses":[],"layer3UnicastAddresses":["10.0.0.1","::2"],)"
        R"("layer3Networks":["10.0.0.0/8"]})" );
}

TEST( NwInterfaceState, EveryFieldCounts )
{
    test::Store store = test::storeOf( fullState );
    pb::Ref<IN_NW_INTERFACE_STATE> full = pb::adopt( inNwInterfaceStateRestore( store.get() ) );
    for ( PB_INT i = 0; i < pbStoreLength( store.get() ); ++i ) {
        test::Store without = store;
        pbStoreDelAt( without.handle(), i );
        pb::Ref<IN_NW_INTERFACE_STATE> state = pb::adopt( inNwInterfaceStateRestore( without.get() ) );
        EXPECT_FALSE( inNwInterfaceStateEquals( state.get(), full.get() ) ) << i;
    }
}

TEST( NwHost, Netmasks )
{
    const std::pair<const char *, PB_INT> rows[] = { { "255.255.255.255", 32 }, { "255.255.255.254", 31 },
        { "255.255.0.0", 16 }, { "255.254.0.0", 15 }, { "128.0.0.0", 1 }, { "0.0.0.0", 0 }, { "255.0.255.0", -1 },
        { "254.128.0.0", -1 }, { "0.0.0.1", -1 }, { "255.253.0.0", -1 }, { "ffff:ffff:ffff:ffff::", 64 },
        { "ffff:ffff:ffff:fffe::", 63 }, { "ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff", 128 }, { "ffff::1", -1 } };
    for ( const auto &[mask, length] : rows )
        EXPECT_EQ( in::maskPrefixLength( address( mask ).get() ), length ) << mask;
}

TEST( NwHost, AChangeOutdatesTheSnapshot )
{
    // Polls in the background share it too; another try where it grew too old between two calls.
    bool shared = false;
    pb::Ref<IN___NW_HOST> snapshot = in::hostSnapshot();
    for ( int i = 0; i < 100 && !shared; ++i ) {
        pb::Ref<IN___NW_HOST> next = in::hostSnapshot();
        shared = next.get() == snapshot.get();
        snapshot = next;
    }
    EXPECT_TRUE( shared );
    in::hostChanged();
    EXPECT_NE( in::hostSnapshot().get(), snapshot.get() );
}

struct Interface {
    const char *identifier;
    std::vector<const char *> addresses;
};

std::vector<in::SeenInterface> seenOf( const std::vector<Interface> &interfaces )
{
    std::vector<in::SeenInterface> seen;
    for ( const Interface &interface : interfaces ) {
        pb::Ref<IN_NW_INTERFACE_STATE> state = pb::adopt( inNwInterfaceStateCreate() );
        for ( const char *text : interface.addresses )
            inNwInterfaceStateLayer3SetUnicastAddress( state.handle(), address( text ).get() );
        seen.push_back( { str( interface.identifier ), state } );
    }
    return seen;
}

/** "address: interfaces", the primary one marked with a star. */
std::string describe( const in::Selection &selection, const std::vector<in::SeenInterface> &seen )
{
    std::vector<std::string> names;
    for ( std::size_t place : selection.interfaces )
        names.push_back( ( selection.primary == place ? "*" : "" ) + pb::text( seen[place].identifier.get() ) );
    bool inside = !selection.primary || std::ranges::count( selection.interfaces, *selection.primary );
    return ( selection.address ? test::textOf( selection.address.get() ) : "none" ) + ": " + joined( names ) +
           ( inside ? "" : " (the primary one is not among them)" );
}

/** Of each candidate, in the order in which they are looked at, the option that drops it, or its score. */
std::string describe( const std::vector<in::Candidate> &candidates )
{
    std::vector<std::string> texts;
    for ( const in::Candidate &candidate : candidates )
        texts.push_back( candidate.droppedBy ? candidate.droppedBy : std::to_string( candidate.score ) );
    return joined( texts );
}

struct SelectRow {
    const char *options;
    const char *previous;       // address, or ""
    std::optional<int> primary; // the previous one
    const char *selection;
    const char *candidates;
};

#define OPTION( key, value ) "{\"" key "\":\"" value "\"}"

constexpr SelectRow selectRows[] = {
    { "{}", "", {}, "10.0.0.1: *eth1", "8 2 8 2 8 4" },
    { "{}", "192.168.1.1", {}, "192.168.1.1: *eth0 eth1", "8 2 9 2 8 4" },
    { "{}", "192.168.1.1", 1, "192.168.1.1: eth0 *eth1", "8 2 9 2 8 4" },
    { "{}", "192.168.1.1", 0, "192.168.1.1: *eth0 eth1", "8 2 9 2 8 4" }, // "lo" does not carry it
    { "{}", "fe80::1", {}, "10.0.0.1: *eth1", "8 2 8 2 8 5" },
    { OPTION( "addressVersion", "IN_ADDRESS_VERSION_6" ), "", {}, "FD00::1: *eth0",
        "addressVersion addressVersion addressVersion 2 8 4" },
    { OPTION( "network", "192.168.0.0/16" ), "", {}, "192.168.1.1: *eth0 eth1",
        "network network 8 network network network" },
    { OPTION( "network", "fe80::/10" ), "", 1, "FE80::1: eth0 *eth1", "network network network network network 4" },
    { OPTION( "address", "192.168.1.1" ), "", {}, "192.168.1.1: *eth0 eth1",
        "address address 8 address address address" },
    { OPTION( "address", "192.0.2.1" ), "", 1, "none: ", "address address address address address address" },
    { OPTION( "flags", "IN_FLAG_LOOPBACK_ONLY" ), "::1", {}, "::1: *lo", "flags 2 flags 3 flags flags" },
    { OPTION( "interface", "eth1" ), "fd00::1", {}, "10.0.0.1: *eth1", "8 interface 8 interface interface 4" },
    { R"({"network":"10.0.0.0/8","flags":"IN_FLAG_LOOPBACK_ONLY"})", "", 1,
        "none: ", "flags network network network network network" },
    { R"({"interface":"eth1","address":"192.168.1.1"})", "", 2, "192.168.1.1: eth0 *eth1",
        "address interface 8 interface interface address" },
    { R"({"interface":"eth1","network":"fd00::/16","flags":"IN_FLAG_LOOPBACK_ONLY"})", "", {}, "none: *eth1",
        "network interface network interface interface network" },
    { OPTION( "interface", "down" ), "", {}, "none: *down",
        "interface interface interface interface interface interface" },
    { OPTION( "interface", "ETH1" ), "", 1, "none: ", "interface interface interface interface interface interface" },
};

TEST( NwSelect, Rules )
{
    // Places that are not in the order of identifiers. Candidates: 10.0.0.1 127.0.0.1 192.168.1.1 ::1 fd00::1 fe80::1
    const std::vector<in::SeenInterface> host = seenOf( {
        { "lo", { "127.0.0.1", "::1" } },
        { "eth1", { "10.0.0.1", "192.168.1.1", "fe80::1" } },
        { "eth0", { "192.168.1.1", "fd00::1", "fe80::1" } },
        { "down", {} },
    } );
    for ( const SelectRow &row : selectRows ) {
        pb::Ref<IN_OPTIONS> options = pb::adopt( inOptionsRestore( test::storeOf( row.options ).get() ) );
        pb::Ref<IN_ADDRESS> previous = address( row.previous );
        std::optional<std::size_t> primary;
        if ( row.primary )
            primary = static_cast<std::size_t>( *row.primary );
        in::Selection selection = in::select( options.get(), previous.get(), primary, host );
        EXPECT_EQ( describe( selection, host ), row.selection ) << row.options;
        EXPECT_EQ( describe( in::gatherCandidates( options.get(), previous.get(), host ) ), row.candidates )
            << row.options;
    }
}

} // namespace
