/* Monitors, regions, barriers, signals and alerts: what they do, and that nothing is lost when eight threads meet. */
#include "race.h"
#include <chrono>

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
    EXPECT_DEATH( leave(), "monitor: leave" );
    EXPECT_DEATH( ( enter(), std::thread( leave ).join() ), "monitor: leave" );
    EXPECT_DEATH( pbMonitorEnter( nullptr ), "monitor" );
}

TEST( Monitor, Excludes )
{
    pb::Ref<PB_MONITOR> monitor = pb::adopt( pbMonitorCreate() );
    int64_t count = 0;
    test::onThreads( threadCount, [&]( int ) {
        for ( int turn = 0; turn < 5000; ++turn ) {
            pbMonitorEnter( monitor.get() );
            ++count;
            pbMonitorLeave( monitor.get() );
        }
    } );
    EXPECT_EQ( count, threadCount * 5000 );
}

TEST( Region, WritersExcludeEverybody )
{
    pb::Ref<PB_REGION> region = pb::adopt( pbRegionCreate() );
    int64_t left = 0, right = 0;
    test::onThreads( threadCount, [&]( int index ) {
        for ( int turn = 0; turn < 3000; ++turn )
            if ( index % 4 == 0 ) {
                pbRegionEnterExclusive( region.get() );
                ++left, ++right;
                pbRegionLeaveExclusive( region.get() );
            } else {
                pbRegionEnterShared( region.get() );
                EXPECT_EQ( left, right );
                pbRegionLeaveShared( region.get() );
            }
    } );
    EXPECT_EQ( left, threadCount / 4 * 3000 );
}

TEST( Region, ReadersShareAndAWaitingWriterGoesFirst )
{
    pb::Ref<PB_REGION> region = pb::adopt( pbRegionCreate() );
    pbRegionEnterShared( region.get() );
    std::thread( [&] {
        pbRegionEnterShared( region.get() );
        pbRegionLeaveShared( region.get() );
    } ).join();

    std::string order;
    std::atomic<int> writerNumber{ 0 }, readerNumber{ 0 };
    std::thread writer( [&] {
        writerNumber = test::ownNumber();
        pbRegionEnterExclusive( region.get() );
        order += 'w';
        pbRegionLeaveExclusive( region.get() );
    } );
    test::waitUntilAsleep( writerNumber );
    std::thread reader( [&] {
        readerNumber = test::ownNumber();
        pbRegionEnterShared( region.get() );
        order += 'r';
        pbRegionLeaveShared( region.get() );
    } );
    test::waitUntilAsleep( readerNumber );
    pbRegionLeaveShared( region.get() );
    writer.join();
    reader.join();
    EXPECT_EQ( order, "wr" );
}

TEST( Barrier, CountsItsBlockers )
{
    struct {
        PB_INT blockers;
        const char *steps; // b: block, u: unblock
        bool blocked;
    } const rows[] = { { 0, "", false }, { 1, "", true }, { 1, "u", false }, { 2, "u", true }, { 2, "uu", false },
        { 0, "b", true }, { 0, "bu", false }, { 0, "ub", true }, { 1, "uuub", true }, { 1, "buu", false } };
    for ( const auto &row : rows ) {
        auto gate = barrier( row.blockers );
        for ( const char *step = row.steps; *step; ++step )
            ( *step == 'b' ? pbBarrierBlock : pbBarrierUnblock )( gate.get() );
        EXPECT_EQ( pbBarrierBlocked( gate.get() ), row.blocked ) << row.blockers << row.steps;
        for ( PB_INT time : { -1, 0, 1, row.blocked ? 1 : -1 } )
            EXPECT_EQ( pbBarrierPassTimed( gate.get(), time ), !row.blocked ) << row.blockers << row.steps;
        if ( !row.blocked )
            pbBarrierPass( gate.get() );
    }
    EXPECT_DEATH( (void)pbBarrierCreate( -1 ), "blockers >= 0" );
}

TEST( Barrier, TimeIsWaitedOut )
{
    auto before = std::chrono::steady_clock::now();
    EXPECT_FALSE(
        pbBarrierPassTimed( barrier( 1 ).get(), 1050 ) ); // more than a second: the fraction carries over or not
    EXPECT_GE( std::chrono::steady_clock::now() - before, std::chrono::milliseconds( 1050 ) );
    auto gate = barrier( 1 );
    std::thread opener( [&] { pbBarrierUnblock( gate.get() ); } );
    EXPECT_TRUE( pbBarrierPassTimed( gate.get(), PB_INT_MAX ) );
    opener.join();
}

TEST( Barrier, OpeningReachesWhoWaitsThoughItIsBlockedAgainAtOnce )
{
    auto gate = barrier( 1 );
    std::atomic<int> numbers[2] = { 0, 0 };
    std::thread opener( [&] {
        test::waitUntilAsleep( numbers[0] );
        test::waitUntilAsleep( numbers[1] );
        pbBarrierUnblock( gate.get() );
        pbBarrierBlock( gate.get() );
    } );
    test::onThreads( 2, [&]( int index ) {
        numbers[index] = test::ownNumber();
        EXPECT_TRUE( pbBarrierPassTimed( gate.get(), tooLong ) );
    } );
    opener.join();
    EXPECT_TRUE( pbBarrierBlocked( gate.get() ) );
}

