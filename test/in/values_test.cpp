/* EUI-48 addresses and networks: text, bits, containment. */
#include <support/addresses.hpp>

namespace {

using namespace test;

using Row = std::pair<const char *, const char *>; // a text and the text of the object it gives

constexpr Row macs[] = { { "00-11-22-33-44-55", "00:11:22:33:44:55" }, { "001122334455", "00:11:22:33:44:55" },
    { "0:0:1122334455", "00:11:22:33:44:55" }, { "00::11-:22:-33445-5", "00:11:22:33:44:55" },
    { "  xyz 00:11:22:33:44:55", "00:11:22:33:44:55" }, { "00:11:22:33:44:55 66", "00:11:22:33:44:55" },
    { "00:11:22:33:44:55.99", "00:11:22:33:44:55" }, { "FF:Ff:fF:ff:FF:ff", "ff:ff:ff:ff:ff:ff" } };
constexpr const char *badMacs[] = { "", "-:-", "0011.2233.4455", "00 11 22 33 44 55", "00:11:22:33:44:5",
    "00:11:22:33:44:556", "00:11:22:33:44:55:66:77:88:99:aa:bb:cc:dd:ee:ff:00:11", "\xef\xbc\x90\x30:11:22:33:44:55" };

constexpr Row networks[] = { { "192.168.1.77/24", "192.168.1.0/24" }, { "10.129.2.3/9", "10.128.0.0/9" },
    { "1.2.3.4/32", "1.2.3.4/32" }, { "1.2.3.4/0", "0.0.0.0/0" }, { " 1.2.3.4 /8", "1.0.0.0/8" },
    { "1.2.3.4/+8", "1.0.0.0/8" }, { "1.2.3.4/008", "1.0.0.0/8" }, { "1.2.3.4", "1.2.3.4" },
    { "2001:db8:ffff::1/35", "2001:DB8:E000::/35" }, { "::1/128", "::1/128" } };
constexpr const char *badNetworks[] = { "", "1.2.3.4/ 8", "192.168.1.1/33", "::1/129", "1.2.3.4/-1", "1.2.3.4/24/1",
    "1.2.3.4/", "/8", "1.2.3.4/8x", "1.2.3/8" };

pb::Ref<IN_EUI48_ADDRESS> mac( std::string_view text )
{
    return pb::adopt( inEui48AddressTryCreateFromString( str( text ).get() ) );
}

template <class Parse, std::size_t good, std::size_t bad>
void checkTexts( Parse parse, const Row ( &rows )[good], const char *const ( &badTexts )[bad] )
{
    for ( auto [text, result] : rows )
        EXPECT_EQ( test::textOf( parse( text ).get() ), result ) << text;
    for ( const char *text : badTexts )
        EXPECT_FALSE( parse( text ) ) << text;
}

} // namespace

TEST( Eui48Address, Texts )
{
    checkTexts( mac, macs, badMacs );
    pb::Ref<IN_EUI48_ADDRESS> inea = mac( "00:11:22:aa:bb:cc" );
    EXPECT_EQ( inEui48AddressValue( inea.get() ), 0x001122aabbcc );
    EXPECT_EQ( inEui48AddressOui( inea.get() ), 0x001122 );
    EXPECT_EQ( take( inEui48AddressManufacturerPrefix( inea.get() ) ), "001122" );
    EXPECT_EQ( take( inEui48AddressToStringShrink( inea.get() ) ), "001122aabbcc" );
    EXPECT_EQ( take( inEui48AddressToStringExpand( inea.get(), 0x2013 ) ), "00–11–22–aa–bb–cc" );
    const PB_BYTE bytes[8] = { 1, 2, 3, 4, 5, 6, 7, 8 };
    for ( PB_INT length : { 0, 5, 6, 8 } ) {
        pb::Ref<PB_BUFFER> buf = pb::adopt( pbBufferCreateFromBytesCopy( bytes, length ) );
        inea = pb::adopt( inEui48AddressTryCreateFromBuffer( buf.get() ) );
        EXPECT_EQ( test::textOrNull( inea ), length >= 6 ? "01:02:03:04:05:06" : "null" ) << length;
    }
}

TEST( Eui48Address, Bits )
{
    struct {
        const char *text;
        bool multicast, local, broadcast;
    } const rows[] = { { "01:00:5e:00:00:01", true, false, false }, { "02:00:00:00:00:01", false, true, false },
        { "ff:ff:ff:ff:ff:ff", true, true, true }, { "00:53:00:00:00:01", false, false, false } };
    for ( const auto &row : rows ) {
        pb::Ref<IN_EUI48_ADDRESS> inea = mac( row.text );
        EXPECT_EQ( inEui48AddressMulticast( inea.get() ), row.multicast ) << row.text;
        EXPECT_EQ( inEui48AddressUnicast( inea.get() ), !row.multicast );
        EXPECT_EQ( inEui48AddressLocallyAdministered( inea.get() ), row.local );
        EXPECT_EQ( inEui48AddressGloballyUnique( inea.get() ), !row.local );
        EXPECT_EQ( inEui48AddressBroadcast( inea.get() ), row.broadcast );
    }
}

TEST( Network, TextsAndParts )
{
    checkTexts( network, networks, badNetworks );
    pb::Ref<IN_NETWORK> net = network( "10.1.2.3" );
    EXPECT_FALSE( inNetworkHasPrefixLength( net.get() ) );
    EXPECT_EQ( inNetworkPrefixLength( net.get() ), -1 );
    pb::Ref<IN_ADDRESS> ina = pb::adopt( inNetworkAddress( net.get() ) );
    inNetworkSetAddressAndPrefixLength( net.handle(), ina.get(), 12 );
    EXPECT_EQ( test::textOf( net.get() ), "10.0.0.0/12" );
    EXPECT_EQ( test::textOf( ina.get() ), "10.1.2.3" );
    EXPECT_DEATH( inNetworkCreate( ina.get(), 33 ), ": optionalPrefixLength <= length" );
}

TEST( Network, Contains )
{
    struct {
        const char *outer, *inner; // a network; without a slash an address too
        bool contains;
    } const cases[] = { { "10.0.0.0/8", "10.255.0.1", true }, { "10.0.0.0/8", "11.0.0.0", false },
        { "10.0.0.0/8", "10.1.0.0/16", true }, { "10.0.0.0/8", "10.0.0.0/8", true },
        { "10.0.0.0/8", "10.0.0.0/7", false }, { "10.0.0.1", "10.0.0.1", true }, { "10.0.0.1", "10.0.0.2", false },
        { "10.0.0.1", "10.0.0.1/32", true }, { "10.0.0.1", "10.0.0.0/31", false }, { "10.0.0.1/32", "10.0.0.1", true },
        { "0.0.0.0/0", "::1", true }, { "::/0", "1.2.3.4/0", true }, { "0.0.0.0/1", "::1", false },
        { "2001:db8::/32", "2001:db8:ffff::/48", true }, { "2001:db8::/32", "2001:db9::", false } };
    for ( const auto &row : cases ) {
        SCOPED_TRACE( std::string( row.outer ) + " " + row.inner );
        pb::Ref<IN_NETWORK> outer = network( row.outer );
        EXPECT_EQ( inNetworkContainsNetwork( outer.get(), network( row.inner ).get() ), row.contains );
        pb::Ref<IN_ADDRESS> ina = test::address( row.inner );
        EXPECT_TRUE( !ina || inNetworkContainsAddress( outer.get(), ina.get() ) == row.contains );
    }
}
