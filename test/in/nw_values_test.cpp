/* Values of network interfaces, netmasks, netlink answers, and the rules by which a stack chooses its address. */
#include <algorithm>
#include <array>
#include <cerrno>
#include <in/in.h>
#include <in/nw/in_nw_host_private.hpp>
#include <in/nw/in_nw_rtnetlink_private.hpp>
#include <in/nw/in_nw_select_private.hpp>
#include <in/options_support.hpp>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <support/misuse.h>
#include <support/test_support.h>

namespace {

using test::str;
using test::take;

pb::Ref<IN_ADDRESS> address( std::string_view text )
{
    return pb::adopt( inAddressTryCreateFromString( str( text ).get() ) );
}

std::string joined( const std::vector<std::string> &texts )
{
    std::string all;
    for ( const std::string &text : texts )
        all += ( all.empty() ? "" : " " ) + text;
    return all;
}

} // namespace

TEST( NwMacAddress, Texts )
{
    struct Row {
        const char *text;
        const char *result; // "null" for none
    };
    constexpr Row rows[] = {
        { "00:11:22:aa:BB:fF", "00:11:22:AA:BB:FF" },
        { "00-11-22-33-44-55", "00:11:22:33:44:55" },
        { "0:1:2:3:4:5", "00:01:02:03:04:05" },
        { "0:1:2:3:4:0005", "00:01:02:03:04:05" },
        { "00:11:22:33:44-55", "null" },
        { "00:11:22:33:44", "null" },
        { "00:11:22:33:44:55:66", "null" },
        { "00:11:22:33:44:55:66:77", "null" },
        { "00:11:22:33:44:100", "null" },
        { "00:11:22:33:44:-1", "null" },
        { "00:11:22:33:44:5g", "null" },
        { "00:11:22:33::55", "null" },
        { "001122334455", "null" },
        { "", "null" },
    };
    for ( const Row &row : rows ) {
        pb::Ref<IN_NW_MAC_ADDRESS> mac = pb::adopt( inNwMacAddressTryCreateFromString( str( row.text ).get() ) );
        EXPECT_EQ( mac ? test::textOf( mac.get() ) : "null", row.result ) << row.text;
    }
}

TEST( NwMacAddress, Bytes )
{
    constexpr PB_BYTE bytes[] = { 1, 2, 3, 4, 5, 6, 7 };
    for ( PB_INT length : { 0, 5, 6, 7 } ) {
        pb::Ref<PB_BUFFER> buf = pb::adopt( pbBufferCreateFromBytesCopy( bytes, length ) );
        pb::Ref<IN_NW_MAC_ADDRESS> mac = pb::adopt( inNwMacAddressTryCreateFromBuffer( buf.get() ) );
        ASSERT_EQ( bool( mac ), length == 6 ) << length;
        if ( mac ) {
            EXPECT_TRUE( pbBufferEquals( pb::adopt( inNwMacAddressToBuffer( mac.get() ) ).get(), buf.get() ) );
        }
    }
    pb::Ref<IN_NW_MAC_ADDRESS> mac = pb::adopt( inNwMacAddressCreateFromBytes( bytes ) );
    pb::Ref<IN_NW_MAC_ADDRESS> held = mac;
    inNwMacAddressSetByteAt( mac.handle(), 5, 0xFF );
    EXPECT_EQ( test::textOf( mac.get() ), "01:02:03:04:05:FF" );
    EXPECT_EQ( inNwMacAddressByteAt( held.get(), 5 ), 6 );
}

TEST( NwAddress, Stores )
{
    const std::string json = R"({"type":"IN_NW_ADDRESS_TYPE_MAC","mac":"02:53:00:00:00:0A"})";
    pb::Ref<IN_NW_ADDRESS> nwa = pb::adopt( inNwAddressTryRestore( test::storeOf( json ).get() ) );
    ASSERT_TRUE( nwa );
    EXPECT_EQ( test::textOf( pb::adopt( inNwAddressStore( nwa.get() ) ).get() ), json );
    for ( const char *bad : { R"({"type":"IN_NW_ADDRESS_TYPE_MAC"})", R"({"mac":"02:53:00:00:00:0A"})",
              R"({"type":"MAC","mac":"02:53:00:00:00:0A"})", R"({"type":"IN_NW_ADDRESS_TYPE_MAC","mac":"2"})" } )
        EXPECT_FALSE( pb::adopt( inNwAddressTryRestore( test::storeOf( bad ).get() ) ) ) << bad;
}

