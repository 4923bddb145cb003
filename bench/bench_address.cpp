/* Address text to address and back, objects included, against the C library, asio and GIO. */
#include "ratio.hpp"
#include <arpa/inet.h>
#include <asio/ip/address.hpp>
#include <gio/gio.h>
#include <in/in.h>
#include <pb/pb.hpp>

namespace {

constexpr const char *text4 = "192.168.100.23";
constexpr const char *text6 = "2001:db8:85a3:12::8a2e:370:7334";

template <int Family>
constexpr const char *text = Family == AF_INET ? text4 : text6;

template <int Family>
void inetPton( benchmark::State &state )
{
    unsigned char bytes[16];
    for ( auto _ : state )
        benchmark::DoNotOptimize( inet_pton( Family, text<Family>, bytes ) );
}

template <int Family>
void inetNtop( benchmark::State &state )
{
    unsigned char bytes[16];
    inet_pton( Family, text<Family>, bytes );
    char printed[INET6_ADDRSTRLEN];
    for ( auto _ : state )
        benchmark::DoNotOptimize( inet_ntop( Family, bytes, printed, sizeof printed ) );
}

template <int Family>
void asioParse( benchmark::State &state )
{
    for ( auto _ : state )
        benchmark::DoNotOptimize( asio::ip::make_address( text<Family> ) );
}

template <int Family>
void asioPrint( benchmark::State &state )
{
    asio::ip::address address = asio::ip::make_address( text<Family> );
    for ( auto _ : state )
        benchmark::DoNotOptimize( address.to_string() );
}

template <int Family>
void gioParse( benchmark::State &state )
{
    for ( auto _ : state )
        g_object_unref( g_inet_address_new_from_string( text<Family> ) );
}

template <int Family>
void gioPrint( benchmark::State &state )
{
    GInetAddress *address = g_inet_address_new_from_string( text<Family> );
    for ( auto _ : state )
        g_free( g_inet_address_to_string( address ) );
    g_object_unref( address );
}

/** From the library's own text, which a configuration or a message gives. */
template <int Family>
void inParse( benchmark::State &state )
{
    pb::Ref<PB_STRING> source = pb::string( text<Family> );
    for ( auto _ : state )
        inAddressRelease( inAddressTryCreateFromString( source.get() ) );
}

/** From C text. */
template <int Family>
void inParseCstr( benchmark::State &state )
{
    for ( auto _ : state )
        inAddressRelease( inAddressTryCreateFromCstr( text<Family>, -1 ) );
}

template <int Family>
void inPrint( benchmark::State &state )
{
    pb::Ref<IN_ADDRESS> ina = pb::adopt( inAddressTryCreateFromCstr( text<Family>, -1 ) );
    for ( auto _ : state )
        pbStringRelease( inAddressToStringShrink( ina.get() ) );
}

BENCHMARK( inetPton<AF_INET> )->Name( "inet_pton4" );
BENCHMARK( inetPton<AF_INET6> )->Name( "inet_pton6" );
BENCHMARK( inetNtop<AF_INET> )->Name( "inet_ntop4" );
BENCHMARK( inetNtop<AF_INET6> )->Name( "inet_ntop6" );
BENCHMARK( asioParse<AF_INET> )->Name( "asio_parse4" );
BENCHMARK( asioParse<AF_INET6> )->Name( "asio_parse6" );
BENCHMARK( asioPrint<AF_INET> )->Name( "asio_print4" );
BENCHMARK( asioPrint<AF_INET6> )->Name( "asio_print6" );
BENCHMARK( gioParse<AF_INET> )->Name( "gio_parse4" );
BENCHMARK( gioParse<AF_INET6> )->Name( "gio_parse6" );
BENCHMARK( gioPrint<AF_INET> )->Name( "gio_print4" );
BENCHMARK( gioPrint<AF_INET6> )->Name( "gio_print6" );
BENCHMARK( inParse<AF_INET> )->Name( "in_parse4" );
BENCHMARK( inParse<AF_INET6> )->Name( "in_parse6" );
BENCHMARK( inParseCstr<AF_INET> )->Name( "in_parse4_cstr" );
BENCHMARK( inParseCstr<AF_INET6> )->Name( "in_parse6_cstr" );
BENCHMARK( inPrint<AF_INET> )->Name( "in_print4" );
BENCHMARK( inPrint<AF_INET6> )->Name( "in_print6" );

} // namespace

int main( int argc, char **argv )
{
    if ( !pbRuntimeTryStart( "in", -1 ) )
        return 1;
    std::vector<bench::Ratio> ratios;
    for ( std::string version : { "4", "6" } ) {
        for ( std::string source : { "", "_cstr" } ) {
            ratios.push_back( { "in_parse" + version + source, "inet_pton" + version, 4 } );
            ratios.push_back( { "in_parse" + version + source, "asio_parse" + version, 4 } );
            ratios.push_back( { "in_parse" + version + source, "gio_parse" + version, 0.5 } );
        }
        ratios.push_back( { "in_print" + version, "inet_ntop" + version, 1 } );
        ratios.push_back( { "in_print" + version, "asio_print" + version, 1 } );
        ratios.push_back( { "in_print" + version, "gio_print" + version, 0.5 } );
    }
    int result = bench::run( argc, argv, ratios );
    pbRuntimeStop();
    return result;
}
