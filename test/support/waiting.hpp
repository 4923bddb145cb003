/* Waiting for what is not told by a signal or an alert. */
#ifndef TEST_WAITING_HPP
#define TEST_WAITING_HPP

#include <chrono>
#include <pb/pb.hpp>
#include <thread>

namespace test {

constexpr PB_INT WAIT_LIMIT = 20'000; // milliseconds; reached only by what never comes

/** Looks again and again until it is so; false when it never is. By the real clock, also when the test moves the other. */
template <class Condition>
bool eventually( Condition condition )
{
    auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds( WAIT_LIMIT );
    for ( ; !condition(); std::this_thread::sleep_for( std::chrono::milliseconds( 1 ) ) )
        if ( std::chrono::steady_clock::now() > end )
            return false;
    return true;
}

} // namespace test

#endif
