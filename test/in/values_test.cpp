/* EUI-48 addresses and networks: text, bits, containment. */
#include <in/in.h>
#include <support/test_support.h>

namespace {

using test::str;
using test::take;

struct Row {
    const char *text;
    const char *result; // "null" for none
};

constexpr Row macs[] = {
    { "00:11:22:33:44:55", "00:11:22:33:44:55" },
    { "00-11-22-33-44-55", "00:11:22:33:44:55" },
    { "001122334455", "00:11:22:33:44:55" },
    { "0:0:1122334455", "00:11:22:33:44:55" },
    { "00::11-:22:-33445-5", "00:11:22:33:44:55" },
    { "  xyz 00:11:22:33:44:55", "00:11:22:33:44:55" },
    { "00:11:22:33:44:55 66", "00:11:22:33:44:55" },
    { "00:11:22:33:44:55.99", "00:11:22:33:44:55" },
    { "FF:Ff:fF:ff:FF:ff", "ff:ff:ff:ff:ff:ff" },
    { "0011.2233.4455", "null" },
    { "00 11 22 33 44 55", "null" },
    { "00:11:22:33:44:5", "null" },
    { "00:11:22:33:44:556", "null" },
    { "00:11:22:33:44:55:66:77:88:99:aa:bb:cc:dd:ee:ff:00:11", "null" },
    { "\xef\xbc\x90\x30:11:22:33:44:55", "null" },
    { "", "null" },
    { "-:-", "null" },
};

constexpr Row networkTexts[] = {
    { "192.168.1.77/24", "192.168.1.0/24" },
    { "10.1.2.3/8", "10.0.0.0/8" },
    { "10.1.2.3/9", "10.0.0.0/9" },
    { "10.129.2.3/9", "10.128.0.0/9" },
    { "1.2.3.4/32", "1.2.3.4/32" },
    { "1.2.3.4/0", "0.0.0.0/0" },
    { "1.2.3.4/ 8", "null" },
    { " 1.2.3.4 /8", "1.0.0.0/8" },
    { "1.2.3.4/+8", "1.0.0.0/8" },
    { "1.2.3.4/008", "1.0.0.0/8" },
    { "1.2.3.4", "1.2.3.4" },
    { "2001:db8:ffff::1/35", "2001:DB8:E000::/35" },
    { "::1/128", "::1/128" },
    { "192.168.1.1/33", "null" },
    { "::1/129", "null" },
    { "1.2.3.4/-1", "null" },
    { "1.2.3.4/24/1", "null" },
    { "1.2.3.4/", "null" },
    { "/8", "null" },
    { "1.2.3.4/8x", "null" },
    { "1.2.3/8", "null" },
    { "", "null" },
};

pb::Ref<IN_NETWORK> network( std::string_view text )
{
    return pb::adopt( inNetworkTryCreateFromString( str( text ).get() ) );
}

pb::Ref<IN_EUI48_ADDRESS> mac( std::string_view text )
{
    return pb::adopt( inEui48AddressTryCreateFromString( str( text ).get() ) );
}

template <class T>
std::string textOrNull( const pb::Ref<T> &object )
{
    return object ? test::textOf( object.get() ) : "null";
}

} // namespace

TEST( Eui48Address, Texts )
{
    for ( const Row &row : macs )
        EXPECT_EQ( textOrNull( mac( row.text ) ), row.result ) << row.text;
    pb::Ref<IN_EUI48_ADDRESS> inea = mac( "00:11:22:aa:bb:cc" );
    EXPECT_EQ( inEui48AddressValue( inea.get() ), 0x001122aabbcc );
    EXPECT_EQ( inEui48AddressOui( inea.get() ), 0x001122 );
    EXPECT_EQ( take( inEui48AddressManufacturerPrefix( inea.get() ) ), "001122" );
    EXPECT_EQ( take( inEui48AddressToStringShrink( inea.get() ) ), "001122aabbcc" );
    EXPECT_EQ( take( inEui48AddressToStringExpand( inea.get(), 0x2013 ) ), "00–11–22–aa–bb–cc" );
}

TEST( Eui48Address, Bits )
{
    struct Bits {
        const char *text;
        bool multicast, local, broadcast;
    };
    for ( Bits row : { Bits{ "01:00:5e:00:00:01", true, false, false }, Bits{ "02:00:00:00:00:01", false, true, false },
              Bits{ "ff:ff:ff:ff:ff:ff", true, true, true }, Bits{ "00:53:00:00:00:01", false, false, false } } ) {
        pb::Ref<IN_EUI48_ADDRESS> inea = mac( row.text );
        EXPECT_EQ( inEui48AddressMulticast( inea.get() ), row.multicast ) << row.text;
        EXPECT_EQ( inEui48AddressUnicast( inea.get() ), !row.multicast );
        EXPECT_EQ( inEui48AddressLocallyAdministered( inea.get() ), row.local );
        EXPECT_EQ( inEui48AddressGloballyUnique( inea.get() ), !row.local );
        EXPECT_EQ( inEui48AddressBroadcast( inea.get() ), row.broadcast );
    }
}

