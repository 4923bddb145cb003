/* The options classes: defaults, stores and files, bad values, checks, accessors, misuse. */
#include "options_support.hpp"
#include <random>
#include <support/misuse.h>

namespace {

using test::Store;
using test::storeOf;
using test::str;
using test::take;
using test::textOf;

/** An options class as text. */
struct Kind {
    const char *name;
    std::vector<const char *> keys; // in the order of storing
    std::function<Store( PB_STORE *, bool full )> normal;
    std::function<Store( PB_STORE * )> check;
};

template <class T>
Kind kind( const char *name, std::vector<const char *> keys, T *( *restore )(PB_STORE *),
    PB_STORE *( *store )( T *, PB_BOOL ), PB_STORE *( *check )(PB_STORE *))
{
    auto normal = [=]( PB_STORE *from, bool full ) {
        pb::Ref<T> options = pb::adopt( restore( from ) );
        return pb::adopt( store( options.get(), full ) );
    };
    return { name, keys, normal, [=]( PB_STORE *from ) { return pb::adopt( check( from ) ); } };
}
#define KIND( prefix, ... ) kind( #prefix, { __VA_ARGS__ }, prefix##Restore, prefix##Store, prefix##Check )

const Kind dns = KIND( inDnsOptions, "maxBlockDuration", "disableQueryAddresses", "disableQueryDomainNames",
    "disableQuerySrv", "cacheTimeout", "negativeCacheTimeout" );
const Kind tcp = KIND( inTcpOptions, "portRange", "blacklistEnabled", "blacklistTimeout", "blacklistGranularity",
    "keepAliveEnabled", "keepAliveTime" );
const Kind udp = KIND( inUdpOptions, "portRange" );
const Kind stack = KIND(
    inOptions, "flags", "interface", "network", "addressVersion", "address", "dnsOptions", "tcpOptions", "udpOptions" );
const Kind qos = KIND( inQosOptions, "defaults", "layer3Tos", "layer2Pcp", "windowsTrafficType" );

#define DNS_FULL                                                                                  \
    R"({"maxBlockDuration":60000,"disableQueryAddresses":false,"disableQueryDomainNames":false,)" \
    R"("disableQuerySrv":false,"cacheTimeout":60000,"negativeCacheTimeout":60000})"
#define TCP_FULL                                                                          \
    R"({"blacklistEnabled":true,"blacklistTimeout":120000,"blacklistGranularity":15000,)" \
    R"("keepAliveEnabled":false,"keepAliveTime":30000})"

struct Row {
    const Kind &kind;
    std::string from;   // a configuration
    std::string result; // restored and stored again
    std::string report = "{}";
};

const Row fulls[] = {
    { dns, "{}", DNS_FULL },
    { tcp, "{}", TCP_FULL },
    { udp, "{}", "{}" },
    { stack, "{}", R"({"flags":"","dnsOptions":)" DNS_FULL R"(,"tcpOptions":)" TCP_FULL R"(,"udpOptions":{}})" },
    { qos, "{}",
        R"({"defaults":"IN_QOS_DEFAULTS_NONE","layer3Tos":"0x00","layer2Pcp":"IN_QOS_LAYER2_PCP_BEST_EFFORT",)"
        R"("windowsTrafficType":"IN_QOS_WINDOWS_TRAFFIC_TYPE_BEST_EFFORT"})" },
    // the negative time-out goes into the positive one and keeps its own default
    { dns, R"({"negativeCacheTimeout":5000})",
        R"({"maxBlockDuration":60000,"disableQueryAddresses":false,"disableQueryDomainNames":false,)"
        R"("disableQuerySrv":false,"cacheTimeout":5000,"negativeCacheTimeout":60000})" },
    { qos, R"({"defaults":"IN_QOS_DEFAULTS_VOICE","layer3Tos":"0x2e"})",
        R"({"defaults":"IN_QOS_DEFAULTS_VOICE","layer3Tos":"0x2e","layer2Pcp":"IN_QOS_LAYER2_PCP_VOICE",)"
        R"("windowsTrafficType":"IN_QOS_WINDOWS_TRAFFIC_TYPE_VOICE"})" },
};

const Row rows[] = {
    // nothing chosen
    { dns, "{}", "{}" },
    { tcp, "{}", "{}" },
    { udp, "{}", "{}" },
    { stack, "{}", R"({"flags":""})" },
    { qos, "{}", R"({"defaults":"IN_QOS_DEFAULTS_NONE"})" },
    // everything chosen, written back to front; the order of storing is the class's own
    { dns,
        R"({"cacheTimeout":5,"disableQuerySrv":true,"disableQueryDomainNames":true,"disableQueryAddresses":true,)"
        R"("maxBlockDuration":0})",
        R"({"maxBlockDuration":0,"disableQueryAddresses":true,"disableQueryDomainNames":true,)"
        R"("disableQuerySrv":true,"cacheTimeout":5})" },
    { tcp,
        R"({"keepAliveTime":1,"keepAliveEnabled":true,"blacklistGranularity":2,"blacklistTimeout":3,)"
        R"("blacklistEnabled":false,"portRange":{"count":65535,"firstPort":65535}})",
        R"({"portRange":{"firstPort":65535,"count":65535},"blacklistEnabled":false,"blacklistTimeout":3,)"
        R"("blacklistGranularity":2,"keepAliveEnabled":true,"keepAliveTime":1})" },
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
    // chosen, though equal to the default
    { dns, R"({"maxBlockDuration":"60000"})", R"({"maxBlockDuration":60000})" },
    { tcp, R"({"blacklistEnabled":"true"})", R"({"blacklistEnabled":true})" },
    { stack, R"({"dnsOptions":{},"udpOptions":{}})", R"({"flags":"","dnsOptions":{},"udpOptions":{}})" },
    { qos, R"({"layer3Tos":0})", R"({"defaults":"IN_QOS_DEFAULTS_NONE","layer3Tos":"0x00"})" },
    // the negative time-out, the later key, also beats a positive one; a bad one leaves it alone
    { dns, R"({"negativeCacheTimeout":5000})", R"({"cacheTimeout":5000})" },
    { dns, R"({"negativeCacheTimeout":5000,"cacheTimeout":7})", R"({"cacheTimeout":5000})" },
    { dns, R"({"negativeCacheTimeout":-1,"cacheTimeout":7})", R"({"cacheTimeout":7})",
        R"({"negativeCacheTimeout":"out of range"})" },
    // bad values leave the default, one key does not touch the others
    { dns, R"({"cacheTimeout":-1,"maxBlockDuration":"1s","disableQuerySrv":"yes","disableQueryAddresses":{},"x":1})",
        "{}",
        R"({"cacheTimeout":"out of range","maxBlockDuration":"does not parse","disableQuerySrv":"does not parse",)"
        R"("disableQueryAddresses":"wrong type","x":"unknown key"})" },
    { dns, R"({"CacheTimeout":1,"cacheTimeout":"9223372036854775808","disableQuerySrv":true})",
        R"({"disableQuerySrv":true})", R"({"CacheTimeout":"unknown key","cacheTimeout":"does not parse"})" },
    { tcp,
        R"({"keepAliveTime":0,"blacklistTimeout":-5,"blacklistGranularity":[1],"keepAliveEnabled":1,)"
        R"("portRange":"5000"})",
        "{}",
        R"({"keepAliveTime":"out of range","blacklistTimeout":"out of range","blacklistGranularity":"wrong type",)"
        R"("keepAliveEnabled":"does not parse","portRange":"wrong type"})" },
    { udp, R"({"portRange":{"firstPort":5000}})", "{}", R"({"portRange":"does not parse"})" },
    { udp, R"({"portRange":{"firstPort":0,"count":65536}})", "{}",
        R"({"portRange":"does not parse","portRange.firstPort":"out of range","portRange.count":"out of range"})" },
    { udp, R"({"portRange":{"firstPort":"x","count":{},"last":1},"blacklistEnabled":true})", "{}",
        R"({"portRange":"does not parse","portRange.firstPort":"does not parse","portRange.count":"wrong type",)"
        R"("portRange.last":"unknown key","blacklistEnabled":"unknown key"})" },
    { udp, R"({"portRange":{"firstPort":"0x10","count":1,"last":1}})", R"({"portRange":{"firstPort":16,"count":1}})",
        R"({"portRange.last":"unknown key"})" },
    { stack,
        R"({"bogus":1,"network":"10.0.0.0/33","addressVersion":"IN_ADDRESS_VERSION_5","address":"10.0.0",)"
        R"("interface":{},"flags":["IN_FLAG_LOOPBACK_ONLY"]})",
        R"({"flags":""})",
        R"({"bogus":"unknown key","network":"does not parse","addressVersion":"does not parse",)"
        R"("address":"does not parse","interface":"wrong type","flags":"wrong type"})" },
    { stack,
        R"({"addressVersion":1,"dnsOptions":{"cacheTimeout":-1,"x":{}},"tcpOptions":5,)"
        R"("udpOptions":{"portRange":{"firstPort":0,"count":1}}})",
        R"({"flags":"","dnsOptions":{},"udpOptions":{}})",
        R"({"addressVersion":"does not parse","dnsOptions.cacheTimeout":"out of range","dnsOptions.x":"unknown key",)"
        R"("tcpOptions":"wrong type","udpOptions.portRange":"does not parse",)"
        R"("udpOptions.portRange.firstPort":"out of range"})" },
    { stack, R"({"flags":"IN_FLAG_LOOPBACK_ONLY|IN_FLAG_OTHER","interface":""})",
        R"({"flags":"IN_FLAG_LOOPBACK_ONLY","interface":""})" },
    { qos, R"({"defaults":"IN_QOS_DEFAULTS_LOUD","layer3Tos":"256","layer2Pcp":"5","windowsTrafficType":{}})",
        R"({"defaults":"IN_QOS_DEFAULTS_NONE"})",
        R"({"defaults":"does not parse","layer3Tos":"out of range","layer2Pcp":"does not parse",)"
        R"("windowsTrafficType":"wrong type"})" },
    { qos, R"({"layer3Tos":-1,"defaults":"IN_QOS_DEFAULTS_SIGNALING"})", R"({"defaults":"IN_QOS_DEFAULTS_SIGNALING"})",
        R"({"layer3Tos":"out of range"})" },
    { qos, R"({"layer3Tos":"b8","layer2Pcp":"in_qos_layer2_pcp_voice"})", R"({"defaults":"IN_QOS_DEFAULTS_NONE"})",
        R"({"layer3Tos":"does not parse","layer2Pcp":"does not parse"})" },
};

} // namespace

