#include "subject.hpp"

using namespace test;

static const int fixture = test::addFixture( 10, { test::startProcesses, test::stopProcesses } );

TEST( Process, EachScheduleIsFollowedByARun )
{
    constexpr int threads = 8, rounds = 400;
    auto domain = test::domainOf( 4 );
    std::atomic<int> posted[threads] = {}, seen[threads] = {}, inside = 0, overlaps = 0;
    Subject subject( domain, [&] {
        overlaps += inside++;
        for ( int index = 0; index < threads; ++index )
            seen[index] = posted[index].load();
        --inside;
    } );
    test::onThreads( threads, [&]( int index ) {
        for ( int round = 1; round <= rounds; ++round ) {
            posted[index] = round;
            subject.schedule();
            // Now and then without waiting, so that schedules pile up on a running process.
            bool followed = round % 4 != 0 || test::eventually( [&] { return seen[index] >= round; } );
            ASSERT_TRUE( followed );
        }
    } );
    subject.end();
    EXPECT_EQ( overlaps, 0 );
}

TEST( Process, RunsByPriorityThenInOrder )
{
    auto domain = test::domainOf( 1 );
    std::string order;
    Gate gate( domain );
    std::vector<Subject> subjects;
    for ( auto [name, priority] : std::vector<std::pair<char, PB_INT>>{
              { 'a', 2 }, { 'b', 1 }, { 'c', 0 }, { 'd', 1 }, { 'e', 2 }, { 'f', 0 } } ) {
        subjects.emplace_back(
            domain, [&order, own = name] { order += own; }, priority );
        subjects.back().schedule();
    }
    subjects[3].schedule();                                    // waits already: nothing new
    subjects[1].body->reaction = [&, again = true]() mutable { // goes to the end of its queue
        order += 'b';
        if ( std::exchange( again, false ) )
            subjects[1].schedule(), subjects[1].schedule();
    };
    gate.open();
    EXPECT_TRUE( subjects[4].hasRun( 1 ) );
    for ( Subject &subject : subjects )
        subject.end();
    EXPECT_EQ( order, "cfbdbae" );
}

/** A process is brought into a state, then halted or let go: it never runs again, and ends once. */
TEST( Process, EndsFromEachState )
{
    enum State { idle, queued, running, runningAgain, insideItself };
    for ( int state : { idle, queued, running, runningAgain, insideItself } )
        for ( bool byRelease : { false, true } ) {
            SCOPED_TRACE( testing::Message() << "state " << state << ", by release " << byRelease );
            auto domain = test::domainOf( 1 );
            bool freed = false;
            auto inside = pb::adopt( pbBarrierCreate( 1 ) ), proceed = pb::adopt( pbBarrierCreate( 1 ) );
            auto ended = pb::adopt( pb::create<Counter>() );
            auto signalable = pb::adopt( pbSignalableCreate( Counter::fire, pb::obj( ended.get() ) ) );
            std::optional<Gate> gate;
            if ( state == queued )
                gate.emplace( domain );
            Subject subject( domain );
            std::atomic<int> runs = 0;
            auto halt = [&] {
                if ( byRelease )
                    subject.process = nullptr;
                else
                    prProcessHalt( subject.process.get() );
            };
            subject.body->freed = &freed;
            ended->reaction = [&] { EXPECT_TRUE( freed ); };
            subject.body->reaction = [&] {
                ++runs;
                if ( state == insideItself ) {
                    subject.schedule();
                    halt();
                }
                pbBarrierUnblock( inside.get() );
                pbBarrierPass( proceed.get() );
                EXPECT_FALSE( freed );
                EXPECT_EQ( ended->fired, 0 );
            };
            subject.body = nullptr;
            prProcessEndAddSignalable( subject.process.get(), signalable.get() );
            if ( state != idle )
                subject.schedule();
            if ( state >= running )
                pbBarrierPass( inside.get() );
            if ( state == runningAgain )
                subject.schedule();
            if ( state != insideItself )
                halt();
            EXPECT_EQ( freed, state < running );
            if ( !byRelease ) {
                EXPECT_TRUE( prProcessHalted( subject.process.get() ) );
                subject.schedule();
                prProcessHalt( subject.process.get() );
            }
            gate.reset();
            pbBarrierUnblock( proceed.get() );
            domain = nullptr; // waits for the run
            EXPECT_EQ( runs, state < running ? 0 : 1 );
            EXPECT_TRUE( freed );
            EXPECT_EQ( ended->fired, 1 );
        }
}

