/*
 * The slot engine: what every kind of socket engine shares. A fixed table of slots that handles name by their index, one
 * descriptor observer, and one thread that serves all sockets of the kind; an open socket costs no thread.
 *
 * A kind derives its record from Slot and says what to watch for and how a ready descriptor is served. Locks: the
 * engine's allocate/release monitor guards which slot is taken and which descriptor belongs to it; each slot has a monitor
 * of its own. The engine's thread does not hold both while it serves.
 *
 * Why a slot can be released while the thread is about to serve it:
 *
 *   thread                                        release
 *   a report of the descriptor opens              error signal, observer update under the slot's monitor: removing the
 *   looks the slot up, blocks its barrier           descriptor waits until its report is closed
 *   closes the report                             passes the barrier
 *   serves the slot, unblocks the barrier         takes the slot out of the table, closes the descriptor, frees it
 *
 * When removing returns, no report of the descriptor is open or will come; and since the barrier was blocked before the
 * report was closed, who passes the barrier then has waited out the serving. A descriptor number is given out again only
 * after that, because it is closed last. What wakes users (signals, alerts) is fired by the thread after it has unblocked
 * the barrier, so a user's function may release the very slot. docs/models has this as a model that is checked.
 */
#ifndef IN_IMP_SLOT_ENGINE_PRIVATE_HPP
#define IN_IMP_SLOT_ENGINE_PRIVATE_HPP

#include <array>
#include <memory>
#include <pb/pb.hpp>
#include <unix/unix.h>
#include <vector>

namespace in {

constexpr std::size_t SLOT_COUNT = 16384;

/**
 * What is to be told when the slot's monitor has been left: declared before the lock, it fires when the scope ends. It owns
 * what it fires, so the slot may be gone by then.
 */
class Wakes {
public:
    Wakes() = default;
    Wakes( const Wakes & ) = delete;
    Wakes &operator=( const Wakes & ) = delete;
    ~Wakes()
    {
        for ( const pb::Ref<PB_SIGNAL> &signal : signals )
            if ( signal )
                pbSignalAssert( signal.get() );
        for ( PB_OBJ *alert : alerts )
            pbAlertFireDeferred( alert );
    }
    void assertSignal( const pb::Ref<PB_SIGNAL> &signal ) { signals[signalCount++] = signal; }
    /** Sets the alert now, and fires it later; or unsets it. */
    void level( PB_ALERT *alert, bool set )
    {
        if ( !set )
            return pbAlertUnset( alert );
        if ( PB_OBJ *deferred = pbAlertSetDeferred( alert ) )
            alerts[alertCount++] = deferred;
    }

private:
    std::array<pb::Ref<PB_SIGNAL>, 3> signals;
    std::array<PB_OBJ *, 3> alerts{};
    std::size_t signalCount = 0;
    std::size_t alertCount = 0;
};

/** The record of an open socket. */
struct Slot {
    Slot() = default;
    Slot( const Slot & ) = delete;
    Slot &operator=( const Slot & ) = delete;
    virtual ~Slot() = default;

    pb::Fd fd;
    pb::Monitor monitor;
    pb::Ref<PB_BARRIER> barrier = pb::adopt( pbBarrierCreate( 0 ) ); // blocked while the thread serves the slot
    PB_INT observerConds PB_GUARDED_BY( monitor ) = 0;               // what the observer watches for

    /** What the observer is to watch for now: conditions, or 0 once the slot has failed. */
    virtual PB_INT wantedCondsLocked() const PB_REQUIRES( monitor ) = 0;
    /** The slot has failed for good; again does nothing. */
    virtual void failLocked( Wakes &wakes ) PB_REQUIRES( monitor ) = 0;
    /** Serves a report; on the engine's thread, the barrier blocked, no lock held. */
    virtual void serve( PB_INT conds, Wakes &wakes ) PB_EXCLUDES( monitor ) = 0;
};

class SlotEngine {
public:
    /** Makes the observer and starts the thread; aborts when the system refuses. */
    void start( const char *threadName, PB_THREAD_FUNC *threadFunc, PB_INT threadOption );
    /** Ends the thread. Every slot must be free (aborts otherwise). */
    void stop();
    /** The body of the thread. */
    void run();

    /** Takes the next free slot for a record: its index, or -1 when all are taken or the engine has failed. */
    PB_INT tryInsert( std::unique_ptr<Slot> record ) PB_EXCLUDES( allocateReleaseMonitor );
    /** Waits until the thread is done with a failed slot, closes its descriptor and frees it. */
    void release( PB_INT index ) PB_EXCLUDES( allocateReleaseMonitor );
    /** Lets the observer watch for what the slot wants now. */
    void updateObserverLocked( Slot &slot, Wakes &wakes ) PB_REQUIRES( slot.monitor );

    /** The slots; null for a free one. A slot's entry changes only when it is taken and when it is released. */
    std::array<std::atomic<Slot *>, SLOT_COUNT> slots{};

private:
    void serveReport();
    Slot &reported( int fd ) PB_EXCLUDES( allocateReleaseMonitor );
    void failAll() PB_EXCLUDES( allocateReleaseMonitor );

    pb::Monitor allocateReleaseMonitor;
    std::size_t nextSlot PB_GUARDED_BY( allocateReleaseMonitor ) = 0;  // where the next search begins
    std::vector<PB_INT> remap PB_GUARDED_BY( allocateReleaseMonitor ); // descriptor to slot, -1 for none
    pb::Global<UNIX_FD_OBSERVER> observer;
    pb::Global<PB_SIGNAL> abortSignal;
    pb::Global<PB_THREAD> thread;
};

} // namespace in

#endif
