/*
 * What the tests of every library share: the balance of objects and descriptors, small conveniences, and the headers of
 * the C++ library that most of them need.
 */
#ifndef TEST_SUPPORT_H
#define TEST_SUPPORT_H

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <functional>
#include <gtest/gtest.h>
#include <map>
#include <memory>
#include <optional>
#include <pb/pb.hpp>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace test {

/** The base of what is neither copied nor moved. */
struct Pinned {
    Pinned() = default;
    Pinned( const Pinned & ) = delete;
    Pinned &operator=( const Pinned & ) = delete;
};

/** Descriptors that the process has open. */
int openDescriptors();

/** A string, and the text of one, which is released. */
inline pb::Ref<PB_STRING> str( std::string_view utf8 )
{
    return pb::string( utf8 );
}
inline std::string take( PB_STRING *owned )
{
    pb::Ref<PB_STRING> held = pb::adopt( owned );
    return held ? pb::text( held.get() ) : "(null)";
}
template <class T>
std::string textOf( T *object )
{
    return take( pbObjToString( pb::obj( object ) ) );
}

inline pb::Ref<PB_BUFFER> buffer( std::string_view bytes )
{
    return pb::adopt( pbBufferCreateFromBytesCopy( bytes.data(), PB_INT_FROM( bytes.size() ) ) );
}
inline std::string bytesOf( PB_BUFFER *buf )
{
    return { reinterpret_cast<const char *>( pbBufferBacking( buf ) ), std::size_t( pbBufferLength( buf ) ) };
}
/** The bytes of a buffer, or "(null)", and the objects of a vector; both are released. */
inline std::string takeBytes( PB_BUFFER *owned )
{
    pb::Ref<PB_BUFFER> held = pb::adopt( owned );
    return held ? bytesOf( held.get() ) : "(null)";
}
template <class T>
std::vector<pb::Ref<T>> takeAll( PB_VECTOR *owned )
{
    pb::Ref<PB_VECTOR> held = pb::adopt( owned );
    std::vector<pb::Ref<T>> objects;
    for ( PB_INT i = 0; i < pbVectorLength( held.get() ); ++i )
        objects.push_back( pb::adoptAs<T>( pbVectorObjAt( held.get(), i ) ) );
    return objects;
}

/** Calls func( 0 ) to func( count - 1 ), each on a thread of its own, and waits for all. */
template <class Func>
void onThreads( int count, Func func )
{
    std::vector<std::jthread> threads;
    for ( int index = 0; index < count; ++index )
        threads.emplace_back( func, index );
}

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

/** Tells whether it was fired, to be registered by hand. */
class Waiter {
public:
    PB_SIGNALABLE *get() { return signalable.get(); }
    PB_ALERTABLE *alert() { return alertable.get(); }
    /** Whether it was fired since the last call. */
    bool fired() { return wait( 0 ); }
    /** Waits until it is fired; false when nothing comes. By the real clock, also when a test lets the other run faster. */
    bool wait( PB_INT milliseconds = 60'000 )
    {
        auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds( milliseconds );
        bool passed = false;
        do
            passed = pbBarrierPassTimed( barrier.get(), std::min<PB_INT>( milliseconds, 1'000 ) );
        while ( !passed && std::chrono::steady_clock::now() < end );
        if ( passed )
            pbBarrierBlock( barrier.get() );
        return passed;
    }

private:
    pb::Ref<PB_BARRIER> barrier = pb::adopt( pbBarrierCreate( 1 ) );
    pb::Ref<PB_SIGNALABLE> signalable = pb::adopt( pbSignalableCreateBarrier( barrier.get() ) );
    pb::Ref<PB_ALERTABLE> alertable = pb::adopt( pbAlertableCreateBarrier( barrier.get() ) );
};

/** Started by main before the first test and stopped after the last: the modules that a test program needs. */
struct Fixture {
    std::function<void()> start;
    std::function<void()> stop;
};
/** Registers a fixture; call it through a namespace-scope variable. Fixtures start in the order of their priority. */
int addFixture( int priority, Fixture fixture );

/** Registers modules, in the order of their start: as the runtime does, both phases of stopping go in reverse. */
int addModules( std::vector<PB_MODULE *> modules );

} // namespace test

#endif
