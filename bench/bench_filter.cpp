/*
 * Filters with 10 to 1,000,000 entries: what a check costs, beside a walk over the rows and a hash set of exact addresses,
 * neither with a lock; and how long a rebuild takes.
 */
#include "ratio.hpp"
#include <algorithm>
#include <cstring>
#include <in/in.h>
#include <memory>
#include <pb/pb.hpp>
#include <random>
#include <unordered_set>

namespace {

using Number4 = uint32_t;

/** Hosts of 10/8 and 2001:db8::/32, two in three IPv4, one in four a network. */
struct Entries {
    explicit Entries( int64_t count )
    {
        std::mt19937_64 random( 11 );
        for ( int64_t i = 0; i < count; ++i ) {
            PB_BYTE bytes[16] = { 0x20, 0x01, 0x0d, 0xb8 };
            bool v6 = i % 3 == 2;
            for ( std::size_t at = v6 ? 4 : 1; at < 16; ++at )
                bytes[at] = static_cast<PB_BYTE>( random() );
            bytes[0] = v6 ? 0x20 : 10;
            addresses.push_back( pb::adopt( v6 ? inAddressCreateV6( bytes ) : inAddressCreateV4( bytes ) ) );
            bits.push_back( i % 4 ? -1 : v6 ? 64 : 28 );
        }
    }
    pb::Ref<IN_FILTER_OPTIONS> options() const
    {
        pb::Ref<IN_FILTER_OPTIONS> options = pb::adopt( inFilterOptionsCreate() );
        for ( std::size_t i = 0; i < addresses.size(); ++i ) {
            pb::Ref<PB_STRING> host = pb::adopt( inAddressToString( addresses[i].get() ) );
            pb::Ref<IN_FILTER_ENTRY> entry = pb::adopt( inFilterEntryCreate( host.get() ) );
            inFilterEntrySetFlags( entry.handle(), IN_FILTER_ENTRY_FLAG_ADDRESS );
            if ( bits[i] >= 0 )
                inFilterEntrySetAddressMatchingBits( entry.handle(), bits[i] );
            inFilterOptionsAppendEntry( options.handle(), entry.get() );
        }
        return options;
    }

    std::vector<pb::Ref<IN_ADDRESS>> addresses;
    std::vector<PB_INT> bits;
};

/** What is asked: half of it permitted, in no order. Objects of their own, since a peer's address is new and in the cache. */
std::vector<pb::Ref<IN_ADDRESS>> questions( const Entries &entries )
{
    std::mt19937_64 random( 12 );
    std::vector<pb::Ref<IN_ADDRESS>> asked;
    for ( int i = 0; i < 8'192; ++i ) {
        IN_ADDRESS *row = entries.addresses[random() % entries.addresses.size()].get();
        asked.push_back( pb::adopt( inAddressCreateFrom( row ) ) );
        if ( i % 2 )
            inAddressSetByteAt( asked.back().handle(), 1, static_cast<PB_BYTE>( random() ) );
    }
    return asked;
}

/** A filter for so many entries, kept for the measurements that follow. */
struct Subject {
    explicit Subject( int64_t count )
        : entries( count ), asked( questions( entries ) ), options( entries.options() ),
          filter( pb::adopt( inFilterCreate( options.get(), nullptr ) ) )
    {
        awaitTable();
    }
    void awaitTable()
    {
        while ( !inFilterCheck( filter.get(), entries.addresses[0].get() ) )
            pbSleep( 1 );
    }

