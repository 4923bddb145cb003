/* Every class of the library keeps the object protocol. */
#include "options_support.hpp"
#include "udp_support.hpp"
#include <algorithm>
#include <in/in.h>
#include <in/map/in_map_private.hpp>
#include <in/nw/in_nw_interface_private.h>
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

template <>
test::Samples<IN_NW_MAC_ADDRESS> samples()
{
    return parsed<IN_NW_MAC_ADDRESS>( inNwMacAddressTryCreateFromString,
        { "00:00:00:00:00:00", "00-00-00-00-00-FF", "2:53:0:a:b:c", "ff:ff:ff:ff:ff:ff" } );
}

template <>
test::Samples<IN_NW_ADDRESS> samples()
{
    test::Samples<IN_NW_ADDRESS> addresses;
    for ( pb::Ref<IN_NW_MAC_ADDRESS> &mac : samples<IN_NW_MAC_ADDRESS>() )
        addresses.push_back( pb::adopt( inNwAddressCreateMac( mac.get() ) ) );
    return addresses;
}

/** Options from their configurations. */
template <class T>
test::Samples<T> restored( T *( *restore )(PB_STORE *), std::initializer_list<const char *> configurations )
{
    test::Samples<T> objects;
    for ( const char *json : configurations )
        objects.push_back( pb::adopt( restore( test::storeOf( json ).get() ) ) );
    return objects;
}

template <>
test::Samples<IN_DNS_OPTIONS> samples()
{
    return restored<IN_DNS_OPTIONS>( inDnsOptionsRestore,
        { "{}", R"({"cacheTimeout":5})", R"({"cacheTimeout":60000})", R"({"disableQuerySrv":false})",
            R"({"disableQuerySrv":true})", R"({"maxBlockDuration":0})" } );
}

template <>
test::Samples<IN_TCP_OPTIONS> samples()
{
    return restored<IN_TCP_OPTIONS>( inTcpOptionsRestore,
        { "{}", R"({"keepAliveTime":1})", R"({"keepAliveEnabled":false})", R"({"blacklistTimeout":120000})",
            R"({"blacklistEnabled":false})", R"({"blacklistEnabled":true})" } );
}

template <>
test::Samples<IN_UDP_OPTIONS> samples()
{
    return restored<IN_UDP_OPTIONS>( inUdpOptionsRestore, { "{}", R"({"portRange":{"firstPort":1,"count":0}})" } );
}

template <>
test::Samples<IN_OPTIONS> samples()
{
    return restored<IN_OPTIONS>( inOptionsRestore,
        { "{}", R"({"udpOptions":{}})", R"({"udpOptions":{"portRange":{"firstPort":1,"count":0}}})",
            R"({"tcpOptions":{}})", R"({"tcpOptions":{},"udpOptions":{}})", R"({"tcpOptions":{"keepAliveTime":9}})",
            R"({"dnsOptions":{}})", R"({"dnsOptions":{"cacheTimeout":9},"tcpOptions":{}})", R"({"address":"1.1.1.1"})",
            R"({"address":"::1","dnsOptions":{}})", R"({"addressVersion":"IN_ADDRESS_VERSION_4"})",
            R"({"addressVersion":"IN_ADDRESS_VERSION_6","address":"1.1.1.1"})", R"({"network":"1.1.1.1"})",
            R"({"interface":"a","network":"1.1.1.1"})", R"({"interface":"b"})",
            R"({"flags":"IN_FLAG_LOOPBACK_ONLY"})" } );
}

template <>
test::Samples<IN_QOS_OPTIONS> samples()
{
    return restored<IN_QOS_OPTIONS>(
        inQosOptionsRestore, { "{}", R"({"layer2Pcp":"IN_QOS_LAYER2_PCP_BEST_EFFORT"})", R"({"layer3Tos":46})",
                                 R"({"defaults":"IN_QOS_DEFAULTS_VOICE"})" } );
}

template <>
test::Samples<IN_NW_INTERFACE_STATE> samples()
{
    return restored<IN_NW_INTERFACE_STATE>( inNwInterfaceStateRestore,
        { "{}", R"({"layer2SpeedTransmit":0})", R"({"layer2SpeedReceive":1})", R"({"layer2Mtu":1500})",
            R"({"flags":"IN_NW_INTERFACE_FLAG_HIDE"})", R"({"status":"IN_NW_INTERFACE_STATUS_UP"})",
            R"({"displayName":"eth0"})", R"({"displayName":"eth1"})", R"({"end":true})" } );
}

/** This one and the next order by identity. */
template <>
test::Samples<IN_NW_INTERFACE> samples()
{
    test::Samples<IN_NW_INTERFACE> interfaces;
    for ( const char *name : { "lo", "no such" } ) {
        auto imp = pb::adopt( in___NwInterfaceImpCreate( test::str( name ).get(), true, nullptr ) );
        interfaces.push_back( pb::adopt( in___NwInterfaceCreate( imp.get() ) ) );
    }
    std::sort( interfaces.begin(), interfaces.end(), []( auto &a, auto &b ) { return a.get() < b.get(); } );
    return interfaces;
}

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
        { R"({"host":"10.0.0.1"})", R"({"host":"10.0.0.1","addressMatchingBits":0})",
            R"({"host":"10.0.0.1","addressVersion":"IN_ADDRESS_VERSION_4"})",
            R"({"host":"10.0.0.1","flags":"IN_FILTER_ENTRY_FLAG_ADDRESS"})", R"({"host":"a.example"})" } );
}

