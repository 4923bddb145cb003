/* How many of a service's objects are held, so that the stop can name what was not released. Any thread. */
#ifndef IN_HELD_PRIVATE_HPP
#define IN_HELD_PRIVATE_HPP

#include <pb/pb.hpp>

namespace in {

class Held {
public:
    void add()
    {
        pb::Lock lock( monitor );
        ++count;
    }
    void drop()
    {
        pb::Lock lock( monitor );
        if ( --count == 0 )
            nobody.wakeAll();
    }
    /**
     * At the stop: aborts with that text when there are any. A thread of the library that has called a user's function may
     * be just about to let go of the argument, which nobody else holds any more; so this waits a second for the last.
     */
    void assertNone( const char *stillHeld )
    {
        PB_INT patience = pb::timeAfter( 1'000 );
        pb::Lock lock( monitor );
        while ( count > 0 && pb::now() < patience )
            nobody.waitUntil( monitor, patience );
        PB_INT held = count;
        PB_ASSERT_CONTEXT( stillHeld, held == 0 );
    }

private:
    pb::Monitor monitor{ pb::Rank::leaf };
    pb::Condition nobody;
    PB_INT count PB_GUARDED_BY( monitor ) = 0;
};

} // namespace in

#endif
