/* Monitors, regions, barriers, signals and alerts: what they do, and that nothing is lost when eight threads meet. */
#include "race.h"
#include <support/clock.hpp>

namespace {

constexpr int threadCount = 8;
constexpr PB_INT tooLong = 60000; // what would otherwise hang fails after that

pb::Ref<PB_BARRIER> barrier( PB_INT blockers )
{
    return pb::adopt( pbBarrierCreate( blockers ) );
}

pb::Ref<test::Counter> counter()
{
    return pb::adopt( pb::create<test::Counter>() );
}

TEST( MonitorDeathTest, Misuse )
{
    pb::Ref<PB_MONITOR> monitor = pb::adopt( pbMonitorCreate() );
    auto enter = [&] { pbMonitorEnter( monitor.get() ); };
    auto leave = [&] { pbMonitorLeave( monitor.get() ); };
    EXPECT_DEATH( ( enter(), enter() ), "monitor: enter" );
    EXPECT_DEATH( ( enter(), std::thread( leave ).join() ), "monitor: leave" );
}

TEST( LockOrderDeathTest, NamesBothLocks )
{
    pb::Monitor outer( pb::Rank::store ), inner( pb::Rank::slot ), sameAsInner( pb::Rank::slot );
    auto enterBoth = []( pb::Monitor &first, pb::Monitor &second ) {
        pb::Lock lock( first );
        pb::Lock otherLock( second );
    };
    enterBoth( outer, inner );
    enterBoth( outer, inner ); // what was left is not held
    EXPECT_DEATH( enterBoth( inner, outer ), "lock order: entering store while holding slot" );
    EXPECT_DEATH( enterBoth( inner, sameAsInner ), "lock order: entering slot while holding slot" );
}

TEST( Barrier, CountsItsBlockers )
{
    struct {
        PB_INT blockers;
        const char *steps; // b: block, u: unblock
        bool blocked;
    } const rows[] = { { 0, "", false }, { 1, "", true }, { 2, "u", true }, { 2, "uu", false }, { 0, "b", true },
        { 0, "ub", true }, { 1, "uuub", true }, { 1, "buu", false } };
    for ( const auto &row : rows ) {
        auto gate = barrier( row.blockers );
        for ( const char *step = row.steps; *step; ++step )
            ( *step == 'b' ? pbBarrierBlock : pbBarrierUnblock )( gate.get() );
        EXPECT_EQ( pbBarrierBlocked( gate.get() ), row.blocked ) << row.blockers << row.steps;
        for ( PB_INT time : { -1, 0, 1 } )
            EXPECT_EQ( pbBarrierPassTimed( gate.get(), time ), !row.blocked ) << row.blockers << row.steps;
    }
    auto before = std::chrono::steady_clock::now(); // more than a second: the fraction carries over or not
    EXPECT_FALSE( pbBarrierPassTimed( barrier( 1 ).get(), 1050 ) );
    EXPECT_GE( std::chrono::steady_clock::now() - before, std::chrono::milliseconds( 1050 ) );
}

TEST( Barrier, NobodyIsLeftBehind )
{
    auto gate = barrier( 0 );
    auto act = [&]( int index ) {
        if ( index % 4 == 1 )
            return pbBarrierPass( gate.get() );
        if ( index % 4 == 3 ) {
            EXPECT_TRUE( pbBarrierPassTimed( gate.get(), tooLong ) );
            return;
        }
        pbBarrierBlock( gate.get() );
        (void)pbBarrierPassTimed( gate.get(), 0 );
        pbBarrierUnblock( gate.get() );
    };
    test::race(
        300, threadCount, [] {}, act, [&] { EXPECT_FALSE( pbBarrierBlocked( gate.get() ) ); } );
}

TEST( Barrier, TimeLimitGoesByTheClockThatATestMoves )
{
    constexpr PB_INT fiveMinutes = 300'000;
    auto gate = barrier( 1 );
    std::atomic<int> passed = 0, refused = 0;
    test::MovedClock clock;
    std::vector<std::jthread> threads;
    for ( PB_INT limit : { fiveMinutes, fiveMinutes + 1, fiveMinutes + 2 } )
        threads.emplace_back( [&, limit] { ++( pbBarrierPassTimed( gate.get(), limit ) ? passed : refused ); } );
    ASSERT_TRUE( clock.asleep( 3 ) );
    clock.move( fiveMinutes - 1 );
    clock.move( 1 ); // the first one's time has come, and nobody else's
    EXPECT_TRUE( clock.asleep( 2 ) && test::eventually( [&] { return refused == 1; } ) );
    pbBarrierUnblock( gate.get() );
    threads.clear(); // waits for them
    EXPECT_EQ( passed, 2 );
}

// Who opens it borrows the waiter's only reference, and the waiter lets go as soon as it wakes up.
TEST( BarrierAndSignal, MayBeReleasedByWhoPassed )
{
    PB_BARRIER *gate = nullptr;
    PB_SIGNAL *signal = nullptr;
    int round = 0;
    auto before = [&] { gate = pbBarrierCreate( 1 ), signal = pbSignalCreate(); };
    auto act = [&]( int index ) {
        if ( index )
            return pbBarrierUnblock( gate ), pbSignalAssert( signal );
        pbBarrierPass( gate );
        pbBarrierRelease( gate );
        if ( ++round % 2 )
            pbSignalWait( signal );
        while ( !pbSignalAsserted( signal ) )
            std::this_thread::yield();
        pbSignalRelease( signal );
    };
    test::race( 1000, 2, before, act, [] {} );
}

TEST( Signal, FiresEachWaiterOnceAndLetsItGo )
{
    pb::Ref<PB_SIGNAL> signal = pb::adopt( pbSignalCreate() );
    auto twice = counter(), removed = counter(), late = counter();
    auto waiterOf = []( auto &it ) { return pb::adopt( pbSignalableCreate( test::Counter::fire, it.get() ) ); };
    auto twiceWaiter = waiterOf( twice ), removedWaiter = waiterOf( removed ), lateWaiter = waiterOf( late );
    auto gate = barrier( 2 ), otherGate = barrier( 1 );
    auto gateWaiter = pb::adopt( pbSignalableCreateBarrier( gate.get() ) );
    for ( int round = 0; round < 2; ++round ) {
        for ( auto *waiter : { &twiceWaiter, &removedWaiter, &gateWaiter } )
            pbSignalAddSignalable( signal.get(), waiter->get() );
        pbSignalAddBarrier( signal.get(), gate.get() );
        pbSignalAddBarrier( signal.get(), otherGate.get() );
    }
    pbSignalDelSignalable( signal.get(), removedWaiter.get() );
    pbSignalDelBarrier( signal.get(), otherGate.get() );
    bool freed = false;
    twice->freed = &freed;
    twice->reaction = [&] {
        EXPECT_TRUE( pbSignalAsserted( signal.get() ) ); // no lock of the signal is held here
        pbSignalDelSignalable( signal.get(), twiceWaiter.get() );
        twiceWaiter = nullptr;
    };
    pbSignalAssert( signal.get() );
    pbSignalAssert( signal.get() );
    EXPECT_EQ( twice->fired, 1 );
    twice = nullptr;
    EXPECT_TRUE( freed );
    EXPECT_EQ( removed->fired, 0 );
    EXPECT_TRUE( pbBarrierBlocked( otherGate.get() ) );
    EXPECT_FALSE( pbBarrierBlocked( gate.get() ) ); // 2, less one as a waiter and one through the signalable
    pbSignalAddSignalable( signal.get(), lateWaiter.get() );
    EXPECT_EQ( late->fired, 1 );
}

TEST( Signal, AddedWaitersAreFiredOnceWhoeverComesFirst )
{
    pb::Ref<PB_SIGNAL> signal;
    pb::Ref<test::Counter> counters[threadCount];
    auto before = [&] {
        signal = pb::adopt( pbSignalCreate() );
        for ( auto &each : counters )
            each = counter();
    };
    auto act = [&]( int index ) {
        if ( index == 0 )
            return pbSignalAssert( signal.get() );
        auto waiter = pb::adopt( pbSignalableCreate( test::Counter::fire, counters[index].get() ) );
        pbSignalAddSignalable( signal.get(), waiter.get() );
        if ( index % 2 )
            return pbSignalDelSignalable( signal.get(), waiter.get() );
        pbSignalWait( signal.get() );
    };
    test::race( 500, threadCount, before, act, [&] {
        for ( int index = 1; index < threadCount; ++index ) {
            int fired = counters[index]->fired;
            EXPECT_TRUE( fired == 1 || ( fired == 0 && index % 2 ) ) << index << " was fired " << fired;
        }
    } );
}

TEST( Alert, FiresWhenItGetsSetAndKeepsItsWaiters )
{
    pb::Ref<PB_ALERT> alert = pb::adopt( pbAlertCreate() );
    auto heard = counter();
    auto gate = barrier( 2 );
    pb::Ref<PB_ALERTABLE> alertable = pb::adopt( pbAlertableCreate( test::Counter::fire, heard.get() ) );
    pb::Ref<PB_ALERTABLE> gateAlertable = pb::adopt( pbAlertableCreateBarrier( gate.get() ) );
    struct {
        char step; // a: add the waiter, d: take it away, s: set, u: unset
        int firedAfter;
    } const rows[] = { { 'a', 0 }, { 'a', 0 }, { 's', 1 }, { 's', 1 }, { 'u', 1 }, { 's', 2 }, { 'a', 3 }, { 'd', 3 },
        { 'd', 3 }, { 'u', 3 }, { 's', 3 }, { 'a', 4 } };
    pbAlertAddAlertable( alert.get(), gateAlertable.get() );
    for ( const auto &row : rows ) {
        if ( row.step == 'a' || row.step == 'd' )
            ( row.step == 'a' ? pbAlertAddAlertable : pbAlertDelAlertable )( alert.get(), alertable.get() );
        else
            ( row.step == 's' ? pbAlertSet : pbAlertUnset )( alert.get() );
        EXPECT_EQ( heard->fired, row.firedAfter ) << "step " << &row - rows;
    }
    EXPECT_FALSE( pbBarrierBlocked( gate.get() ) );
    pbAlertUnset( alert.get() );
    heard->reaction = [&] { // no lock of the alert is held here
        EXPECT_TRUE( pbAlertIsSet( alert.get() ) );
        pbAlertUnset( alert.get() ), pbAlertDelAlertable( alert.get(), alertable.get() );
    };
    pbAlertSet( alert.get() );
    EXPECT_FALSE( pbAlertIsSet( alert.get() ) );
}

// The pattern of every receiver: wait for the alert, unset it, take what there is.
TEST( Alert, ConsumerMissesNothing )
{
    constexpr int producers = threadCount - 1, each = 2000;
    pb::Ref<PB_ALERT> alert = pb::adopt( pbAlertCreate() );
    std::atomic<int> waiting{ 0 };
    auto consume = [&] {
        for ( int taken = 0; taken < producers * each; ) {
            auto gate = barrier( 1 );
            pb::Ref<PB_ALERTABLE> waiter = pb::adopt( pbAlertableCreateBarrier( gate.get() ) );
            pbAlertAddAlertable( alert.get(), waiter.get() );
            ASSERT_TRUE( pbBarrierPassTimed( gate.get(), tooLong ) );
            pbAlertDelAlertable( alert.get(), waiter.get() );
            pbAlertUnset( alert.get() );
            taken += waiting.exchange( 0 );
        }
    };
    test::onThreads( threadCount, [&]( int index ) {
        if ( index == 0 )
            return consume();
        for ( int count = 0; count < each; ++count ) {
            ++waiting;
            pbAlertSet( alert.get() );
        }
    } );
    EXPECT_EQ( waiting, 0 );
}

} // namespace

// Copying an object does not read its count, which others change meanwhile.
TEST( Object, IsCopiedWhileOthersRetainIt )
{
    struct Value : PB_OBJ {
        pb::Ref<PB_OBJ> member;
    } original{ {}, {} };
    auto act = [&]( int index ) {
        if ( index % 2 )
            return original.refs.add();
        EXPECT_EQ( Value( original ).refs.value(), 1 );
    };
    test::race(
        300, threadCount, [] {}, act, [] {} );
    EXPECT_EQ( original.refs.value(), 1 + 300 * threadCount / 2 );
}
