/*
 * Barriers. Any thread calls; the barrier's monitor guards the counts.
 *
 * Who waits does not wait for "no blockers now" but for the next opening, the moment at which the last blocker went: an
 * opening is counted, so it is not lost when somebody blocks again before the waiting thread runs.
 *
 * Who passes may release the barrier at once, while the thread that opened it is still in pbBarrierUnblock. That thread
 * therefore takes a reference first. Taking it is safe, although its caller may hold none: as long as the blocker that
 * it is about to remove is there, whoever waits holds the barrier. With the reference in hand it can wake the others
 * after it has left the monitor, so that they do not wake up only to wait for the monitor.
 */
#include <pb/pb.hpp>

struct PB_BARRIER : PB_OBJ {
    explicit PB_BARRIER( PB_INT initialBlockers ) : blockers( initialBlockers ) {}

    pb::Monitor monitor{ pb::Rank::leaf };
    pb::Condition opened;
    PB_INT blockers PB_GUARDED_BY( monitor );
    uint64_t openings PB_GUARDED_BY( monitor ) = 0;
};

PB_CLASS_DEFINE( PB_BARRIER, pbBarrier, pb::destroy<PB_BARRIER>, nullptr, nullptr );

/** Takes a blocker away if there is one; whether it was the last. */
static bool pb___BarrierTakeBlocker( PB_BARRIER &barrier )
{
    pb::Lock lock( barrier.monitor );
    if ( barrier.blockers == 0 || --barrier.blockers > 0 )
        return false;
    ++barrier.openings;
    return true;
}

/** Waits for an opening, at most until that time; whether there was one. */
static bool pb___BarrierPassUntil( PB_BARRIER &barrier, PB_INT time )
{
    pb::Lock lock( barrier.monitor );
    if ( barrier.blockers == 0 )
        return true;
    uint64_t before = barrier.openings;
    while ( barrier.openings == before && ( time == pb::NEVER || pb::now() < time ) )
        barrier.opened.waitUntil( barrier.monitor, time );
    return barrier.openings != before;
}

PB_BARRIER *pbBarrierCreate( PB_INT blockers )
{
    PB_ASSERT( blockers >= 0 );
    return pb::create<PB_BARRIER>( blockers );
}

void pbBarrierBlock( PB_BARRIER *barrier )
{
    PB_ASSERT( barrier );
    pb::Lock lock( barrier->monitor );
    ++barrier->blockers;
}

void pbBarrierUnblock( PB_BARRIER *barrier )
{
    PB_ASSERT( barrier );
    pb::Ref<PB_BARRIER> held = pb::share( barrier );
    if ( pb___BarrierTakeBlocker( *held ) )
        held->opened.wakeAll();
}

PB_BOOL pbBarrierBlocked( PB_BARRIER *barrier )
{
    PB_ASSERT( barrier );
    pb::Lock lock( barrier->monitor );
    return barrier->blockers > 0;
}

void pbBarrierPass( PB_BARRIER *barrier )
{
    PB_ASSERT( barrier );
    pb___BarrierPassUntil( *barrier, pb::NEVER );
}

PB_BOOL pbBarrierPassTimed( PB_BARRIER *barrier, PB_INT milliseconds )
{
    PB_ASSERT( barrier );
    return pb___BarrierPassUntil( *barrier, pb::timeAfter( milliseconds > 0 ? milliseconds : 0 ) );
}
