/* Clocks, civil time, random numbers. */
#include <array>
#include <atomic>
#include <chrono>
#include <csignal>
#include <pthread.h>
#include <set>
#include <support/misuse.h>
#include <thread>

namespace {

using Civil = std::array<PB_INT, 6>;

pb::Ref<PB_TIME> timeOf( Civil at )
{
    return pb::adopt( pbTimeTryCreate( at[0], at[1], at[2], at[3], at[4], at[5] ) );
}

} // namespace

TEST( Time, CivilTimes )
{
    const std::vector<std::pair<Civil, std::string>> rows = { { { 1, 1, 1, 0, 0, 0 }, "0001-01-01 00:00:00" },
        { { 9999, 12, 31, 23, 59, 59 }, "9999-12-31 23:59:59" }, { { 1970, 1, 1, 0, 0, 0 }, "1970-01-01 00:00:00" },
        { { 1969, 12, 31, 23, 59, 59 }, "1969-12-31 23:59:59" }, { { 2026, 2, 28, 23, 59, 59 }, "2026-02-28 23:59:59" },
        { { 2024, 2, 29, 1, 2, 3 }, "2024-02-29 01:02:03" }, { { 2000, 2, 29, 0, 0, 0 }, "2000-02-29 00:00:00" },
        { { 1900, 2, 29, 0, 0, 0 }, "" }, { { 2026, 2, 29, 0, 0, 0 }, "" }, { { 2026, 4, 31, 0, 0, 0 }, "" },
        { { 0, 1, 1, 0, 0, 0 }, "" }, { { 10000, 1, 1, 0, 0, 0 }, "" }, { { 2026, 0, 1, 0, 0, 0 }, "" },
        { { 2026, 13, 1, 0, 0, 0 }, "" }, { { 2026, 1, 0, 0, 0, 0 }, "" }, { { 2026, 1, 32, 0, 0, 0 }, "" },
        { { 2026, 1, 1, 24, 0, 0 }, "" }, { { 2026, 1, 1, -1, 0, 0 }, "" }, { { 2026, 1, 1, 0, 60, 0 }, "" },
        { { 2026, 1, 1, 0, 0, 60 }, "" }, { { PB_INT_FROM( 1 ) << 32 | 2026, 1, 1, 0, 0, 0 }, "" },
        { { 2026, PB_INT_FROM( 1 ) << 32 | 1, 1, 0, 0, 0 }, "" }, { { 2026, 257, 257, 0, 0, 0 }, "" } };
    for ( const auto &[civil, text] : rows ) {
        pb::Ref<PB_TIME> time = timeOf( civil );
        ASSERT_EQ( bool( time ), !text.empty() ) << testing::PrintToString( civil );
        if ( time ) {
            EXPECT_EQ( test::textOf( time.get() ), text );
        }
    }
}

TEST( Time, SecondsBetweenAndOrder )
{
    const std::vector<std::pair<Civil, PB_INT>> ascending = { { { 1, 1, 1, 0, 0, 0 }, -62135596800 },
        { { 1969, 12, 31, 23, 59, 59 }, -1 }, { { 1970, 1, 1, 0, 0, 0 }, 0 }, { { 2000, 3, 1, 0, 0, 0 }, 951868800 },
        { { 9999, 12, 31, 23, 59, 59 }, 253402300799 } };
    for ( const auto &[a, secondsA] : ascending )
        for ( const auto &[b, secondsB] : ascending ) {
            EXPECT_EQ( pbTimeSecondsBetween( timeOf( a ).get(), timeOf( b ).get() ), secondsB - secondsA );
            EXPECT_EQ( pbTimeCompare( timeOf( a ).get(), timeOf( b ).get() ), pb::order( secondsA, secondsB ) );
        }
}

TEST( Time, NowIsTheTimeOfDay )
{
    auto before = std::time( nullptr );
    PB_INT now = pbTimeSecondsBetween( timeOf( { 1970, 1, 1, 0, 0, 0 } ).get(), pb::adopt( pbTimeNow() ).get() );
    EXPECT_GE( now, before - 1 ); // the coarse clock of time() may lag by a tick
    EXPECT_LE( now, std::time( nullptr ) + 1 );
}

// Signals that arrive all the time must not let the sleep end early.
TEST( Time, SleepsNotLessThanAsked )
{
    struct sigaction before;
    struct sigaction ignoring = {};
    ignoring.sa_handler = []( int ) {};
    sigaction( SIGUSR1, &ignoring, &before );
    std::atomic<bool> done = false;
    std::thread disturber( [&, sleeper = pthread_self()] {
        while ( !done ) {
            pthread_kill( sleeper, SIGUSR1 );
            std::this_thread::sleep_for( std::chrono::milliseconds( 1 ) );
        }
    } );
    for ( PB_INT milliseconds : { 0, 1, 30, 1001 } ) {
        PB_INT begin = pbTimestamp();
        pbSleep( milliseconds );
        EXPECT_GE( pbTimestamp() - begin, milliseconds );
    }
    done = true;
    disturber.join();
    sigaction( SIGUSR1, &before, nullptr );
}

TEST( Random, StaysInItsRange )
{
    const std::vector<std::pair<PB_INT, PB_INT>> ranges = { { 0, 0 }, { 7, 7 }, { 0, 1 }, { 49152, 65535 },
        { 0, PB_INT_MAX }, { 1, PB_INT_MAX }, { PB_INT_MAX - 2, PB_INT_MAX }, { PB_INT_MAX, PB_INT_MAX } };
    for ( auto [low, high] : ranges )
        for ( int i = 0; i < 200; ++i ) {
            PB_INT drawn = pbRandomNonNegativeIntRange( low, high );
            EXPECT_TRUE( drawn >= low && drawn <= high ) << low << ".." << high << ": " << drawn;
        }
}

// Bounds of more than ten standard deviations: only a wrong distribution falls outside.
TEST( Random, IsUniform )
{
    constexpr int draws = 30000;
    std::array<int, 3> counts{};
    int upperThirds = 0;
    constexpr PB_INT wide = PB_INT_MAX / 2 * 2; // a modulus that does not divide the range of 64 bits by far
    for ( int i = 0; i < draws; ++i ) {
        ++counts[std::size_t( pbRandomNonNegativeIntRange( 5, 7 ) - 5 )];
        upperThirds += pbRandomNonNegativeIntRange( 0, wide ) > wide / 3;
    }
    for ( int count : counts )
        EXPECT_NEAR( count, draws / 3, 1000 );
    EXPECT_NEAR( upperThirds, draws / 3 * 2, 1000 );
}

TEST( TimeDeathTest, Misuse )
{
    test::expectAborts( {
        { "milliseconds >= 0", [] { pbSleep( -1 ); } },
        { "low >= 0", [] { pbRandomNonNegativeIntRange( -1, 1 ); } },
        { "low <= high", [] { pbRandomNonNegativeIntRange( 2, 1 ); } },
        { "from", [] { pbTimeSecondsBetween( nullptr, nullptr ); } },
    } );
}
