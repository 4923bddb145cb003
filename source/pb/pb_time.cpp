/* Civil time and random numbers, all asked of the kernel anew each time: nothing is kept, any thread may call. */
#include <cerrno>
#include <chrono>
#include <ctime>
#include <pb/pb.hpp>
#include <sys/random.h>

using Seconds = std::chrono::sys_seconds;

struct PB_TIME : PB_OBJ {
    Seconds at;
};

static PB_INT pb___TimeCompFunc( PB_OBJ *thisObj, PB_OBJ *thatObj )
{
    return pb::order( static_cast<PB_TIME *>( thisObj )->at, static_cast<PB_TIME *>( thatObj )->at );
}

static PB_STRING *pb___TimeToStringFunc( PB_OBJ *obj )
{
    Seconds at = static_cast<PB_TIME *>( obj )->at;
    auto midnight = std::chrono::floor<std::chrono::days>( at );
    std::chrono::year_month_day day( midnight );
    std::chrono::hh_mm_ss clock( at - midnight );
    return pb::format( "%04i-%02i-%02i %02i:%02i:%02i", static_cast<int>( day.year() ),
        static_cast<unsigned>( day.month() ), static_cast<unsigned>( day.day() ), clock.hours().count(),
        clock.minutes().count(), clock.seconds().count() )
        .give();
}

PB_CLASS_DEFINE( PB_TIME, pbTime, nullptr, pb___TimeCompFunc, pb___TimeToStringFunc );

PB_TIME *pbTimeNow( void )
{
    return pb::create<PB_TIME>( std::chrono::floor<std::chrono::seconds>( std::chrono::system_clock::now() ) );
}

static bool within( PB_INT value, PB_INT low, PB_INT high )
{
    return value >= low && value <= high;
}

PB_TIME *pbTimeTryCreate( PB_INT year, PB_INT month, PB_INT day, PB_INT hour, PB_INT minute, PB_INT second )
{
    if ( !within( year, 1, 9999 ) || !within( month, 1, 12 ) || !within( day, 1, 31 ) )
        return nullptr;
    if ( !within( hour, 0, 23 ) || !within( minute, 0, 59 ) || !within( second, 0, 59 ) )
        return nullptr;
    std::chrono::year_month_day date( std::chrono::year( static_cast<int>( year ) ),
        std::chrono::month( static_cast<unsigned>( month ) ), std::chrono::day( static_cast<unsigned>( day ) ) );
    if ( !date.ok() )
        return nullptr;
    return pb::create<PB_TIME>( std::chrono::sys_days( date ) + std::chrono::hours( hour ) +
                                std::chrono::minutes( minute ) + std::chrono::seconds( second ) );
}

PB_INT pbTimeSecondsBetween( PB_TIME *from, PB_TIME *to )
{
    PB_ASSERT( from );
    PB_ASSERT( to );
    return ( to->at - from->at ).count();
}

PB_INT pbTimestamp( void )
{
    return pb::now() / pb::NANOSECONDS_PER_MILLISECOND;
}

void pbSleep( PB_INT milliseconds )
{
    PB_ASSERT( milliseconds >= 0 );
    // The end is a point in time, so a sleep that signals interrupt over and over does not become longer.
    PB_INT until = pb::timeAfter( milliseconds );
    std::atomic<uint32_t> nobodyChangesIt{ 0 };
    for ( ; pb::now() < until; )
        pb___FutexWait( &nobodyChangesIt, 0, until );
}

/** 64 bits from the kernel: ports and identifiers that are drawn must not be foreseeable, in a forked child either. */
static uint64_t randomBits()
{
    uint64_t bits;
    ssize_t got;
    do
        got = getrandom( &bits, sizeof( bits ), 0 );
    while ( got < 0 && errno == EINTR );
    PB_ASSERT( got == sizeof( bits ) );
    return bits;
}

PB_INT pbRandomNonNegativeIntRange( PB_INT low, PB_INT high )
{
    PB_ASSERT( low >= 0 );
    PB_ASSERT( low <= high );
    uint64_t count = static_cast<uint64_t>( high - low ) + 1;
    uint64_t surplus =
        -count % count; // 2^64 modulo count: that many draws too many for all results to be equally likely
    uint64_t bits;
    do
        bits = randomBits();
    while ( bits < surplus );
    return low + static_cast<PB_INT>( bits % count );
}