    Entries entries;
    std::vector<pb::Ref<IN_ADDRESS>> asked;
    pb::Ref<IN_FILTER_OPTIONS> options;
    pb::Ref<IN_FILTER> filter;
};
std::unique_ptr<Subject> current;

Subject &subject( const benchmark::State &state )
{
    auto count = static_cast<std::size_t>( state.range( 0 ) );
    if ( !current || current->entries.addresses.size() != count ) {
        current.reset();
        current = std::make_unique<Subject>( state.range( 0 ) );
    }
    return *current;
}

void check( benchmark::State &state )
{
    Subject &of = subject( state );
    std::size_t i = 0;
    for ( auto _ : state )
        benchmark::DoNotOptimize( inFilterCheck( of.filter.get(), of.asked[i++ % of.asked.size()].get() ) );
}

void walk( benchmark::State &state )
{
    Subject &of = subject( state );
    std::size_t i = 0;
    for ( auto _ : state ) {
        IN_ADDRESS *ina = of.asked[i++ % of.asked.size()].get();
        bool permitted = false;
        for ( std::size_t row = 0; row < of.entries.bits.size() && !permitted; ++row ) {
            IN_ADDRESS *address = of.entries.addresses[row].get();
            PB_INT bits = of.entries.bits[row];
            if ( inAddressVersion( address ) == inAddressVersion( ina ) )
                permitted = bits < 0 ? inAddressEquals( address, ina ) : inAddressMatchingBits( address, ina ) >= bits;
        }
        benchmark::DoNotOptimize( permitted );
    }
}

struct Hash {
    std::size_t operator()( IN_ADDRESS *ina ) const
    {
        return std::hash<std::string_view>()( { reinterpret_cast<const char *>( inAddressBacking( ina ) ), 16 } );
    }
};
struct Equal {
    bool operator()( IN_ADDRESS *a, IN_ADDRESS *b ) const { return inAddressEquals( a, b ); }
};

void hashSet( benchmark::State &state )
{
    Subject &of = subject( state );
    std::unordered_set<IN_ADDRESS *, Hash, Equal> set;
    for ( auto &address : of.entries.addresses )
        set.insert( address.get() );
    std::size_t i = 0;
    for ( auto _ : state )
        benchmark::DoNotOptimize( set.count( of.asked[i++ % of.asked.size()].get() ) );
}

/** From new options to the first check against them; the table that they replace permits nothing. */
void rebuild( benchmark::State &state )
{
    Subject &of = subject( state );
    pb::Ref<IN_FILTER_OPTIONS> none = pb::adopt( inFilterOptionsCreate() );
    for ( auto _ : state ) {
        state.PauseTiming();
        inFilterSetOptions( of.filter.get(), none.get() );
        while ( inFilterCheck( of.filter.get(), of.entries.addresses[0].get() ) )
            pbSleep( 1 );
        state.ResumeTiming();
        inFilterSetOptions( of.filter.get(), of.options.get() );
        of.awaitTable();
    }
}

} // namespace

int main( int argc, char **argv )
{
    if ( !pbRuntimeTryStart( "in", -1 ) )
        return 1;
    std::vector<bench::Ratio> ratios;
    for ( int64_t rows : { 10, 1'000, 100'000, 1'000'000 } ) {
        std::string count = "/" + std::to_string( rows );
        benchmark::RegisterBenchmark( "filter_check", check )->Arg( rows );
        benchmark::RegisterBenchmark( "hash_set", hashSet )->Arg( rows );
        if ( rows <= 1'000 )
            benchmark::RegisterBenchmark( "walk", walk )->Arg( rows );
        if ( rows >= 100'000 )
            benchmark::RegisterBenchmark( "filter_rebuild", rebuild )
                ->Arg( rows )
                ->UseRealTime()
                ->Iterations( 1 )
                ->Unit( benchmark::kMillisecond );
        ratios.push_back( { "filter_check" + count, "filter_check/10", 8 } );
        ratios.push_back( { "filter_check" + count, "hash_set" + count, 8 } );
        ratios.push_back( { "filter_check" + count, "walk" + count, 1 } );
    }
    ratios.push_back( { "filter_rebuild/100000", "", 1'000 } ); // in milliseconds
    int result = bench::run( argc, argv, ratios );
    current.reset();
    pbRuntimeStop();
    return result;
}
