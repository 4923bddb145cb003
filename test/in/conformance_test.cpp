/* Every class of the library keeps the object protocol. */
#include "map_support.hpp"
#include "options_support.hpp"
#include "tcp_support.hpp"
#include <in/nw/in_nw_interface_private.h>
#include <support/conformance.hpp>

namespace {

using test::Samples;

template <class T>
Samples<T> samples();

template <class T>
Samples<T> adopted( std::initializer_list<T *> owned )
{
    Samples<T> objects;
    for ( T *object : owned )
        objects.push_back( pb::adopt( object ) );
    return objects;
}

/** The same in the order of identity, by which some classes compare. */
template <class T>
Samples<T> byIdentity( Samples<T> objects )
{
    std::sort( objects.begin(), objects.end(), []( auto &a, auto &b ) { return a.get() < b.get(); } );
    return objects;
}

template <class T>
Samples<T> parsed( T *( *parse )(PB_STRING *), std::initializer_list<const char *> texts )
{
    Samples<T> objects;
    for ( const char *text : texts )
        objects.push_back( pb::adopt( parse( test::str( text ).get() ) ) );
    return objects;
}

/** Of each configuration an object. */
template <class T>
Samples<T> restored( T *( *restore )(PB_STORE *), std::initializer_list<const char *> configurations )
{
    Samples<T> objects;
    for ( const char *json : configurations )
        objects.push_back( pb::adopt( restore( test::storeOf( json ).get() ) ) );
    return objects;
}

/** Of each object of another class one, as a function creates it. */
template <class From, class Create>
auto each( const Samples<From> &others, Create create )
{
    Samples<std::remove_pointer_t<decltype( create( others[0].get() ) )>> objects;
    for ( const pb::Ref<From> &other : others )
        objects.push_back( pb::adopt( create( other.get() ) ) );
    return objects;
}

/** Endpoints in their order: by address, then by number. */
template <class T>
Samples<T> endpoints( T *( *create )( IN_ADDRESS *, PB_INT ) )
{
    Samples<T> objects;
    for ( const char *address : { "10.0.0.1", "10.0.0.2", "::1" } )
        for ( PB_INT number : { 1, 17, 255 } )
            objects.push_back( pb::adopt( create( test::address( address ).get(), number ) ) );
    return objects;
}

IN_NW_INTERFACE *interfaceNamed( const char *name )
{
    return in___NwInterfaceCreate(
        pb::adopt( in___NwInterfaceImpCreate( test::str( name ).get(), true, nullptr ) ).get() );
}

IN_UDP_MATCH *matchOf( IN_UDP_ADDRESS *address )
{
    IN_UDP_MATCH *match = inUdpMatchCreate();
    inUdpMatchSet( &match, address );
    return match;
}

Samples<IN_TCP_CHANNEL> connected()
{
    test::StreamPair pair( test::loopbackStack().get() );
    return { pair.near.chan, pair.far.chan };
}

pb::Ref<IN_TCP_CHANNEL_PROPOSAL> proposed()
{
    pb::Ref<IN_STACK> stack = test::loopbackStack();
    pb::Ref<IN_TCP_CHANNEL_LISTENER> lsn = test::listenOn( stack.get() );
    pb::Ref<IN_TCP_CHANNEL> chan = test::connectTo( stack.get(), test::localOf( lsn ).get() );
    return test::proposalOf( lsn.get() );
}

Samples<IN_UDP_CHANNEL> channels()
{
    pb::Ref<IN_STACK> stack = test::loopbackStack();
    return { test::channelOn( stack.get() ), test::channelOn( stack.get() ) };
}

IN_UDP_MULTICAST_RECEIVER *join()
{
    return inUdpMulticastReceiverTryCreate(
        test::address( "239.192.7.10" ).get(), test::str( "lo" ).get(), 35'010, nullptr );
}

} // namespace

#define SAMPLES( CLASS, ... ) \
    template <>               \
    Samples<CLASS> samples()  \
    {                         \
        return __VA_ARGS__;   \
    }

namespace {

SAMPLES( IN_ADDRESS, parsed( inAddressTryCreateFromString, { "0.0.0.0", "9.255.255.255", "10.0.0.1", "200.0.0.0",
                                                               "::", "::1", "1::", "fe80::1", "ff02::1" } ) )
SAMPLES( IN_EUI48_ADDRESS, parsed( inEui48AddressTryCreateFromString,
                               { "000000000000", "00:53:00:00:00:01", "01:00:5e:00:00:01", "ff:ff:ff:ff:ff:ff" } ) )
SAMPLES( IN_NETWORK, parsed( inNetworkTryCreateFromString, { "0.0.0.0/0", "10.0.0.0", "10.0.0.0/8", "10.0.0.0/16",
                                                               "10.0.0.1", "::", "::/0", "2001:db8::/32" } ) )
SAMPLES( IN_RAW_ADDRESS, endpoints( inRawAddressCreate ) )
SAMPLES( IN_TCP_ADDRESS, endpoints( inTcpAddressCreate ) )
SAMPLES( IN_UDP_ADDRESS, endpoints( inUdpAddressCreate ) )
SAMPLES( IN_TCP_PORT_RANGE,
    adopted( { inTcpPortRangeCreate( 1, 0 ), inTcpPortRangeCreate( 1, 65535 ), inTcpPortRangeCreate( 65535, 1 ) } ) )
SAMPLES( IN_UDP_PORT_RANGE,
    adopted( { inUdpPortRangeCreate( 1, 0 ), inUdpPortRangeCreate( 1, 65535 ), inUdpPortRangeCreate( 65535, 1 ) } ) )
SAMPLES( IN_UDP_PACKET, adopted( { inUdpPacketCreate( test::udpAddress( "10.0.0.1", 1 ).get() ),
                            inUdpPacketCreateWithPayloadBytes( test::udpAddress( "10.0.0.1", 1 ).get(), "a", 1 ),
                            inUdpPacketCreate( test::udpAddress( "10.0.0.1", 2 ).get() ) } ) )
SAMPLES( IN_NW_MAC_ADDRESS, parsed( inNwMacAddressTryCreateFromString,
                                { "00:00:00:00:00:00", "00-00-00-00-00-FF", "2:53:0:a:b:c", "ff:ff:ff:ff:ff:ff" } ) )
SAMPLES( IN_NW_ADDRESS, each( samples<IN_NW_MAC_ADDRESS>(), inNwAddressCreateMac ) )
SAMPLES(
    IN_DNS_OPTIONS, restored( inDnsOptionsRestore,
                        { "{}", R"({"cacheTimeout":5})", R"({"cacheTimeout":60000})", R"({"disableQuerySrv":false})",
                            R"({"disableQuerySrv":true})", R"({"maxBlockDuration":0})" } ) )
SAMPLES( IN_TCP_OPTIONS,
    restored( inTcpOptionsRestore,
        { "{}", R"({"keepAliveTime":1})", R"({"keepAliveEnabled":false})", R"({"blacklistTimeout":120000})",
            R"({"blacklistEnabled":false})", R"({"blacklistEnabled":true})" } ) )
SAMPLES( IN_UDP_OPTIONS, restored( inUdpOptionsRestore, { "{}", R"({"portRange":{"firstPort":1,"count":0}})" } ) )
SAMPLES( IN_OPTIONS,
    restored( inOptionsRestore,
        { "{}", R"({"udpOptions":{}})", R"({"udpOptions":{"portRange":{"firstPort":1,"count":0}}})",
            R"({"tcpOptions":{}})", R"({"tcpOptions":{},"udpOptions":{}})", R"({"tcpOptions":{"keepAliveTime":9}})",
            R"({"dnsOptions":{}})", R"({"dnsOptions":{"cacheTimeout":9},"tcpOptions":{}})", R"({"address":"1.1.1.1"})",
            R"({"address":"::1","dnsOptions":{}})", R"({"addressVersion":"IN_ADDRESS_VERSION_4"})",
            R"({"addressVersion":"IN_ADDRESS_VERSION_6","address":"1.1.1.1"})", R"({"network":"1.1.1.1"})",
            R"({"interface":"a","network":"1.1.1.1"})", R"({"interface":"b"})",
            R"({"flags":"IN_FLAG_LOOPBACK_ONLY"})" } ) )
SAMPLES( IN_QOS_OPTIONS,
    restored( inQosOptionsRestore, { "{}", R"({"layer2Pcp":"IN_QOS_LAYER2_PCP_BEST_EFFORT"})", R"({"layer3Tos":46})",
                                       R"({"defaults":"IN_QOS_DEFAULTS_VOICE"})" } ) )
SAMPLES( IN_NW_INTERFACE_STATE,
    restored( inNwInterfaceStateRestore,
        { "{}", R"({"layer2SpeedTransmit":0})", R"({"layer2SpeedReceive":1})", R"({"layer2Mtu":1500})",
            R"({"flags":"IN_NW_INTERFACE_FLAG_HIDE"})", R"({"status":"IN_NW_INTERFACE_STATUS_UP"})",
            R"({"displayName":"eth0"})", R"({"displayName":"eth1"})", R"({"end":true})" } ) )
SAMPLES( IN_NW_INTERFACE, byIdentity( adopted( { interfaceNamed( "lo" ), interfaceNamed( "no such" ) } ) ) )
SAMPLES( IN_QOS_STACK, byIdentity( each( samples<IN_QOS_OPTIONS>(),
                           []( auto *options ) { return inQosStackCreate( options, nullptr ); } ) ) )
SAMPLES( IN_FILTER_ENTRY,
    restored( inFilterEntryTryRestore,
        { R"({"host":"10.0.0.1"})", R"({"host":"10.0.0.1","addressMatchingBits":0})",
            R"({"host":"10.0.0.1","addressVersion":"IN_ADDRESS_VERSION_4"})",
            R"({"host":"10.0.0.1","flags":"IN_FILTER_ENTRY_FLAG_ADDRESS"})", R"({"host":"a.example"})" } ) )
SAMPLES( IN_FILTER_OPTIONS,
    restored( inFilterOptionsRestore,
        { "{}", R"({"rebuildInterval":600000})", R"({"stackAddressPermitted":true})", R"({"stackName":"a"})",
            R"({"stackName":"b"})", R"({"entries":[{"host":"10.0.0.1"}]})",
            R"({"entries":[{"host":"10.0.0.1"},{"host":"10.0.0.1"}]})", R"({"entries":[{"host":"a"}]})" } ) )
SAMPLES( IN_FILTER, byIdentity( each( samples<IN_FILTER_OPTIONS>(),
                        []( auto *options ) { return inFilterCreate( options, nullptr ); } ) ) )
SAMPLES( IN_STACK, byIdentity( Samples<IN_STACK>{ test::loopbackStack(), test::loopbackStack() } ) )
SAMPLES( IN_TCP_CHANNEL, byIdentity( connected() ) )
SAMPLES( IN_TCP_CHANNEL_LISTENER,
    byIdentity( Samples<IN_TCP_CHANNEL_LISTENER>{
        test::listenOn( test::loopbackStack().get() ), test::listenOn( test::loopbackStack().get() ) } ) )
SAMPLES( IN_TCP_CHANNEL_PROPOSAL, byIdentity( Samples<IN_TCP_CHANNEL_PROPOSAL>{ proposed(), proposed() } ) )
SAMPLES( IN_UDP_CHANNEL, byIdentity( channels() ) )
SAMPLES( IN_UDP_MATCH, each( samples<IN_UDP_ADDRESS>(), matchOf ) )
SAMPLES( IN_UDP_MULTICAST_RECEIVER, byIdentity( adopted( { join(), join() } ) ) )
SAMPLES( IN_MAP_STACK,
    byIdentity( adopted( { in___MapStackCreate( nullptr, nullptr ), in___MapStackCreate( nullptr, nullptr ) } ) ) )
SAMPLES( IN_MAP_STACK_PEER, byIdentity( adopted( { test::mapPeer( false ), test::mapPeer( false ) } ) ) )

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

TEST( Conformance, CopyOnWrite )
{
    test::checkCopyOnWrite<IN_ADDRESS>( TEST_FUNCTIONS( inAddress ), test::address( "10.0.0.1" ).get(),
        inAddressCreateFrom, []( IN_ADDRESS **handle ) { inAddressSetByteAt( handle, 3, 77 ); } );
    test::checkCopyOnWrite<IN_NETWORK>(
        TEST_FUNCTIONS( inNetwork ), samples<IN_NETWORK>()[2].get(), inNetworkCreateFrom, []( IN_NETWORK **handle ) {
            inNetworkSetAddressAndPrefixLength( handle, test::address( "10.0.0.1" ).get(), 5 );
        } );
}
