/*
 * Synchronisation. Change is told by signals and alerts, never by callbacks into user code under a lock.
 *
 * A signal goes from clear to asserted once. An alert is set while something waits, and unset when not. What wakes up is a
 * signalable or an alertable: it may be fired from any thread, must not block, and is fired outside every lock of the
 * signal or alert. Adding a waiter twice is adding it once. After a Del call returns, the waiter may still be inside a
 * firing that began before.
 *
 * Where a service has a signal or an alert, the comment there says which thread fires it. One that is asserted or set
 * already when a waiter is added fires it at once, in the call, on the calling thread.
 *
 * A signal or alert holds a reference to each of its waiters; an asserted signal holds none. A waiter holds its argument.
 * So a waiter whose argument is the object that it is added to is a circle of references: neither is freed before the
 * waiter is deleted, or its signal asserted.
 *
 * A program with a loop of its own (poll, epoll, libuv, GLib) takes waiters that have a descriptor: it polls that for
 * reading, level-triggered, and no function of it runs on a thread of the libraries. The descriptor belongs to the waiter
 * and is closed with its last reference; signals and alerts hold references too. So the loop forgets the descriptor first,
 * deletes the waiter where it was added, and then releases it; it never closes the descriptor. A forked child shares it
 * with its parent: there the libraries leave it alone, but for closing it, and the child must neither read it nor write.
 */
#ifndef PB_SYNC_H
#define PB_SYNC_H

#include <pb/pb_obj.h>

PB_CLASS( PB_MONITOR, pbMonitor )
/* Names: pbMonitorSort, pbMonitorObj, pbMonitorFrom, pbMonitorRetain, pbMonitorRelease, pbMonitorToString,
   pbMonitorCompare, pbMonitorEquals */

/** A lock. Not recursive: a thread that enters again, or leaves what it does not hold, aborts. */
PB_API PB_MONITOR *pbMonitorCreate( void );
PB_API void pbMonitorEnter( PB_MONITOR *monitor );
PB_API void pbMonitorLeave( PB_MONITOR *monitor );

PB_CLASS( PB_REGION, pbRegion )
/* Names: pbRegionSort, pbRegionObj, pbRegionFrom, pbRegionRetain, pbRegionRelease, pbRegionToString, pbRegionCompare,
   pbRegionEquals */

/** A shared/exclusive lock; waiting writers go before new readers. Not recursive, in neither mode. */
PB_API PB_REGION *pbRegionCreate( void );
PB_API void pbRegionEnterShared( PB_REGION *region );
PB_API void pbRegionLeaveShared( PB_REGION *region );
PB_API void pbRegionEnterExclusive( PB_REGION *region );
PB_API void pbRegionLeaveExclusive( PB_REGION *region );

PB_CLASS( PB_BARRIER, pbBarrier )
/* Names: pbBarrierSort, pbBarrierObj, pbBarrierFrom, pbBarrierRetain, pbBarrierRelease, pbBarrierToString,
   pbBarrierCompare, pbBarrierEquals */

/** A barrier with a number of blockers, at least 0. It can be passed while there are none. */
PB_API PB_BARRIER *pbBarrierCreate( PB_INT blockers );
/** Adds a blocker. */
PB_API void pbBarrierBlock( PB_BARRIER *barrier );
/** Takes a blocker away. The last one wakes all waiting threads. Without blockers it does nothing. */
PB_API void pbBarrierUnblock( PB_BARRIER *barrier );
PB_API PB_BOOL pbBarrierBlocked( PB_BARRIER *barrier );
/** Waits until there are no blockers. */
PB_API void pbBarrierPass( PB_BARRIER *barrier );
/** Waits at most that many milliseconds; whether it was passed. */
PB_API PB_BOOL pbBarrierPassTimed( PB_BARRIER *barrier, PB_INT milliseconds );

PB_CLASS( PB_SIGNALABLE, pbSignalable )
/* Names: pbSignalableSort, pbSignalableObj, pbSignalableFrom, pbSignalableRetain, pbSignalableRelease,
   pbSignalableToString, pbSignalableCompare, pbSignalableEquals */

/** A function that a signalable calls with its argument, on the thread that fires it; must not block. */
typedef void PB_SIGNALABLE_FUNC( PB_OBJ *argument );
/** A signalable that calls a function; `optionalArgument` is retained. */
PB_API PB_SIGNALABLE *pbSignalableCreate( PB_SIGNALABLE_FUNC *func, PB_OBJ *optionalArgument );
/** A signalable that unblocks a barrier once each time it is fired. */
PB_API PB_SIGNALABLE *pbSignalableCreateBarrier( PB_BARRIER *barrier );
/**
 * A signalable with a descriptor, which is readable from the first time it is fired: for a signal, from its assertion
 * for good. Deleting the signalable changes nothing then. To use it for another signal, such as a service's next
 * update, read the descriptor's eight bytes, which makes it unreadable again; then add the signalable, and only then
 * look at what the signal stands for. Null when the system refuses; errno says why.
 */
PB_API PB_SIGNALABLE *pbSignalableTryCreateDescriptor( void );
/** The descriptor, lent. It is not blocking, and closed on exec. Aborts for a signalable that has none. */
PB_API int pbSignalableDescriptor( PB_SIGNALABLE *signalable );
/** Fires it. */
PB_API void pbSignalableSignal( PB_SIGNALABLE *signalable );

PB_CLASS( PB_SIGNAL, pbSignal )
/* Names: pbSignalSort, pbSignalObj, pbSignalFrom, pbSignalRetain, pbSignalRelease, pbSignalToString, pbSignalCompare,
   pbSignalEquals */

