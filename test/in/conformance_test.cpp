/* Every class of the library keeps the object protocol. */
#include <algorithm>
#include <in/filter/in_filter_imp_private.h>
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

/** Endpoints in their order: by address, then by number. */
template <class T>
test::Samples<T> endpoints( T *( *create )( IN_ADDRESS *, PB_INT ) )
{
    test::Samples<T> objects;
    for ( const char *address : { "10.0.0.1", "10.0.0.2", "::1" } )
        for ( PB_INT number : { 1, 17, 255 } )
            objects.push_back(
                pb::adopt( create( pb::adopt( inAddressTryCreateFromCstr( address, -1 ) ).get(), number ) ) );
    return objects;
}

template <>
test::Samples<IN_RAW_ADDRESS> samples()
{
    return endpoints<IN_RAW_ADDRESS>( inRawAddressCreate );
}

template <>
test::Samples<IN_TCP_ADDRESS> samples()
{
    return endpoints<IN_TCP_ADDRESS>( inTcpAddressCreate );
}

template <>
test::Samples<IN_UDP_ADDRESS> samples()
{
    return endpoints<IN_UDP_ADDRESS>( inUdpAddressCreate );
}

template <>
test::Samples<IN_TCP_PORT_RANGE> samples()
{
    return { pb::adopt( inTcpPortRangeCreate( 1, 0 ) ), pb::adopt( inTcpPortRangeCreate( 1, 65535 ) ),
        pb::adopt( inTcpPortRangeCreate( 65535, 1 ) ) };
}

template <>
test::Samples<IN_UDP_PORT_RANGE> samples()
{
    return { pb::adopt( inUdpPortRangeCreate( 1, 0 ) ), pb::adopt( inUdpPortRangeCreate( 1, 65535 ) ),
        pb::adopt( inUdpPortRangeCreate( 65535, 1 ) ) };
}

template <>
test::Samples<IN_UDP_PACKET> samples()
{
    test::Samples<IN_UDP_PACKET> packets;
    for ( pb::Ref<IN_UDP_ADDRESS> &ua : samples<IN_UDP_ADDRESS>() ) {
        packets.push_back( pb::adopt( inUdpPacketCreate( ua.get() ) ) );
        packets.push_back( pb::adopt( inUdpPacketCreateWithPayloadBytes( ua.get(), "a", 1 ) ) );
    }
    return packets;
}

/** Options from stores: text pairs of key and value. */
template <class T>
test::Samples<T> restored( T *( *restore )(PB_STORE *), std::initializer_list<std::vector<const char *>> stores )
{
    test::Samples<T> objects;
    for ( const std::vector<const char *> &pairs : stores ) {
        pb::Ref<PB_STORE> store = pb::adopt( pbStoreCreate() );
        for ( std::size_t i = 0; i < pairs.size(); i += 2 )
            pbStoreSetValueCstr( store.handle(), pairs[i], -1, test::str( pairs[i + 1] ).get() );
        objects.push_back( pb::adopt( restore( store.get() ) ) );
    }
    return objects;
}

template <>
test::Samples<IN_DNS_OPTIONS> samples()
{
    return restored<IN_DNS_OPTIONS>(
        inDnsOptionsRestore, { {}, { "cacheTimeout", "5" }, { "cacheTimeout", "60000" }, { "disableQuerySrv", "false" },
                                 { "disableQuerySrv", "true" }, { "maxBlockDuration", "0" } } );
}

template <>
test::Samples<IN_TCP_OPTIONS> samples()
{
    return restored<IN_TCP_OPTIONS>( inTcpOptionsRestore,
        { {}, { "keepAliveTime", "1" }, { "keepAliveEnabled", "false" }, { "blacklistTimeout", "120000" },
            { "blacklistEnabled", "false" }, { "blacklistEnabled", "true" } } );
}

