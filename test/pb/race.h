/*
 * Threads that meet: all begin a round at the same moment, and the next round only begins when the last one is done.
 */
#ifndef TEST_PB_RACE_H
#define TEST_PB_RACE_H

#include <support/test_support.h>

namespace test {

/** `rounds` times: before(), then func( index ) on `count` threads at once, then after(). */
template <class Before, class Func, class After>
void race( int rounds, int count, Before before, Func func, After after )
{
    pthread_barrier_t meeting;
    pthread_barrier_init( &meeting, nullptr, static_cast<unsigned>( count ) );
    onThreads( count, [&]( int index ) {
        for ( int round = 0; round < rounds; ++round ) {
            if ( index == 0 )
                before();
            pthread_barrier_wait( &meeting );
            func( index );
            pthread_barrier_wait( &meeting );
            if ( index == 0 )
                after();
        }
    } );
    pthread_barrier_destroy( &meeting );
}

/** Counts how often it was fired, and the objects of its kind. */
struct Counter : PB_OBJ {
    std::atomic<int> fired{ 0 };
    std::function<void()> reaction = [] {};
    bool *freed = nullptr;

    ~Counter()
    {
        if ( freed )
            *freed = true;
    }
    static void fire( PB_OBJ *counter )
    {
        static_cast<Counter *>( counter )->fired++;
        static_cast<Counter *>( counter )->reaction();
    }
};
inline const PB_SORT counterSort = { "COUNTER", pb::destroy<Counter>, nullptr, nullptr };

} // namespace test

template <>
struct pb::Class<test::Counter> {
    static const PB_SORT *sort() { return &test::counterSort; }
};

#endif
