/* The options classes: defaults, stores and files, bad values, checks, accessors. */
#include "options_support.hpp"

namespace {

using namespace test;

/** An options class as text. */
struct Kind {
    const char *name;
    std::function<Store( PB_STORE *, bool full )> normal;
    PB_STORE *( *check )( PB_STORE * );
};

template <class T>
Kind kind( const char *name, T *( *restore )(PB_STORE *), PB_STORE *( *store )( T *, PB_BOOL ),
    PB_STORE *( *check )(PB_STORE *))
{
    auto normal = [=]( PB_STORE *from, bool full ) {
        return pb::adopt( store( pb::adopt( restore( from ) ).get(), full ) );
    };
    return { name, normal, check };
}
#define KIND( prefix ) kind( #prefix, prefix##Restore, prefix##Store, prefix##Check )

const Kind dns = KIND( inDnsOptions ), tcp = KIND( inTcpOptions ), udp = KIND( inUdpOptions ),
           stack = KIND( inOptions ), qos = KIND( inQosOptions );

#define DNS_FULL( cacheTimeout )                                                                  \
    R"({"maxBlockDuration":60000,"disableQueryAddresses":false,"disableQueryDomainNames":false,)" \
    R"("disableQuerySrv":false,"cacheTimeout":)" cacheTimeout R"(,"negativeCacheTimeout":60000})"
#define TCP_FULL                                                                          \
    R"({"blacklistEnabled":true,"blacklistTimeout":120000,"blacklistGranularity":15000,)" \
    R"("keepAliveEnabled":false,"keepAliveTime":30000})"

struct Row {
    const Kind &kind;
    std::string from;        // a configuration
    std::string result;      // restored and stored again
    std::string report = ""; // what a check says, a line each
};

const Row fulls[] = {
    { dns, "{}", DNS_FULL( "60000" ) },
    { tcp, "{}", TCP_FULL },
    { stack, "{}",
        R"({"flags":"","dnsOptions":)" DNS_FULL( "60000" ) R"(,"tcpOptions":)" TCP_FULL R"(,"udpOptions":{}})" },
    // the negative time-out goes into the positive one and keeps its own default
    { dns, R"({"negativeCacheTimeout":5000})", DNS_FULL( "5000" ) },
    { qos, R"({"defaults":"IN_QOS_DEFAULTS_VOICE","layer3Tos":"0x2e"})",
        R"({"defaults":"IN_QOS_DEFAULTS_VOICE","layer3Tos":"0x2e","layer2Pcp":"IN_QOS_LAYER2_PCP_VOICE",)"
        R"("windowsTrafficType":"IN_QOS_WINDOWS_TRAFFIC_TYPE_VOICE"})" },
};

const Row rows[] = {
    // everything chosen, written back to front; the order of storing is the class's own
    { stack,
        R"({"udpOptions":{"portRange":{"firstPort":1,"count":0}},"tcpOptions":{},"dnsOptions":{"cacheTimeout":7},)"
        R"("address":"2001:db8:0::1","addressVersion":"IN_ADDRESS_VERSION_6","network":"10.1.2.3/8",)"
        R"("interface":" eth\u00e4 ","flags":"IN_FLAG_LOOPBACK_ONLY"})",
        R"({"flags":"IN_FLAG_LOOPBACK_ONLY","interface":" ethä ","network":"10.0.0.0/8",)"
        R"("addressVersion":"IN_ADDRESS_VERSION_6","address":"2001:DB8::1","dnsOptions":{"cacheTimeout":7},)"
        R"("tcpOptions":{},"udpOptions":{"portRange":{"firstPort":1,"count":0}}})" },
    { qos,
        R"({"windowsTrafficType":"IN_QOS_WINDOWS_TRAFFIC_TYPE_CONTROL","layer2Pcp":"IN_QOS_LAYER2_PCP_BACKGROUND",)"
        R"("layer3Tos":"0xB8","defaults":"IN_QOS_DEFAULTS_IPC"})",
        R"({"defaults":"IN_QOS_DEFAULTS_IPC","layer3Tos":"0xb8","layer2Pcp":"IN_QOS_LAYER2_PCP_BACKGROUND",)"
        R"("windowsTrafficType":"IN_QOS_WINDOWS_TRAFFIC_TYPE_CONTROL"})" },
    // the short forms that begin or end with one zero group
    { stack, R"({"network":"2001:db8:1:2:3:4:5:6/112","address":"0:2:3:4:5:6:7:8"})",
        R"({"flags":"","network":"2001:DB8:1:2:3:4:5::/112","address":"::2:3:4:5:6:7:8"})" },
    // nothing chosen, and chosen though equal to the default
    { stack, "{}", R"({"flags":""})" },
    { qos, R"({"layer3Tos":0})", R"({"defaults":"IN_QOS_DEFAULTS_NONE","layer3Tos":"0x00"})" },
    // the negative time-out, the later key, also beats a positive one; a bad one leaves it alone
    { dns, R"({"negativeCacheTimeout":5000,"cacheTimeout":7})", R"({"cacheTimeout":5000})",
        "negativeCacheTimeout: applied to cacheTimeout" },
    { dns, R"({"negativeCacheTimeout":-1,"cacheTimeout":7})", R"({"cacheTimeout":7})",
        "negativeCacheTimeout: -1 is out of range" },
    // bad values leave the default, one key does not touch the others
    { dns,
        R"({"CacheTimeout":1,"cacheTimeout":-1,"maxBlockDuration":"1s","disableQuerySrv":"yes",)"
        R"("disableQueryAddresses":{}})",
        "{}",
        R"(CacheTimeout: unknown key
cacheTimeout: -1 is out of range
maxBlockDuration: "1s" does not parse
disableQuerySrv: "yes" does not parse
disableQueryAddresses: wrong type)" },
    { tcp,
        R"({"keepAliveTime":0,"blacklistGranularity":[1],"blacklistTimeout":99999999999999999999,"portRange":"5000"})",
        "{}", R"(keepAliveTime: 0 is out of range
blacklistGranularity: wrong type
blacklistTimeout: "99999999999999999999" does not parse
portRange: wrong type)" },
    { udp, R"({"portRange":{"firstPort":0,"count":65536}})", "{}", R"(portRange: left out as a whole
portRange.firstPort: 0 is out of range
portRange.count: 65536 is out of range)" },
    { udp, R"({"portRange":{"firstPort":"x","last":1}})", "{}", R"(portRange: left out as a whole
portRange.firstPort: "x" does not parse
portRange.count: missing
portRange.last: unknown key)" },
    { udp, R"({"portRange":[1,2]})", "{}", "portRange: wrong type" },
    // names that are unknown, among them one that would keep the stack off the network
    { stack, R"({"flags":"IN_FLAG_LOOPBACK_ONLY| IN_FLAG_LOPBACK_ONLY ||in_flag_x\u001b\n"})",
        R"({"flags":"IN_FLAG_LOOPBACK_ONLY"})",
        "flags: unknown name \"IN_FLAG_LOPBACK_ONLY\" (known: IN_FLAG_LOOPBACK_ONLY); "
        "unknown name \"in_flag_x\ufffd\" (known: IN_FLAG_LOOPBACK_ONLY)" },
    { stack, R"({"flags":")" + std::string( 70, 'x' ) + R"(","dnsOptions":[]})", R"({"flags":"","dnsOptions":{}})",
        "flags: unknown name \"" + std::string( 60, 'x' ) +
            "\"... (known: IN_FLAG_LOOPBACK_ONLY)\ndnsOptions: wrong type" },
    { stack,
        R"({"network":"10.0.0.0/33","addressVersion":"IN_ADDRESS_VERSION_5","address":"10.0.0",)"
        R"("interface":{},"flags":7,"dnsOptions":{"cacheTimeout":-1,"x":{}},)"
        R"("tcpOptions":5,"udpOptions":{"portRange":{"firstPort":0,"count":1}}})",
        R"({"flags":"","dnsOptions":{},"udpOptions":{}})", R"(network: "10.0.0.0/33" does not parse
addressVersion: unknown name "IN_ADDRESS_VERSION_5" (known: IN_ADDRESS_VERSION_4, IN_ADDRESS_VERSION_6)
address: "10.0.0" does not parse
interface: wrong type
flags: unknown name "7" (known: IN_FLAG_LOOPBACK_ONLY)
dnsOptions.cacheTimeout: -1 is out of range
dnsOptions.x: unknown key
tcpOptions: wrong type
udpOptions.portRange: left out as a whole
udpOptions.portRange.firstPort: 0 is out of range)" },
    { qos, R"({"defaults":"IN_QOS_DEFAULTS_LOUD","layer3Tos":"256","layer2Pcp":{},"windowsTrafficType":"5"})",
        R"({"defaults":"IN_QOS_DEFAULTS_NONE"})",
        R"(defaults: unknown name "IN_QOS_DEFAULTS_LOUD" (known: IN_QOS_DEFAULTS_NONE, IN_QOS_DEFAULTS_IPC, )"
        R"(IN_QOS_DEFAULTS_VOICE, IN_QOS_DEFAULTS_SIGNALING)
layer3Tos: 256 is out of range
layer2Pcp: wrong type
windowsTrafficType: unknown name "5" (known: IN_QOS_WINDOWS_TRAFFIC_TYPE_BEST_EFFORT, )"
        R"(IN_QOS_WINDOWS_TRAFFIC_TYPE_BACKGROUND, IN_QOS_WINDOWS_TRAFFIC_TYPE_EXCELLENT_EFFORT, )"
        R"(IN_QOS_WINDOWS_TRAFFIC_TYPE_AUDIO_VIDEO, IN_QOS_WINDOWS_TRAFFIC_TYPE_VOICE, )"
        R"(IN_QOS_WINDOWS_TRAFFIC_TYPE_CONTROL))" },
};

TEST( Options, RestoreStoreAndCheck )
{
    for ( const Row &row : rows ) {
        SCOPED_TRACE( row.kind.name + ( " " + row.from ) );
        Store from = storeOf( row.from );
        EXPECT_EQ( test::linesOf( row.kind.check( from.get() ) ), row.report );
        Store result = row.kind.normal( from.get(), false );
        EXPECT_EQ( textOf( result.get() ), row.result );
        Store read = test::throughFile( result.get() );
        EXPECT_EQ( textOf( row.kind.normal( read.get(), false ).get() ), row.result ) << "is in normal form";
    }
    for ( const Row &row : fulls )
        EXPECT_EQ( textOf( row.kind.normal( storeOf( row.from ).get(), true ).get() ), row.result ) << row.from;
}

TEST( Options, ArraysHoldNoOptions )
{
    Store array = pb::adopt( pbStoreCreateArray() ), none = pb::adopt( pbStoreCreate() );
    pbStoreAppendValue( array.handle(), str( "true" ).get() );
    for ( const Kind *each : { &dns, &tcp, &udp, &stack, &qos } ) {
        EXPECT_TRUE( pbStoreEquals( each->normal( array.get(), true ).get(), each->normal( none.get(), true ).get() ) );
        EXPECT_EQ( pbStoreLength( pb::adopt( each->check( array.get() ) ).get() ), 0 );
    }
}

template <class T, class V>
void checkSetting( T *( *create )(), V ( *get )( T * ), void ( *set )( T **, V ), PB_BOOL ( *isDefault )( T * ),
    void ( *setDefault )( T ** ), PB_BOOL ( *equals )( T *, T * ), V initial, V other )
{
    pb::Ref<T> fresh = pb::adopt( create() ), opt = fresh;
    EXPECT_EQ( get( fresh.get() ), initial );
    EXPECT_TRUE( isDefault( fresh.get() ) );
    set( opt.handle(), initial );
    EXPECT_FALSE( isDefault( opt.get() ) );
    EXPECT_FALSE( equals( opt.get(), fresh.get() ) ) << "chosen is not default";
    set( opt.handle(), other );
    EXPECT_EQ( get( opt.get() ), other );
    pb::Ref<T> held = opt;
    setDefault( opt.handle() );
    EXPECT_TRUE( equals( opt.get(), fresh.get() ) );
    EXPECT_EQ( get( held.get() ), other ) << "the other holder's stays";
}

#define SETTING( prefix, Name, initial, other )                                                             \
    checkSetting<std::remove_pointer_t<decltype( prefix##Create() )>, decltype( prefix##Name( nullptr ) )>( \
        prefix##Create, prefix##Name, prefix##Set##Name, prefix##Name##Default, prefix##Set##Name##Default, \
        prefix##Equals, initial, other )

TEST( Options, Settings )
{
    SETTING( inDnsOptions, MaxBlockDuration, 60'000, 0 );
    SETTING( inDnsOptions, DisableQueryAddresses, false, true );
    SETTING( inDnsOptions, DisableQueryDomainNames, false, true );
    SETTING( inDnsOptions, DisableQuerySrv, false, true );
    SETTING( inDnsOptions, CacheTimeout, 60'000, 0 );
    SETTING( inDnsOptions, NegativeCacheTimeout, 60'000, 5 );
    SETTING( inTcpOptions, BlacklistEnabled, true, false );
    SETTING( inTcpOptions, BlacklistTimeout, 120'000, 1 );
    SETTING( inTcpOptions, BlacklistGranularity, 15'000, 1 );
    SETTING( inTcpOptions, KeepAliveEnabled, false, true );
    SETTING( inTcpOptions, KeepAliveTime, 30'000, 1 );
    SETTING( inQosOptions, Layer3Tos, 0, 184 );
    SETTING( inQosOptions, Layer2Pcp, 0, 7 );
    SETTING( inQosOptions, WindowsTrafficType, 0, 3 );
}

/** What a stack holds is set one by one, read, and taken away again. */
TEST( Options, MembersOfAStack )
{
    pb::Ref<IN_OPTIONS> fresh = pb::adopt( inOptionsCreate() ), opt = fresh;
    pb::Ref<IN_NETWORK> network = test::network( "10.0.0.0/8" );
    pb::Ref<IN_ADDRESS> address = test::address( "::" );
    auto tcpOptions = pb::adopt( inTcpOptionsRestore( storeOf( R"({"portRange":{"firstPort":1,"count":2}})" ).get() ) );
    auto udpOptions = pb::adopt( inUdpOptionsRestore( storeOf( R"({"portRange":{"firstPort":3,"count":4}})" ).get() ) );
    EXPECT_EQ( inOptionsAddressVersion( opt.get() ), -1 );
    inOptionsSetFlags( opt.handle(), -1 );
    inOptionsSetInterface( opt.handle(), str( "eth0" ).get() );
    inOptionsSetNetwork( opt.handle(), network.get() );
    inOptionsSetNetwork( opt.handle(), pb::adopt( inOptionsNetwork( opt.get() ) ).get() ); // what it holds already
    inOptionsSetAddressVersion( opt.handle(), IN_ADDRESS_VERSION_4 );
    inOptionsSetAddress( opt.handle(), address.get() );
    inOptionsSetDnsOptions( opt.handle(), pb::adopt( inDnsOptionsCreate() ).get() );
    inOptionsSetTcpOptions( opt.handle(), tcpOptions.get() );
    inOptionsSetUdpOptions( opt.handle(), udpOptions.get() );
    EXPECT_EQ( textOf( pb::adopt( inOptionsStore( opt.get(), false ) ).get() ),
        R"({"flags":"IN_FLAG_LOOPBACK_ONLY","interface":"eth0","network":"10.0.0.0/8",)"
        R"("addressVersion":"IN_ADDRESS_VERSION_4","address":"::","dnsOptions":{},)"
        R"("tcpOptions":{"portRange":{"firstPort":1,"count":2}},"udpOptions":{"portRange":{"firstPort":3,"count":4}}})" );
    EXPECT_EQ( pb::adopt( inOptionsAddress( opt.get() ) ).get(), address.get() );
    EXPECT_EQ( pb::adopt( inOptionsTcpOptions( opt.get() ) ).get(), tcpOptions.get() );
    auto has = []( IN_OPTIONS *of ) {
        return std::vector<bool>{ inOptionsHasInterface( of ), inOptionsHasNetwork( of ),
            inOptionsHasAddressVersion( of ), inOptionsHasAddress( of ), !inOptionsDnsOptionsDefault( of ),
            !inOptionsTcpOptionsDefault( of ), !inOptionsUdpOptionsDefault( of ) };
    };
    void ( *const take[] )( IN_OPTIONS ** ) = { inOptionsDelInterface, inOptionsDelNetwork, inOptionsDelAddressVersion,
        inOptionsDelAddress, inOptionsSetDnsOptionsDefault, inOptionsSetTcpOptionsDefault,
        inOptionsSetUdpOptionsDefault };
    pb::Ref<IN_OPTIONS> held = opt;
    inOptionsSetFlags( opt.handle(), -2 );
    std::vector<bool> left( std::size( take ), true );
    for ( std::size_t i = 0; i < std::size( take ); ++i ) {
        EXPECT_EQ( has( opt.get() ), left );
        take[i]( opt.handle() );
        left[i] = false;
    }
    EXPECT_TRUE( inOptionsEquals( opt.get(), fresh.get() ) );
    EXPECT_FALSE( inOptionsHasInterface( fresh.get() ) );
    EXPECT_EQ( has( held.get() ), std::vector<bool>( left.size(), true ) );
}

TEST( QosOptions, Presets )
{
    constexpr PB_INT presets[][4] = { { 2, 184, 5, 4 }, { 1, 160, 2, 2 }, { 3, 160, 2, 2 }, { 0, 0, 0, 0 } };
    for ( int chosen = 0; chosen < 8; ++chosen ) { // bit by bit, which marks are explicit
        pb::Ref<IN_QOS_OPTIONS> opt = pb::adopt( inQosOptionsCreate() );
        if ( chosen & 1 )
            inQosOptionsSetLayer3Tos( opt.handle(), 0x2E );
        if ( chosen & 2 )
            inQosOptionsSetLayer2Pcp( opt.handle(), IN_QOS_LAYER2_PCP_VIDEO );
        if ( chosen & 4 )
            inQosOptionsSetWindowsTrafficType( opt.handle(), IN_QOS_WINDOWS_TRAFFIC_TYPE_CONTROL );
        for ( const auto &[preset, tos, pcp, tt] : presets ) {
            inQosOptionsSetDefaults( opt.handle(), preset );
            EXPECT_EQ( inQosOptionsLayer3Tos( opt.get() ), chosen & 1 ? 0x2E : tos );
            EXPECT_EQ( inQosOptionsLayer2Pcp( opt.get() ), chosen & 2 ? 4 : pcp );
            EXPECT_EQ( inQosOptionsWindowsTrafficType( opt.get() ), chosen & 4 ? 5 : tt );
        }
        // going back to the default takes the mark of the preset there is
        inQosOptionsSetDefaults( opt.handle(), IN_QOS_DEFAULTS_VOICE );
        inQosOptionsSetLayer3TosDefault( opt.handle() );
        EXPECT_EQ( inQosOptionsLayer3Tos( opt.get() ), 184 );
    }
}

TEST( OptionsDeathTest, Misuse )
{
    pb::Ref<IN_TCP_OPTIONS> opt = pb::adopt( inTcpOptionsCreate() ), none;
    EXPECT_DEATH( inTcpOptionsSetKeepAliveTime( none.handle(), 1 ), ": \\*opt\n" );
    EXPECT_DEATH( inTcpOptionsSetKeepAliveTime( opt.handle(), 0 ), ": milliseconds > 0\n" );
    EXPECT_DEATH( inTcpOptionsSetPortRange( opt.handle(), nullptr ), ": range\n" );
}

} // namespace
