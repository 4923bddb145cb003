/* What the tests of the interface monitor share: links of their own, what `ip` says of them, waiting for the monitor. */
#ifndef TEST_NW_SUPPORT_HPP
#define TEST_NW_SUPPORT_HPP

#include <cstdio>
#include <in/nw/in_nw_host_private.hpp>
#include <in/nw/in_nw_interface_private.h>
#include <nlohmann/json.hpp>
#include <support/addresses.hpp>
#include <support/clock.hpp>
#include <support/namespace.hpp>

namespace test {

using Interface = pb::Ref<IN_NW_INTERFACE>;
using State = pb::Ref<IN_NW_INTERFACE_STATE>;

/** What `ip -j -d <arguments>` says. */
inline nlohmann::json ip( const std::string &arguments )
{
    std::unique_ptr<FILE, int ( * )( FILE * )> pipe( popen( ( "ip -j -d " + arguments ).c_str(), "re" ), pclose );
    std::string text;
    for ( int byte; pipe && ( byte = std::fgetc( pipe.get() ) ) != EOF; )
        text += static_cast<char>( byte );
    return nlohmann::json::parse( text, nullptr, false );
}

/** Links that go with the object. The names are those that `ip` is to delete. */
class Links : Pinned {
public:
    Links( const std::string &command, std::vector<std::string> names ) : all( std::move( names ) ) { sh( command ); }
    ~Links()
    {
        for ( const std::string &name : all )
            sh( "ip link del '" + name + "'" );
    }

private:
    std::vector<std::string> all;
};

/**
 * An interface object beside those of the monitor: polled at once, without waiting for the monitor to find it, and not from
 * what the monitor has just seen.
 */
inline Interface look( std::string_view name )
{
    in::hostChanged();
    auto imp = pb::adopt( in___NwInterfaceImpCreate( str( name ).get(), true, nullptr ) );
    return pb::adopt( in___NwInterfaceCreate( imp.get() ) );
}

inline State stateOf( const Interface &iface )
{
    return pb::adopt( inNwInterfaceState( iface.get() ) );
}

/** The clock by which the monitor polls, from before the modules start until they have stopped. */
inline std::unique_ptr<FastClock> fastClock;

/** Waits until something holds, which is tried again at every update; whether it came in time, in real milliseconds. */
template <class Add, class Del, class Holds>
bool waitUntil( PB_INT milliseconds, Add add, Del del, Holds holds )
{
    auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds( milliseconds );
    for ( Waiter waiter;; ) {
        add( waiter.get() );
        bool done = holds();
        if ( !done )
            waiter.wait( 100 );
        del( waiter.get() );
        if ( done || std::chrono::steady_clock::now() >= deadline )
            return done || holds();
    }
}

/** Waits for a change of an interface's state. */
template <class Holds>
bool waitForState( const Interface &iface, PB_INT milliseconds, Holds holds )
{
    return waitUntil(
        milliseconds, [&]( auto *signalable ) { inNwInterfaceUpdateAddSignalable( iface.get(), signalable ); },
        [&]( auto *signalable ) { inNwInterfaceUpdateDelSignalable( iface.get(), signalable ); },
        [&] { return holds( stateOf( iface ).get() ); } );
}

/** Waits for a change of the set of interfaces. */
template <class Holds>
bool waitForInterfaces( PB_INT milliseconds, Holds holds )
{
    return waitUntil( milliseconds, inNwInterfacesUpdateAddSignalable, inNwInterfacesUpdateDelSignalable, holds );
}

inline PB_INT interfaceCount()
{
    return pbVectorLength( pb::adopt( inNwInterfacesVector() ).get() );
}

inline Interface interfaceNamed( std::string_view name )
{
    return pb::adopt( inNwInterfacesInterfaceByIdentifier( str( name ).get() ) );
}

/** A test that leaves the host as it was, with nothing but the loopback interface, and the monitor knowing that. */
class Nw : public testing::Test {
protected:
    void SetUp() override { NEEDS_NAMESPACE(); }
    void TearDown() override
    {
        if ( !IsSkipped() ) {
            EXPECT_TRUE( waitForInterfaces( 20'000, [] { return interfaceCount() == 1; } ) );
        }
    }
};

} // namespace test

#endif