TEST( NwInterfaceFlags, KeepWhatTheyDoNotKnow )
{
    EXPECT_EQ( inNwInterfaceFlagsNormalize( 0x17 ), 0x17 );
    EXPECT_EQ( take( inNwInterfaceFlagsToString( 0x17 ) ),
        "IN_NW_INTERFACE_FLAG_CANNOT_SET_STATUS|IN_NW_INTERFACE_FLAG_HIDE" );
    EXPECT_EQ( inNwInterfaceFlagsFromString( str( "IN_NW_INTERFACE_FLAG_HIDE" ).get() ), 2 );
}

namespace {

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

} // namespace

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
    EXPECT_EQ( restoredAndStored( R"({"layer2Addresses":["02:53:00:00:00:01",{"mac":"02:53:00:00:00:01"}],)"
                                  R"("layer3UnicastAddresses":["::2","224.0.0.1","x",{},"10.0.0.1","::2","0.0.0.0"],)"
                                  R"("layer3Networks":["10.0.0.0/33","10.0.0.1/8"]})" ),
        R"({"end":false,"flags":"","layer2Addresses":[],"layer3UnicastAddresses":["10.0.0.1","::2"],)"
        R"("layer3Networks":["10.0.0.0/8"]})" );
}

TEST( NwInterfaceState, FieldsComeAndGo )
{
    pb::Ref<IN_NW_INTERFACE_STATE> full = pb::adopt( inNwInterfaceStateRestore( test::storeOf( fullState ).get() ) );
    pb::Ref<IN_NW_INTERFACE_STATE> state = full;
    // each takes away something, so the state differs from all that were before
    const std::vector<std::function<void( IN_NW_INTERFACE_STATE ** )>> steps = {
        []( auto **s ) { inNwInterfaceStateSetEnd( s, false ); },
        inNwInterfaceStateDelDisplayName,
        inNwInterfaceStateDelStatus,
        []( auto **s ) { inNwInterfaceStateSetFlags( s, 0 ); },
        []( auto **s ) {
            inNwInterfaceStateLayer2DelAddress( s, pb::adopt( inNwInterfaceStateLayer2AddressAt( *s, 1 ) ).get() );
        },
        inNwInterfaceStateLayer2DelMtu,
        inNwInterfaceStateLayer2DelSpeedReceive,
        inNwInterfaceStateLayer2DelSpeedTransmit,
        []( auto **s ) { inNwInterfaceStateLayer3DelUnicastAddress( s, address( "fe80::1" ).get() ); },
        []( auto **s ) {
            inNwInterfaceStateLayer3DelNetwork( s, pb::adopt( inNwInterfaceStateLayer3NetworkAt( *s, 0 ) ).get() );
        },
    };
    std::vector<pb::Ref<IN_NW_INTERFACE_STATE>> before = { full };
    for ( const auto &step : steps ) {
        step( state.handle() );
        for ( const auto &other : before )
            EXPECT_FALSE( inNwInterfaceStateEquals( state.get(), other.get() ) ) << before.size();
        before.push_back( state );
    }
    EXPECT_FALSE( inNwInterfaceStateHasStatus( state.get() ) );
    EXPECT_FALSE( inNwInterfaceStateLayer2HasMtu( state.get() ) );
    EXPECT_EQ( inNwInterfaceStateLayer2AddressesLength( state.get() ), 1 );
    EXPECT_FALSE( inNwInterfaceStateLayer3HasUnicastAddress( state.get(), address( "fe80::1" ).get() ) );
    EXPECT_TRUE( inNwInterfaceStateLayer3HasUnicastAddress( state.get(), address( "10.0.0.1" ).get() ) );
    EXPECT_EQ( test::textOf( pb::adopt( inNwInterfaceStateStore( full.get() ) ).get() ), fullState );
}