TEST( Options, RestoreStoreAndCheck )
{
    for ( const Row &row : rows ) {
        SCOPED_TRACE( row.kind.name + ( " " + row.from ) );
        Store from = storeOf( row.from );
        EXPECT_EQ( textOf( row.kind.check( from.get() ).get() ), row.report );
        Store result = row.kind.normal( from.get(), false );
        EXPECT_EQ( textOf( result.get() ), row.result );
        Store read = test::throughFile( result.get() );
        EXPECT_EQ( textOf( read.get() ), row.result );
        EXPECT_EQ( textOf( row.kind.normal( read.get(), false ).get() ), row.result ) << "is in normal form";
    }
}

TEST( Options, FullStore )
{
    for ( const Row &row : fulls )
        EXPECT_EQ( textOf( row.kind.normal( storeOf( row.from ).get(), true ).get() ), row.result )
            << row.kind.name << ' ' << row.from;
}

TEST( Options, ArraysHoldNoOptions )
{
    Store array = pb::adopt( pbStoreCreateArray() );
    pbStoreAppendValue( array.handle(), str( "true" ).get() );
    for ( const Kind *each : { &dns, &tcp, &udp, &stack, &qos } ) {
        Store none = pb::adopt( pbStoreCreate() );
        EXPECT_EQ(
            textOf( each->normal( array.get(), true ).get() ), textOf( each->normal( none.get(), true ).get() ) );
        EXPECT_EQ( textOf( each->check( array.get() ).get() ), "{}" );
    }
}

