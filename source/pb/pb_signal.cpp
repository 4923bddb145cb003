/*
 * Signals and signalables. Any thread calls; the signal's monitor guards its waiters, and `asserted` changes under it,
 * but is read without it.
 *
 * The thread that adds a waiter and the thread that asserts meet in the monitor. When the waiter is added first, it is
 * in the set that the asserting thread takes. When it is added later, the adding thread sees the signal asserted and
 * fires it. So each waiter is fired by exactly one of the two. Firing, and dropping the references, happen outside the
 * monitor: a waiter's function, or the free function of its argument, may call this signal again.
 */
#include <pb/pb_waiters_private.hpp>

struct PB_SIGNALABLE : pb::Waker {
    using Waker::Waker;
};

struct PB_SIGNAL : PB_OBJ {
    std::atomic<bool> asserted{ false };
    pb::Monitor monitor{ pb::Rank::leaf };
    pb::Waiters waiters PB_GUARDED_BY( monitor ); // PB_SIGNALABLE and PB_BARRIER
};

PB_CLASS_DEFINE( PB_SIGNALABLE, pbSignalable, pb::destroy<PB_SIGNALABLE>, nullptr, nullptr );
PB_CLASS_DEFINE( PB_SIGNAL, pbSignal, pb::destroy<PB_SIGNAL>, nullptr, nullptr );

PB_SIGNALABLE *pbSignalableCreate( PB_SIGNALABLE_FUNC *func, PB_OBJ *optionalArgument )
{
    PB_ASSERT( func );
    return pb::create<PB_SIGNALABLE>( func, optionalArgument );
}

PB_SIGNALABLE *pbSignalableCreateBarrier( PB_BARRIER *barrier )
{
    PB_ASSERT( barrier );
    return pb::create<PB_SIGNALABLE>( pb::unblockBarrier, pb::obj( barrier ) );
}

static void pb___SignalableRaise( PB_OBJ *descriptor )
{
    pb___DescriptorFrom( descriptor )->signal();
}

PB_SIGNALABLE *pbSignalableTryCreateDescriptor( void )
{
    pb::Ref<PB___DESCRIPTOR> descriptor = pb::tryCreateDescriptor();
    return descriptor ? pb::create<PB_SIGNALABLE>( pb___SignalableRaise, descriptor.get() ) : nullptr;
}

int pbSignalableDescriptor( PB_SIGNALABLE *signalable )
{
    PB_ASSERT( signalable );
    PB_ASSERT( signalable->optionalDescriptor() );
    return signalable->optionalDescriptor()->get();
}

void pbSignalableSignal( PB_SIGNALABLE *signalable )
{
    PB_ASSERT( signalable );
    signalable->fire();
}

static void pb___SignalFire( PB_OBJ *waiter )
{
    if ( waiter->sort == pbBarrierSort() )
        pbBarrierUnblock( pbBarrierFrom( waiter ) );
    else
        pbSignalableSignal( pbSignalableFrom( waiter ) );
}

/** Enters a waiter; false when the signal is asserted and the caller must fire it. */
static bool pb___SignalEnterWaiter( PB_SIGNAL &signal, PB_OBJ *waiter )
{
    pb::Lock lock( signal.monitor );
    if ( signal.asserted.load( std::memory_order_relaxed ) )
        return false;
    signal.waiters.add( waiter );
    return true;
}

static void pb___SignalAddWaiter( PB_SIGNAL &signal, PB_OBJ *waiter )
{
    if ( !pb___SignalEnterWaiter( signal, waiter ) )
        pb___SignalFire( waiter );
}

static auto pb___SignalTakeWaiter( PB_SIGNAL &signal, PB_OBJ *waiter )
{
    pb::Lock lock( signal.monitor );
    return signal.waiters.remove( waiter );
}

/** Asserts the signal and takes its waiters out; there are none when it was asserted before. */
static pb::Waiters pb___SignalTakeAllWaiters( PB_SIGNAL &signal )
{
    pb::Waiters taken;
    pb::Lock lock( signal.monitor );
    signal.asserted.store( true, std::memory_order_release );
    taken.swap( signal.waiters );
    return taken;
}

PB_SIGNAL *pbSignalCreate( void )
{
    return pb::create<PB_SIGNAL>();
}

void pbSignalAssert( PB_SIGNAL *signal )
{
    PB_ASSERT( signal );
    // Who sees the signal asserted may release it while this thread has not left the monitor yet.
    pb::Ref<PB_SIGNAL> held = pb::share( signal );
    for ( const pb::Ref<PB_OBJ> &waiter : pb___SignalTakeAllWaiters( *held ) )
        pb___SignalFire( waiter.get() );
}

PB_BOOL pbSignalAsserted( PB_SIGNAL *signal )
{
    PB_ASSERT( signal );
    return signal->asserted.load( std::memory_order_acquire );
}

void pbSignalAddSignalable( PB_SIGNAL *signal, PB_SIGNALABLE *signalable )
{
    PB_ASSERT( signal );
    PB_ASSERT( signalable );
    pb___SignalAddWaiter( *signal, signalable );
}

void pbSignalDelSignalable( PB_SIGNAL *signal, PB_SIGNALABLE *signalable )
{
    PB_ASSERT( signal );
    PB_ASSERT( signalable );
    (void)pb___SignalTakeWaiter( *signal, signalable );
}

void pbSignalAddBarrier( PB_SIGNAL *signal, PB_BARRIER *barrier )
{
    PB_ASSERT( signal );
    PB_ASSERT( barrier );
    pb___SignalAddWaiter( *signal, pb::obj( barrier ) );
}

void pbSignalDelBarrier( PB_SIGNAL *signal, PB_BARRIER *barrier )
{
    PB_ASSERT( signal );
    PB_ASSERT( barrier );
    (void)pb___SignalTakeWaiter( *signal, pb::obj( barrier ) );
}

void pbSignalWait( PB_SIGNAL *signal )
{
    if ( pbSignalAsserted( signal ) )
        return;
    pb::Ref<PB_BARRIER> barrier = pb::adopt( pbBarrierCreate( 1 ) );
    pbSignalAddBarrier( signal, barrier.get() );
    pbBarrierPass( barrier.get() );
}
