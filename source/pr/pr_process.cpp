/*
 * Processes. A PR_PROCESS is the handle that its owner holds; what is scheduled and run is its core, which signalables,
 * alertables and timers hold without keeping the handle alive. When the handle goes, the core is halted.
 *
 * The state of a core changes under its pool's monitor only:
 *
 *                 idle      queued    running        runningAgain   ending   halted
 *   schedule      queued    -         runningAgain   -              -        -
 *   worker takes            running
 *   run is over                       idle           queued         ended by the worker
 *   halt          ending    ending    ending         ending         -        -
 *   ended                                                           halted
 *
 * No wake-up is lost: schedule and the end of a run meet in the monitor. Either the schedule is first, finds the process
 * running, and the end of the run puts it into the queue again; or the end is first, and the schedule finds it idle.
 * A schedule that finds it queued changes nothing, because the run that is still to begin will enter the monitor after
 * it, and so sees all that was written before it. It never runs twice at once, since only a queued process is taken, and
 * a running one gets into a queue only when its run is over.
 *
 * No run begins after halt: a run begins in the stay in the monitor that takes the process out of its queue, and halt
 * takes it out before.
 *
 * One thread ends the process, outside the monitor: the one that halts it when it does not run, else the worker after
 * the run. It drops the argument, then asserts the end signal, so neither can come before the last run is over; only then
 * the state becomes halted, which prProcessHaltWait waits for. To be there until then, a core that is halted during its
 * run holds itself. Before the halt nobody needs to: the handle does, and goes through halt before it lets go.
 */
#include <algorithm>
#include <pr/pr_private.hpp>

using pr::State;

struct PR_PROCESS : PB_OBJ {
    pb::Ref<PR___PROCESS_CORE> core;
};

namespace {

/** The processes that the thread is inside of: running one, or ending one from within another. */
struct Inside {
    const PR___PROCESS_CORE *core;
    const Inside *outer;
};
constinit thread_local const Inside *innermost = nullptr;

class InsideScope {
public:
    explicit InsideScope( const PR___PROCESS_CORE &core ) : inside{ &core, innermost } { innermost = &inside; }
    ~InsideScope() { innermost = inside.outer; }
    InsideScope( const InsideScope & ) = delete;
    InsideScope &operator=( const InsideScope & ) = delete;

private:
    Inside inside;
};

} // namespace

static bool pr___ProcessCoreIsInside( const PR___PROCESS_CORE &core )
{
    for ( const Inside *inside = innermost; inside; inside = inside->outer )
        if ( inside->core == &core )
            return true;
    return false;
}

PR___PROCESS_CORE::PR___PROCESS_CORE( PR___POOL *itsPool, PB_INT itsPriority, PR_PROCESS_FUNC *itsFunc,
    PB_OBJ *optionalArgument, pb::Ref<PB_STRING> itsName )
    : pool( pb::share( itsPool ) ), priority( static_cast<std::size_t>( itsPriority ) ), func( itsFunc ),
      name( std::move( itsName ) ), end( pb::adopt( pbSignalCreate() ) ), argument( pb::share( optionalArgument ) )
{
    pb::Lock lock( pool->monitor );
    ++pool->processes;
}

static bool pr___ProcessCoreScheduleLocked( PR___PROCESS_CORE &core ) PB_REQUIRES( core.pool->monitor )
{
    if ( core.state == State::running )
        core.state = State::runningAgain;
    if ( core.state != State::idle )
        return false;
    core.state = State::queued;
    return pr___PoolPutLocked( *core.pool, core );
}

void pr___ProcessCoreSchedule( PR___PROCESS_CORE &core )
{
    bool wake;
    {
        pb::Lock lock( core.pool->monitor );
        wake = pr___ProcessCoreScheduleLocked( core );
    }
    if ( wake )
        core.pool->due.wakeOne();
}

void pr___ProcessCoreBeginLocked( PR___PROCESS_CORE &core )
{
    core.state = State::running;
}

void pr___ProcessCoreRun( PR___PROCESS_CORE &core )
{
    InsideScope inside( core );
    core.func( core.argument.get() );
}

pb::Ref<PR___PROCESS_CORE> pr___ProcessCoreFinishLocked( PR___PROCESS_CORE &core )
{
    if ( core.state == State::ending )
        return std::move( core.self );
    bool again = core.state == State::runningAgain;
    core.state = State::idle;
    if ( again )
        (void)pr___ProcessCoreScheduleLocked( core ); // nobody to wake: the worker that is done looks next
    return {};
}

/** Halts; a process that did not run is the caller's to end. */
static pb::Ref<PR___PROCESS_CORE> pr___ProcessCoreHaltLocked( PR___PROCESS_CORE &core )
    PB_REQUIRES( core.pool->monitor )
{
    State before = core.state;
    if ( before == State::ending || before == State::halted )
        return {};
    core.state = State::ending;
    --core.pool->processes;
    if ( before == State::queued )
        pr___PoolRemoveLocked( *core.pool, core );
    if ( before == State::idle || before == State::queued )
        return pb::share( &core );
    core.self = pb::share( &core );
    return {};
}

static void pr___ProcessCoreHalt( PR___PROCESS_CORE &core )
{
    pb::Ref<PR___PROCESS_CORE> ended;
    {
        pb::Lock lock( core.pool->monitor );
        ended = pr___ProcessCoreHaltLocked( core );
    }
    if ( ended )
        pr___ProcessCoreEnd( std::move( ended ) );
}

