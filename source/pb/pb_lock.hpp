/*
 * Locks that stand in objects as members, and what a thread sleeps on until another one changes what a lock guards. Their
 * guards let go at the end of a scope.
 */
#ifndef PB_LOCK_HPP
#define PB_LOCK_HPP

#include <atomic>
#include <cstdint>
#include <pb/pb_annotations.hpp>
#include <pb/pb_base.h>
#include <pb/pb_lock_ranks.hpp>
#include <pthread.h>

/** Sleeps while `word` holds `expected`, at most until that time of pb::now(); may wake up without a reason. */
PB_API void pb___FutexWait( std::atomic<uint32_t> *word, uint32_t expected, PB_INT until );
/** Wakes as many of those who sleep on the word. Does not look at the memory, which may be gone already. */
PB_API void pb___FutexWake( const void *word, PB_INT sleepers );
/** Nanoseconds of the clock by which every time limit goes. */
PB_API PB_INT pb___ClockNow( void );

/** What a thread notes of the locks that it holds; entering against the order of the ranks aborts. */
PB_API void pb___RankEnter( pb::Rank rank );
PB_API void pb___RankLeave( pb::Rank rank );

namespace pb {

constexpr PB_INT NEVER = PB_INT_MAX;
constexpr PB_INT NANOSECONDS_PER_MILLISECOND = 1'000'000;

/** The clock by which all timers and time limits go, in nanoseconds: monotonic, and the real one unless a test moves it. */
inline PB_INT now() noexcept
{
    return pb___ClockNow();
}

/** The time that many milliseconds from now, for waitUntil; what is beyond the clock is never. */
inline PB_INT timeAfter( PB_INT milliseconds ) noexcept
{
    return PB_INT_MUL_OK( milliseconds, NANOSECONDS_PER_MILLISECOND )
               ? pbIntAddSaturating( now(), milliseconds * NANOSECONDS_PER_MILLISECOND )
               : NEVER;
}

/** The lock behind PB_MONITOR, to stand in an object as a member. Not recursive: its holder aborts on entering again. */
class PB_CAPABILITY( "monitor" ) Monitor {
public:
    constexpr Monitor() noexcept = default;
#ifdef PB_CHECK_RANKS
    constexpr explicit Monitor( Rank itsRank ) noexcept : rank( itsRank ) {}
#else
    constexpr explicit Monitor( Rank ) noexcept {}
#endif
    Monitor( const Monitor & ) = delete;
    Monitor &operator=( const Monitor & ) = delete;
    // no destructor: Linux needs none, and a namespace-scope monitor must outlive threads that run to the end

    void enter() PB_ACQUIRE()
    {
        entering();
        check( pthread_mutex_lock( &mutex ), "enter" );
    }
    void leave() PB_RELEASE()
    {
        check( pthread_mutex_unlock( &mutex ), "leave" );
        left();
    }
    /** In a forked child, whose parent's thread has entered: nobody is in any more. */
    void makeAnew() PB_NO_THREAD_SAFETY_ANALYSIS
    {
        mutex = pthread_mutex_t PTHREAD_ERRORCHECK_MUTEX_INITIALIZER_NP;
        left();
    }

private:
    static void check( int error, const char *what )
    {
        if ( error ) [[unlikely]]
            pb___Abort( "monitor", __FILE__, __LINE__, what );
    }
#ifdef PB_CHECK_RANKS
    void entering() const
    {
        pb___RankEnter( rank );
    }
    void left() const
    {
        pb___RankLeave( rank );
    }
    Rank rank = Rank::unranked;
#else
    void entering() const {}
    void left() const {}
#endif
    pthread_mutex_t mutex = PTHREAD_ERRORCHECK_MUTEX_INITIALIZER_NP;
};

/** Holds a monitor to the end of the scope. */
class PB_SCOPED_CAPABILITY Lock {
public:
    explicit Lock( Monitor &monitor ) PB_ACQUIRE( monitor ) : held( monitor ) { held.enter(); }
    ~Lock() PB_RELEASE() { held.leave(); }
    Lock( const Lock & ) = delete;
    Lock &operator=( const Lock & ) = delete;

private:
    Monitor &held;
};

/**
 * Threads sleep on a condition until something that a monitor guards has changed. A wait may end without a reason, so it
 * stands in a loop around the look at what is waited for.
 *
 * A change is made under the monitor. The wake-up follows it, within the monitor or, better, outside. No wake-up is lost:
 * a thread that finds nothing to do counts itself among the sleepers and reads `wakes` before it leaves the monitor. If it
 * enters the monitor after the change, it sees the change. If it enters before, the waking thread sees the sleeper, since
 * it enters the monitor later, and changes `wakes`; a sleeper that is not asleep yet then does not fall asleep.
 *
 * Waiting does not mark the monitor as contended. So a wake-up costs one system call, and none when nobody sleeps.
 *
 * A sleeper that wakes up may free the object that the condition is part of. Whoever wakes outside the monitor therefore
 * holds a reference; the system call itself does not look at the memory.
 */
class Condition {
public:
    constexpr Condition() noexcept = default;
    Condition( const Condition & ) = delete;
    Condition &operator=( const Condition & ) = delete;

