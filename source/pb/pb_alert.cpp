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
 *
 * A waiter with a descriptor is no function to be called once, but shows the level: it counts, under the monitor, while the
 * alert is set. Its turn to be fired comes only when its count leaves 0 or comes back to it, which unsetting and removing
 * may do too; firing then makes the descriptor follow its count, and so cannot be too late (pb_descriptor_private.hpp).
 */
#include <pb/pb_waiters_private.hpp>

struct PB_ALERTABLE : pb::Waker {
    using Waker::Waker;
};

struct PB_ALERT : PB_OBJ {
    ~PB_ALERT() { pbAlertUnset( this ); } // descriptors do not count it any longer

    std::atomic<bool> level{ false };
    uint32_t descriptors PB_GUARDED_BY( monitor ) = 0; // waiters that have one
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

static void pb___AlertableFollow( PB_OBJ *descriptor )
{
    pb___DescriptorFrom( descriptor )->follow();
}

PB_ALERTABLE *pbAlertableTryCreateDescriptor( void )
{
    pb::Ref<PB___DESCRIPTOR> descriptor = pb::tryCreateDescriptor();
    return descriptor ? pb::create<PB_ALERTABLE>( pb___AlertableFollow, descriptor.get() ) : nullptr;
}

int pbAlertableDescriptor( PB_ALERTABLE *alertable )
{
    PB_ASSERT( alertable );
    PB_ASSERT( alertable->optionalDescriptor() );
    return alertable->optionalDescriptor()->get();
}

void pbAlertableAlert( PB_ALERTABLE *alertable )
{
    PB_ASSERT( alertable );
    alertable->fire();
}

namespace {

/** What is to be fired under no lock: nothing, one waiter, or a vector of several. */
class Deferred {
public:
    void add( const pb::Ref<PB_OBJ> &waiter )
    {
        if ( several )
            return pbVectorAppend( several.handle(), waiter.get() );
        if ( !one ) {
            one = waiter;
            return;
        }
        several = pb::adopt( pbVectorCreate() );
        pbVectorAppend( several.handle(), one.get() );
        pbVectorAppend( several.handle(), waiter.get() );
    }
    [[nodiscard]] PB_OBJ *give() { return several ? pb::obj( several.give() ) : one.give(); }

private:
    pb::Ref<PB_OBJ> one;
    pb::Ref<PB_VECTOR> several;
};

} // namespace

static PB___DESCRIPTOR *pb___AlertDescriptorOf( const pb::Ref<PB_OBJ> &waiter )
{
    return static_cast<PB_ALERTABLE *>( waiter.get() )->optionalDescriptor();
}

/** Sets the alert; what is to be fired, null when it was set before or nobody waits. */
static PB_OBJ *pb___AlertRaise( PB_ALERT &alert )
{
    Deferred deferred;
    pb::Lock lock( alert.monitor );
    if ( alert.level.exchange( true, std::memory_order_acq_rel ) )
        return nullptr;
    for ( const pb::Ref<PB_OBJ> &waiter : alert.waiters )
        if ( PB___DESCRIPTOR *descriptor = pb___AlertDescriptorOf( waiter ); !descriptor || descriptor->raise() )
            deferred.add( waiter );
    return deferred.give();
}

/** Unsets the alert; which descriptors have to follow, or null. */
static PB_OBJ *pb___AlertLower( PB_ALERT &alert )
{
    Deferred deferred;
    pb::Lock lock( alert.monitor );
    if ( !alert.level.load( std::memory_order_relaxed ) )
        return nullptr;
    alert.level.store( false, std::memory_order_release );
    if ( alert.descriptors == 0 )
        return nullptr;
    for ( const pb::Ref<PB_OBJ> &waiter : alert.waiters )
        if ( PB___DESCRIPTOR *descriptor = pb___AlertDescriptorOf( waiter ); descriptor && descriptor->lower() )
            deferred.add( waiter );
    return deferred.give();
}

/** Enters a waiter; whether the caller must fire it, because the alert is set. */
static bool pb___AlertEnterWaiter( PB_ALERT &alert, PB_ALERTABLE *alertable )
{
    PB___DESCRIPTOR *descriptor = alertable->optionalDescriptor();
    pb::Lock lock( alert.monitor );
    bool entered = alert.waiters.add( alertable );
    bool set = alert.level.load( std::memory_order_relaxed );
    if ( !descriptor )
        return set;
    alert.descriptors += entered ? 1 : 0;
    return entered && set && descriptor->raise();
}

/** Takes a waiter out; `fire` says whether the caller must fire it, because its descriptor has to follow. */
static auto pb___AlertTakeWaiter( PB_ALERT &alert, PB_ALERTABLE *alertable, bool &fire )
{
    PB___DESCRIPTOR *descriptor = alertable->optionalDescriptor();
    pb::Lock lock( alert.monitor );
    auto taken = alert.waiters.remove( alertable );
    bool counted = descriptor && !taken.empty();
    alert.descriptors -= counted ? 1 : 0;
    fire = counted && alert.level.load( std::memory_order_relaxed ) && descriptor->lower();
    return taken;
}

PB_ALERT *pbAlertCreate( void )
{
    return pb::create<PB_ALERT>();
}

// An alert that is set, or unset, already is left without the monitor: the call then stands before the one that changes it.

PB_OBJ *pbAlertSetDeferred( PB_ALERT *alert )
{
    PB_ASSERT( alert );
    return alert->level.load( std::memory_order_acquire ) ? nullptr : pb___AlertRaise( *alert );
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
    pbAlertFireDeferred( pb___AlertLower( *alert ) );
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
    bool fire = false;
    auto taken = pb___AlertTakeWaiter( *alert, alertable, fire );
    if ( fire )
        pbAlertableAlert( alertable );
}
