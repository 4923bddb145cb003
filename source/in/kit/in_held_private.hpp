/* How many of a service's objects are held, so that the stop can name what was not released. Any thread. */
#ifndef IN_HELD_PRIVATE_HPP
#define IN_HELD_PRIVATE_HPP

#include <atomic>
#include <pb/pb.hpp>

namespace in {

class Held {
public:
    void add() { count.fetch_add( 1, std::memory_order_relaxed ); }
    void drop() { count.fetch_sub( 1, std::memory_order_release ); }
    /**
     * At the stop: aborts with that text when there are any. A thread of the library that has called a user's function may
     * be just about to let go of the argument, which nobody else holds any more; so this waits a second for the last.
     */
    void assertNone( const char *stillHeld ) const
    {
        for ( int left = 1000; count.load( std::memory_order_acquire ) != 0 && left > 0; --left )
            pbSleep( 1 );
        PB_INT held = count.load( std::memory_order_acquire );
        PB_ASSERT_CONTEXT( stillHeld, held == 0 );
    }

private:
    std::atomic<PB_INT> count = 0;
};

} // namespace in

#endif