TEST( Process, HaltMeetsScheduleAndTimerAndWaiters )
{
    auto domain = test::domainOf( 2 );
    std::optional<Subject> subject;
    pb::Ref<PB_SIGNALABLE> signalable, ended;
    pb::Ref<PR_TIMER> timer;
    auto ends = pb::adopt( pb::create<Counter>() );
    int rounds = 0;
    auto before = [&] {
        subject.emplace( domain );
        signalable = pb::adopt( prProcessCreateSignalable( subject->process.get() ) );
        timer = pb::adopt( prProcessCreateTimer( subject->process.get() ) );
        ended = pb::adopt( pbSignalableCreate( Counter::fire, pb::obj( ends.get() ) ) );
        prProcessEndAddSignalable( subject->process.get(), ended.get() );
        prTimerSchedule( timer.get(), 0 );
    };
    auto act = [&]( int index ) {
        if ( index < 2 )
            prProcessHalt( subject->process.get() );
        else if ( index < 4 )
            subject->schedule();
        else if ( index == 4 )
            pbSignalableSignal( signalable.get() );
        else if ( index == 5 )
            prTimerSchedule( timer.get(), 0 );
        else
            prProcessHaltWait( subject->process.get() );
    };
    auto after = [&] {
        prProcessHaltWait( subject->process.get() );
        EXPECT_EQ( subject->body->refs.value(), 1 );
        EXPECT_EQ( ends->fired, ++rounds );
        int runs = subject->runs();
        subject->schedule();
        prTimerSchedule( timer.get(), 0 );
        EXPECT_TRUE( test::eventually( [&] { return !prTimerScheduled( timer.get() ); } ) );
        EXPECT_EQ( subject->runs(), runs );
        subject.reset(); // before the timer and the signalable, which may outlive it
        pbSignalableSignal( signalable.get() );
    };
    test::race( 200, 8, before, act, after );
}

/** The function releases the last reference while others still fire what wakes it. */
TEST( Process, LastReferenceGoesInsideItsFunction )
{
    auto domain = test::domainOf( 2 );
    pb::Ref<PB_SIGNALABLE> signalable;
    pb::Ref<PB_ALERTABLE> alertable;
    int freedCount = 0;
    bool freed = false;
    auto before = [&] {
        freed = false;
        Subject subject( domain );
        signalable = pb::adopt( prProcessCreateSignalable( subject.process.get() ) );
        alertable = pb::adopt( prProcessCreateAlertable( subject.process.get() ) );
        subject.body->freed = &freed;
        subject.body->reaction = [held = subject.process]() mutable { held = nullptr; };
    };
    auto act = [&]( int index ) {
        index % 2 ? pbSignalableSignal( signalable.get() ) : pbAlertableAlert( alertable.get() );
    };
    auto after = [&] {
        // A new process on each thread of the domain: what ran before is over.
        EXPECT_TRUE( test::startAllThreads( domain.get(), 2 ) );
        freedCount += freed;
    };
    test::race( 200, 8, before, act, after );
    EXPECT_EQ( freedCount, 200 );
}

/** Two processes that wait for each other: both sleeping threads must be woken, each time. */
TEST( Domain, WakesAThreadForEachProcess )
{
    auto domain = test::domainOf( 2 );
    for ( int round = 0; round < 500; ++round )
        ASSERT_TRUE( test::startAllThreads( domain.get(), 2 ) );
}

TEST( Module, StartsAgainAfterAStop )
{
    test::stopProcesses();
    test::startProcesses();
}

TEST( ProcessDeathTest, Misuse )
{
    auto inside = []( auto action ) {
        auto domain = test::domainOf( 1 );
        Subject subject( domain );
        subject.body->reaction = [&] { action( subject, domain ); };
        subject.schedule();
        pbSleep( 20'000 );
    };
    EXPECT_DEATH( PB_ASSERT( Subject( test::domainOf( 1 ) ).process.give() ),
        "a domain was released that has processes which are not halted: pool.processes == 0" );
    EXPECT_DEATH(
        inside( []( auto &subject, auto &domain ) { prProcessHalt( subject.process.get() ), domain = nullptr; } ),
        "a domain was released by one of its own threads: pr___WorkerPool != &pool" );
    EXPECT_DEATH( inside( []( auto &subject, auto & ) { Subject( nullptr ).end(), subject.end(); } ),
        "a process waits for its own end: !pr___ProcessCoreIsInside" );
}
