/* Threads: what a new one finds, and the rules of joining. */
#include "race.h"
#include <csignal>
#include <sys/resource.h>

namespace {

/** What the latest probe thread found; read after it was joined. */
struct Finding {
    char name[16] = "";
    sigset_t blocked;
    int niceValue = 0;
} finding;

void probe( PB_OBJ * )
{
    pthread_getname_np( pthread_self(), finding.name, sizeof finding.name );
    pthread_sigmask( SIG_BLOCK, nullptr, &finding.blocked );
    finding.niceValue = getpriority( PRIO_PROCESS, 0 );
}

void runProbe( const char *name, PB_INT length, PB_INT option )
{
    pb::Ref<PB_THREAD> thread = pb::adopt( pbThreadTrySpawnCstr( name, length, probe, nullptr, option ) );
    ASSERT_TRUE( thread );
    pbThreadJoin( thread.get() );
}

pb::Ref<PB_THREAD> spawnCounter( test::Counter *counter )
{
    return pb::adopt( pbThreadTrySpawnCstr( "counter", -1, test::Counter::fire, counter, PB_THREAD_OPTION_NORMAL ) );
}

TEST( Thread, NameIsCutAndSignalsAreBlocked )
{
    runProbe( "in___ImpTcpUnixChannelThreadFunc()", -1, 2 );
    EXPECT_STREQ( finding.name, "in___ImpTcpUnix" );
    for ( int number : { SIGHUP, SIGPIPE, SIGTERM, SIGCHLD, SIGRTMAX } )
        EXPECT_TRUE( sigismember( &finding.blocked, number ) ) << number;
    for ( int number : { SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT, SIGPROF } )
        EXPECT_FALSE( sigismember( &finding.blocked, number ) ) << number;
    sigset_t own;
    pthread_sigmask( SIG_BLOCK, nullptr, &own );
    EXPECT_FALSE( sigismember( &own, SIGUSR1 ) );
}

TEST( Thread, OptionMovesThePriority )
{
    int own = getpriority( PRIO_PROCESS, 0 ), option = 0;
    for ( int step : { 10, 5, 0, -2, -5 } ) {
        runProbe( "priority", -1, option++ );
        bool refused = step < 0 && finding.niceValue == own; // raising takes a right that is not always there
        EXPECT_TRUE( refused || finding.niceValue == std::clamp( own + step, -20, 19 ) ) << step;
    }
}

TEST( Thread, ArgumentIsFreedBeforeAnyJoinReturns )
{
    bool freed = false;
    pb::Ref<test::Counter> counter = pb::adopt( pb::create<test::Counter>() );
    counter->freed = &freed;
    pb::Ref<PB_THREAD> thread = spawnCounter( counter.get() );
    counter = nullptr;
    test::onThreads( 4, [&]( int ) {
        pbThreadJoin( thread.get() );
        EXPECT_TRUE( freed ); // none of them returns before the end
    } );
    pbThreadJoin( thread.get() );
}

/** A thread that was detached outlives its object, and frees its argument when it ends. */
TEST( Thread, DetachedEndsByItself )
{
    std::atomic<bool> ended = false;
    pb::Ref<PB_BARRIER> barrier = pb::adopt( pbBarrierCreate( 1 ) );
    pb::Ref<test::Counter> counter = pb::adopt( pb::create<test::Counter>() );
    counter->reaction = [&] {
        pbBarrierPass( barrier.get() );
        ended = true;
    };
    pb::Ref<PB_THREAD> thread = spawnCounter( counter.get() );
    counter = nullptr;
    pbThreadDetach( thread.get() );
    pbThreadDetach( thread.get() );
    pbThreadJoin( thread.get() ); // there is nobody to wait for
    EXPECT_FALSE( ended );
    thread = nullptr;
    pbBarrierUnblock( barrier.get() );
    EXPECT_TRUE( test::eventually( [&] { return ended.load(); } ) );
}

TEST( ThreadDeathTest, Misuse )
{
    EXPECT_DEATH( pbThreadRelease( spawnCounter( pb::create<test::Counter>() ).give() ), "!running" );
    auto joinOneself = [] {
        static pb::Global<PB_THREAD> self;
        pb::Ref<PB_BARRIER> barrier = pb::adopt( pbBarrierCreate( 1 ) );
        test::Counter *counter = pb::create<test::Counter>();
        counter->reaction = [&] {
            pbBarrierPass( barrier.get() );
            pbThreadJoin( self.get() );
        };
        self.set( spawnCounter( counter ).give() );
        pbBarrierUnblock( barrier.get() );
        pbThreadJoin( self.get() ); // must not keep the thread from finding its mistake
    };
    EXPECT_DEATH( joinOneself(), "thread != ownThread" );
}

} // namespace
