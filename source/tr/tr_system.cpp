/*
 * The list of living streams and the list of sinks, and how records get from one to the other. Streams are listed
 * whether there is a sink or not, since a sink that comes later is told of them; so the list is in shards, each under a
 * lock of its own that is held for linking and unlinking. Lock order: a shard, a stream's monitor, `sinksMonitor`, a
 * sink's own.
 *
 * A sink gets a record only while it knows the stream: from its description on, which the new stream makes for all
 * sinks and trSystemAddSink for all streams, whoever comes first. Neither misses the other. The stream is listed before
 * it looks for sinks; the sink is entered before it looks through the shards; and the lock of the shard orders the two.
 * As the stream's monitor is held while describing, no change falls between the description and the first record.
 *
 * None of this depends on the module being started, and none of it is ever taken down: threads may still end their
 * streams when the process ends.
 *
 * A forked child has no sinks, since it has none of their threads; but it may end streams. So a fork happens while no other
 * thread holds one of these locks, and the child makes them anew, because the thread that holds them is not the child's.
 */
#include <algorithm>
#include <array>
#include <ctime>
#include <tr/tr_private.h>
#include <unordered_set>
#include <vector>

PB_INT tr___SystemSinks = 0;

namespace {

constinit std::atomic<PB_INT> highVolumeSinks = 0;

struct Shard {
    pb::Monitor monitor{ pb::Rank::traceShard };
    TR_STREAM *first PB_GUARDED_BY( monitor ) = nullptr;
};

struct SinkEntry {
    pb::Ref<TR_SINK> sink;
    std::unordered_set<PB_INT> known; // numbers of the streams that it was told of
};

void lockForFork();
void unlockAfterFork();
void makeLocksAnewAfterFork();

struct System {
    System() { pthread_atfork( lockForFork, unlockAfterFork, makeLocksAnewAfterFork ); }

    std::array<Shard, 16> shards;
    pb::Monitor sinksMonitor{ pb::Rank::traceSinks };
    std::vector<SinkEntry> sinks PB_GUARDED_BY( sinksMonitor );

    Shard &shardOf( TR_STREAM &stream ) { return shards[static_cast<uint64_t>( stream.number ) % shards.size()]; }
};

System &system()
{
    static System *const only = new System; // for ever
    return *only;
}

void lockForFork() PB_NO_THREAD_SAFETY_ANALYSIS
{
    for ( Shard &shard : system().shards )
        shard.monitor.enter();
    system().sinksMonitor.enter();
}

void unlockAfterFork() PB_NO_THREAD_SAFETY_ANALYSIS
{
    system().sinksMonitor.leave();
    for ( Shard &shard : system().shards )
        shard.monitor.leave();
}

void makeLocksAnewAfterFork() PB_NO_THREAD_SAFETY_ANALYSIS
{
    for ( Shard &shard : system().shards )
        shard.monitor.makeAnew();
    system().sinksMonitor.makeAnew();
    // Not released: that would wait for their threads.
    ::new ( &system().sinks ) std::vector<SinkEntry>;
    __atomic_store_n( &tr___SystemSinks, 0, __ATOMIC_RELAXED );
    highVolumeSinks = 0;
}

/** "2026-02-28T23:59:59.123Z" */
pb::Ref<PB_STRING> currentTime()
{
    timespec now;
    clock_gettime( CLOCK_REALTIME, &now );
    tm utc;
    gmtime_r( &now.tv_sec, &utc );
    return pb::format( "%04i-%02i-%02iT%02i:%02i:%02i.%03iZ", utc.tm_year + 1900, utc.tm_mon + 1, utc.tm_mday,
        utc.tm_hour, utc.tm_min, utc.tm_sec, now.tv_nsec / 1'000'000 );
}

std::vector<SinkEntry>::iterator findLocked( System &all, TR_SINK *sink ) PB_REQUIRES( all.sinksMonitor )
{
    return std::find_if(
        all.sinks.begin(), all.sinks.end(), [sink]( const SinkEntry &entry ) { return entry.sink.get() == sink; } );
}

/** Describes the stream to the sinks that do not know it: to one of them, or with null to all. */
void describe( TR_STREAM &stream, TR_SINK *optionalSink )
{
    System &all = system();
    pb::Lock streamLock( stream.monitor );
    pb::Ref<PB_VECTOR> records = tr::describeLocked( stream );
    pb::Lock sinksLock( all.sinksMonitor );
    for ( SinkEntry &entry : all.sinks ) {
        if ( ( optionalSink && optionalSink != entry.sink.get() ) || !entry.known.insert( stream.number ).second )
            continue;
        for ( PB_INT i = 0; i < pbVectorLength( records.get() ); ++i )
            entry.sink->output->write( pb::adoptAs<PB_STORE>( pbVectorObjAt( records.get(), i ) ) );
    }
}

void countSink( TR_SINK &sink, PB_INT difference )
{
    __atomic_fetch_add( &tr___SystemSinks, difference, __ATOMIC_RELAXED );
    if ( sink.highVolume )
        highVolumeSinks.fetch_add( difference, std::memory_order_relaxed );
}

} // namespace

