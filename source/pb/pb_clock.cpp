/*
 * The clock of all timers and time limits, and sleeping by it. Any thread.
 *
 * Time is the kernel's monotonic clock, until a test takes the clock over. From then on it stands still, and moves only
 * when the test moves it. Those who sleep to a time limit then sleep without one and are listed here; moving the clock
 * wakes those whose time has come. A listed thread is counted as sleeping from the moment in which it compared its limit
 * with the clock, in the same stay in the monitor, so no move can pass between the two. Moving changes the word of
 * whoever is to wake up, so that a thread that is listed, but not asleep yet, does not fall asleep any more.
 */
#include <cerrno>
#include <climits>
#include <ctime>
#include <linux/futex.h>
#include <pb/pb_clock_private.hpp>
#include <pb/pb_time.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <vector>

namespace {

constexpr PB_INT NANOSECONDS_PER_SECOND = 1'000'000'000;

PB_INT realNow()
{
    timespec time;
    clock_gettime( CLOCK_MONOTONIC, &time );
    return PB_INT( time.tv_sec ) * NANOSECONDS_PER_SECOND + time.tv_nsec;
}

/** The system call, which may be interrupted. errno stays: whoever wakes others may be about to tell of a failure. */
void futex( const void *word, int operation, uint32_t value, const timespec *optionalUntil )
{
    int reason = errno;
    syscall( SYS_futex, word, operation, value, optionalUntil, nullptr, FUTEX_BITSET_MATCH_ANY );
    errno = reason;
}

/** A thread that sleeps until the clock is moved that far. */
struct Sleeper {
    std::atomic<uint32_t> *word;
    PB_INT until;
};

struct TakenClock {
    pb::Monitor monitor{ pb::Rank::leaf };
    std::atomic<bool> taken{ false };
    std::atomic<PB_INT> time{ 0 }; // changes under the monitor
    std::vector<Sleeper *> sleepers PB_GUARDED_BY( monitor );
};

constinit TakenClock theClock;

/** Lists the sleeper; false when its time has come already. */
bool tryList( Sleeper &sleeper )
{
    pb::Lock lock( theClock.monitor );
    if ( theClock.time.load( std::memory_order_relaxed ) >= sleeper.until )
        return false;
    theClock.sleepers.push_back( &sleeper );
    return true;
}

void unlist( Sleeper &sleeper )
{
    pb::Lock lock( theClock.monitor );
    std::erase( theClock.sleepers, &sleeper );
}

void waitByTakenClock( std::atomic<uint32_t> *word, uint32_t expected, PB_INT until )
{
    Sleeper sleeper{ word, until };
    if ( !tryList( sleeper ) )
        return;
    futex( word, FUTEX_WAIT_BITSET_PRIVATE, expected, nullptr );
    unlist( sleeper );
}

} // namespace

PB_INT pb___ClockNow( void )
{
    return theClock.taken.load( std::memory_order_relaxed ) ? theClock.time.load( std::memory_order_acquire )
                                                            : realNow();
}

void pb___FutexWait( std::atomic<uint32_t> *word, uint32_t expected, PB_INT until )
{
    if ( until == pb::NEVER )
        return futex( word, FUTEX_WAIT_BITSET_PRIVATE, expected, nullptr );
    if ( theClock.taken.load( std::memory_order_relaxed ) )
        return waitByTakenClock( word, expected, until );
    timespec time{ until / NANOSECONDS_PER_SECOND, until % NANOSECONDS_PER_SECOND };
    futex( word, FUTEX_WAIT_BITSET_PRIVATE, expected, &time );
}

void pb___FutexWake( const void *word, PB_INT sleepers )
{
    futex( word, FUTEX_WAKE_PRIVATE, static_cast<uint32_t>( sleepers ), nullptr );
}

void pb::takeClock()
{
    pb::Lock lock( theClock.monitor );
    PB_ASSERT( !theClock.taken );
    theClock.time = realNow();
    theClock.taken = true;
}

void pb::moveClock( PB_INT milliseconds )
{
    pb::Lock lock( theClock.monitor );
    PB_ASSERT( theClock.taken );
    PB_INT time = pb::timeAfter( milliseconds );
    theClock.time = time;
    for ( Sleeper *sleeper : theClock.sleepers ) {
        if ( sleeper->until > time )
            continue;
        sleeper->word->fetch_add( 1 );
        pb___FutexWake( sleeper->word, INT_MAX );
    }
}

PB_INT pb::clockSleepers()
{
    pb::Lock lock( theClock.monitor );
    return PB_INT_FROM( theClock.sleepers.size() );
}

void pb::returnClock()
{
    pb::Lock lock( theClock.monitor );
    PB_ASSERT( theClock.sleepers.empty() );
    theClock.taken = false;
}
