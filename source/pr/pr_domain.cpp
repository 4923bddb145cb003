/*
 * Domains: worker threads and the queues that they serve. Any thread schedules; the pool's monitor guards the queues, the
 * counts and the state of every process in the pool.
 *
 * No process waits while a thread could run it. A worker is running (a process), sleeping, or looking: new, told to wake
 * up, or just done. It sleeps only after it has seen the queues empty, in the same stay in the monitor. What is held at
 * the end of each stay: there are at least as many looking workers as queued processes, or nobody sleeps. Whoever puts a
 * process into a queue tells one sleeper to wake up when there are too few looking, and counts it as looking from then
 * on, so that two processes that are put in at once wake two workers. A worker that is done looks before it sleeps, and
 * a process that is to run again goes to the end of its queue, so that the others get their turn.
 *
 * Only workers start threads: a worker that takes a process starts the next one when no worker is left that looks or
 * sleeps. So scheduling never starts a thread, and a new worker inherits how urgent it is from a worker, not from a
 * thread that happens to schedule something.
 */
#include <pr/pr_private.hpp>

struct PR_DOMAIN : PB_OBJ {
    pb::Ref<PR___POOL> pool;
};

/** The pool that the thread works for, if any; never followed. */
static constinit thread_local const PR___POOL *pr___WorkerPool = nullptr;

static void pr___DomainFreeFunc( PB_OBJ *obj )
{
    pr___PoolEnd( *static_cast<PR_DOMAIN *>( obj )->pool );
    pb::destroy<PR_DOMAIN>( obj );
}

PB_CLASS_DEFINE( PR___POOL, pr___Pool, pb::destroy<PR___POOL>, nullptr, nullptr );
PB_CLASS_DEFINE( PR_DOMAIN, prDomain, pr___DomainFreeFunc, nullptr, nullptr );

void pr::ProcessQueue::append( PR___PROCESS_CORE &core )
{
    core.previous = last;
    core.next = nullptr;
    ( last ? last->next : first ) = &core;
    last = &core;
}

void pr::ProcessQueue::remove( PR___PROCESS_CORE &core )
{
    ( core.previous ? core.previous->next : first ) = core.next;
    ( core.next ? core.next->previous : last ) = core.previous;
}

PR___POOL::PR___POOL( PB_INT threadCount, PB_INT itsPriorityCount )
    : threadMax( static_cast<std::size_t>( threadCount ) ),
      priorityCount( static_cast<std::size_t>( itsPriorityCount ) ),
      traceStream( pb::adopt( trStreamCreateCstr( "PR_DOMAIN", -1 ) ) ), queues( priorityCount )
{}

bool pr___PoolPutLocked( PR___POOL &pool, PR___PROCESS_CORE &core )
{
    pool.queues[core.priority].append( core );
    ++pool.queued;
    std::size_t looking = pool.threads.size() - pool.running - pool.sleeping;
    if ( pool.queued <= looking || pool.sleeping == 0 )
        return false;
    --pool.sleeping;
    ++pool.wakeUps;
    return true;
}

void pr___PoolRemoveLocked( PR___POOL &pool, PR___PROCESS_CORE &core )
{
    pool.queues[core.priority].remove( core );
    --pool.queued;
}

static void pr___PoolSleepLocked( PR___POOL &pool ) PB_REQUIRES( pool.monitor )
{
    ++pool.sleeping;
    while ( !pool.wakeUps && !pool.ending )
        pool.due.wait( pool.monitor );
    if ( pool.wakeUps )
        --pool.wakeUps; // whoever told us has counted this thread as awake
}

static void pr___PoolWorkerFunc( PB_OBJ *argument );

/** Starts a thread under the monitor, so that it is counted before it looks; this happens at most threadMax times. */
static bool pr___PoolTryStartThreadLocked( PR___POOL &pool, PB_INT option ) PB_REQUIRES( pool.monitor )
{
    pb::Ref<PB_THREAD> thread =
        pb::adopt( pbThreadTrySpawnCstr( "pr worker", -1, pr___PoolWorkerFunc, &pool, option ) );
    if ( !thread ) {
        trStreamTextCstr( pool.traceStream.get(), "Cannot start another thread", -1 );
        return false;
    }
    pool.threads.push_back( std::move( thread ) );
    return true;
}

