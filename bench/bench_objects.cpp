/* Objects, dictionaries, traces and wake-ups, against the bare operations that they are made of. */
#include "ratio.hpp"
#include <condition_variable>
#include <in/in.h>
#include <map>
#include <mutex>
#include <pb/pb.hpp>
#include <pr/pr.h>
#include <random>
#include <thread>
#include <tr/tr.h>

namespace {

void bareCount( benchmark::State &state )
{
    std::atomic<int64_t> count = 1;
    for ( auto _ : state ) {
        count.fetch_add( 1, std::memory_order_relaxed );
        benchmark::DoNotOptimize( count.fetch_sub( 1, std::memory_order_acq_rel ) );
    }
}
BENCHMARK( bareCount )->Name( "atomic_add_sub" );

void retainRelease( benchmark::State &state )
{
    pb::Ref<IN_ADDRESS> ina = pb::adopt( inAddressCreate( IN_ADDRESS_VERSION_4 ) );
    for ( auto _ : state )
        inAddressRelease( inAddressRetain( ina.get() ) );
}
BENCHMARK( retainRelease )->Name( "retain_release" );

/** The size of an IN_ADDRESS: header, version, 16 bytes. */
constexpr std::size_t addressSize = 40;

void bareAllocation( benchmark::State &state )
{
    for ( auto _ : state ) {
        void *memory = std::malloc( addressSize );
        benchmark::DoNotOptimize( memory );
        std::free( memory );
    }
}
BENCHMARK( bareAllocation )->Name( "malloc_free" );

void createRelease( benchmark::State &state )
{
    for ( auto _ : state )
        inAddressRelease( inAddressCreate( IN_ADDRESS_VERSION_4 ) );
}
BENCHMARK( createRelease )->Name( "create_release" );

/** Keys in random order of use, so that caches are met as a program meets them. */
struct Keys {
    explicit Keys( int64_t count )
    {
        std::mt19937_64 engine( 7 );
        for ( int64_t i = 0; i < count; ++i )
            objects.push_back( pb::adopt( pbBoxedIntCreate( PB_INT( engine() >> 1 ) ) ) );
    }
    PB_OBJ *next() { return pb::obj( objects[at++ % objects.size()].get() ); }

    std::vector<pb::Ref<PB_BOXED_INT>> objects;
    std::size_t at = 0;
};

struct Less {
    bool operator()( PB_OBJ *a, PB_OBJ *b ) const { return pbObjCompare( a, b ) < 0; }
};

void mapLookup( benchmark::State &state )
{
    Keys keys( state.range( 0 ) );
    std::map<PB_OBJ *, PB_OBJ *, Less> map;
    for ( auto &key : keys.objects )
        map[pb::obj( key.get() )] = pb::obj( key.get() );
    std::shuffle( keys.objects.begin(), keys.objects.end(), std::mt19937_64( 8 ) );
    for ( auto _ : state )
        pbObjRelease( pbObjRetain( map.find( keys.next() )->second ) );
}
BENCHMARK( mapLookup )->Name( "std_map" )->Arg( 10 )->Arg( 1000 )->Arg( 100000 );

void dictLookup( benchmark::State &state )
{
    Keys keys( state.range( 0 ) );
    pb::Ref<PB_DICT> dict = pb::adopt( pbDictCreate() );
    for ( auto &key : keys.objects )
        pbDictSet( dict.handle(), pb::obj( key.get() ), pb::obj( key.get() ) );
    std::shuffle( keys.objects.begin(), keys.objects.end(), std::mt19937_64( 8 ) );
    for ( auto _ : state )
        pbObjRelease( pbDictValue( dict.get(), keys.next() ) );
}
BENCHMARK( dictLookup )->Name( "dict" )->Arg( 10 )->Arg( 1000 )->Arg( 100000 );

void traceText( benchmark::State &state )
{
    pb::Ref<TR_STREAM> stream = pb::adopt( trStreamCreateCstr( "BENCH", -1 ) );
    for ( auto _ : state ) {
        trStreamTextFormatCstr( stream.get(), "[traceText()] value: %i", -1, PB_INT_FROM( 1 ) );
        benchmark::ClobberMemory();
    }
}
BENCHMARK( traceText )->Name( "trace_text_no_sink" );

/** Two threads that wake each other; a round trip is two wake-ups. */
void conditionWake( benchmark::State &state )
{
    std::mutex mutex;
    std::condition_variable changed;
    int turn = 0; // 0 here, 1 there, 2 end
    std::thread other( [&] {
        std::unique_lock lock( mutex );
        while ( turn != 2 ) {
            changed.wait( lock, [&] { return turn != 0; } );
            if ( turn == 1 ) {
                turn = 0;
                changed.notify_one();
            }
        }
    } );
    for ( auto _ : state ) {
        std::unique_lock lock( mutex );
        turn = 1;
        changed.notify_one();
        changed.wait( lock, [&] { return turn == 0; } );
    }
    std::unique_lock lock( mutex );
    turn = 2;
    lock.unlock();
    changed.notify_one();
    other.join();
}
BENCHMARK( conditionWake )->Name( "condition_wake" )->UseRealTime();

void unblock( PB_OBJ *barrier )
{
    pbBarrierUnblock( pbBarrierFrom( barrier ) );
}

/** A signal wakes a process, which wakes this thread. */
void signalWake( benchmark::State &state )
{
    pb::Ref<PB_BARRIER> barrier = pb::adopt( pbBarrierCreate( 0 ) );
    pb::Ref<PR_PROCESS> process =
        pb::adopt( prProcessCreateCstr( nullptr, unblock, pb::obj( barrier.get() ), "signalWake", -1 ) );
    pb::Ref<PB_SIGNALABLE> signalable = pb::adopt( prProcessCreateSignalable( process.get() ) );
    for ( auto _ : state ) {
        pb::Ref<PB_SIGNAL> signal = pb::adopt( pbSignalCreate() );
        pbSignalAddSignalable( signal.get(), signalable.get() );
        pbBarrierBlock( barrier.get() );
        pbSignalAssert( signal.get() );
        pbBarrierPass( barrier.get() );
    }
    prProcessHalt( process.get() );
    prProcessHaltWait( process.get() );
}
BENCHMARK( signalWake )->Name( "signal_process_wake" )->UseRealTime();

} // namespace

int main( int argc, char **argv )
{
    if ( !pbRuntimeTryStart( "in", -1 ) )
        return 1;
    int result = bench::run( argc, argv,
        {
            { "retain_release", "atomic_add_sub", 1.5 },
            { "create_release", "malloc_free", 1.5 },
            { "dict/10", "std_map/10", 1.5 },
            { "dict/1000", "std_map/1000", 1.5 },
            { "dict/100000", "std_map/100000", 1.5 },
            { "trace_text_no_sink", "", 5 },
            { "signal_process_wake", "condition_wake", 2 },
        } );
    pbRuntimeStop();
    return result;
}
