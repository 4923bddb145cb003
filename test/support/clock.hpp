/* The clock of timers and time limits in the hands of a test. */
#ifndef TEST_CLOCK_HPP
#define TEST_CLOCK_HPP

#include <pb/pb_clock_private.hpp>
#include <support/test_support.h>

namespace test {

/** The clock stands still while this lives, and moves when the test says so. */
class MovedClock : Pinned {
public:
    MovedClock() { pb::takeClock(); }
    ~MovedClock() { pb::returnClock(); }

    void move( PB_INT milliseconds ) { pb::moveClock( milliseconds ); }
    /** Waits until that many threads sleep to a time limit. */
    bool asleep( PB_INT threads ) const
    {
        return eventually( [=] { return pb::clockSleepers() == threads; } );
    }
};

/**
 * The clock runs faster than the real one while this lives, so that what is polled every few seconds is seen in
 * milliseconds. What is waited for still takes its real time, so waiting goes by the real clock.
 */
class FastClock : Pinned {
public:
    explicit FastClock( PB_INT itsSpeed ) : speed( itsSpeed ) {}
    ~FastClock()
    {
        ended = true;
        thread.join();
    }

    std::atomic<PB_INT> speed; // milliseconds of the clock in a real one

private:
    void run()
    {
        auto before = std::chrono::steady_clock::now();
        while ( !ended ) {
            std::this_thread::sleep_for( std::chrono::milliseconds( 1 ) );
            auto passed =
                std::chrono::duration_cast<std::chrono::milliseconds>( std::chrono::steady_clock::now() - before );
            before += passed;
            clock.move( speed * passed.count() );
        }
    }

    MovedClock clock;
    std::atomic<bool> ended = false;
    std::thread thread{ [this] { run(); } };
};

} // namespace test

#endif
