/* When datagrams are due: at absolute times of the monotonic clock, so that a delay does not shift what follows. */
#ifndef TOOL_PACE_HPP
#define TOOL_PACE_HPP

#include <algorithm>
#include <cstdint>
#include <tool/tool_time.hpp>

namespace tool {

/** After a delay the datagrams that were due are made up, but not all in one burst, which nobody could take. */
class Pace {
public:
    Pace( double perSecond, Time begin ) : rate( perSecond ), start( begin ) {}

    /** How many to send now. */
    uint64_t take( Time now )
    {
        uint64_t due = static_cast<uint64_t>( std::max( secondsBetween( start, now ), 0.0 ) * rate ) + 1;
        uint64_t count = due > taken ? std::min( due - taken, burst ) : 0;
        taken += count;
        next = taken < due ? now + TICK : later( start, double( taken ) / rate );
        return count;
    }
    /** When to ask again. */
    Time nextTime() const { return next; }

private:
    static constexpr std::chrono::milliseconds TICK{ 1 };

    double rate;
    Time start;
    Time next = start;
    uint64_t taken = 0;
    // Twice what is due in a tick; a few dozen fit into any socket.
    uint64_t burst = std::max<uint64_t>( 32, static_cast<uint64_t>( rate / 500 ) );
};

} // namespace tool

#endif