template <>
test::Samples<IN_FILTER_OPTIONS> samples()
{
    test::Samples<IN_FILTER_OPTIONS> objects = restored<IN_FILTER_OPTIONS>(
        inFilterOptionsRestore, { "{}", R"({"rebuildInterval":600000})", R"({"stackAddressPermitted":true})",
                                    R"({"stackName":"a"})", R"({"stackName":"b"})" } );
    pb::Ref<PB_VECTOR> entries = pb::adopt( pbVectorCreate() );
    for ( pb::Ref<IN_FILTER_ENTRY> &entry : samples<IN_FILTER_ENTRY>() ) {
        pbVectorAppend( entries.handle(), pb::obj( entry.get() ) );
        objects.push_back( pb::adopt( inFilterOptionsCreate() ) );
        inFilterOptionsSetEntriesVector( objects.back().handle(), entries.get() );
    }
    return objects;
}

/** These two order by identity. */
template <>
test::Samples<IN_FILTER> samples()
{
    test::Samples<IN_FILTER> filters;
    for ( pb::Ref<IN_FILTER_OPTIONS> &options : samples<IN_FILTER_OPTIONS>() )
        filters.push_back( pb::adopt( inFilterCreate( options.get(), nullptr ) ) );
    std::sort( filters.begin(), filters.end(), []( auto &a, auto &b ) { return a.get() < b.get(); } );
    return filters;
}

/** In the order of identity. */
template <class T>
test::Samples<T> byIdentity( test::Samples<T> objects )
{
    std::sort( objects.begin(), objects.end(), []( auto &a, auto &b ) { return a.get() < b.get(); } );
    return objects;
}

template <>
test::Samples<IN_STACK> samples()
{
    test::Samples<IN_STACK> stacks{ test::loopbackStack(), test::loopbackStack() };
    return byIdentity( stacks );
}

template <>
test::Samples<IN_UDP_CHANNEL> samples()
{
    pb::Ref<IN_STACK> stack = test::loopbackStack();
    return byIdentity<IN_UDP_CHANNEL>( { test::channelOn( stack.get() ), test::channelOn( stack.get() ) } );
}

template <>
test::Samples<IN_UDP_MATCH> samples()
{
    test::Samples<IN_UDP_MATCH> matches{ pb::adopt( inUdpMatchCreate() ) };
    for ( pb::Ref<IN_UDP_ADDRESS> &ua : samples<IN_UDP_ADDRESS>() ) {
        matches.push_back( pb::adopt( inUdpMatchCreate() ) );
        inUdpMatchSet( matches.back().handle(), ua.get() );
    }
    return matches;
}

template <>
test::Samples<IN_UDP_MULTICAST_RECEIVER> samples()
{
    auto join = [] {
        return pb::adopt( inUdpMulticastReceiverTryCreate(
            test::address( "239.192.7.10" ).get(), test::str( "lo" ).get(), 35'010, nullptr ) );
    };
    return byIdentity<IN_UDP_MULTICAST_RECEIVER>( { join(), join() } );
}

template <>
test::Samples<IN_MAP_STACK> samples()
{
    auto create = [] { return pb::adopt( in___MapStackCreate( nullptr, nullptr ) ); };
    return byIdentity<IN_MAP_STACK>( { create(), create() } );
}

struct NoPeer final : in::MapPeer {
    pb::Ref<IN___MAP_UDP_CHANNEL> tryCreateUdpChannel(
        IN_STACK *, IN_QOS_STACK *, PB_INT, PB_INT, TR_ANCHOR * ) override
    {
        return {};
    }
    pb::Ref<PB_VECTOR> tryCreateUdpChannelsRtp( IN_STACK *, IN_QOS_STACK *, PB_INT, TR_ANCHOR * ) override
    {
        return {};
    }
};

template <>
test::Samples<IN_MAP_STACK_PEER> samples()
{
    auto create = [] { return pb::adopt( in___MapStackPeerCreate( std::make_unique<NoPeer>() ) ); };
    return byIdentity<IN_MAP_STACK_PEER>( { create(), create() } );
}

} // namespace

#define IN_CLASS( NAME, prefix )                                                                \
    TEST( Conformance, NAME )                                                                   \
    {                                                                                           \
        test::checkStandardFunctions<NAME>( #NAME, TEST_FUNCTIONS( prefix ), samples<NAME>() ); \
    }
#include <in/in_classes.inc>

TEST( ConformanceDeathTest, Misuse )
{
    test::checkMisuse<IN_ADDRESS>( TEST_FUNCTIONS( inAddress ), samples<IN_ADDRESS>()[0].get() );
}

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
