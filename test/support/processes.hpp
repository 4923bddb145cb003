/* Tracing and processes for test programs that start their modules by hand. */
#ifndef TEST_PROCESSES_HPP
#define TEST_PROCESSES_HPP

#include <pr/pr_private.hpp>
#include <support/test_support.h>
#include <tr/tr_private.h>

namespace test {

/**
 * Has as many processes run side by side as the domain has threads, so that all its threads are started: one that is
 * started during a test would look like an object that is left over. Whether they all met.
 */
inline bool startAllThreads( PR_DOMAIN *optionalDomain, std::size_t count )
{
    auto meet = []( PB_OBJ *barrier ) {
        pbBarrierUnblock( pbBarrierFrom( barrier ) );
        pbBarrierPassTimed( pbBarrierFrom( barrier ), 20'000 );
    };
    auto barrier = pb::adopt( pbBarrierCreate( static_cast<PB_INT>( count ) ) );
    std::vector<pb::Ref<PR_PROCESS>> processes( count );
    for ( auto &process : processes ) {
        process = pb::adopt( prProcessCreateCstr( optionalDomain, meet, pb::obj( barrier.get() ), "meet", -1 ) );
        prProcessSchedule( process.get() );
    }
    bool met = pbBarrierPassTimed( barrier.get(), 20'000 );
    for ( auto &process : processes ) {
        prProcessHalt( process.get() );
        prProcessHaltWait( process.get() );
    }
    return met;
}

inline void startThreadsOfProcesses()
{
    PB_ASSERT( startAllThreads( nullptr, std::max( 2u, std::thread::hardware_concurrency() ) ) );
}
/** Has the threads of processes started behind the modules; call it through a namespace-scope variable. */
inline int addThreads()
{
    return addFixture( 1, { startThreadsOfProcesses, [] {} } );
}

/** For the start and stop of a fixture. */
inline void startProcesses()
{
    PB_ASSERT( tr___ModuleStartup() );
    PB_ASSERT( pr___ModuleStartup() );
    startThreadsOfProcesses();
}
inline void stopProcesses()
{
    pr___ModuleShutdownWait();
    tr___ModuleShutdown();
}

} // namespace test

#endif
