/*
 * What the files of this library share: the pool of a domain, the core of a process, the timer queue.
 *
 * Locks: each pool has one monitor, which also guards the cores of its processes; the timer queue has one. The timer
 * queue's comes first: a timer fires while it is held. Nothing of other libraries is called under either, starting a
 * thread and tracing aside.
 */
#ifndef PR_PRIVATE_HPP
#define PR_PRIVATE_HPP

#include <pb/pb.hpp>
#include <pr/pr.h>
#include <tr/tr.h>
#include <vector>

PB_CLASS( PR___POOL, pr___Pool )
PB_CLASS( PR___PROCESS_CORE, pr___ProcessCore )
PB_CLASS( PR___TIMER_QUEUE, pr___TimerQueue )

namespace pr {

enum class State {
    idle,
    queued,
    running,
    runningAgain, // it runs, and is to be queued after that
    ending,       // halted, but it runs still, or its argument is on its way out
    halted
};

/** First in, first out, through the links of the cores. */
struct ProcessQueue {
    PR___PROCESS_CORE *first = nullptr;
    PR___PROCESS_CORE *last = nullptr;

    void append( PR___PROCESS_CORE &core );
    void remove( PR___PROCESS_CORE &core );
};

} // namespace pr

/** The threads and queues of a domain, which outlive it for the sake of what still holds a core. */
struct PR___POOL : PB_OBJ {
    PR___POOL( PB_INT threadCount, PB_INT priorityCount );

    const std::size_t threadMax;
    const std::size_t priorityCount;
    const pb::Ref<TR_STREAM> traceStream;

    pb::Monitor monitor{ pb::Rank::pool };
    pb::Condition due;                                             // workers sleep on it
    pb::Condition processEnded;                                    // prProcessHaltWait
    std::vector<pr::ProcessQueue> queues PB_GUARDED_BY( monitor ); // by priority
    std::size_t queued PB_GUARDED_BY( monitor ) = 0;               // processes in them
    std::size_t processes PB_GUARDED_BY( monitor ) = 0;            // processes that are not halted
    std::vector<pb::Ref<PB_THREAD>> threads PB_GUARDED_BY( monitor );
    std::size_t running PB_GUARDED_BY( monitor ) = 0;  // threads that have a process to run or to end
    std::size_t sleeping PB_GUARDED_BY( monitor ) = 0; // threads that sleep and have not been told to wake up
    std::size_t wakeUps PB_GUARDED_BY( monitor ) = 0;  // threads that have been told, but do not know yet
    bool ending PB_GUARDED_BY( monitor ) = false;
};

/** What a process is. The handle PR_PROCESS, its signalables, alertables and timers, and a last run hold it. */
struct PR___PROCESS_CORE : PB_OBJ {
    PR___PROCESS_CORE( PR___POOL *itsPool, PB_INT itsPriority, PR_PROCESS_FUNC *itsFunc, PB_OBJ *optionalArgument,
        pb::Ref<PB_STRING> itsName );

    const pb::Ref<PR___POOL> pool;
    const std::size_t priority;
    PR_PROCESS_FUNC *const func;
    const pb::Ref<PB_STRING> name;
    const pb::Ref<PB_SIGNAL> end;
    /** Does not change until the last run has ended; then belongs to the thread that ends the process. */
    pb::Ref<PB_OBJ> argument;
    pr::State state PB_GUARDED_BY( pool->monitor ) = pr::State::idle;
    /** Held by itself from the halt that came during a run to the end of that run. */
    pb::Ref<PR___PROCESS_CORE> self PB_GUARDED_BY( pool->monitor );
    /** Neighbours in the queue, which looks after them; guarded like it. */
    PR___PROCESS_CORE *next = nullptr;
    PR___PROCESS_CORE *previous = nullptr;
};

/** Tells the lock analysis what it cannot see: the lock of a core is that of the pool it is in. */
inline void pr___PoolGuards( const PR___POOL &pool, const PR___PROCESS_CORE &core ) PB_REQUIRES( pool.monitor )
    PB_TS( assert_capability( core.pool->monitor ) )
{
    (void)pool;
    (void)core;
}

/** A pool with its first thread, or null. */
PR___POOL *pr___PoolTryCreate( PB_INT threadCount, PB_INT priorityCount, PB_INT threadOption );
/** Ends the threads; what they do is finished first. */
void pr___PoolEnd( PR___POOL &pool ) PB_EXCLUDES( pool.monitor );
PR___POOL *pr___DomainPool( PR_DOMAIN *domain );
/** Puts a process into its queue; whether `due` must wake a worker, when the monitor has been left. */
[[nodiscard]] bool pr___PoolPutLocked( PR___POOL &pool, PR___PROCESS_CORE &core ) PB_REQUIRES( pool.monitor );
void pr___PoolRemoveLocked( PR___POOL &pool, PR___PROCESS_CORE &core ) PB_REQUIRES( pool.monitor );

/** What prProcessSchedule does. */
void pr___ProcessCoreSchedule( PR___PROCESS_CORE &core ) PB_EXCLUDES( core.pool->monitor );
/** The process was taken out of its queue by a worker, which is about to run it. */
void pr___ProcessCoreBeginLocked( PR___PROCESS_CORE &core ) PB_REQUIRES( core.pool->monitor );
void pr___ProcessCoreRun( PR___PROCESS_CORE &core ) PB_EXCLUDES( core.pool->monitor );
/** The run is over. When it was the last one, what is returned must be ended; otherwise it is null. */
[[nodiscard]] pb::Ref<PR___PROCESS_CORE> pr___ProcessCoreFinishLocked( PR___PROCESS_CORE &core )
    PB_REQUIRES( core.pool->monitor );
/** Drops the argument of a halted process that does not run, then tells everybody. */
void pr___ProcessCoreEnd( pb::Ref<PR___PROCESS_CORE> core );

/** The queue with its thread, or null. */
PR___TIMER_QUEUE *pr___TimerQueueTryCreate( void );
/** Ends the thread; what is still scheduled does not fire any more. */
void pr___TimerQueueEnd( PR___TIMER_QUEUE *queue );

/** A timer that schedules the core. */
PR_TIMER *pr___TimerCreate( PR___PROCESS_CORE &core );

/** The domain and the timer queue of the module, from start-up to shut-down. */
PR_DOMAIN *pr___ModuleDomain( void );
PR___TIMER_QUEUE *pr___ModuleTimerQueue( void );

/** Start-up, and phase two of shut-down, when the processes of all other modules have been halted. */
PB_BOOL pr___ModuleStartup( void );
void pr___ModuleShutdownWait( void );

#endif