/** A clear signal. */
PB_API PB_SIGNAL *pbSignalCreate( void );
/** Asserts it and fires all waiters, each once; asserting again does nothing. */
PB_API void pbSignalAssert( PB_SIGNAL *signal );
PB_API PB_BOOL pbSignalAsserted( PB_SIGNAL *signal );
PB_API void pbSignalAddSignalable( PB_SIGNAL *signal, PB_SIGNALABLE *signalable );
PB_API void pbSignalDelSignalable( PB_SIGNAL *signal, PB_SIGNALABLE *signalable );
/** The signal takes one blocker away from the barrier when it is asserted. */
PB_API void pbSignalAddBarrier( PB_SIGNAL *signal, PB_BARRIER *barrier );
PB_API void pbSignalDelBarrier( PB_SIGNAL *signal, PB_BARRIER *barrier );
/** Waits until the signal is asserted. */
PB_API void pbSignalWait( PB_SIGNAL *signal );

PB_CLASS( PB_ALERTABLE, pbAlertable )
/* Names: pbAlertableSort, pbAlertableObj, pbAlertableFrom, pbAlertableRetain, pbAlertableRelease,
   pbAlertableToString, pbAlertableCompare, pbAlertableEquals */

/** A function that an alertable calls with its argument, on the thread that fires it; must not block. */
typedef void PB_ALERTABLE_FUNC( PB_OBJ *argument );
PB_API PB_ALERTABLE *pbAlertableCreate( PB_ALERTABLE_FUNC *func, PB_OBJ *optionalArgument );
/** An alertable that unblocks a barrier once each time it is fired. */
PB_API PB_ALERTABLE *pbAlertableCreateBarrier( PB_BARRIER *barrier );
/**
 * An alertable with a descriptor, which is readable while any of the alerts is set that it was added to: one serves as
 * many channels as one likes. Do not read it. It ceases to be readable when the alerts are unset, as a channel's is
 * when its last datagram, or end, is taken, or when the alertable is deleted from them; before that call returns,
 * unless another thread is just about to change one of these alerts. Then the descriptor may for a moment be readable
 * without need: a caller that finds nothing to take polls again. Null when the system refuses; errno says why.
 */
PB_API PB_ALERTABLE *pbAlertableTryCreateDescriptor( void );
/** The descriptor, lent. It is not blocking, and closed on exec. Aborts for an alertable that has none. */
PB_API int pbAlertableDescriptor( PB_ALERTABLE *alertable );
/** Fires it. One with a descriptor goes by its alerts alone, so this changes nothing there. */
PB_API void pbAlertableAlert( PB_ALERTABLE *alertable );

PB_CLASS( PB_ALERT, pbAlert )
/* Names: pbAlertSort, pbAlertObj, pbAlertFrom, pbAlertRetain, pbAlertRelease, pbAlertToString, pbAlertCompare,
   pbAlertEquals */

/** An alert, unset. */
PB_API PB_ALERT *pbAlertCreate( void );
/** Sets it; fires all waiters when it was unset. They stay registered. */
PB_API void pbAlertSet( PB_ALERT *alert );
PB_API void pbAlertUnset( PB_ALERT *alert );
/**
 * pbAlertSet in two halves, for callers that change the alert under a lock of their own. The first half sets the alert
 * and returns what is to be fired, or null. The second half fires that, once, and releases it; call it after leaving
 * the lock.
 */
PB_API PB_OBJ *pbAlertSetDeferred( PB_ALERT *alert );
PB_API void pbAlertFireDeferred( PB_OBJ *optionalDeferred );
PB_API PB_BOOL pbAlertIsSet( PB_ALERT *alert );
PB_API void pbAlertAddAlertable( PB_ALERT *alert, PB_ALERTABLE *alertable );
PB_API void pbAlertDelAlertable( PB_ALERT *alert, PB_ALERTABLE *alertable );

/**
 * How many times the process has come out of a fork since this library was loaded. Whoever remembers it can tell later
 * whether it is in a child, which has its parent's memory and descriptors but none of its threads, and where a lock that
 * another thread held stays locked for good.
 */
PB_API PB_INT pbForkCount( void );

PB_CLASS( PB_THREAD, pbThread )
/* Names: pbThreadSort, pbThreadObj, pbThreadFrom, pbThreadRetain, pbThreadRelease, pbThreadToString, pbThreadCompare,
   pbThreadEquals */

typedef void PB_THREAD_FUNC( PB_OBJ *argument );

/**
 * How urgent a thread is, from 0 (background) over 2 (as its creator) to 4 (serves sockets or audio). Applied as far as
 * the host permits: without the right to raise a thread's priority (CAP_SYS_NICE), 3 and 4 run like 2.
 */
#define PB_THREAD_OPTION_OK( option ) ( (uint64_t)( option ) <= 4 )
#define PB_THREAD_OPTION_NORMAL 2

/**
 * Starts a thread that runs `func`; `optionalArgument` is retained until it ends. All signals are blocked in it, except
 * those that a thread causes itself (SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGABRT, SIGSYS) and SIGPROF, so that a
 * crash reporter and a profiler of the host see it. The name may be longer than what the kernel keeps (15 bytes; the beginning). Null when the system refuses.
 * The thread must be joined or detached before the last reference goes (aborts otherwise).
 */
PB_API PB_THREAD *pbThreadTrySpawnCstr(
    const char *name, PB_INT length, PB_THREAD_FUNC *func, PB_OBJ *optionalArgument, PB_INT option );
/** Waits for the end of the thread. Joining again returns at once; joining oneself aborts. */
PB_API void pbThreadJoin( PB_THREAD *thread );
/** Gives up waiting for the thread, which ends by itself or never. Like joining when it has been joined. */
PB_API void pbThreadDetach( PB_THREAD *thread );

#endif