namespace {

/** Stores that never mean well: known keys of all classes, unknown ones, and values that fit elsewhere. */
class Generator {
public:
    Store store( int depth )
    {
        Store made = pb::adopt( pbStoreCreate() );
        for ( auto count = engine() % 9; count > 0; --count ) {
            const char *key = pick( keys );
            if ( depth > 0 && engine() % 3 == 0 )
                pbStoreSetStoreCstr( made.handle(), key, -1, store( depth - 1 ).get() );
            else if ( engine() % 4 == 0 )
                pbStoreSetValueIntCstr( made.handle(), key, -1, PB_INT( engine() % 70'000 ) - 100 );
            else
                pbStoreSetValueCstr( made.handle(), key, -1, str( pick( values ) ).get() );
        }
        return made;
    }

private:
    const char *pick( const std::vector<const char *> &from ) { return from[engine() % from.size()]; }

    static std::vector<const char *> allKeys()
    {
        std::vector<const char *> all = { "firstPort", "count", "bogus", "", "Flags" };
        for ( const Kind *each : { &dns, &tcp, &udp, &stack, &qos } )
            all.insert( all.end(), each->keys.begin(), each->keys.end() );
        return all;
    }

    std::mt19937 engine{ 7 };
    std::vector<const char *> keys = allKeys();
    std::vector<const char *> values = { "", "true", "false", "0", "-1", "+5", "0xff", "0x1G", "65535", "65536",
        "9223372036854775807", "-9223372036854775809", "IN_FLAG_LOOPBACK_ONLY", "IN_ADDRESS_VERSION_4",
        "IN_QOS_DEFAULTS_VOICE", "IN_QOS_DEFAULTS_", "IN_QOS_LAYER2_PCP_VIDEO", "IN_QOS_WINDOWS_TRAFFIC_TYPE_VOICE",
        "10.0.0.1", "10.0.0.1/8", "::1", "fe80::/10", "1.2.3.4/33", "eth0", "\xF0\x9F\x98\x80" };
};

/** Removes an entry by its path, "udpOptions.portRange". */
void removePath( PB_STORE **store, const std::string &path )
{
    std::size_t dot = path.find( '.' );
    if ( dot == std::string::npos )
        return pbStoreDelCstr( store, path.c_str(), -1 );
    Store inner = pb::adopt( pbStoreStoreCstr( *store, path.data(), PB_INT_FROM( dot ) ) );
    if ( !inner )
        return; // went as a whole
    removePath( inner.handle(), path.substr( dot + 1 ) );
    pbStoreSetStoreCstr( store, path.data(), PB_INT_FROM( dot ), inner.get() );
}

/** The entry is one of the class's. */
void expectKnownKeys( const Kind &kind, PB_STORE *store )
{
    for ( PB_INT i = 0; i < pbStoreLength( store ); ++i ) {
        std::string key = take( pbStoreKeyAt( store, i ) );
        EXPECT_NE( std::find( kind.keys.begin(), kind.keys.end(), key ), kind.keys.end() ) << key;
    }
}

void expectLawful( const Kind &kind, Store from )
{
    SCOPED_TRACE( kind.name + ( " " + textOf( from.get() ) ) );
    Store once = kind.normal( from.get(), false );
    EXPECT_EQ( textOf( kind.normal( once.get(), false ).get() ), textOf( once.get() ) );
    EXPECT_EQ( textOf( kind.check( once.get() ).get() ), "{}" ) << "nothing to complain of in the normal form";
    expectKnownKeys( kind, once.get() );

    // full holds the negative time-out of DNS, which moves once, into the positive one
    Store twice = kind.normal( kind.normal( from.get(), true ).get(), true );
    EXPECT_EQ( textOf( kind.normal( twice.get(), true ).get() ), textOf( twice.get() ) );

    // what a check complains of, and only that, is passed over
    Store report = kind.check( from.get() );
    for ( PB_INT i = 0; i < pbStoreLength( report.get() ); ++i )
        removePath( from.handle(), take( pbStoreKeyAt( report.get(), i ) ) );
    EXPECT_EQ( textOf( kind.check( from.get() ).get() ), "{}" );
    EXPECT_EQ( textOf( kind.normal( from.get(), false ).get() ), textOf( once.get() ) );
}

} // namespace

TEST( Options, RandomStores )
{
    Generator generator;
    for ( int round = 0; round < 3000 && !testing::Test::HasFailure(); ++round )
        for ( const Kind *each : { &dns, &tcp, &udp, &stack, &qos } )
            expectLawful( *each, generator.store( 3 ) );
}

namespace {

template <class T, class V>
struct Accessors {
    T *( *create )();
    V ( *get )( T * );
    void ( *set )( T **, V );
    PB_BOOL ( *isDefault )( T * );
    void ( *setDefault )( T ** );
    PB_BOOL ( *equals )( T *, T * );
    PB_STORE *( *store )( T *, PB_BOOL );
};

template <class T, class V, class Initial>
void checkSetting( const Accessors<T, V> &a, Initial initial, Initial other, const std::string &stored )
{
    SCOPED_TRACE( stored );
    pb::Ref<T> fresh = pb::adopt( a.create() ), opt = fresh;
    EXPECT_EQ( a.get( fresh.get() ), V( initial ) );
    EXPECT_TRUE( a.isDefault( fresh.get() ) );

    a.set( opt.handle(), V( other ) );
    EXPECT_EQ( a.get( opt.get() ), V( other ) );
    EXPECT_FALSE( a.isDefault( opt.get() ) );
    EXPECT_EQ( textOf( pb::adopt( a.store( opt.get(), false ) ).get() ), stored );
    EXPECT_EQ( a.get( fresh.get() ), V( initial ) ) << "the other holder's stays";

    a.set( opt.handle(), V( initial ) );
    EXPECT_FALSE( a.isDefault( opt.get() ) );
    EXPECT_FALSE( a.equals( opt.get(), fresh.get() ) ) << "chosen is not default";
    EXPECT_EQ( a.get( opt.get() ), V( initial ) );

    a.set( opt.handle(), V( other ) );
    pb::Ref<T> held = opt;
    a.setDefault( opt.handle() );
    EXPECT_TRUE( a.isDefault( opt.get() ) );
    EXPECT_TRUE( a.equals( opt.get(), fresh.get() ) );
    EXPECT_EQ( a.get( held.get() ), V( other ) ) << "the other holder's stays";
}

#define SETTING( prefix, Name, initial, other, stored )                                                         \
    checkSetting(                                                                                               \
        Accessors<std::remove_pointer_t<decltype( prefix##Create() )>, decltype( prefix##Name( nullptr ) )>{    \
            prefix##Create, prefix##Name, prefix##Set##Name, prefix##Name##Default, prefix##Set##Name##Default, \
            prefix##Equals, prefix##Store },                                                                    \
        initial, other, stored )

} // namespace

TEST( Options, Settings )
{
    SETTING( inDnsOptions, MaxBlockDuration, 60'000, 0, R"({"maxBlockDuration":0})" );
    SETTING( inDnsOptions, DisableQueryAddresses, false, true, R"({"disableQueryAddresses":true})" );
    SETTING( inDnsOptions, DisableQueryDomainNames, false, true, R"({"disableQueryDomainNames":true})" );
    SETTING( inDnsOptions, DisableQuerySrv, false, true, R"({"disableQuerySrv":true})" );
    SETTING( inDnsOptions, CacheTimeout, 60'000, 0, R"({"cacheTimeout":0})" );
    SETTING( inDnsOptions, NegativeCacheTimeout, 60'000, 5, R"({"negativeCacheTimeout":5})" );
    SETTING( inTcpOptions, BlacklistEnabled, true, false, R"({"blacklistEnabled":false})" );
    SETTING( inTcpOptions, BlacklistTimeout, 120'000, 1, R"({"blacklistTimeout":1})" );
    SETTING( inTcpOptions, BlacklistGranularity, 15'000, 1, R"({"blacklistGranularity":1})" );
    SETTING( inTcpOptions, KeepAliveEnabled, false, true, R"({"keepAliveEnabled":true})" );
    SETTING( inTcpOptions, KeepAliveTime, 30'000, 1, R"({"keepAliveTime":1})" );
    SETTING( inQosOptions, Layer3Tos, 0, 184, R"({"defaults":"IN_QOS_DEFAULTS_NONE","layer3Tos":"0xb8"})" );
    SETTING( inQosOptions, Layer2Pcp, 0, 7,
        R"({"defaults":"IN_QOS_DEFAULTS_NONE","layer2Pcp":"IN_QOS_LAYER2_PCP_NETWORK_CONTROL"})" );
    SETTING( inQosOptions, WindowsTrafficType, 0, 3,
        R"({"defaults":"IN_QOS_DEFAULTS_NONE","windowsTrafficType":"IN_QOS_WINDOWS_TRAFFIC_TYPE_AUDIO_VIDEO"})" );
}

namespace {

template <class T, class M>
struct Optional {
    T *( *create )();
    M *( *get )( T * );
    PB_BOOL ( *has )( T * );
    void ( *set )( T **, M * );
    void ( *del )( T ** );
    PB_BOOL ( *equals )( T *, T * );
    PB_INT ( *compare )( T *, T * );
};

template <class T, class M>
void checkOptional( const Optional<T, M> &o, pb::Ref<M> object )
{
    pb::Ref<T> fresh = pb::adopt( o.create() ), opt = fresh;
    EXPECT_FALSE( o.has( opt.get() ) );
    EXPECT_EQ( o.get( opt.get() ), nullptr );
    o.set( opt.handle(), object.get() );
    o.set( opt.handle(), pb::adopt( o.get( opt.get() ) ).get() ); // what it holds already
    EXPECT_TRUE( o.has( opt.get() ) );
    EXPECT_EQ( pb::adopt( o.get( opt.get() ) ).get(), object.get() );
    EXPECT_FALSE( o.has( fresh.get() ) );
    EXPECT_LT( o.compare( fresh.get(), opt.get() ), 0 ) << "absent before present";
    pb::Ref<T> held = opt;
    o.del( opt.handle() );
    EXPECT_TRUE( o.equals( opt.get(), fresh.get() ) );
    EXPECT_TRUE( o.has( held.get() ) );
}

#define OPTIONAL( prefix, Name, object )                                                                           \
    checkOptional( Optional<std::remove_pointer_t<decltype( prefix##Create() )>,                                   \
                       std::remove_pointer_t<decltype( prefix##Name( nullptr ) )>>{ prefix##Create, prefix##Name,  \
                       prefix##Has##Name, prefix##Set##Name, prefix##Del##Name, prefix##Equals, prefix##Compare }, \
        object )

/** Options within options: chosen ones differ from default ones even when they are equal. */
#define INNER( prefix, Name, innerPrefix, key )                                                                  \
    do {                                                                                                         \
        auto fresh = pb::adopt( prefix##Create() ), opt = fresh;                                                 \
        auto inner = pb::adopt( innerPrefix##Create() );                                                         \
        EXPECT_TRUE( prefix##Name##Default( opt.get() ) );                                                       \
        EXPECT_TRUE( innerPrefix##Equals( pb::adopt( prefix##Name( opt.get() ) ).get(), inner.get() ) );         \
        prefix##Set##Name( opt.handle(), inner.get() );                                                          \
        EXPECT_EQ( pb::adopt( prefix##Name( opt.get() ) ).get(), inner.get() );                                  \
        EXPECT_FALSE( prefix##Name##Default( opt.get() ) );                                                      \
        EXPECT_LT( prefix##Compare( fresh.get(), opt.get() ), 0 );                                               \
        EXPECT_EQ(                                                                                               \
            textOf( pb::adopt( prefix##Store( opt.get(), false ) ).get() ), R"({"flags":"",")" key R"(":{}})" ); \
        prefix##Set##Name##Default( opt.handle() );                                                              \
        EXPECT_TRUE( prefix##Equals( fresh.get(), opt.get() ) );                                                 \
    } while ( false )

} // namespace

TEST( Options, OptionalMembers )
{
    OPTIONAL( inTcpOptions, PortRange, pb::adopt( inTcpPortRangeCreate( 1, 2 ) ) );
    OPTIONAL( inUdpOptions, PortRange, pb::adopt( inUdpPortRangeCreate( 1, 2 ) ) );
    OPTIONAL( inOptions, Interface, str( "eth0" ) );
    OPTIONAL( inOptions, Network, pb::adopt( inNetworkTryCreateFromString( str( "10.0.0.0/8" ).get() ) ) );
    OPTIONAL( inOptions, Address, pb::adopt( inAddressCreate( IN_ADDRESS_VERSION_6 ) ) );
}

TEST( Options, InnerOptions )
{
    INNER( inOptions, DnsOptions, inDnsOptions, "dnsOptions" );
    INNER( inOptions, TcpOptions, inTcpOptions, "tcpOptions" );
    INNER( inOptions, UdpOptions, inUdpOptions, "udpOptions" );
}

TEST( Options, FlagsAndAddressVersion )
{
    pb::Ref<IN_OPTIONS> fresh = pb::adopt( inOptionsCreate() ), opt = fresh;
    inOptionsSetFlags( opt.handle(), -1 );
    EXPECT_EQ( inOptionsFlags( opt.get() ), IN_FLAG_LOOPBACK_ONLY );
    EXPECT_EQ( inOptionsFlags( fresh.get() ), 0 );
    inOptionsSetFlags( opt.handle(), -2 );
    EXPECT_TRUE( inOptionsEquals( opt.get(), fresh.get() ) );
    for ( PB_INT version : { IN_ADDRESS_VERSION_4, IN_ADDRESS_VERSION_6 } ) {
        EXPECT_FALSE( inOptionsHasAddressVersion( opt.get() ) );
        EXPECT_EQ( inOptionsAddressVersion( opt.get() ), -1 );
        inOptionsSetAddressVersion( opt.handle(), version );
        EXPECT_EQ( inOptionsAddressVersion( opt.get() ), version );
        EXPECT_TRUE( inOptionsHasAddressVersion( opt.get() ) );
        inOptionsDelAddressVersion( opt.handle() );
    }
}

TEST( Options, OrderGoesFieldByField )
{
    constexpr const char *ascending[] = { R"({"udpOptions":{}})",
        R"({"udpOptions":{"portRange":{"firstPort":1,"count":0}}})", R"({"tcpOptions":{}})",
        R"({"tcpOptions":{},"udpOptions":{}})", R"({"tcpOptions":{"keepAliveTime":9}})", R"({"dnsOptions":{}})",
        R"({"dnsOptions":{"cacheTimeout":9},"tcpOptions":{}})", R"({"address":"1.1.1.1"})",
        R"({"address":"::1","dnsOptions":{}})", R"({"addressVersion":"IN_ADDRESS_VERSION_4"})",
        R"({"addressVersion":"IN_ADDRESS_VERSION_6","address":"1.1.1.1"})", R"({"network":"1.1.1.1"})",
        R"({"interface":"a","network":"1.1.1.1"})", R"({"interface":"b"})", R"({"flags":"IN_FLAG_LOOPBACK_ONLY"})" };
    std::vector<pb::Ref<IN_OPTIONS>> all;
    for ( const char *json : ascending )
        all.push_back( pb::adopt( inOptionsRestore( storeOf( json ).get() ) ) );
    for ( std::size_t a = 0; a < all.size(); ++a )
        for ( std::size_t b = 0; b < all.size(); ++b )
            EXPECT_EQ( pb::order( inOptionsCompare( all[a].get(), all[b].get() ), PB_INT( 0 ) ), pb::order( a, b ) )
                << ascending[a] << ' ' << ascending[b];
}

TEST( QosOptions, Presets )
{
    struct Preset {
        PB_INT preset, tos, pcp, tt;
    };
    constexpr Preset presets[] = { { 2, 184, 5, 4 }, { 1, 160, 2, 2 }, { 3, 160, 2, 2 }, { 0, 0, 0, 0 } };
    for ( int chosen = 0; chosen < 8; ++chosen ) { // bit by bit, which marks are explicit
        pb::Ref<IN_QOS_OPTIONS> opt = pb::adopt( inQosOptionsCreate() );
        if ( chosen & 1 )
            inQosOptionsSetLayer3Tos( opt.handle(), 0x2E );
        if ( chosen & 2 )
            inQosOptionsSetLayer2Pcp( opt.handle(), IN_QOS_LAYER2_PCP_VIDEO );
        if ( chosen & 4 )
            inQosOptionsSetWindowsTrafficType( opt.handle(), IN_QOS_WINDOWS_TRAFFIC_TYPE_CONTROL );
        for ( const Preset &row : presets ) {
            inQosOptionsSetDefaults( opt.handle(), row.preset );
            EXPECT_EQ( inQosOptionsDefaults( opt.get() ), row.preset );
            EXPECT_EQ( inQosOptionsLayer3Tos( opt.get() ), chosen & 1 ? 0x2E : row.tos );
            EXPECT_EQ( inQosOptionsLayer2Pcp( opt.get() ), chosen & 2 ? 4 : row.pcp );
            EXPECT_EQ( inQosOptionsWindowsTrafficType( opt.get() ), chosen & 4 ? 5 : row.tt );
        }
        // going back to the default takes the mark of the preset there is
        inQosOptionsSetDefaults( opt.handle(), IN_QOS_DEFAULTS_VOICE );
        inQosOptionsSetLayer3TosDefault( opt.handle() );
        inQosOptionsSetLayer2PcpDefault( opt.handle() );
        inQosOptionsSetWindowsTrafficTypeDefault( opt.handle() );
        EXPECT_EQ( textOf( pb::adopt( inQosOptionsStore( opt.get(), false ) ).get() ),
            R"({"defaults":"IN_QOS_DEFAULTS_VOICE"})" );
        EXPECT_EQ( inQosOptionsLayer3Tos( opt.get() ), 184 );
        EXPECT_EQ( inQosOptionsLayer2Pcp( opt.get() ), 5 );
        EXPECT_EQ( inQosOptionsWindowsTrafficType( opt.get() ), 4 );
    }
}

TEST( QosOptions, Names )
{
    struct Vocabulary {
        PB_STRING *( *toText )( PB_INT );
        PB_INT ( *fromText )( PB_STRING * );
        std::vector<const char *> names;
    };
    for ( const Vocabulary &row :
        {
            Vocabulary{ inQosDefaultsToString, inQosDefaultsFromString,
                { "IN_QOS_DEFAULTS_NONE", "IN_QOS_DEFAULTS_IPC", "IN_QOS_DEFAULTS_VOICE",
                    "IN_QOS_DEFAULTS_SIGNALING" } },
            Vocabulary{ inQosLayer2PcpToString, inQosLayer2PcpFromString,
                { "IN_QOS_LAYER2_PCP_BEST_EFFORT", "IN_QOS_LAYER2_PCP_BACKGROUND", "IN_QOS_LAYER2_PCP_EXCELLENT_EFFORT",
                    "IN_QOS_LAYER2_PCP_CRITICAL_APPLICATIONS", "IN_QOS_LAYER2_PCP_VIDEO", "IN_QOS_LAYER2_PCP_VOICE",
                    "IN_QOS_LAYER2_PCP_INTERNETWORK_CONTROL", "IN_QOS_LAYER2_PCP_NETWORK_CONTROL" } },
            Vocabulary{ inQosWindowsTrafficTypeToString, inQosWindowsTrafficTypeFromString,
                { "IN_QOS_WINDOWS_TRAFFIC_TYPE_BEST_EFFORT", "IN_QOS_WINDOWS_TRAFFIC_TYPE_BACKGROUND",
                    "IN_QOS_WINDOWS_TRAFFIC_TYPE_EXCELLENT_EFFORT", "IN_QOS_WINDOWS_TRAFFIC_TYPE_AUDIO_VIDEO",
                    "IN_QOS_WINDOWS_TRAFFIC_TYPE_VOICE", "IN_QOS_WINDOWS_TRAFFIC_TYPE_CONTROL" } },
        } ) {
        for ( std::size_t value = 0; value < row.names.size(); ++value ) {
            EXPECT_EQ( take( row.toText( PB_INT( value ) ) ), row.names[value] );
            EXPECT_EQ( row.fromText( str( row.names[value] ).get() ), PB_INT( value ) );
        }
        for ( const char *text : { "", "0", "IN_QOS_" } )
            EXPECT_LT( row.fromText( str( text ).get() ), 0 ) << text;
    }
}

TEST( Options, Misuse )
{
    IN_OPTIONS *opt = inOptionsCreate(), *noOpt = nullptr;
    IN_DNS_OPTIONS *dnsOpt = inDnsOptionsCreate();
    IN_TCP_OPTIONS *tcpOpt = inTcpOptionsCreate(), *noTcp = nullptr;
    IN_UDP_OPTIONS *udpOpt = inUdpOptionsCreate();
    IN_QOS_OPTIONS *qosOpt = inQosOptionsCreate();
    test::expectAborts( {
        { "opt", [&] { inOptionsStore( nullptr, true ); } },
        { "opt", [&] { inOptionsHasAddressVersion( nullptr ); } },
        { "opt", [&] { inOptionsNetwork( nullptr ); } },
        { "opt", [&] { inTcpOptionsKeepAliveTimeDefault( nullptr ); } },
        { "opt", [&] { inOptionsUdpOptions( nullptr ); } },
        { "store", [&] { inOptionsRestore( nullptr ); } },
        { "store", [&] { inQosOptionsCheck( nullptr ); } },
        { "source", [&] { inOptionsCreateFrom( nullptr ); } },
        { "opt", [&] { inOptionsSetFlags( nullptr, 0 ); } },
        { "*opt", [&] { inOptionsSetFlags( &noOpt, 0 ); } },
        { "*opt", [&] { inOptionsDelNetwork( &noOpt ); } },
        { "*opt", [&] { inOptionsSetDnsOptionsDefault( &noOpt ); } },
        { "opt", [&] { inTcpOptionsSetKeepAliveTime( nullptr, 1 ); } },
        { "*opt", [&] { inTcpOptionsSetKeepAliveTime( &noTcp, 0 ); } },
        { "*opt", [&] { inTcpOptionsSetKeepAliveTimeDefault( &noTcp ); } },
        { "iface", [&] { inOptionsSetInterface( &opt, nullptr ); } },
        { "network", [&] { inOptionsSetNetwork( &opt, nullptr ); } },
        { "address", [&] { inOptionsSetAddress( &opt, nullptr ); } },
        { "dnsOptions", [&] { inOptionsSetDnsOptions( &opt, nullptr ); } },
        { "tcpOptions", [&] { inOptionsSetTcpOptions( &opt, nullptr ); } },
        { "udpOptions", [&] { inOptionsSetUdpOptions( &opt, nullptr ); } },
        { "IN_ADDRESS_VERSION_OK( version )", [&] { inOptionsSetAddressVersion( &opt, 2 ); } },
        { "IN_ADDRESS_VERSION_OK( version )", [&] { inOptionsSetAddressVersion( &opt, -1 ); } },
        { "maxBlockDuration >= 0", [&] { inDnsOptionsSetMaxBlockDuration( &dnsOpt, -1 ); } },
        { "cacheTimeout >= 0", [&] { inDnsOptionsSetCacheTimeout( &dnsOpt, -1 ); } },
        { "negativeCacheTimeout >= 0", [&] { inDnsOptionsSetNegativeCacheTimeout( &dnsOpt, -1 ); } },
        { "timeout > 0", [&] { inTcpOptionsSetBlacklistTimeout( &tcpOpt, 0 ); } },
        { "granularity > 0", [&] { inTcpOptionsSetBlacklistGranularity( &tcpOpt, 0 ); } },
        { "milliseconds > 0", [&] { inTcpOptionsSetKeepAliveTime( &tcpOpt, 0 ); } },
        { "range", [&] { inTcpOptionsSetPortRange( &tcpOpt, nullptr ); } },
        { "range", [&] { inUdpOptionsSetPortRange( &udpOpt, nullptr ); } },
        { "tos >= 0 && tos <= 255", [&] { inQosOptionsSetLayer3Tos( &qosOpt, 256 ); } },
        { "IN_QOS_DEFAULTS_OK( dflt )", [&] { inQosOptionsSetDefaults( &qosOpt, 4 ); } },
        { "IN_QOS_LAYER2_PCP_OK( pcp )", [&] { inQosOptionsSetLayer2Pcp( &qosOpt, 8 ); } },
        { "IN_QOS_WINDOWS_TRAFFIC_TYPE_OK( tt )", [&] { inQosOptionsSetWindowsTrafficType( &qosOpt, 6 ); } },
        { "IN_QOS_DEFAULTS_OK( dflt )", [&] { inQosDefaultsToString( -1 ); } },
        { "IN_QOS_LAYER2_PCP_OK( pcp )", [&] { inQosLayer2PcpToString( 8 ); } },
        { "IN_QOS_WINDOWS_TRAFFIC_TYPE_OK( tt )", [&] { inQosWindowsTrafficTypeToString( 6 ); } },
    } );
    for ( PB_OBJ *obj : { pb::obj( opt ), pb::obj( dnsOpt ), pb::obj( tcpOpt ), pb::obj( udpOpt ), pb::obj( qosOpt ) } )
        pb::release( obj );
}
