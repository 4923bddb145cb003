/* Every class of the library keeps the object protocol. */
#include <in/in.h>
#include <support/conformance.hpp>

namespace {

template <class T>
test::Samples<T> samples();

template <class T, class Parse>
test::Samples<T> parsed( Parse parse, std::initializer_list<const char *> texts )
{
    test::Samples<T> objects;
    for ( const char *text : texts )
        objects.push_back( pb::adopt( parse( test::str( text ).get() ) ) );
    return objects;
}

template <>
test::Samples<IN_ADDRESS> samples()
{
    return parsed<IN_ADDRESS>( inAddressTryCreateFromString,
        { "0.0.0.0", "9.255.255.255", "10.0.0.1", "200.0.0.0", "::", "::1", "1::", "fe80::1", "ff02::1" } );
}

template <>
test::Samples<IN_EUI48_ADDRESS> samples()
{
    return parsed<IN_EUI48_ADDRESS>( inEui48AddressTryCreateFromString,
        { "000000000000", "00:53:00:00:00:01", "01:00:5e:00:00:01", "ff:ff:ff:ff:ff:ff" } );
}

template <>
test::Samples<IN_NETWORK> samples()
{
    return parsed<IN_NETWORK>( inNetworkTryCreateFromString,
        { "0.0.0.0/0", "10.0.0.0", "10.0.0.0/8", "10.0.0.0/16", "10.0.0.1", "::", "::/0", "2001:db8::/32" } );
}

} // namespace

#define IN_CLASS( NAME, prefix ) \
    TEST( Conformance, NAME ) \
    { \
        test::checkStandardFunctions<NAME>( #NAME, TEST_FUNCTIONS( prefix ), samples<NAME>() ); \
    }
#include <in/in_classes.inc>

TEST( CopyOnWrite, Address )
{
    pb::Ref<IN_ADDRESS> ina = samples<IN_ADDRESS>()[2];
    test::checkCopyOnWrite<IN_ADDRESS>( TEST_FUNCTIONS( inAddress ), ina.get(), inAddressCreateFrom,
        []( IN_ADDRESS **handle ) { inAddressSetByteAt( handle, 3, 77 ); } );
}

TEST( CopyOnWrite, Network )
{
    pb::Ref<IN_NETWORK> net = samples<IN_NETWORK>()[2];
    pb::Ref<IN_ADDRESS> ina = samples<IN_ADDRESS>()[3];
    test::checkCopyOnWrite<IN_NETWORK>( TEST_FUNCTIONS( inNetwork ), net.get(), inNetworkCreateFrom,
        [&]( IN_NETWORK **handle ) { inNetworkSetAddressAndPrefixLength( handle, ina.get(), 5 ); } );
}
