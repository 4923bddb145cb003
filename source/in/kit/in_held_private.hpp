/* How many of a service's objects are held, so that the stop can name what was not released. Any thread. */
#ifndef IN_HELD_PRIVATE_HPP
#define IN_HELD_PRIVATE_HPP

#include <atomic>
#include <pb/pb.hpp>

namespace in {

class Held {
public:
    void add() { count.fetch_add( 1, std::memory_order_relaxed ); }
    void drop() { count.fetch_sub( 1, std::memory_order_relaxed ); }
    /** At the stop: aborts with that text while there are any. */
    void assertNone( const char *stillHeld ) const
    {
        PB_INT held = count.load( std::memory_order_relaxed );
        PB_ASSERT_CONTEXT( stillHeld, held == 0 );
    }

private:
    std::atomic<PB_INT> count = 0;
};

} // namespace in

#endif
