/*
 * The slot engine: what every kind of socket engine shares. A fixed table of slots that handles name by their index, one
 * descriptor observer, and one thread that serves all sockets of the kind; an open socket costs no thread.
 *
 * A kind derives its record from Slot and says what to watch for and how a ready descriptor is served. Locks: the
 * engine's allocate/release monitor guards which slot is taken, which descriptor belongs to it, and which slot the thread
 * is serving; each slot has a monitor of its own. The engine's thread does not hold both while it serves.
 *
 * Why a slot can be released while the thread is about to serve it:
 *
 *   thread                                        release
 *   a report of the descriptor opens              error signal, observer update under the slot's monitor: removing the
 *   looks the slot up and marks it as served        descriptor waits until its report is closed
 *   closes the report                             waits until the slot is not the one that is served
 *   serves the slot, takes the mark away          takes the slot out of the table, closes the descriptor
 *
 * When removing returns, no report of the descriptor is open or will come. The slot was marked before its report was
 * closed, so waiting for the mark to go waits until the slot has been served. The descriptor is closed after the map has
 * forgotten it, because the system then gives its number out again.
 *
 * What wakes users (signals, alerts) is fired by the thread after it has taken the mark away, so a user's function may
 * release the very slot. A record that was taken out is freed by the releasing thread when it has left every lock: its
 * alert holds what users have registered. docs/models has all this as a model that is checked.
 *
 * A forked child has the table, the descriptors and the observer of its parent, but no thread. Releasing a slot there
 * closes the child's descriptor and does nothing else: the observer is shared with the parent, which would go deaf.
 */
#ifndef IN_IMP_SLOT_ENGINE_PRIVATE_HPP
#define IN_IMP_SLOT_ENGINE_PRIVATE_HPP

#include <array>
#include <in/imp/in_imp_opening_private.hpp>
#include <in/kit/in_origin_private.hpp>
#include <in/kit/in_wakes_private.hpp>
#include <memory>
#include <pb/pb.hpp>
#include <unix/unix.h>
#include <vector>

namespace in {

constexpr std::size_t SLOT_COUNT = 16384;

/** The record of an open socket. */
struct Slot : Record {
    pb::Fd fd;
    pb::Monitor monitor{ pb::Rank::slot };
    PB_INT observerConds PB_GUARDED_BY( monitor ) = 0; // what the observer watches for

    /** What the observer is to watch for now: conditions, or 0 once the slot has failed. */
    virtual PB_INT wantedCondsLocked() const PB_REQUIRES( monitor ) = 0;
    /** The slot has failed for good; again does nothing. */
    virtual void failLocked( Wakes &wakes ) PB_REQUIRES( monitor ) = 0;
    /** Serves a report; on the engine's thread, no lock held. The slot is not released meanwhile. */
    virtual void serve( PB_INT conds, Wakes &wakes ) PB_EXCLUDES( monitor ) = 0;
};

class SlotEngine {
public:
    /** Makes the observer and starts the thread; aborts when the system refuses. */
    void start( const char *threadName, PB_THREAD_FUNC *threadFunc, PB_INT threadOption );
    /** Tells the thread to end. With several engines all are told before one is awaited. */
    void beginStop();
    /** Waits for the thread. Every slot must be free; aborts with that text otherwise. */
    void endStop( const char *stillHeld );
    /** The body of the thread. */
    void run();

    /** Whether a slot is free, and the engine has not failed; else says why not. */
    bool hasRoom( OpenFailure &failure ) PB_EXCLUDES( allocateReleaseMonitor );
    /** Takes the next free slot for a record: its index, or -1 when all are taken or the engine has failed. */
    PB_INT tryInsert( std::unique_ptr<Slot> record ) PB_EXCLUDES( allocateReleaseMonitor );
    /** Waits until the thread is done with a failed slot, closes its descriptor, and gives the record to `wakes`. */
    void release( PB_INT index, Wakes &wakes ) PB_EXCLUDES( allocateReleaseMonitor );
    /** Lets the observer watch for what the slot wants now. */
    void updateObserverLocked( Slot &slot, Wakes &wakes ) PB_REQUIRES( slot.monitor );
    /** Whether this is a child of the process in which the engine was started. */
    bool isInherited() const { return origin.isInChild(); }

    /** The slots; null for a free one. A slot's entry changes only when it is taken and when it is released. */
    std::array<std::atomic<Slot *>, SLOT_COUNT> slots{};

private:
    void serveReport();
    Slot &beginServing( int fd ) PB_EXCLUDES( allocateReleaseMonitor );
    void endServing() PB_EXCLUDES( allocateReleaseMonitor );
    void failAll() PB_EXCLUDES( allocateReleaseMonitor );

    pb::Monitor allocateReleaseMonitor{ pb::Rank::slots };
    pb::Condition servedOne;
    const Slot *served PB_GUARDED_BY( allocateReleaseMonitor ) = nullptr; // the slot that the thread is at
    std::size_t nextSlot PB_GUARDED_BY( allocateReleaseMonitor ) = 0;     // where the next search begins
    std::size_t taken PB_GUARDED_BY( allocateReleaseMonitor ) = 0;        // slots
    std::vector<PB_INT> remap PB_GUARDED_BY( allocateReleaseMonitor );    // descriptor to slot, -1 for none
    pb::Global<UNIX_FD_OBSERVER> observer;
    pb::Global<PB_SIGNAL> abortSignal;
    pb::Global<PB_THREAD> thread;
    Origin origin;
};

} // namespace in

#endif
