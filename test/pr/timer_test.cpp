#include "subject.hpp"
#include <support/clock.hpp>

using namespace test;

static constexpr PB_INT hour = 3'600'000;

static pb::Ref<PR_TIMER> timerOf( const Subject &subject )
{
    return pb::adopt( prProcessCreateTimer( subject.process.get() ) );
}

TEST( Timer, FiresOnceAndNotBeforeItsTime )
{
    for ( PB_INT milliseconds : { 0, 1, 30 } ) {
        Subject subject( nullptr );
        auto timer = timerOf( subject );
        bool stillScheduled = true;
        std::chrono::steady_clock::time_point fired, begin = std::chrono::steady_clock::now();
        subject.body->reaction = [&] {
            fired = std::chrono::steady_clock::now();
            stillScheduled = prTimerScheduled( timer.get() );
        };
        prTimerSchedule( timer.get(), milliseconds );
        EXPECT_TRUE( subject.hasRun( 1 ) );
        subject.end();
        EXPECT_GE( fired - begin, std::chrono::milliseconds( milliseconds ) );
        EXPECT_FALSE( stillScheduled );
        EXPECT_EQ( subject.runs(), 1 );
    }
}

TEST( Timer, FireInTheOrderOfTheirTimes )
{
    auto domain = test::domainOf( 1 );
    std::string order;
    Gate gate( domain );
    std::vector<Subject> subjects;
    std::vector<pb::Ref<PR_TIMER>> timers;
    for ( auto [name, milliseconds] : std::vector<std::pair<char, PB_INT>>{
              { 'a', 60 }, { 'b', 0 }, { 'c', 40 }, { 'd', 20 }, { 'e', hour }, { 'f', PB_INT_MAX } } ) {
        subjects.emplace_back( domain, [&order, own = name] { order += own; } );
        timers.push_back( timerOf( subjects.back() ) );
        prTimerSchedule( timers.back().get(), milliseconds );
    }
    prTimerSchedule( timers[4].get(), 80 ); // earlier than before
    EXPECT_TRUE( test::eventually( [&] { return !prTimerScheduled( timers[4].get() ); } ) );
    EXPECT_TRUE( prTimerScheduled( timers[5].get() ) );
    gate.open();
    EXPECT_TRUE( subjects[4].hasRun( 1 ) );
    for ( Subject &subject : subjects )
        subject.end();
    EXPECT_EQ( order, "bdcae" );
}

TEST( Timer, HoursPassInAMoment )
{
    Subject subject( nullptr );
    auto timer = timerOf( subject );
    subject.body->reaction = [&] { prTimerSchedule( timer.get(), hour ); };
    test::MovedClock clock;
    prTimerSchedule( timer.get(), hour );
    for ( int times = 0; times < 100; ++times ) {
        ASSERT_TRUE( clock.asleep( 1 ) );
        clock.move( hour - 1 );
        EXPECT_EQ( subject.runs(), times );
        clock.move( 1 );
        ASSERT_TRUE( subject.hasRun( times + 1 ) );
    }
    subject.end();
    prTimerUnschedule( timer.get() );
    clock.move( hour ); // lets the timer thread see that there is nothing left
    EXPECT_TRUE( clock.asleep( 0 ) );
}

/** Many timers that are moved, taken out and let go at random places; exactly those that are left with a near time fire. */
TEST( Timer, ManyMovedAndCancelled )
{
    std::mt19937 random( 17 );
    std::atomic<int> expected = 0, fired = 0;
    std::vector<Subject> subjects;
    std::vector<pb::Ref<PR_TIMER>> timers;
    for ( int index = 0; index < 3000; ++index ) {
        subjects.emplace_back( nullptr, [&] { fired++; } );
        timers.push_back( timerOf( subjects.back() ) );
        prTimerSchedule( timers.back().get(), hour + random() % 1000 );
    }
    std::vector<int> wanted( timers.size(), 0 );
    for ( std::size_t index = 0; index < timers.size(); ++index ) {
        switch ( random() % 4 ) {
        case 0:
            prTimerUnschedule( timers[index].get() );
            prTimerUnschedule( timers[index].get() );
            break;
        case 1:
            timers[index] = nullptr;
            break;
        case 2:
            prTimerSchedule( timers[index].get(), hour / 2 );
            break;
        default:
            prTimerSchedule( timers[index].get(), random() % 60 );
            wanted[index] = 1;
            ++expected;
        }
    }
    EXPECT_TRUE( test::eventually( [&] { return fired == expected; } ) );
    for ( std::size_t index = 0; index < timers.size(); ++index ) {
        subjects[index].end();
        EXPECT_EQ( subjects[index].runs(), wanted[index] ) << index;
    }
}

/** When unscheduling has returned, a run on account of the timer can only be one that was on its way before. */
TEST( Timer, UnscheduleMeetsFiring )
{
    auto domain = test::domainOf( 1 );
    Subject subject( domain );
    Subject marker( domain );
    auto timer = timerOf( subject );
    for ( int round = 0; round < 500; ++round ) {
        prTimerSchedule( timer.get(), 0 );
        for ( volatile int pause = round % 50 * 200;
              pause > 0; ) // yielding would give away whole slices of a busy host
            pause = pause - 1;
        prTimerUnschedule( timer.get() );
        EXPECT_FALSE( prTimerScheduled( timer.get() ) );
        // The domain has one thread: behind the marker there is nothing of before.
        int before = marker.runs();
        marker.schedule();
        ASSERT_TRUE( marker.hasRun( before + 1 ) );
        int runs = subject.runs();
        marker.schedule();
        ASSERT_TRUE( marker.hasRun( before + 2 ) );
        ASSERT_EQ( subject.runs(), runs );
    }
    subject.end();
    marker.end();
}