void pr___ProcessCoreEnd( pb::Ref<PR___PROCESS_CORE> core )
{
    InsideScope inside( *core );
    pb::Ref<PR___POOL> pool = core->pool; // the core may be the last to hold it
    core->argument = nullptr;
    pbSignalAssert( core->end.get() );

    pb::Lock lock( pool->monitor );
    pr___PoolGuards( *pool, *core );
    core->state = State::halted;
    pool->processEnded.wakeAll();
    // In the monitor, so that whoever waited holds the last reference. Freeing the core does not need the monitor.
    core = nullptr;
}

static PB_STRING *pr___ProcessToStringFunc( PB_OBJ *obj )
{
    return static_cast<PR_PROCESS *>( obj )->core->name.retained();
}

static void pr___ProcessFreeFunc( PB_OBJ *obj )
{
    pr___ProcessCoreHalt( *static_cast<PR_PROCESS *>( obj )->core );
    pb::destroy<PR_PROCESS>( obj );
}

PB_CLASS_DEFINE( PR___PROCESS_CORE, pr___ProcessCore, pb::destroy<PR___PROCESS_CORE>, nullptr, nullptr );
PB_CLASS_DEFINE( PR_PROCESS, prProcess, pr___ProcessFreeFunc, nullptr, pr___ProcessToStringFunc );

static PR___POOL *pr___ProcessPool( PR_DOMAIN *optionalDomain )
{
    return pr___DomainPool( optionalDomain ? optionalDomain : pr___ModuleDomain() );
}

PR_PROCESS *prProcessCreateCstr(
    PR_DOMAIN *optionalDomain, PR_PROCESS_FUNC *func, PB_OBJ *optionalArgument, const char *name, PB_INT length )
{
    auto lowest = static_cast<PB_INT>( pr___ProcessPool( optionalDomain )->priorityCount ) - 1;
    PB_INT priority = std::min<PB_INT>( PR_PRIORITY_DEFAULT, lowest );
    return prProcessCreateWithPriorityCstr( optionalDomain, priority, func, optionalArgument, name, length );
}

PR_PROCESS *prProcessCreateWithPriorityCstr( PR_DOMAIN *optionalDomain, PB_INT priority, PR_PROCESS_FUNC *func,
    PB_OBJ *optionalArgument, const char *name, PB_INT length )
{
    PR___POOL *pool = pr___ProcessPool( optionalDomain );
    PB_ASSERT( priority >= 0 && static_cast<std::size_t>( priority ) < pool->priorityCount );
    PB_ASSERT( func );
    PB_ASSERT( name );
    pb::Ref<PB_STRING> itsName = pb::adopt( pbStringCreateFromCstr( name, length ) );
    auto core =
        pb::adopt( pb::create<PR___PROCESS_CORE>( pool, priority, func, optionalArgument, std::move( itsName ) ) );
    return pb::create<PR_PROCESS>( std::move( core ) );
}

void prProcessSchedule( PR_PROCESS *process )
{
    PB_ASSERT( process );
    pr___ProcessCoreSchedule( *process->core );
}

void prProcessHalt( PR_PROCESS *process )
{
    PB_ASSERT( process );
    pb::Ref<PR___PROCESS_CORE> core = process->core; // the argument may hold the handle
    pr___ProcessCoreHalt( *core );
}

PB_BOOL prProcessHalted( PR_PROCESS *process )
{
    PB_ASSERT( process );
    PR___PROCESS_CORE &core = *process->core;
    pb::Lock lock( core.pool->monitor );
    return core.state == State::ending || core.state == State::halted;
}

void prProcessHaltWait( PR_PROCESS *process )
{
    PB_ASSERT( process );
    PR___PROCESS_CORE &core = *process->core;
    PB_ASSERT_CONTEXT( "a process waits for its own end", !pr___ProcessCoreIsInside( core ) );
    pb::Lock lock( core.pool->monitor );
    while ( core.state != State::halted )
        core.pool->processEnded.wait( core.pool->monitor );
}

void prProcessEndAddSignalable( PR_PROCESS *process, PB_SIGNALABLE *signalable )
{
    PB_ASSERT( process );
    pbSignalAddSignalable( process->core->end.get(), signalable );
}

void prProcessEndDelSignalable( PR_PROCESS *process, PB_SIGNALABLE *signalable )
{
    PB_ASSERT( process );
    pbSignalDelSignalable( process->core->end.get(), signalable );
}

/** The function of signalables and alertables. */
static void pr___ProcessWakeFunc( PB_OBJ *core )
{
    pr___ProcessCoreSchedule( *pr___ProcessCoreFrom( core ) );
}

PB_SIGNALABLE *prProcessCreateSignalable( PR_PROCESS *process )
{
    PB_ASSERT( process );
    return pbSignalableCreate( pr___ProcessWakeFunc, process->core.get() );
}

PB_ALERTABLE *prProcessCreateAlertable( PR_PROCESS *process )
{
    PB_ASSERT( process );
    return pbAlertableCreate( pr___ProcessWakeFunc, process->core.get() );
}

PR_TIMER *prProcessCreateTimer( PR_PROCESS *process )
{
    PB_ASSERT( process );
    return pr___TimerCreate( *process->core );
}
