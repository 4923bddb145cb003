/* Times: of the monotonic clock, which everything is measured and paced by, and of the day, for people and records. */
#ifndef TOOL_TIME_HPP
#define TOOL_TIME_HPP

#include <chrono>
#include <cstdint>
#include <string>

namespace tool {

using Clock = std::chrono::steady_clock;
using Time = Clock::time_point;

inline double secondsBetween( Time from, Time to )
{
    return std::chrono::duration<double>( to - from ).count();
}
/** A time that many seconds later; Time::max() when that is past the clock's end. */
inline Time later( Time from, double seconds )
{
    std::chrono::duration<double> step( seconds );
    return step < Time::max() - from ? from + std::chrono::duration_cast<Clock::duration>( step ) : Time::max();
}

/** The time as it goes into a time stamp. */
inline int64_t nanosecondsOf( Time time )
{
    return std::chrono::nanoseconds( time.time_since_epoch() ).count();
}

/** Nanoseconds since a time stamp that came in a datagram; it may be anything, so what does not fit wraps around. */
inline int64_t nanosecondsSince( int64_t stamped, Time now )
{
    auto count = std::chrono::nanoseconds( now.time_since_epoch() ).count();
    return static_cast<int64_t>( static_cast<uint64_t>( count ) - static_cast<uint64_t>( stamped ) );
}

/** The time of day here, "23:59:59.123", and the time in full, UTC, "2026-02-28T23:59:59.123Z". */
std::string timeOfDay();
std::string timeInFull();

} // namespace tool

#endif
