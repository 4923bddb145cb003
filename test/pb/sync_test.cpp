/* Monitors, regions, barriers, signals and alerts: what they do, and that nothing is lost when eight threads meet. */
#include "race.h"
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <support/clock.hpp>
#include <sys/wait.h>

static std::atomic<bool> hesitates = false; // others have their turn before a descriptor is written to

extern "C" ssize_t __real_write( int fd, const void *bytes, size_t count );
extern "C" ssize_t __wrap_write( int fd, const void *bytes, size_t count );
ssize_t __wrap_write( int fd, const void *bytes, size_t count )
{
    if ( hesitates )
        std::this_thread::yield();
    return __real_write( fd, bytes, count );
}

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

bool readable( int fd )
{
    pollfd polled{ fd, POLLIN, 0 };
    return poll( &polled, 1, 0 ) == 1 && polled.revents == POLLIN;
}

/** Three alerts and an alertable with a descriptor, which is added to some of them. */
struct Polled {
    static constexpr int count = 3;
    pb::Ref<PB_ALERTABLE> alertable = pb::adopt( pbAlertableTryCreateDescriptor() );
    pb::Ref<PB_ALERT> alerts[count]{ newAlert(), newAlert(), newAlert() };
    bool added[count]{};
    int fd = pbAlertableDescriptor( alertable.get() );

    static pb::Ref<PB_ALERT> newAlert() { return pb::adopt( pbAlertCreate() ); }
    void add( int index )
    {
        pbAlertAddAlertable( alerts[index].get(), alertable.get() );
        added[index] = true;
    }
    void del( int index )
    {
        pbAlertDelAlertable( alerts[index].get(), alertable.get() );
        added[index] = false;
    }
    void end( int index )
    {
        alerts[index] = newAlert();
        added[index] = false;
    }
    void act( int index, char step )
    {
        PB_ALERT *alert = alerts[index].get();
        switch ( step ) {
        case 'a':
            return add( index );
        case 'd':
            return del( index );
        case 'e':
            return end( index );
        case 's':
            return pbAlertSet( alert );
        case 'u':
            return pbAlertUnset( alert );
        default: { // late: fired when it has been unset again
            PB_OBJ *deferred = pbAlertSetDeferred( alert );
            pbAlertUnset( alert );
            pbAlertFireDeferred( deferred );
        }
        }
    }
    bool wanted() const
    {
        bool any = false;
        for ( int i = 0; i < count; ++i )
            any |= added[i] && pbAlertIsSet( alerts[i].get() );
        return any;
    }
};

TEST( Descriptor, IsReadableWhileAnyOfItsAlertsIsSet )
{
    struct {
        const char *steps; // a: add, d: delete, s: set, u: unset, l: fired late, e: the alert ends; of which alert
        bool readable;
    } const rows[] = { { "a0 a0", false }, { "s0 s0", true }, { "u0", false }, { "u0 u0 s0", true }, { "d0", false },
        { "d0", false }, { "a0", true }, { "a0 u0", false }, { "l0", false }, { "s0 l0", false }, { "s1", false },
        { "a1 a2", true }, { "s2 s0 u1", true }, { "d0", true }, { "e2", false }, { "u0 u1 a0 a2", false },
        { "s2 s0", true }, { "l0", true }, { "u2", false }, { "s0 s1", true } };
    Polled polled;
    auto heard = counter();
    pb::Ref<PB_ALERTABLE> other = pb::adopt( pbAlertableCreate( test::Counter::fire, heard.get() ) );
    pbAlertAddAlertable( polled.alerts[0].get(), other.get() );
    for ( const auto &row : rows ) {
        for ( const char *step = row.steps; *step; step += step[2] ? 3 : 2 ) {
            errno = EBADF;
            polled.act( step[1] - '0', step[0] );
            EXPECT_EQ( errno, EBADF ) << row.steps;
        }
        pbAlertableAlert( polled.alertable.get() ); // changes nothing
        EXPECT_EQ( readable( polled.fd ), row.readable ) << "row " << &row - rows << ": " << row.steps;
    }
    EXPECT_EQ( heard->fired, 7 );
}

