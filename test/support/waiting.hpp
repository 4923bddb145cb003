/* Waiting for what is not told by a signal or an alert. */
#ifndef TEST_WAITING_HPP
#define TEST_WAITING_HPP

#include <pb/pb.hpp>

namespace test {

constexpr PB_INT WAIT_LIMIT = 20'000; // milliseconds; reached only by what never comes

/** Looks again and again until it is so; false when it never is. */
template <class Condition>
bool eventually( Condition condition )
{
    for ( PB_INT end = pbTimestamp() + WAIT_LIMIT; !condition(); pbSleep( 1 ) )
        if ( pbTimestamp() > end )
            return false;
    return true;
}

} // namespace test

#endif