pb::Ref<PB_STORE> tr::record( TR_STREAM &stream, const char *event )
{
    pb::Ref<PB_STORE> record = pb::adopt( pbStoreCreate() );
    pbStoreSetValueCstr( record.handle(), "time", -1, currentTime().get() );
    pbStoreSetValueIntCstr( record.handle(), "stream", -1, stream.number );
    pbStoreSetValueCstr( record.handle(), "name", -1, pb::string( stream.name ).get() );
    pbStoreSetValueCstr( record.handle(), "event", -1, pb::string( event ).get() );
    return record;
}

void tr::beginStream( TR_STREAM &stream )
{
    {
        Shard &shard = system().shardOf( stream );
        pb::Lock lock( shard.monitor );
        stream.next = shard.first;
        if ( stream.next )
            stream.next->previous = &stream;
        shard.first = &stream;
    }
    if ( trSystemActive() )
        describe( stream, nullptr );
}

void tr::endStream( TR_STREAM &stream )
{
    System &all = system();
    {
        Shard &shard = all.shardOf( stream );
        pb::Lock lock( shard.monitor );
        ( stream.previous ? stream.previous->next : shard.first ) = stream.next;
        if ( stream.next )
            stream.next->previous = stream.previous;
    }
    if ( !trSystemActive() )
        return;
    tr::deliver( stream, tr::record( stream, "end" ) );
    pb::Lock lock( all.sinksMonitor );
    for ( SinkEntry &entry : all.sinks )
        entry.known.erase( stream.number );
}

void tr::deliver( TR_STREAM &stream, const Record &record, bool highVolume )
{
    System &all = system();
    pb::Lock lock( all.sinksMonitor );
    for ( SinkEntry &entry : all.sinks )
        if ( ( !highVolume || entry.sink->highVolume ) && entry.known.contains( stream.number ) )
            entry.sink->output->write( record );
}

PB_BOOL trSystemAcceptsHighVolumeMessages( void )
{
    return highVolumeSinks.load( std::memory_order_relaxed ) != 0;
}

/**
 * Streams are described under the lock of their shard, which they must take before they go: so they are still there.
 */
void trSystemAddSink( TR_SINK *sink )
{
    PB_ASSERT( sink );
    System &all = system();
    {
        pb::Lock lock( all.sinksMonitor );
        if ( findLocked( all, sink ) != all.sinks.end() )
            return;
        all.sinks.push_back( { pb::share( sink ), {} } );
        countSink( *sink, 1 );
    }
    for ( Shard &shard : all.shards ) {
        pb::Lock lock( shard.monitor );
        for ( TR_STREAM *stream = shard.first; stream; stream = stream->next )
            describe( *stream, sink );
    }
}

void trSystemDelSink( TR_SINK *sink )
{
    PB_ASSERT( sink );
    System &all = system();
    SinkEntry removed; // goes after the lock: a sink may have to wait for its thread
    pb::Lock lock( all.sinksMonitor );
    auto entry = findLocked( all, sink );
    if ( entry == all.sinks.end() )
        return;
    countSink( *sink, -1 );
    removed = std::move( *entry );
    all.sinks.erase( entry );
}