/** The most urgent process that is due; waits for one. Null when the domain ends. */
static PR___PROCESS_CORE *pr___PoolTakeLocked( PR___POOL &pool ) PB_REQUIRES( pool.monitor )
{
    while ( pool.queued == 0 ) {
        if ( pool.ending )
            return nullptr;
        pr___PoolSleepLocked( pool );
    }
    auto queue = pool.queues.begin();
    while ( !queue->first )
        ++queue;
    PR___PROCESS_CORE &core = *queue->first;
    pr___PoolRemoveLocked( pool, core );
    pr___PoolGuards( pool, core );
    pr___ProcessCoreBeginLocked( core );
    ++pool.running;
    // When it fails the processes wait for the threads that there are, and the next one to be taken tries again.
    if ( pool.running == pool.threads.size() && pool.running < pool.threadMax )
        (void)pr___PoolTryStartThreadLocked( pool, PB_THREAD_OPTION_NORMAL );
    return &core;
}

/** Files the process that has run, if any, and takes the next: one stay in the monitor between two runs. */
static PR___PROCESS_CORE *pr___PoolNext( PR___POOL &pool, PR___PROCESS_CORE *ran )
{
    pb::Ref<PR___PROCESS_CORE> ended;
    {
        pb::Lock lock( pool.monitor );
        if ( ran ) {
            pr___PoolGuards( pool, *ran );
            --pool.running;
            ended = pr___ProcessCoreFinishLocked( *ran );
        }
        if ( !ended )
            return pr___PoolTakeLocked( pool );
        ++pool.running; // still: the argument's free function may take its time
    }
    pr___ProcessCoreEnd( std::move( ended ) );
    pb::Lock lock( pool.monitor );
    --pool.running;
    return pr___PoolTakeLocked( pool );
}

static void pr___PoolWorkerFunc( PB_OBJ *argument )
{
    PR___POOL &pool = *pr___PoolFrom( argument );
    pr___WorkerPool = &pool;
    PR___PROCESS_CORE *core = nullptr;
    while ( ( core = pr___PoolNext( pool, core ) ) )
        pr___ProcessCoreRun( *core );
}

PR___POOL *pr___PoolTryCreate( PB_INT threadCount, PB_INT priorityCount, PB_INT threadOption )
{
    pb::Ref<PR___POOL> pool = pb::adopt( pb::create<PR___POOL>( threadCount, priorityCount ) );
    pb::Lock lock( pool->monitor );
    return pr___PoolTryStartThreadLocked( *pool, threadOption ) ? pool.retained() : nullptr;
}

/** Lets the threads come to their end; they are the caller's to join. */
static std::vector<pb::Ref<PB_THREAD>> pr___PoolTakeThreads( PR___POOL &pool )
{
    pb::Lock lock( pool.monitor );
    PB_ASSERT_CONTEXT( "a domain was released that has processes which are not halted", pool.processes == 0 );
    pool.ending = true;
    return std::move( pool.threads );
}

void pr___PoolEnd( PR___POOL &pool )
{
    PB_ASSERT_CONTEXT( "a domain was released by one of its own threads", pr___WorkerPool != &pool );
    auto threads = pr___PoolTakeThreads( pool );
    pool.due.wakeAll();
    for ( const pb::Ref<PB_THREAD> &thread : threads )
        pbThreadJoin( thread.get() );
}

PR_DOMAIN *prDomainTryCreate( PB_INT threadCount, PB_INT priorityCount, PB_INT threadOption )
{
    PB_ASSERT( threadCount >= 1 );
    PB_ASSERT( priorityCount >= 1 );
    PB_ASSERT( PB_THREAD_OPTION_OK( threadOption ) );
    auto pool = pb::adopt( pr___PoolTryCreate( threadCount, priorityCount, threadOption ) );
    return pool ? pb::create<PR_DOMAIN>( std::move( pool ) ) : nullptr;
}

PR___POOL *pr___DomainPool( PR_DOMAIN *domain )
{
    return domain->pool.get();
}
