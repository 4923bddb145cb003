/*
 * Processes: functions that are run when there is something to do and never run twice at once. Scheduling one while it
 * runs makes it run again; scheduling one that waits already changes nothing. A domain is a pool of worker threads that
 * run the processes that are due, the most urgent first. Timers come from one queue, served by one thread.
 *
 * All functions may be called on any thread, also from inside a process.
 */
#ifndef PR_H
#define PR_H

#include <pb/pb.h>

PB_CLASS( PR_DOMAIN, prDomain )
PB_CLASS( PR_PROCESS, prProcess ) /* text form: its name */
PB_CLASS( PR_TIMER, prTimer )
/* Names: prDomainSort, prDomainObj, prDomainFrom, prDomainRetain, prDomainRelease, prDomainToString, prDomainCompare,
   prDomainEquals, prProcessSort, prProcessObj, prProcessFrom, prProcessRetain, prProcessRelease, prProcessToString,
   prProcessCompare, prProcessEquals, prTimerSort, prTimerObj, prTimerFrom, prTimerRetain, prTimerRelease,
   prTimerToString, prTimerCompare, prTimerEquals */

/**
 * A pool of `threadCount` threads (at least 1) for processes of `priorityCount` priorities (at least 1), spawned with
 * the thread option. Threads are started as they are needed. Null when the first one cannot be started. When the last
 * reference goes, all processes in it must have been halted (aborts otherwise); the threads end, and the release waits
 * for the runs that go on. So it aborts on one of the domain's own threads.
 */
PB_API PR_DOMAIN *prDomainTryCreate( PB_INT threadCount, PB_INT priorityCount, PB_INT threadOption );

typedef void PR_PROCESS_FUNC( PB_OBJ *argument );

/** Priorities of the module's own domain, and of a process that is created without one. 0 goes first. */
#define PR_PRIORITY_OK( priority ) ( (uint64_t)( priority ) <= 2 )
#define PR_PRIORITY_DEFAULT 1

/**
 * A process that waits to be scheduled; it runs in the module's own domain unless `optionalDomain` is given. The argument
 * is retained until the process has been halted and its last run has ended, so it may in turn hold the process: halting
 * it breaks that circle. The name is that of the function, for traces and debuggers. A priority that the domain does not
 * have aborts; without one it is PR_PRIORITY_DEFAULT, or the last when the domain has fewer.
 */
PB_API PR_PROCESS *prProcessCreateCstr(
    PR_DOMAIN *optionalDomain, PR_PROCESS_FUNC *func, PB_OBJ *optionalArgument, const char *name, PB_INT length );
PB_API PR_PROCESS *prProcessCreateWithPriorityCstr( PR_DOMAIN *optionalDomain, PB_INT priority, PR_PROCESS_FUNC *func,
    PB_OBJ *optionalArgument, const char *name, PB_INT length );

/**
 * Lets it run soon. A run begins after this call, or was about to begin and sees what was written before the call; so
 * nothing is missed, and many calls may make one run. A halted process stays where it is.
 */
PB_API void prProcessSchedule( PR_PROCESS *process );
/**
 * Final: no run begins after this call. A run that has begun goes on (it may be the one that calls). Halting again does
 * nothing. Releasing the last reference halts too. When the process does not run, its argument is released in this call.
 */
PB_API void prProcessHalt( PR_PROCESS *process );
PB_API PB_BOOL prProcessHalted( PR_PROCESS *process );
/**
 * Waits until the process is halted, does not run any more and has released its argument. Aborts inside the process
 * itself, the free function of its argument included.
 */
PB_API void prProcessHaltWait( PR_PROCESS *process );
/**
 * Fires the signalable when the process has been halted and its last run has ended: on the worker thread of that run, or
 * when it did not run, on the thread that halts it; or in this call.
 */
PB_API void prProcessEndAddSignalable( PR_PROCESS *process, PB_SIGNALABLE *signalable );
PB_API void prProcessEndDelSignalable( PR_PROCESS *process, PB_SIGNALABLE *signalable );

/** What schedules the process when it is fired, a new object. It does not keep the process alive. */
PB_API PB_SIGNALABLE *prProcessCreateSignalable( PR_PROCESS *process );
/** The same for alerts. */
PB_API PB_ALERTABLE *prProcessCreateAlertable( PR_PROCESS *process );

/** A timer that schedules the process, a new object, not scheduled. It does not keep the process alive. */
PB_API PR_TIMER *prProcessCreateTimer( PR_PROCESS *process );
/** Lets it fire once, not before that many milliseconds (at least 0) have passed; replaces what was scheduled before. */
PB_API void prTimerSchedule( PR_TIMER *timer, PB_INT milliseconds );
/** After this call, or one that replaces, the old time has scheduled the process already or never will. */
PB_API void prTimerUnschedule( PR_TIMER *timer );
/** Whether it is still to fire. False by the time that the process runs on account of it. */
PB_API PB_BOOL prTimerScheduled( PR_TIMER *timer );

/** This library's own descriptor. */
PB_API PB_MODULE *prModule( void );

#endif
