/*
 * Socket address records to the library's UDP addresses and back, as the receive and send paths do for each datagram,
 * against what the bytes alone cost. The functions are not exported, so the static library is linked.
 */
#include "ratio.hpp"
#include <arpa/inet.h>
#include <cstdlib>
#include <cstring>
#include <in/imp/in_imp_sockaddr_unix_private.h>
#include <pb/pb.hpp>

static uint64_t allocations = 0;

/** Counts what the library allocates; the C library's own function does it. */
extern "C" void *__libc_malloc( std::size_t size );
extern "C" void *malloc( std::size_t size )
{
    ++allocations;
    return __libc_malloc( size );
}

namespace {

/** The record of a peer, whose last byte tells it from others. */
template <int Family>
struct Peer {
    sockaddr_storage record = {};
    PB_INT length = Family == AF_INET ? sizeof( sockaddr_in ) : sizeof( sockaddr_in6 );

    explicit Peer( unsigned char last )
    {
        auto &in4 = reinterpret_cast<sockaddr_in &>( record );
        auto &in6 = reinterpret_cast<sockaddr_in6 &>( record );
        record.ss_family = Family;
        in4.sin_port = htons( 5060 ); // at the same place in both
        if ( Family == AF_INET )
            inet_pton( AF_INET, "192.0.2.1", &in4.sin_addr );
        else
            inet_pton( AF_INET6, "2001:db8::1", &in6.sin6_addr );
        ( Family == AF_INET ? reinterpret_cast<unsigned char *>( &in4.sin_addr ) + 3 : &in6.sin6_addr.s6_addr[15] )[0] =
            last;
    }
};

/** What of a record is read, copied out without a question: address and port. */
template <int Family>
void memcpyRead( benchmark::State &state )
{
    Peer<Family> peer( 1 );
    unsigned char address[16];
    uint16_t port = 0;
    auto *bytes = reinterpret_cast<const unsigned char *>( &peer.record );
    for ( auto _ : state ) {
        benchmark::DoNotOptimize( bytes );
        std::memcpy( address, bytes + ( Family == AF_INET ? 4 : 8 ), Family == AF_INET ? 4 : 16 );
        std::memcpy( &port, bytes + 2, sizeof port );
        port = ntohs( port );
        benchmark::DoNotOptimize( address );
        benchmark::DoNotOptimize( port );
    }
}

template <int Family>
void memcpyWrite( benchmark::State &state )
{
    Peer<Family> peer( 1 );
    sockaddr_storage written;
    for ( auto _ : state ) {
        benchmark::DoNotOptimize( peer );
        std::memcpy( &written, &peer.record, std::size_t( peer.length ) );
        benchmark::DoNotOptimize( written );
    }
}

/** What users would print to tell one peer from another. */
template <int Family>
void inetNtop( benchmark::State &state )
{
    Peer<Family> peer( 1 );
    auto *bytes = reinterpret_cast<const unsigned char *>( &peer.record ) + ( Family == AF_INET ? 4 : 8 );
    char text[INET6_ADDRSTRLEN];
    for ( auto _ : state )
        benchmark::DoNotOptimize( inet_ntop( Family, bytes, text, sizeof text ) );
}

/** From one peer again and again, or from several in turn. */
template <int Family, unsigned char peers>
void inRead( benchmark::State &state )
{
    std::vector<Peer<Family>> records;
    for ( unsigned char last = 1; last <= peers; ++last )
        records.emplace_back( last );
    pb::Ref<IN_UDP_ADDRESS> ua;
    in___ImpSockaddrUpdateUdpAddress( &records[0].record, records[0].length, ua.handle() );
    uint64_t before = allocations;
    for ( std::size_t next = 0; auto _ : state ) {
        next = ( next + 1 ) % peers;
        in___ImpSockaddrUpdateUdpAddress( &records[next].record, records[next].length, ua.handle() );
        benchmark::DoNotOptimize( ua );
    }
    state.counters["allocations"] =
        benchmark::Counter( double( allocations - before ), benchmark::Counter::kAvgIterations );
}

template <int Family>
void inWrite( benchmark::State &state )
{
    Peer<Family> peer( 1 );
    pb::Ref<IN_UDP_ADDRESS> ua;
    in___ImpSockaddrUpdateUdpAddress( &peer.record, peer.length, ua.handle() );
    sockaddr_storage written;
    PB_INT length;
    for ( auto _ : state ) {
        in___ImpSockaddrFromUdpAddress( &written, &length, ua.get() );
        benchmark::DoNotOptimize( written );
    }
}

BENCHMARK( memcpyRead<AF_INET> )->Name( "memcpy_read4" );
BENCHMARK( memcpyRead<AF_INET6> )->Name( "memcpy_read6" );
BENCHMARK( memcpyWrite<AF_INET> )->Name( "memcpy_write4" );
BENCHMARK( memcpyWrite<AF_INET6> )->Name( "memcpy_write6" );
BENCHMARK( inetNtop<AF_INET> )->Name( "inet_ntop4" );
BENCHMARK( inetNtop<AF_INET6> )->Name( "inet_ntop6" );
BENCHMARK( inRead<AF_INET, 1> )->Name( "in_read_again4" );
BENCHMARK( inRead<AF_INET6, 1> )->Name( "in_read_again6" );
BENCHMARK( inRead<AF_INET, 7> )->Name( "in_read_new4" );
BENCHMARK( inRead<AF_INET6, 7> )->Name( "in_read_new6" );
BENCHMARK( inWrite<AF_INET> )->Name( "in_write4" );
BENCHMARK( inWrite<AF_INET6> )->Name( "in_write6" );

} // namespace

int main( int argc, char **argv )
{
    std::vector<bench::Ratio> ratios;
    for ( std::string version : { "4", "6" } ) {
        ratios.push_back( { "in_read_again" + version, "", 30 } );
        ratios.push_back( { "in_read_again" + version, "inet_ntop" + version, 0.5 } );
        ratios.push_back( { "in_read_new" + version, "inet_ntop" + version, 1 } );
        ratios.push_back( { "in_write" + version, "", 30 } );
        ratios.push_back( { "in_read_again" + version, "memcpy_read" + version, 30 } );
        ratios.push_back( { "in_write" + version, "memcpy_write" + version, 30 } );
    }
    return bench::run( argc, argv, ratios );
}
