/*
 * Alerts and alertables. Any thread calls; the alert's monitor guards its waiters, and `level` changes under it, but is
 * read without it.
 *
 * What is promised: while an alert is set, each waiter has been fired since it was set, or a thread is on its way to
 * fire it. Setting and adding meet in the monitor: a waiter that was added before is in the snapshot of the setting
 * thread, one that is added later finds the alert set and is fired by the thread that adds it. A thread that set the
 * alert and is overtaken by others that unset it, set it again or remove the waiter fires late: one wake-up too many,
 * never one too few. Whoever wakes up looks at the alert, or at what it stands for. Firing happens outside the monitor,
 * because a waiter's function may come back to this alert.
 */
#include <iterator>
#include <pb/pb_waiters_private.hpp>

struct PB_ALERTABLE : pb::Waker {
    using Waker::Waker;
};

struct PB_ALERT : PB_OBJ {
    std::atomic<bool> level{ false };
    pb::Monitor monitor{ pb::Rank::leaf };
    pb::Waiters waiters PB_GUARDED_BY( monitor ); // PB_ALERTABLE
};

PB_CLASS_DEFINE( PB_ALERTABLE, pbAlertable, pb::destroy<PB_ALERTABLE>, nullptr, nullptr );
PB_CLASS_DEFINE( PB_ALERT, pbAlert, pb::destroy<PB_ALERT>, nullptr, nullptr );

PB_ALERTABLE *pbAlertableCreate( PB_ALERTABLE_FUNC *func, PB_OBJ *optionalArgument )
{
    PB_ASSERT( func );
    return pb::create<PB_ALERTABLE>( func, optionalArgument );
}

PB_ALERTABLE *pbAlertableCreateBarrier( PB_BARRIER *barrier )
{
    PB_ASSERT( barrier );
    return pb::create<PB_ALERTABLE>( pb::unblockBarrier, pb::obj( barrier ) );
}

void pbAlertableAlert( PB_ALERTABLE *alertable )
{
    PB_ASSERT( alertable );
    alertable->fire();
}

/** Sets the alert; what is to be fired: one waiter, a vector of several, or null when it was set before or nobody waits. */
static pb::Ref<PB_OBJ> pb___AlertRaise( PB_ALERT &alert )
{
    pb::Lock lock( alert.monitor );
    if ( alert.level.exchange( true, std::memory_order_acq_rel ) || alert.waiters.begin() == alert.waiters.end() )
        return {};
    if ( std::next( alert.waiters.begin() ) == alert.waiters.end() )
        return *alert.waiters.begin();
    pb::Ref<PB_VECTOR> several = pb::adopt( pbVectorCreate() );
    for ( const pb::Ref<PB_OBJ> &waiter : alert.waiters )
        pbVectorAppend( several.handle(), waiter.get() );
    return pb::adopt( pb::obj( several.give() ) );
}

/** Enters a waiter; whether the alert is set and the caller must fire it. */
static bool pb___AlertEnterWaiter( PB_ALERT &alert, PB_ALERTABLE *alertable )
{
    pb::Lock lock( alert.monitor );
    alert.waiters.add( alertable );
    return alert.level.load( std::memory_order_relaxed );
}

static auto pb___AlertTakeWaiter( PB_ALERT &alert, PB_ALERTABLE *alertable )
{
    pb::Lock lock( alert.monitor );
    return alert.waiters.remove( alertable );
}

PB_ALERT *pbAlertCreate( void )
{
    return pb::create<PB_ALERT>();
}

// An alert that is set, or unset, already is left without the monitor: the call then stands before the one that changes it.

PB_OBJ *pbAlertSetDeferred( PB_ALERT *alert )
{
    PB_ASSERT( alert );
    return alert->level.load( std::memory_order_acquire ) ? nullptr : pb___AlertRaise( *alert ).give();
}

void pbAlertFireDeferred( PB_OBJ *optionalDeferred )
{
    pb::Ref<PB_OBJ> deferred = pb::adopt( optionalDeferred );
    if ( !deferred )
        return;
    if ( deferred->sort == pbAlertableSort() )
        return pbAlertableAlert( pbAlertableFrom( deferred.get() ) );
    PB_VECTOR *several = pbVectorFrom( deferred.get() );
    for ( PB_INT i = 0; i < pbVectorLength( several ); ++i )
        pbAlertableAlert( pb::adoptAs<PB_ALERTABLE>( pbVectorObjAt( several, i ) ).get() );
}

void pbAlertSet( PB_ALERT *alert )
{
    pbAlertFireDeferred( pbAlertSetDeferred( alert ) );
}

void pbAlertUnset( PB_ALERT *alert )
{
    PB_ASSERT( alert );
    if ( !alert->level.load( std::memory_order_acquire ) )
        return;
    pb::Lock lock( alert->monitor );
    alert->level.store( false, std::memory_order_release );
}

PB_BOOL pbAlertIsSet( PB_ALERT *alert )
{
    PB_ASSERT( alert );
    return alert->level.load( std::memory_order_acquire );
}

void pbAlertAddAlertable( PB_ALERT *alert, PB_ALERTABLE *alertable )
{
    PB_ASSERT( alert );
    PB_ASSERT( alertable );
    if ( pb___AlertEnterWaiter( *alert, alertable ) )
        pbAlertableAlert( alertable );
}

void pbAlertDelAlertable( PB_ALERT *alert, PB_ALERTABLE *alertable )
{
    PB_ASSERT( alert );
    PB_ASSERT( alertable );
    (void)pb___AlertTakeWaiter( *alert, alertable );
}
