/* What the program computes from what it sends and receives. */
#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <tool/tool_pace.hpp>
#include <tool/tool_statistics.hpp>

TEST( Sequence, CountsWhatIsMissingDoubledAndLate )
{
    struct Case {
        std::vector<uint64_t> arrivals;
        uint64_t received, missing, duplicates, outOfOrder;
    };
    constexpr uint64_t window = 1 << 17;
    const Case cases[] = {
        { {}, 0, 0, 0, 0 },
        { { 7 }, 1, 0, 0, 0 },
        { { 0, 1, 2 }, 3, 0, 0, 0 },
        { { 0, 2, 1, 3 }, 4, 0, 0, 1 },
        { { 5, 4, 3 }, 3, 0, 0, 2 },
        { { 0, 0, 3, 0, 3 }, 2, 2, 3, 0 },
        { { 0, window, 1 }, 3, window - 2, 0, 1 },
        { { 0, window + 1, 1 }, 2, window, 1, 0 }, // too long ago to tell
        { { 1, window - 1, window + 1, window + 1 }, 3, window - 2, 1, 0 },
        { { 3, 3 + 5 * window, 3 + 5 * window - 1, 3 + 4 * window + 1 }, 4, 5 * window + 1 - 4, 0, 2 },
    };
    for ( const Case &row : cases ) {
        tool::Sequence sequence;
        for ( uint64_t number : row.arrivals )
            sequence.add( number );
        SCOPED_TRACE( &row - cases );
        EXPECT_EQ( sequence.received(), row.received );
        EXPECT_EQ( sequence.missing(), row.missing );
        EXPECT_EQ( sequence.duplicates(), row.duplicates );
        EXPECT_EQ( sequence.outOfOrder(), row.outOfOrder );
    }
}

TEST( Jitter, FollowsTheDelaysAndBearsAnyTimeStamp )
{
    tool::Jitter jitter;
    auto at = []( int64_t milliseconds ) { return tool::Time( std::chrono::milliseconds( milliseconds ) ); };
    for ( int64_t i = 0; i < 1000; ++i )
        jitter.add( i * 20'000'000, at( i * 20 + 5 + i % 2 * 8 ) ); // delays of 5 and 13 ms in turn
    EXPECT_NEAR( jitter.seconds(), 0.008, 1e-6 );
    for ( int64_t sentAt : { INT64_MIN, INT64_MAX, int64_t( -1 ), int64_t( 0 ) } )
        jitter.add( sentAt, at( 20'000 ) );
    EXPECT_TRUE( std::isfinite( jitter.seconds() ) );
}

TEST( Histogram, IsWithinAHundredthOfWhatSortingGives )
{
    tool::Histogram histogram;
    std::vector<int64_t> values;
    uint64_t state = 1;
    for ( int i = 0; i < 20'000; ++i ) {
        state = state * 6364136223846793005 + 1442695040888963407;
        values.push_back( static_cast<int64_t>( state >> ( 20 + state % 43 ) ) ); // of every magnitude, 0 too
        histogram.add( values.back() );
    }
    std::ranges::sort( values );
    for ( double share : { 0.001, 0.1, 0.5, 0.9, 0.99, 0.9999, 1.0 } ) {
        double exact = double( values[static_cast<std::size_t>( share * double( values.size() ) ) - 1] ) / 1e6;
        EXPECT_NEAR( histogram.percentile( share ), exact, exact / 100 ) << share;
    }
    EXPECT_EQ( histogram.lowest(), double( values.front() ) / 1e6 );
    EXPECT_EQ( histogram.highest(), double( values.back() ) / 1e6 );
    EXPECT_EQ( tool::Histogram().percentile( 0.5 ), 0 );
}

TEST( Pace, KeepsToItsTimesAndMakesUpForDelays )
{
    using std::chrono::milliseconds;
    tool::Time start;
    tool::Pace slow( 50, start );
    EXPECT_EQ( slow.take( start ), 1U );
    EXPECT_EQ( slow.nextTime(), start + milliseconds( 20 ) );
    EXPECT_EQ( slow.take( start + milliseconds( 19 ) ), 0U );
    EXPECT_EQ( slow.take( start + milliseconds( 105 ) ), 5U );
    EXPECT_EQ( slow.nextTime(), start + milliseconds( 120 ) ) << "not 20 ms after the delay";

    tool::Pace fast( 100'000, start );
    fast.take( start );
    tool::Time now = start + milliseconds( 50 );
    uint64_t sent = 1;
    for ( int bursts = 0; sent < 5'000; ++bursts ) {
        ASSERT_LT( bursts, 100 );
        uint64_t burst = fast.take( now );
        EXPECT_LE( burst, 200U );
        sent += burst;
        now = fast.nextTime();
    }
    EXPECT_LT( now, start + milliseconds( 105 ) ) << "twice the pace while behind";
}