TEST( Descriptor, AgreesWithTheAlertsWhenThreadsHaveMet )
{
    constexpr int adder = Polled::count, setters = 2 * adder, ender = setters + 1;
    std::vector<std::minstd_rand> random( ender + 1 );
    for ( std::size_t i = 0; i < random.size(); ++i )
        random[i].seed( static_cast<unsigned>( i + 1 ) );
    std::optional<Polled> polled;
    hesitates = true;
    auto act = [&]( int index ) {
        std::minstd_rand &draw = random[static_cast<std::size_t>( index )];
        if ( index == ender ) // it ends an alert of its own, which is set
            for ( int i = 0; i < 5; ++i ) {
                auto alert = Polled::newAlert();
                pbAlertAddAlertable( alert.get(), polled->alertable.get() );
                pbAlertSet( alert.get() );
            }
        for ( int i = 0; index != ender && i < 20; ++i ) {
            const char *steps = index == setters ? "ad" : "sul";
            polled->act( index == setters ? int( draw() % adder ) : index % adder, steps[draw() % strlen( steps )] );
            readable( polled->fd );
        }
    };
    test::race(
        1000, ender + 1, [&] { polled.emplace(); }, act,
        [&] {
            ASSERT_EQ( readable( polled->fd ), polled->wanted() );
            for ( auto &alert : polled->alerts )
                pbAlertUnset( alert.get() );
            EXPECT_FALSE( readable( polled->fd ) );
        } );
    hesitates = false;
}

TEST( Descriptor, StaysReadableAfterItsSignal )
{
    pb::Ref<PB_SIGNALABLE> signalable = pb::adopt( pbSignalableTryCreateDescriptor() );
    int fd = pbSignalableDescriptor( signalable.get() );
    EXPECT_EQ( fcntl( fd, F_GETFD ) & FD_CLOEXEC, FD_CLOEXEC );
    auto lower = [&] {
        uint64_t value;
        EXPECT_EQ( read( fd, &value, sizeof value ), ssize_t( sizeof value ) );
        EXPECT_FALSE( readable( fd ) );
    };
    pb::Ref<PB_SIGNAL> signal = pb::adopt( pbSignalCreate() );
    pbSignalAddSignalable( signal.get(), signalable.get() );
    EXPECT_FALSE( readable( fd ) );
    pbSignalAssert( signal.get() );
    EXPECT_TRUE( readable( fd ) );
    pbSignalDelSignalable( signal.get(), signalable.get() );
    pbSignalableSignal( signalable.get() );
    lower(); // one read, however often it was fired
    pbSignalAddSignalable( signal.get(), signalable.get() );
    lower();
    pbSignalableSignal( signalable.get() );
    lower();
}

TEST( Descriptor, BelongsToTheParentAfterAFork )
{
    Polled polled;
    pb::Ref<PB_SIGNALABLE> signalable = pb::adopt( pbSignalableTryCreateDescriptor() );
    polled.add( 0 );
    pbAlertSet( polled.alerts[0].get() );
    pid_t child = fork();
    if ( child == 0 ) {
        pbSignalableSignal( signalable.get() );
        polled.end( 0 );
        _exit( 0 );
    }
    ASSERT_EQ( waitpid( child, nullptr, 0 ), child );
    EXPECT_TRUE( readable( polled.fd ) );
    EXPECT_FALSE( readable( pbSignalableDescriptor( signalable.get() ) ) );
}

TEST( DescriptorDeathTest, IsNotThereWhenAFunctionIs )
{
    test::Waiter waiter;
    EXPECT_DEATH( pbAlertableDescriptor( waiter.alert() ), "alertable->optionalDescriptor\\(\\)" );
    EXPECT_DEATH( pbSignalableDescriptor( waiter.get() ), "signalable->optionalDescriptor\\(\\)" );
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