template <>
test::Samples<IN_UDP_OPTIONS> samples()
{
    pb::Ref<IN_UDP_OPTIONS> with = pb::adopt( inUdpOptionsCreate() );
    inUdpOptionsSetPortRange( with.handle(), samples<IN_UDP_PORT_RANGE>()[0].get() );
    return { pb::adopt( inUdpOptionsCreate() ), with };
}

template <>
test::Samples<IN_OPTIONS> samples()
{
    return restored<IN_OPTIONS>(
        inOptionsRestore, { {}, { "address", "10.0.0.1" }, { "addressVersion", "IN_ADDRESS_VERSION_4" },
                              { "addressVersion", "IN_ADDRESS_VERSION_6" }, { "network", "10.0.0.0/8" },
                              { "interface", "eth0" }, { "flags", "IN_FLAG_LOOPBACK_ONLY" } } );
}

template <>
test::Samples<IN_QOS_OPTIONS> samples()
{
    return restored<IN_QOS_OPTIONS>(
        inQosOptionsRestore, { {}, { "layer2Pcp", "IN_QOS_LAYER2_PCP_BEST_EFFORT" }, { "layer3Tos", "0x2e" },
                                 { "defaults", "IN_QOS_DEFAULTS_VOICE" } } );
}

/** These order by identity. */
template <>
test::Samples<IN_QOS_STACK> samples()
{
    test::Samples<IN_QOS_STACK> stacks;
    for ( pb::Ref<IN_QOS_OPTIONS> &options : samples<IN_QOS_OPTIONS>() )
        stacks.push_back( pb::adopt( inQosStackCreate( options.get(), nullptr ) ) );
    std::sort( stacks.begin(), stacks.end(), []( auto &a, auto &b ) { return a.get() < b.get(); } );
    return stacks;
}

template <>
test::Samples<IN_FILTER_ENTRY> samples()
{
    return restored<IN_FILTER_ENTRY>( inFilterEntryTryRestore,
        { { "host", "10.0.0.1" }, { "host", "10.0.0.1", "addressMatchingBits", "0" },
            { "host", "10.0.0.1", "addressVersion", "IN_ADDRESS_VERSION_4" },
            { "host", "10.0.0.1", "flags", "IN_FILTER_ENTRY_FLAG_ADDRESS" }, { "host", "a.example" } } );
}

template <>
test::Samples<IN_FILTER_OPTIONS> samples()
{
    test::Samples<IN_FILTER_OPTIONS> objects = restored<IN_FILTER_OPTIONS>(
        inFilterOptionsRestore, { {}, { "rebuildInterval", "600000" }, { "stackAddressPermitted", "true" },
                                    { "stackName", "a" }, { "stackName", "b" } } );
    objects.push_back( pb::adopt( inFilterOptionsCreate() ) );
    inFilterOptionsAppendEntry( objects.back().handle(), samples<IN_FILTER_ENTRY>()[0].get() );
    return objects;
}

/** These two order by identity. */
template <>
test::Samples<IN_FILTER> samples()
{
    test::Samples<IN_FILTER> filters( 2 );
    for ( pb::Ref<IN_FILTER> &filter : filters )
        filter = pb::adopt( inFilterCreate( samples<IN_FILTER_OPTIONS>()[0].get(), nullptr ) );
    std::sort( filters.begin(), filters.end(), []( auto &a, auto &b ) { return a.get() < b.get(); } );
    return filters;
}

template <>
test::Samples<IN___FILTER_IMP> samples()
{
    test::Samples<IN___FILTER_IMP> imps( 2 );
    for ( pb::Ref<IN___FILTER_IMP> &imp : imps ) {
        imp = pb::adopt( in___FilterImpCreate( samples<IN_FILTER_OPTIONS>()[0].get(), nullptr ) );
        in___FilterImpHalt( imp.get() );
    }
    std::sort( imps.begin(), imps.end(), []( auto &a, auto &b ) { return a.get() < b.get(); } );
    return imps;
}

} // namespace

#define IN_CLASS( NAME, prefix )                                                                \
    TEST( Conformance, NAME )                                                                   \
    {                                                                                           \
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