    void wait( Monitor &monitor ) PB_REQUIRES( monitor ) { waitUntil( monitor, NEVER ); }
    /** Waits at most until that time of pb::now(). */
    void waitUntil( Monitor &monitor, PB_INT time ) PB_REQUIRES( monitor )
    {
        uint32_t seen = wakes.load( std::memory_order_relaxed );
        sleepers.store( sleepers.load( std::memory_order_relaxed ) + 1, std::memory_order_relaxed );
        monitor.leave();
        pb___FutexWait( &wakes, seen, time );
        monitor.enter();
        sleepers.store( sleepers.load( std::memory_order_relaxed ) - 1, std::memory_order_relaxed );
    }
    void wakeOne() noexcept { wake( 1 ); }
    void wakeAll() noexcept { wake( INT32_MAX ); }

private:
    void wake( PB_INT count ) noexcept
    {
        if ( sleepers.load( std::memory_order_relaxed ) == 0 )
            return;
        wakes.fetch_add( 1, std::memory_order_relaxed );
        pb___FutexWake( &wakes, count );
    }

    std::atomic<uint32_t> wakes{ 0 };    // changed by each wake-up; the word that sleepers sleep on
    std::atomic<uint32_t> sleepers{ 0 }; // changed under the monitor only
};

/** The lock behind PB_REGION. */
class PB_CAPABILITY( "region" ) Region {
public:
    constexpr Region() noexcept = default;
    Region( const Region & ) = delete;
    Region &operator=( const Region & ) = delete;

    void enterShared() PB_ACQUIRE_SHARED() { check( pthread_rwlock_rdlock( &lock ), "enterShared" ); }
    void leaveShared() PB_RELEASE_SHARED() { check( pthread_rwlock_unlock( &lock ), "leaveShared" ); }
    void enterExclusive() PB_ACQUIRE() { check( pthread_rwlock_wrlock( &lock ), "enterExclusive" ); }
    void leaveExclusive() PB_RELEASE() { check( pthread_rwlock_unlock( &lock ), "leaveExclusive" ); }

private:
    static void check( int error, const char *what )
    {
        if ( error ) [[unlikely]]
            pb___Abort( "region", __FILE__, __LINE__, what );
    }
    pthread_rwlock_t lock = PTHREAD_RWLOCK_WRITER_NONRECURSIVE_INITIALIZER_NP;
};

/** Holds a region shared, or exclusively, to the end of the scope. */
class PB_SCOPED_CAPABILITY SharedLock {
public:
    explicit SharedLock( Region &region ) PB_ACQUIRE_SHARED( region ) : held( region ) { held.enterShared(); }
    ~SharedLock() PB_RELEASE() { held.leaveShared(); }
    SharedLock( const SharedLock & ) = delete;
    SharedLock &operator=( const SharedLock & ) = delete;

private:
    Region &held;
};
class PB_SCOPED_CAPABILITY ExclusiveLock {
public:
    explicit ExclusiveLock( Region &region ) PB_ACQUIRE( region ) : held( region ) { held.enterExclusive(); }
    ~ExclusiveLock() PB_RELEASE() { held.leaveExclusive(); }
    ExclusiveLock( const ExclusiveLock & ) = delete;
    ExclusiveLock &operator=( const ExclusiveLock & ) = delete;

private:
    Region &held;
};

} // namespace pb

#endif
