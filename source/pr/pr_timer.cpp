/*
 * Timers: one queue, a binary heap by due time, and one thread that sleeps until the earliest. The queue's monitor guards
 * the heap and each timer's place in it.
 *
 * A timer fires in one stay in the monitor: it leaves the heap and its process is scheduled. So when prTimerUnschedule
 * or prTimerSchedule returns, the old time has either scheduled the process already or never will; when the process
 * runs on account of the timer, that is not scheduled any more; and a timer that is in the heap is alive, since its last
 * release takes it out. The thread leaves the monitor after each, so that others get in while many are due.
 *
 * Times are nanoseconds of the monotonic clock, although they are given in milliseconds: from whole milliseconds a timer
 * could fire up to one too early.
 */
#include <pr/pr_private.hpp>

namespace {

/** The scheduled timers, the next to fire first; those with the same time in the order they were scheduled. */
class TimerHeap {
public:
    bool empty() const { return entries.empty(); }
    int64_t firstDue() const { return entries.empty() ? pb::NEVER : entries.front().due; }
    PR_TIMER &first() const { return *entries.front().timer; }
    /** Puts a timer in, or moves it. */
    void set( PR_TIMER &timer, int64_t due );
    /** Takes a timer out if it is in. */
    void remove( PR_TIMER &timer );

private:
    struct Entry {
        int64_t due;
        uint64_t number;
        PR_TIMER *timer;

        bool before( const Entry &other ) const { return due != other.due ? due < other.due : number < other.number; }
    };
    /** Stores the entry where it belongs, beginning at a place whose own entry is to be overwritten. */
    void settle( std::size_t place, const Entry &entry );
    std::size_t earlierChild( std::size_t place ) const;
    void store( std::size_t place, const Entry &entry );

    std::vector<Entry> entries;
    uint64_t lastNumber = 0;
};

constexpr std::size_t noPlace = SIZE_MAX;

} // namespace

struct PR___TIMER_QUEUE : PB_OBJ {
    pb::Monitor monitor{ pb::Rank::timers };
    pb::Condition changed; // the thread sleeps on it
    TimerHeap heap PB_GUARDED_BY( monitor );
    /** Until when the thread sleeps; while it is awake the beginning of time, so that nobody wakes it. */
    int64_t sleepsUntil PB_GUARDED_BY( monitor ) = INT64_MIN;
    bool ending PB_GUARDED_BY( monitor ) = false;
    pb::Ref<PB_THREAD> thread; // of the creating and ending thread
};

struct PR_TIMER : PB_OBJ {
    pb::Ref<PR___TIMER_QUEUE> queue;
    pb::Ref<PR___PROCESS_CORE> core;
    std::size_t place = noPlace; // in the heap, which writes it; guarded like the heap
};

void TimerHeap::store( std::size_t place, const Entry &entry )
{
    entries[place] = entry;
    entry.timer->place = place;
}

std::size_t TimerHeap::earlierChild( std::size_t place ) const
{
    std::size_t left = 2 * place + 1;
    std::size_t right = left + 1;
    return right < entries.size() && entries[right].before( entries[left] ) ? right : left;
}

void TimerHeap::settle( std::size_t place, const Entry &entry )
{
    for ( ; place > 0 && entry.before( entries[( place - 1 ) / 2] ); place = ( place - 1 ) / 2 )
        store( place, entries[( place - 1 ) / 2] );
    for ( std::size_t child; ( child = earlierChild( place ) ) < entries.size() && entries[child].before( entry );
          place = child )
        store( place, entries[child] );
    store( place, entry );
}

void TimerHeap::set( PR_TIMER &timer, int64_t due )
{
    Entry entry = { due, ++lastNumber, &timer };
    if ( timer.place == noPlace ) {
        timer.place = entries.size();
        entries.push_back( entry );
    }
    settle( timer.place, entry );
}

void TimerHeap::remove( PR_TIMER &timer )
{
    if ( timer.place == noPlace )
        return;
    Entry last = entries.back();
    entries.pop_back();
    if ( last.timer != &timer )
        settle( timer.place, last );
    timer.place = noPlace;
}

