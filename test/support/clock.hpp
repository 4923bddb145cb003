/* The clock of timers and time limits in the hands of a test. */
#ifndef TEST_CLOCK_HPP
#define TEST_CLOCK_HPP

#include <pb/pb_clock_private.hpp>
#include <support/waiting.hpp>

namespace test {

/** The clock stands still while this lives, and moves when the test says so. */
class MovedClock {
public:
    MovedClock() { pb::takeClock(); }
    ~MovedClock() { pb::returnClock(); }
    MovedClock( const MovedClock & ) = delete;
    MovedClock &operator=( const MovedClock & ) = delete;

    void move( PB_INT milliseconds ) { pb::moveClock( milliseconds ); }
    /** Waits until that many threads sleep to a time limit. */
    bool asleep( PB_INT threads ) const
    {
        return eventually( [=] { return pb::clockSleepers() == threads; } );
    }
};

} // namespace test

#endif