TEST( Eui48Address, Buffers )
{
    const PB_BYTE bytes[8] = { 1, 2, 3, 4, 5, 6, 7, 8 };
    for ( PB_INT length : { 0, 5, 6, 8 } ) {
        pb::Ref<PB_BUFFER> buf = pb::adopt( pbBufferCreateFromBytesCopy( bytes, length ) );
        pb::Ref<IN_EUI48_ADDRESS> inea = pb::adopt( inEui48AddressTryCreateFromBuffer( buf.get() ) );
        EXPECT_EQ( textOrNull( inea ), length < 6 ? "null" : "01:02:03:04:05:06" ) << length;
    }
}

TEST( Network, Texts )
{
    for ( const Row &row : networkTexts )
        EXPECT_EQ( textOrNull( network( row.text ) ), row.result ) << row.text;
}

TEST( Network, Contains )
{
    struct Case {
        const char *outer;
        const char *inner; // a network; without a slash an address too
        bool contains;
    };
    constexpr Case cases[] = {
        { "10.0.0.0/8", "10.255.0.1", true },
        { "10.0.0.0/8", "11.0.0.0", false },
        { "10.0.0.0/8", "10.1.0.0/16", true },
        { "10.0.0.0/8", "10.0.0.0/8", true },
        { "10.0.0.0/8", "10.0.0.0/7", false },
        { "10.0.0.1", "10.0.0.1", true },
        { "10.0.0.1", "10.0.0.2", false },
        { "10.0.0.1", "10.0.0.1/32", true },
        { "10.0.0.1", "10.0.0.0/31", false },
        { "10.0.0.1/32", "10.0.0.1", true },
        { "0.0.0.0/0", "::1", true },
        { "::/0", "1.2.3.4/0", true },
        { "0.0.0.0/1", "::1", false },
        { "2001:db8::/32", "2001:db8:ffff::/48", true },
        { "2001:db8::/32", "2001:db9::", false },
    };
    for ( const Case &row : cases ) {
        pb::Ref<IN_NETWORK> outer = network( row.outer );
        EXPECT_EQ( inNetworkContainsNetwork( outer.get(), network( row.inner ).get() ), row.contains )
            << row.outer << ' ' << row.inner;
        pb::Ref<IN_ADDRESS> ina = pb::adopt( inAddressTryCreateFromString( str( row.inner ).get() ) );
        if ( ina ) {
            EXPECT_EQ( inNetworkContainsAddress( outer.get(), ina.get() ), row.contains )
                << row.outer << ' ' << row.inner;
        }
    }
}

TEST( Network, Parts )
{
    pb::Ref<IN_NETWORK> net = network( "10.1.2.3" );
    EXPECT_FALSE( inNetworkHasPrefixLength( net.get() ) );
    EXPECT_EQ( inNetworkPrefixLength( net.get() ), -1 );
    pb::Ref<IN_ADDRESS> ina = pb::adopt( inNetworkAddress( net.get() ) );
    inNetworkSetAddressAndPrefixLength( net.handle(), ina.get(), 12 );
    EXPECT_EQ( test::textOf( net.get() ), "10.0.0.0/12" );
    EXPECT_EQ( test::textOf( ina.get() ), "10.1.2.3" );
}

TEST( Values, Misuse )
{
    pb::Ref<IN_ADDRESS> ina = pb::adopt( inAddressCreate( IN_ADDRESS_VERSION_4 ) );
    pb::Ref<IN_NETWORK> net = network( "10.0.0.0/8" );
    IN_NETWORK *none = nullptr;
    EXPECT_DEATH( inEui48AddressCreate( -1 ), "source >= 0 && source <= 0xffffffffffff" );
    EXPECT_DEATH( inEui48AddressCreate( 0x1000000000000 ), "source >= 0 && source <= 0xffffffffffff" );
    EXPECT_DEATH( inEui48AddressCreateFromBytes( nullptr ), ": source" );
    EXPECT_DEATH( inEui48AddressTryCreateFromBuffer( nullptr ), ": buf" );
    EXPECT_DEATH( inEui48AddressOui( nullptr ), ": inea" );
    EXPECT_DEATH(
        inEui48AddressToStringExpand( mac( "001122334455" ).get(), 0x110000 ), "PB_CHAR_OK\\( separator \\)" );
    EXPECT_DEATH( inEui48AddressTryLookup( nullptr, nullptr ), ": ina" );
    EXPECT_DEATH( inNetworkCreate( nullptr, -1 ), ": ina" );
    EXPECT_DEATH( inNetworkCreate( ina.get(), -2 ), "optionalPrefixLength >= -1" );
    EXPECT_DEATH( inNetworkCreate( ina.get(), 33 ), "optionalPrefixLength <= length" );
    EXPECT_DEATH( inNetworkTryCreateFromString( nullptr ), ": source" );
    EXPECT_DEATH( inNetworkSetAddressAndPrefixLength( nullptr, ina.get(), 1 ), ": net" );
    EXPECT_DEATH( inNetworkSetAddressAndPrefixLength( &none, ina.get(), 1 ), ": \\*net" );
    EXPECT_DEATH( inNetworkContainsAddress( net.get(), nullptr ), ": containedAddress" );
    EXPECT_DEATH( inNetworkContainsNetwork( net.get(), nullptr ), ": containedNetwork" );
}