static void pr___TimerQueueSleepLocked( PR___TIMER_QUEUE &queue ) PB_REQUIRES( queue.monitor )
{
    queue.sleepsUntil = queue.heap.firstDue();
    queue.changed.waitUntil( queue.monitor, queue.sleepsUntil );
    queue.sleepsUntil = INT64_MIN;
}

/** Fires the first timer if it is due, or sleeps; false at the end. */
static bool pr___TimerQueueServe( PR___TIMER_QUEUE &queue )
{
    pb::Lock lock( queue.monitor );
    if ( queue.ending )
        return false;
    if ( queue.heap.empty() || queue.heap.firstDue() > pb::now() ) {
        pr___TimerQueueSleepLocked( queue );
        return true;
    }
    PR_TIMER &timer = queue.heap.first();
    queue.heap.remove( timer );
    pr___ProcessCoreSchedule( *timer.core );
    return true;
}

static void pr___TimerQueueThreadFunc( PB_OBJ *argument )
{
    PR___TIMER_QUEUE &queue = *pr___TimerQueueFrom( argument );
    while ( pr___TimerQueueServe( queue ) ) {
    }
}

static void pr___TimerFreeFunc( PB_OBJ *obj )
{
    auto *timer = static_cast<PR_TIMER *>( obj );
    prTimerUnschedule( timer );
    pb::destroy<PR_TIMER>( timer );
}

PB_CLASS_DEFINE( PR___TIMER_QUEUE, pr___TimerQueue, pb::destroy<PR___TIMER_QUEUE>, nullptr, nullptr );
PB_CLASS_DEFINE( PR_TIMER, prTimer, pr___TimerFreeFunc, nullptr, nullptr );

PR___TIMER_QUEUE *pr___TimerQueueTryCreate( void )
{
    pb::Ref<PR___TIMER_QUEUE> queue = pb::adopt( pb::create<PR___TIMER_QUEUE>() );
    queue->thread = pb::adopt( pbThreadTrySpawnCstr(
        "pr timer", -1, pr___TimerQueueThreadFunc, pb::obj( queue.get() ), PB_THREAD_OPTION_NORMAL ) );
    return queue->thread ? queue.give() : nullptr;
}

void pr___TimerQueueEnd( PR___TIMER_QUEUE *queue )
{
    {
        pb::Lock lock( queue->monitor );
        queue->ending = true;
    }
    queue->changed.wakeOne();
    pbThreadJoin( queue->thread.get() );
}

PR_TIMER *pr___TimerCreate( PR___PROCESS_CORE &core )
{
    return pb::create<PR_TIMER>( pb::share( pr___ModuleTimerQueue() ), pb::share( &core ) );
}

/** Schedules it; whether the thread would sleep too long now and must be woken. */
static bool pr___TimerEnter( PR_TIMER &timer, int64_t due )
{
    PR___TIMER_QUEUE &queue = *timer.queue;
    pb::Lock lock( queue.monitor );
    queue.heap.set( timer, due );
    if ( due >= queue.sleepsUntil )
        return false;
    queue.sleepsUntil = due; // as it will: others need not wake it for a later time
    return true;
}

void prTimerSchedule( PR_TIMER *timer, PB_INT milliseconds )
{
    PB_ASSERT( timer );
    PB_ASSERT( milliseconds >= 0 );
    if ( pr___TimerEnter( *timer, pb::timeAfter( milliseconds ) ) )
        timer->queue->changed.wakeOne();
}

void prTimerUnschedule( PR_TIMER *timer )
{
    PB_ASSERT( timer );
    PR___TIMER_QUEUE &queue = *timer->queue;
    pb::Lock lock( queue.monitor );
    queue.heap.remove( *timer );
}

PB_BOOL prTimerScheduled( PR_TIMER *timer )
{
    PB_ASSERT( timer );
    PR___TIMER_QUEUE &queue = *timer->queue;
    pb::Lock lock( queue.monitor );
    return timer->place != noPlace;
}
