/* How a test takes over the clock of all timers and time limits. Any thread, one test at a time. */
#ifndef PB_CLOCK_PRIVATE_HPP
#define PB_CLOCK_PRIVATE_HPP

#include <pb/pb.hpp>

namespace pb {

/** The clock stands still from now on. Must be called while no thread sleeps to a time limit. */
void takeClock();
/** Moves the clock that was taken, and wakes everybody whose time has come. It does not wait for what they do then. */
void moveClock( PB_INT milliseconds );
/** How many threads sleep to a time limit now. */
PB_INT clockSleepers();
/** The clock is the real one again. Nobody may sleep to a time limit; aborts otherwise. */
void returnClock();

} // namespace pb

#endif