TEST( NwValues, Misuse )
{
    pb::Ref<IN_NW_INTERFACE_STATE> state = pb::adopt( inNwInterfaceStateCreate() );
    pb::Ref<IN_NW_MAC_ADDRESS> mac = pb::adopt( inNwMacAddressCreate() );
    test::expectAborts( {
        { "byteIdx < 6", [&] { inNwMacAddressSetByteAt( mac.handle(), 6, 0 ); } },
        { "IN_NW_ADDRESS_TYPE_OK( at )", [] { inNwAddressTypeToString( 1 ); } },
        { "IN_NW_INTERFACE_STATUS_OK( status )", [] { inNwInterfaceStatusToString( 2 ); } },
        { "mtu >= 0", [&] { inNwInterfaceStateLayer2SetMtu( state.handle(), -1 ); } },
        { "bitsPerSecond >= 0", [&] { inNwInterfaceStateLayer2SetSpeedReceive( state.handle(), -1 ); } },
        { "inAddressIsUnicast( ina )",
            [&] { inNwInterfaceStateLayer3SetUnicastAddress( state.handle(), address( "224.0.0.1" ).get() ); } },
    } );
}

TEST( NwHost, Netmasks )
{
    struct Row {
        const char *mask;
        PB_INT length;
    };
    constexpr Row rows[] = {
        { "255.255.255.255", 32 },
        { "255.255.255.254", 31 },
        { "255.255.0.0", 16 },
        { "255.254.0.0", 15 },
        { "128.0.0.0", 1 },
        { "0.0.0.0", 0 },
        { "255.0.255.0", -1 },
        { "254.128.0.0", -1 },
        { "0.0.0.1", -1 },
        { "255.253.0.0", -1 },
        { "ffff:ffff:ffff:ffff::", 64 },
        { "ffff:ffff:ffff:fffe::", 63 },
        { "ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff", 128 },
        { "ffff::1", -1 },
    };
    for ( const Row &row : rows )
        EXPECT_EQ( in::maskPrefixLength( address( row.mask ).get() ), row.length ) << row.mask;
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

namespace {

/** A netlink message of a type with a code behind its header; the length field may say something else. */
std::string message( uint16_t type, int32_t code, uint32_t length = 20 )
{
    nlmsghdr header{};
    header.nlmsg_len = length;
    header.nlmsg_type = type;
    std::string bytes( reinterpret_cast<const char *>( &header ), sizeof header );
    return bytes.append( reinterpret_cast<const char *>( &code ), sizeof code );
}

} // namespace

TEST( NwRtnetlink, AnswerInADatagram )
{
    constexpr int32_t none = 77;
    struct Row {
        std::string datagram;
        int32_t answer;
    };
    const std::string done = message( NLMSG_ERROR, 0 );
    const Row rows[] = {
        { done, 0 },
        { message( NLMSG_ERROR, -EPERM ), -EPERM },
        { message( NLMSG_NOOP, 5 ) + message( NLMSG_ERROR, -ENODEV ), -ENODEV },
        { message( NLMSG_NOOP, 5, 17 ) + done, 0 },    // padded to a multiple of four
        { message( NLMSG_NOOP, 5, 16 ) + done, none }, // the next header begins with the 5, which is too short
        { message( NLMSG_NOOP, 5, 15 ) + done, none },
        { message( NLMSG_NOOP, 5, 0 ) + done, none },
        { message( NLMSG_NOOP, 5, 41 ) + done, none },
        { message( NLMSG_NOOP, 5, UINT32_MAX ) + done, none },
        { message( NLMSG_ERROR, 0, 21 ), none },
        { message( NLMSG_ERROR, 0, 18 ), -EBADMSG },
        { done.substr( 0, 15 ), none },
        { done.substr( 0, 19 ), none },
        { "", none },
    };
    for ( const Row &row : rows ) {
        auto size = PB_INT_FROM( row.datagram.size() );
        pb::Ref<PB_BUFFER> datagram = pb::adopt( pbBufferCreateFromBytesCopy( row.datagram.data(), size ) );
        EXPECT_EQ( in::findNetlinkAnswer( datagram.get() ).value_or( none ), row.answer ) << &row - rows;
    }
}

TEST( NwRtnetlink, RequestHasRoomForAttributes )
{
    in::AddressRequest request( RTM_NEWADDR, NLM_F_CREATE, AF_INET, 24, 7 );
    EXPECT_EQ( request.bytes().size(), 24U );
    const std::array<PB_BYTE, 253> data{};
    EXPECT_FALSE( request.tryAddAttribute( IFA_LOCAL, data ) );
    EXPECT_TRUE( request.tryAddAttribute( IFA_LOCAL, std::span( data ).first( 5 ) ) );
    EXPECT_EQ( request.bytes().size(), 36U );
    EXPECT_EQ( request.bytes()[0], 36 );
    EXPECT_TRUE( request.tryAddAttribute( IFA_LOCAL, std::span( data ).first( 240 ) ) );
    EXPECT_FALSE( request.tryAddAttribute( IFA_LOCAL, {} ) );
}

namespace {

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

/** What is dropped and why, or its score: "10.0.0.1 network, ..." in the order in which they are looked at. */
std::string describe( const std::vector<in::Candidate> &candidates )
{
    std::vector<std::string> texts;
    for ( const in::Candidate &candidate : candidates )
        texts.push_back( test::textOf( candidate.address.get() ) + "=" +
                         ( candidate.droppedBy ? candidate.droppedBy : std::to_string( candidate.score ) ) );
    return joined( texts );
}

} // namespace

TEST( NwSelect, Rules )
{
    struct Row {
        const char *options;
        const char *previous;       // address, or ""
        std::optional<int> primary; // the previous one
        const char *selection;
        const char *candidates;
    };
    // not in the order of identifiers, as their places tell them apart
    const std::vector<in::SeenInterface> host = seenOf( {
        { "lo", { "127.0.0.1", "::1" } },
        { "eth1", { "10.0.0.1", "192.168.1.1", "fe80::1" } },
        { "eth0", { "192.168.1.1", "fd00::1", "fe80::1" } },
        { "down", {} },
    } );
    const Row rows[] = {
        { "{}", "", {}, "10.0.0.1: *eth1", "10.0.0.1=8 127.0.0.1=2 192.168.1.1=8 ::1=2 FD00::1=8 FE80::1=4" },
        { "{}", "192.168.1.1", {}, "192.168.1.1: *eth0 eth1",
            "10.0.0.1=8 127.0.0.1=2 192.168.1.1=9 ::1=2 FD00::1=8 FE80::1=4" },
        { "{}", "192.168.1.1", 1, "192.168.1.1: eth0 *eth1",
            "10.0.0.1=8 127.0.0.1=2 192.168.1.1=9 ::1=2 FD00::1=8 FE80::1=4" },
        { "{}", "192.168.1.1", 0, "192.168.1.1: *eth0 eth1",
            "10.0.0.1=8 127.0.0.1=2 192.168.1.1=9 ::1=2 FD00::1=8 FE80::1=4" },
        { "{}", "fe80::1", {}, "10.0.0.1: *eth1", // one point more does not make up for the kind
            "10.0.0.1=8 127.0.0.1=2 192.168.1.1=8 ::1=2 FD00::1=8 FE80::1=5" },
        { R"({"addressVersion":"IN_ADDRESS_VERSION_6"})", "", {}, "FD00::1: *eth0",
            "10.0.0.1=addressVersion 127.0.0.1=addressVersion 192.168.1.1=addressVersion ::1=2 FD00::1=8 FE80::1=4" },
        { R"({"network":"192.168.0.0/16"})", "", {}, "192.168.1.1: *eth0 eth1",
            "10.0.0.1=network 127.0.0.1=network 192.168.1.1=8 ::1=network FD00::1=network FE80::1=network" },
        { R"({"network":"fe80::/10"})", "", 1, "FE80::1: eth0 *eth1",
            "10.0.0.1=network 127.0.0.1=network 192.168.1.1=network ::1=network FD00::1=network FE80::1=4" },
        { R"({"address":"192.168.1.1"})", "", {}, "192.168.1.1: *eth0 eth1",
            "10.0.0.1=address 127.0.0.1=address 192.168.1.1=8 ::1=address FD00::1=address FE80::1=address" },
        { R"({"address":"192.0.2.1"})", "192.0.2.1", 1, "none: ",
            "10.0.0.1=address 127.0.0.1=address 192.168.1.1=address ::1=address FD00::1=address FE80::1=address" },
        { R"({"flags":"IN_FLAG_LOOPBACK_ONLY"})", "::1", {}, "::1: *lo",
            "10.0.0.1=flags 127.0.0.1=2 192.168.1.1=flags ::1=3 FD00::1=flags FE80::1=flags" },
        { R"({"interface":"eth1"})", "fd00::1", {}, "10.0.0.1: *eth1",
            "10.0.0.1=8 127.0.0.1=interface 192.168.1.1=8 ::1=interface FD00::1=interface FE80::1=4" },
        { R"({"interface":"eth1","address":"192.168.1.1"})", "", 2, "192.168.1.1: eth0 *eth1",
            "10.0.0.1=address 127.0.0.1=interface 192.168.1.1=8 ::1=interface FD00::1=interface FE80::1=address" },
        { R"({"interface":"eth1","network":"fd00::/16","flags":"IN_FLAG_LOOPBACK_ONLY"})", "", {}, "none: *eth1",
            "10.0.0.1=network 127.0.0.1=interface 192.168.1.1=network ::1=interface FD00::1=interface "
            "FE80::1=network" },
        { R"({"interface":"down"})", "", {}, "none: *down",
            "10.0.0.1=interface 127.0.0.1=interface 192.168.1.1=interface ::1=interface FD00::1=interface "
            "FE80::1=interface" },
        { R"({"interface":"ETH1"})", "", 1, "none: ",
            "10.0.0.1=interface 127.0.0.1=interface 192.168.1.1=interface ::1=interface FD00::1=interface "
            "FE80::1=interface" },
    };
    for ( const Row &row : rows ) {
        pb::Ref<IN_OPTIONS> options = pb::adopt( inOptionsRestore( test::storeOf( row.options ).get() ) );
        pb::Ref<IN_ADDRESS> previous = address( row.previous );
        std::optional<std::size_t> primary;
        if ( row.primary )
            primary = static_cast<std::size_t>( *row.primary );
        EXPECT_EQ( describe( in::select( options.get(), previous.get(), primary, host ), host ), row.selection )
            << row.options;
        EXPECT_EQ( describe( in::gatherCandidates( options.get(), previous.get(), host ) ), row.candidates )
            << row.options;
    }
}

TEST( NwSelect, HostsWithLittleToChooseFrom )
{
    pb::Ref<IN_OPTIONS> any = pb::adopt( inOptionsCreate() );
    pb::Ref<IN_OPTIONS> loopbackOnly = pb::adopt( inOptionsCreate() );
    inOptionsSetFlags( loopbackOnly.handle(), IN_FLAG_LOOPBACK_ONLY );
    const std::vector<in::SeenInterface> none;
    const std::vector<in::SeenInterface> loopback = seenOf( { { "lo", { "127.0.0.1" } } } );
    const std::vector<in::SeenInterface> other = seenOf( { { "eth0", { "10.0.0.1" } } } );
    EXPECT_EQ( describe( in::select( any.get(), nullptr, {}, none ), none ), "none: " );
    EXPECT_EQ( describe( in::select( any.get(), nullptr, {}, loopback ), loopback ), "127.0.0.1: *lo" );
    EXPECT_EQ( describe( in::select( loopbackOnly.get(), nullptr, {}, other ), other ), "none: " );
}
