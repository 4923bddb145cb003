/* Civil time, random numbers. */
#include <support/test_support.h>

namespace {

using Civil = std::array<PB_INT, 6>;

pb::Ref<PB_TIME> timeOf( Civil at )
{
    return pb::adopt( pbTimeTryCreate( at[0], at[1], at[2], at[3], at[4], at[5] ) );
}

} // namespace

TEST( Time, CivilTimes )
{
    const struct {
        Civil civil;
        const char *text;
        PB_INT seconds; // since 1970
    } rows[] = { { { 1, 1, 1, 0, 0, 0 }, "0001-01-01 00:00:00", -62135596800 },
        { { 1969, 12, 31, 23, 59, 59 }, "1969-12-31 23:59:59", -1 },
        { { 1970, 1, 1, 0, 0, 0 }, "1970-01-01 00:00:00", 0 },
        { { 2000, 2, 29, 1, 2, 3 }, "2000-02-29 01:02:03", 951786123 },
        { { 9999, 12, 31, 23, 59, 59 }, "9999-12-31 23:59:59", 253402300799 } };
    for ( const auto &a : rows ) {
        ASSERT_TRUE( timeOf( a.civil ) );
        EXPECT_EQ( test::textOf( timeOf( a.civil ).get() ), a.text );
        for ( const auto &b : rows ) {
            EXPECT_EQ(
                pbTimeSecondsBetween( timeOf( a.civil ).get(), timeOf( b.civil ).get() ), b.seconds - a.seconds );
            EXPECT_EQ( pbTimeCompare( timeOf( a.civil ).get(), timeOf( b.civil ).get() ), pb::order( &a, &b ) );
        }
    }
    constexpr PB_INT high = PB_INT_FROM( 1 ) << 32; // is nothing in the lower half of an integer
    for ( Civil none : { Civil{ 1900, 2, 29, 0, 0, 0 }, Civil{ 2026, 4, 31, 0, 0, 0 }, Civil{ 0, 1, 1, 0, 0, 0 },
              Civil{ 10000, 1, 1, 0, 0, 0 }, Civil{ 2026, 0, 1, 0, 0, 0 }, Civil{ 2026, 13, 1, 0, 0, 0 },
              Civil{ 2026, 1, 0, 0, 0, 0 }, Civil{ 2026, 1, 1, 24, 0, 0 }, Civil{ 2026, 1, 1, -1, 0, 0 },
              Civil{ 2026, 1, 1, 0, 60, 0 }, Civil{ 2026, 1, 1, 0, 0, 60 }, Civil{ high | 2026, 1, 1, 0, 0, 0 },
              Civil{ 2026, high | 1, 1, 0, 0, 0 }, Civil{ 2026, 257, 257, 0, 0, 0 } } )
        EXPECT_FALSE( timeOf( none ) ) << testing::PrintToString( none );
}

// Bounds of more than ten standard deviations: only a wrong distribution falls outside.
TEST( Random, IsUniformInItsRange )
{
    constexpr PB_INT wide = PB_INT_MAX / 2 * 2; // a modulus that does not divide the range of 64 bits by far
    int upperThirds = 0, highest = 0;
    for ( int i = 0; i < 30000; ++i ) {
        PB_INT drawn = pbRandomNonNegativeIntRange( PB_INT_MAX - 2, PB_INT_MAX );
        ASSERT_GE( drawn, PB_INT_MAX - 2 );
        highest += drawn == PB_INT_MAX;
        upperThirds += pbRandomNonNegativeIntRange( 0, wide ) > wide / 3;
    }
    EXPECT_NEAR( highest, 10000, 1000 );
    EXPECT_NEAR( upperThirds, 20000, 1000 );
}
