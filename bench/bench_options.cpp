/* Stack options between stores and objects: what loading and normalising configurations costs. */
#include "ratio.hpp"
#include <in/in.h>
#include <pb/pb.hpp>
#include <pb/pb_module.h>

namespace {

/** Options with every part chosen; the number goes into the address and the port range. */
pb::Ref<IN_OPTIONS> fullOptions( PB_INT number )
{
    pb::Ref<IN_OPTIONS> opt = pb::adopt( inOptionsCreate() );
    inOptionsSetFlags( opt.handle(), IN_FLAG_LOOPBACK_ONLY );
    inOptionsSetInterface( opt.handle(), pb::string( "eth0" ).get() );
    inOptionsSetAddressVersion( opt.handle(), IN_ADDRESS_VERSION_4 );
    PB_BYTE bytes[] = { 10, 0, static_cast<PB_BYTE>( number >> 8 ), static_cast<PB_BYTE>( number ) };
    pb::Ref<IN_ADDRESS> ina = pb::adopt( inAddressCreateV4( bytes ) );
    inOptionsSetAddress( opt.handle(), ina.get() );
    inOptionsSetNetwork( opt.handle(), pb::adopt( inNetworkCreate( ina.get(), 24 ) ).get() );
    pb::Ref<IN_DNS_OPTIONS> dns = pb::adopt( inDnsOptionsCreate() );
    inDnsOptionsSetCacheTimeout( dns.handle(), 1000 );
    inOptionsSetDnsOptions( opt.handle(), dns.get() );
    pb::Ref<IN_TCP_OPTIONS> tcp = pb::adopt( inTcpOptionsCreate() );
    inTcpOptionsSetPortRange( tcp.handle(), pb::adopt( inTcpPortRangeCreate( 1 + number, 100 ) ).get() );
    inOptionsSetTcpOptions( opt.handle(), tcp.get() );
    pb::Ref<IN_UDP_OPTIONS> udp = pb::adopt( inUdpOptionsCreate() );
    inUdpOptionsSetPortRange( udp.handle(), pb::adopt( inUdpPortRangeCreate( 1 + number, 100 ) ).get() );
    inOptionsSetUdpOptions( opt.handle(), udp.get() );
    return opt;
}

void store( benchmark::State &state )
{
    pb::Ref<IN_OPTIONS> opt = fullOptions( 1 );
    for ( auto _ : state )
        pbStoreRelease( inOptionsStore( opt.get(), true ) );
}
BENCHMARK( store )->Name( "options_store" );

void restore( benchmark::State &state )
{
    pb::Ref<PB_STORE> stored = pb::adopt( inOptionsStore( fullOptions( 1 ).get(), true ) );
    for ( auto _ : state )
        inOptionsRelease( inOptionsRestore( stored.get() ) );
}
BENCHMARK( restore )->Name( "options_restore" );

/** Different configurations, so that caches are met as when a file is loaded. */
void normalize( benchmark::State &state )
{
    std::vector<pb::Ref<PB_STORE>> stores;
    for ( PB_INT i = 0; i < 10'000; ++i )
        stores.push_back( pb::adopt( inOptionsStore( fullOptions( i ).get(), true ) ) );
    for ( auto _ : state ) {
        for ( pb::Ref<PB_STORE> &stored : stores )
            pbStoreRelease( inOptionsStore( pb::adopt( inOptionsRestore( stored.get() ) ).get(), false ) );
    }
}
BENCHMARK( normalize )->Name( "options_normalize_10000" );

void setOptions( benchmark::State &state )
{
    pb::Ref<IN_QOS_OPTIONS> voice = pb::adopt( inQosOptionsCreate() ), ipc = voice;
    inQosOptionsSetDefaults( voice.handle(), IN_QOS_DEFAULTS_VOICE );
    inQosOptionsSetDefaults( ipc.handle(), IN_QOS_DEFAULTS_IPC );
    pb::Ref<IN_QOS_STACK> stack = pb::adopt( inQosStackCreate( voice.get(), nullptr ) );
    bool odd = false;
    for ( auto _ : state )
        inQosStackSetOptions( stack.get(), ( odd = !odd ) ? ipc.get() : voice.get() );
}
BENCHMARK( setOptions )->Name( "qos_stack_set_options" );

} // namespace

int main( int argc, char **argv )
{
    if ( !pbRuntimeTryStart( "in", -1 ) )
        return 1;
    int result = bench::run( argc, argv,
        {
            { "options_store", "", 20'000 }, { "options_restore", "", 20'000 },
            { "options_normalize_10000", "", 4e8 }, // 10,000 times both
        } );
    pbRuntimeStop();
    return result;
}
