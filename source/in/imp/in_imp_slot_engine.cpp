/* The slot engine: table of slots, descriptor map, observer and thread. See the header for the threads and locks. */
#include <in/imp/in_imp_slot_engine_private.hpp>

namespace in {

void SlotEngine::start( const char *threadName, PB_THREAD_FUNC *threadFunc, PB_INT threadOption )
{
    UNIX_FD_OBSERVER *channelObserver = unixFdObserverCreate();
    PB_ASSERT( channelObserver );
    observer.set( channelObserver );
    abortSignal.set( pbSignalCreate() );
    PB_THREAD *channelThread = pbThreadTrySpawnCstr( threadName, -1, threadFunc, nullptr, threadOption );
    PB_ASSERT( channelThread );
    thread.set( channelThread );
}

void SlotEngine::beginStop()
{
    pbSignalAssert( abortSignal.get() );
}

void SlotEngine::endStop( const char *stillHeld )
{
    pbThreadJoin( thread.get() );
    abortSignal.drop();
    thread.drop();
    observer.drop();
    auto &channelArray = slots;
    for ( std::size_t i = 0; i < SLOT_COUNT; ++i )
        PB_ASSERT_CONTEXT( stillHeld, channelArray[i] == NULL );
}

bool SlotEngine::hasRoom( OpenFailure &failure )
{
    pb::Lock lock( allocateReleaseMonitor );
    if ( unixFdObserverError( observer.get() ) )
        return failure.failed( "observer", EIO );
    return taken < SLOT_COUNT || failure.failed( "slots", ENFILE );
}

PB_INT SlotEngine::tryInsert( std::unique_ptr<Slot> record )
{
    pb::Lock lock( allocateReleaseMonitor );
    if ( unixFdObserverError( observer.get() ) )
        return -1;
    for ( std::size_t looked = 0; looked < SLOT_COUNT; ++looked ) {
        std::size_t index = ( nextSlot + looked ) % SLOT_COUNT;
        if ( slots[index].load( std::memory_order_relaxed ) )
            continue;
        auto fd = static_cast<std::size_t>( record->fd.get() );
        if ( fd >= remap.size() )
            remap.resize( std::max( fd + 1, 2 * remap.size() ), -1 );
        remap[fd] = static_cast<PB_INT>( index );
        slots[index].store( record.release(), std::memory_order_release );
        nextSlot = index;
        ++taken;
        return static_cast<PB_INT>( index );
    }
    return -1;
}

void SlotEngine::release( PB_INT index, Wakes &wakes )
{
    auto place = static_cast<std::size_t>( index );
    std::unique_ptr<Slot> record( slots[place].load( std::memory_order_acquire ) );
    pb::Lock lock( allocateReleaseMonitor );
    while ( served == record.get() )
        servedOne.wait( allocateReleaseMonitor );
    slots[place].store( nullptr, std::memory_order_release );
    --taken;
    remap[static_cast<std::size_t>( record->fd.get() )] = -1;
    record->fd.close();
    wakes.free( std::move( record ) );
}

void SlotEngine::updateObserverLocked( Slot &slot, Wakes &wakes )
{
    PB_INT wanted = slot.wantedCondsLocked();
    if ( wanted == slot.observerConds )
        return;
    slot.observerConds = wanted;
    if ( unixFdObserverSetFd( observer.get(), slot.fd.get(), wanted ) )
        return;
    auto *channelObserver = observer.get();
    PB_ASSERT( wanted || unixFdObserverError( channelObserver ) );
    slot.failLocked( wakes );
    if ( wanted )
        updateObserverLocked( slot, wakes ); // takes the descriptor out
}

/** The slot of a reported descriptor; it is not released before endServing. */
Slot &SlotEngine::beginServing( int fd )
{
    pb::Lock lock( allocateReleaseMonitor );
    auto place = static_cast<std::size_t>( fd );
    PB_INT bi = place < remap.size() ? remap[place] : -1;
    PB_ASSERT( bi >= 0 );
    Slot *slot = slots[static_cast<std::size_t>( bi )].load( std::memory_order_acquire );
    served = slot;
    return *slot;
}

/** The slot may be gone when this returns. */
void SlotEngine::endServing()
{
    {
        pb::Lock lock( allocateReleaseMonitor );
        served = nullptr;
    }
    servedOne.wakeAll();
}

void SlotEngine::serveReport()
{
    Wakes wakes; // fires when the slot has been served: it may be gone then
    int fd = unixFdObserverFd( observer.get() );
    PB_INT conds = unixFdObserverConds( observer.get() );
    Slot &slot = beginServing( fd );
    unixFdObserverUnblock( observer.get() );
    slot.serve( conds, wakes );
    endServing();
}

/**
 * The observer is of no use any more: lets every user know, instead of leaving the channels deaf. The
 * engine's monitor is held meanwhile, so that the slot is not released.
 */
void SlotEngine::failAll()
{
    for ( std::atomic<Slot *> &entry : slots ) {
        Wakes wakes;
        pb::Lock lock( allocateReleaseMonitor );
        if ( Slot *slot = entry.load( std::memory_order_acquire ) ) {
            pb::Lock slotLock( slot->monitor );
            slot->failLocked( wakes );
        }
    }
}

void SlotEngine::run()
{
    while ( unixFdObserverWait( observer.get(), abortSignal.get() ) )
        serveReport();
    if ( !pbSignalAsserted( abortSignal.get() ) )
        failAll();
}

} // namespace in