TEST( Barrier, NobodyIsLeftBehind )
{
    auto gate = barrier( 0 );
    test::race(
        300, threadCount, [] {},
        [&]( int index ) {
            if ( index % 4 == 1 )
                return pbBarrierPass( gate.get() );
            if ( index % 4 == 3 ) {
                EXPECT_TRUE( pbBarrierPassTimed( gate.get(), tooLong ) );
                return;
            }
            pbBarrierBlock( gate.get() );
            (void)pbBarrierPassTimed( gate.get(), 0 );
            pbBarrierUnblock( gate.get() );
        },
        [&] { EXPECT_FALSE( pbBarrierBlocked( gate.get() ) ); } );
}

// The opener borrows the waiter's only reference, and the waiter lets go as soon as it wakes up.
TEST( Barrier, MayBeReleasedByWhoPassed )
{
    PB_BARRIER *gate = nullptr;
    test::race(
        1000, 2, [&] { gate = pbBarrierCreate( 1 ); },
        [&]( int index ) {
            if ( index )
                return pbBarrierUnblock( gate );
            pbBarrierPass( gate );
            pbBarrierRelease( gate );
        },
        [] {} );
}

TEST( Signal, MayBeReleasedByWhoSawIt )
{
    PB_SIGNAL *signal = nullptr;
    int round = 0;
    test::race(
        1000, 2, [&] { signal = pbSignalCreate(); },
        [&]( int index ) {
            if ( index )
                return pbSignalAssert( signal );
            if ( ++round % 2 )
                pbSignalWait( signal );
            while ( !pbSignalAsserted( signal ) )
                std::this_thread::yield();
            pbSignalRelease( signal );
        },
        [] {} );
}

TEST( Signal, FiresEachWaiterOnceAndLetsItGo )
{
    pb::Ref<PB_SIGNAL> signal = pb::adopt( pbSignalCreate() );
    auto twice = counter(), removed = counter(), late = counter();
    pb::Ref<PB_SIGNALABLE> signalables[3];
    int index = 0;
    for ( test::Counter *argument : { twice.get(), removed.get(), late.get() } )
        signalables[index++] = pb::adopt( pbSignalableCreate( test::Counter::fire, argument ) );
    auto gate = barrier( 3 ), otherGate = barrier( 1 );
    pb::Ref<PB_SIGNALABLE> gateSignalable = pb::adopt( pbSignalableCreateBarrier( gate.get() ) );
    for ( int round = 0; round < 2; ++round ) {
        pbSignalAddSignalable( signal.get(), signalables[0].get() );
        pbSignalAddSignalable( signal.get(), signalables[1].get() );
        pbSignalAddSignalable( signal.get(), gateSignalable.get() );
        pbSignalAddBarrier( signal.get(), gate.get() );
        pbSignalAddBarrier( signal.get(), otherGate.get() );
    }
    pbSignalDelSignalable( signal.get(), signalables[1].get() );
    pbSignalDelSignalable( signal.get(), signalables[2].get() );
    pbSignalDelBarrier( signal.get(), otherGate.get() );
    bool freed = false;
    twice->freed = &freed;
    test::Counter *fired = twice.get();
    fired->reaction = [&] {
        EXPECT_TRUE( pbSignalAsserted( signal.get() ) ); // no lock of the signal is held here
        pbSignalDelSignalable( signal.get(), signalables[0].get() );
        signalables[0] = nullptr;
    };
    EXPECT_FALSE( pbSignalAsserted( signal.get() ) );
    pbSignalAssert( signal.get() );
    pbSignalAssert( signal.get() );
    EXPECT_EQ( twice->fired, 1 );
    twice = nullptr;
    EXPECT_TRUE( freed );
    EXPECT_EQ( removed->fired, 0 );
    EXPECT_TRUE( pbBarrierBlocked( otherGate.get() ) );
    EXPECT_TRUE( pbBarrierBlocked( gate.get() ) ); // 3, less one as a waiter and one through the signalable
    pbSignalAddBarrier( signal.get(), gate.get() );
    EXPECT_FALSE( pbBarrierBlocked( gate.get() ) );
    pbSignalAddSignalable( signal.get(), signalables[2].get() );
    EXPECT_EQ( late->fired, 1 );
    pbSignalWait( signal.get() );
}

TEST( Signal, WakesAllWhoWait )
{
    pb::Ref<PB_SIGNAL> signal;
    test::race(
        200, threadCount, [&] { signal = pb::adopt( pbSignalCreate() ); },
        [&]( int index ) { index ? pbSignalWait( signal.get() ) : pbSignalAssert( signal.get() ); }, [] {} );
}

