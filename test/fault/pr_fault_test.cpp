/* The ladder under domains: a thread that cannot be started must not hold up a process that another could run. */
#include <fault/fault.h>
#include <pr/pr.h>
#include <support/test_support.h>

namespace {

void unblock( PB_OBJ *barrier )
{
    pbBarrierUnblock( pbBarrierFrom( barrier ) );
}

const char *runProcesses()
{
    pb::Ref<PR_DOMAIN> domain = pb::adopt( prDomainTryCreate( 3, 1, PB_THREAD_OPTION_NORMAL ) );
    if ( !domain )
        return "null";
    std::array<pb::Ref<PR_PROCESS>, 3> processes;
    pb::Ref<PB_BARRIER> barrier = pb::adopt( pbBarrierCreate( PB_INT( processes.size() ) ) );
    for ( pb::Ref<PR_PROCESS> &process : processes ) {
        process = pb::adopt( prProcessCreateCstr( domain.get(), unblock, pb::obj( barrier.get() ), "unblock", -1 ) );
        prProcessSchedule( process.get() );
    }
    pbBarrierPass( barrier.get() );
    for ( pb::Ref<PR_PROCESS> &process : processes ) {
        prProcessHalt( process.get() );
        prProcessHaltWait( process.get() );
    }
    return "ran";
}

TEST( FaultDomain, RunsEveryProcessWithTheThreadsThatItGets )
{
    fault::ladder( { "ran", "null" }, [] {
        fault::Armed armed;
        return runProcesses();
    } );
}

} // namespace
