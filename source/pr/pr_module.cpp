/*
 * The module: its own domain and the timer queue, made at start-up and dropped in phase two of shut-down. Nothing is done
 * in phase one, because the modules that were started later may still wait, in their phase two, for what their processes
 * have to finish.
 */
#include <algorithm>
#include <pb/pb_module.hpp>
#include <pr/pr_private.hpp>
#include <thread>

static constinit pb::Global<PR_DOMAIN> pr___Domain;
static constinit pb::Global<PR___TIMER_QUEUE> pr___Timers;

constexpr PB_INT priorityCount = 3;
static_assert( PR_PRIORITY_OK( priorityCount - 1 ) && !PR_PRIORITY_OK( priorityCount ) );

PR_DOMAIN *pr___ModuleDomain( void )
{
    return pr___Domain.get();
}

PR___TIMER_QUEUE *pr___ModuleTimerQueue( void )
{
    return pr___Timers.get();
}

PB_BOOL pr___ModuleStartup( void )
{
    PB_INT threadCount = std::max<PB_INT>( 2, std::thread::hardware_concurrency() );
    pb::Ref<PR_DOMAIN> domain = pb::adopt( prDomainTryCreate( threadCount, priorityCount, PB_THREAD_OPTION_NORMAL ) );
    pb::Ref<PR___TIMER_QUEUE> timers = pb::adopt( domain ? pr___TimerQueueTryCreate() : nullptr );
    if ( !timers )
        return false;
    pr___Domain.set( domain.give() );
    pr___Timers.set( timers.give() );
    return true;
}

void pr___ModuleShutdownWait( void )
{
    pr___TimerQueueEnd( pr___Timers.get() ); // first: it schedules
    pr___Timers.drop();
    pr___Domain.drop();
}

PB_MODULE_DEFINE( pr, prModule, "Processes", "1.0", "pb tr", pr___ModuleStartup, nullptr, pr___ModuleShutdownWait );
/* Names: pr___module_record, pr___module_version_string, pr___module */