TEST( Signal, AddedWaitersAreFiredOnceWhoeverComesFirst )
{
    pb::Ref<PB_SIGNAL> signal;
    pb::Ref<test::Counter> counters[threadCount];
    test::race(
        500, threadCount,
        [&] {
            signal = pb::adopt( pbSignalCreate() );
            for ( auto &each : counters )
                each = counter();
        },
        [&]( int index ) {
            if ( index == 0 )
                return pbSignalAssert( signal.get() );
            pb::Ref<PB_SIGNALABLE> waiter =
                pb::adopt( pbSignalableCreate( test::Counter::fire, counters[index].get() ) );
            pbSignalAddSignalable( signal.get(), waiter.get() );
            if ( index % 2 )
                pbSignalDelSignalable( signal.get(), waiter.get() );
        },
        [&] {
            for ( int index = 1; index < threadCount; ++index ) {
                int fired = counters[index]->fired;
                EXPECT_TRUE( fired == 1 || ( fired == 0 && index % 2 ) ) << index << " was fired " << fired;
            }
        } );
}

TEST( Signal, ManyWaiters )
{
    constexpr int count = 10000;
    pb::Ref<PB_SIGNAL> signal = pb::adopt( pbSignalCreate() );
    auto all = counter();
    std::vector<pb::Ref<PB_SIGNALABLE>> waiters;
    for ( int index = 0; index < count; ++index ) {
        waiters.push_back( pb::adopt( pbSignalableCreate( test::Counter::fire, all.get() ) ) );
        pbSignalAddSignalable( signal.get(), waiters.back().get() );
    }
    for ( std::size_t index = 0; index < count; index += 2 )
        pbSignalDelSignalable( signal.get(), waiters[index].get() );
    pbSignalAssert( signal.get() );
    EXPECT_EQ( all->fired, count / 2 );
}

TEST( Alert, FiresWhenItGetsSetAndKeepsItsWaiters )
{
    pb::Ref<PB_ALERT> alert = pb::adopt( pbAlertCreate() );
    auto heard = counter();
    auto gate = barrier( 2 );
    pb::Ref<PB_ALERTABLE> alertable = pb::adopt( pbAlertableCreate( test::Counter::fire, heard.get() ) );
    pb::Ref<PB_ALERTABLE> gateAlertable = pb::adopt( pbAlertableCreateBarrier( gate.get() ) );
    heard->reaction = [&] { EXPECT_TRUE( pbAlertIsSet( alert.get() ) ); };
    struct {
        void ( *step )( PB_ALERT *alert, PB_ALERTABLE *alertable );
        int firedAfter;
    } const rows[] = {
        { pbAlertAddAlertable, 0 }, { pbAlertAddAlertable, 0 },                  // twice is once
        { []( auto *it, auto * ) { pbAlertSet( it ); }, 1 },                     //
        { []( auto *it, auto * ) { pbAlertSet( it ); }, 1 },                     // it was set already
        { []( auto *it, auto * ) { pbAlertUnset( it ); }, 1 },                   //
        { []( auto *it, auto * ) { pbAlertUnset( it ), pbAlertSet( it ); }, 2 }, // still there
        { pbAlertAddAlertable, 3 },                                              // to a set one: at once
        { pbAlertDelAlertable, 3 }, { pbAlertDelAlertable, 3 },                  //
        { []( auto *it, auto * ) { pbAlertUnset( it ), pbAlertSet( it ); }, 3 }, // gone
        { pbAlertAddAlertable, 4 },                                              //
    };
    pbAlertAddAlertable( alert.get(), gateAlertable.get() );
    for ( const auto &row : rows ) {
        row.step( alert.get(), alertable.get() );
        EXPECT_EQ( heard->fired, row.firedAfter ) << "step " << &row - rows;
    }
    EXPECT_FALSE( pbBarrierBlocked( gate.get() ) );
    heard->reaction = [&] {
        if ( pbAlertIsSet( alert.get() ) ) // no lock of the alert is held here
            pbAlertUnset( alert.get() ), pbAlertDelAlertable( alert.get(), alertable.get() );
    };
    pbAlertUnset( alert.get() );
    pbAlertSet( alert.get() );
    EXPECT_FALSE( pbAlertIsSet( alert.get() ) );
}

TEST( Alert, SetAlertHasFiredEveryWaiter )
{
    pb::Ref<PB_ALERT> alert;
    pb::Ref<test::Counter> counters[threadCount];
    test::race(
        3000, threadCount,
        [&] {
            alert = pb::adopt( pbAlertCreate() );
            for ( auto &each : counters )
                each = counter();
        },
        [&]( int index ) {
            if ( index == 0 )
                return pbAlertSet( alert.get() );
            if ( index == 1 )
                return pbAlertUnset( alert.get() ), pbAlertSet( alert.get() );
            pb::Ref<PB_ALERTABLE> waiter = pb::adopt( pbAlertableCreate( test::Counter::fire, counters[index].get() ) );
            pbAlertAddAlertable( alert.get(), waiter.get() );
            if ( index == 2 )
                pbAlertDelAlertable( alert.get(), waiter.get() );
        },
        [&] {
            EXPECT_TRUE( pbAlertIsSet( alert.get() ) );
            for ( int index = 3; index < threadCount; ++index )
                EXPECT_GE( counters[index]->fired, 1 ) << index;
        } );
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
