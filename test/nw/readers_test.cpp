/*
 * What readers and users' functions get while the monitor is at work, and what the monitor makes of hosts that are slow,
 * change under its eyes or have names that nobody expects. Its calls into the kernel are wrapped by the linker.
 */
#include <cs/cs.h>
#include <ifaddrs.h>
#include <in/nw/in_nw_interfaces_private.h>
#include <in/nw/in_nw_util_private.h>
#include <nw/nw_support.hpp>
#include <pr/pr.h>

using namespace test;

namespace {

/** While it is closed, who asks the host does not get an answer; counted by call. It opens by itself if nobody opens it. */
struct Gate {
    std::atomic<bool> closed = false;
    std::atomic<int> ioctls = 0;
    std::atomic<int> lists = 0;

    void pass( std::atomic<int> &count )
    {
        if ( !closed )
            return;
        ++count;
        eventually( [this] { return !closed; } );
        closed = false;
    }
};
Gate gate;
std::atomic<void ( * )()> afterNextList = nullptr; // called when the host's list has been made, before it is seen

} // namespace

extern "C" int __real_ioctl( int fd, unsigned long request, void *argument );
extern "C" int __wrap_ioctl( int fd, unsigned long request, void *argument );
int __wrap_ioctl( int fd, unsigned long request, void *argument )
{
    gate.pass( gate.ioctls );
    return __real_ioctl( fd, request, argument );
}

extern "C" int __real_getifaddrs( ifaddrs **list );
extern "C" int __wrap_getifaddrs( ifaddrs **list );
int __wrap_getifaddrs( ifaddrs **list )
{
    gate.pass( gate.lists );
    int result = __real_getifaddrs( list );
    if ( auto call = afterNextList.exchange( nullptr ) )
        call();
    return result;
}

namespace {

void stopSet()
{
    in___NwInterfacesShutdown();
    in___NwInterfacesShutdownWait();
}

/** Calls all that users, stacks and packet checks call of an interface and of the set. */
void callEveryGetter( IN_NW_INTERFACE *iface )
{
    Waiter waiter;
    auto identifier = pb::adopt( inNwInterfaceIdentifier( iface ) );
    auto state = pb::adopt( inNwInterfaceState( iface ) );
    auto stream = pb::adopt( trStreamCreateCstr( "test", -1 ) );
    auto anchor = pb::adopt( trAnchorCreate( stream.get(), TR_ANCHOR_KIND_USES ) );
    inNwInterfaceTraceCompleteAnchor( iface, anchor.get() );
    inNwInterfaceUpdateAddSignalable( iface, waiter.get() );
    inNwInterfaceUpdateDelSignalable( iface, waiter.get() );
    inNwInterfacesUpdateAddSignalable( waiter.get() );
    inNwInterfacesUpdateDelSignalable( waiter.get() );
    auto all = pb::adopt( inNwInterfacesVector() );
    auto found = pb::adopt( inNwInterfacesInterfaceByIdentifier( identifier.get() ) );
    auto addresses = pb::adopt( in___NwUtilGatherLayer3UnicastAddressesVector() );
}

std::atomic<int> asked = 0;

void askBack( PB_OBJ *iface )
{
    callEveryGetter( inNwInterfaceFrom( iface ) );
    ++asked;
}

} // namespace

TEST_F( Nw, NoReaderWaitsForTheHost )
{
    Interface lo = look( "lo" );
    stopSet();
    gate.closed = true;
    std::thread set( in___NwInterfacesStartup );
    std::thread change( [&] { in___NwInterfaceTrySetStatus( lo.get(), IN_NW_INTERFACE_STATUS_UP ); } );
    ASSERT_TRUE( eventually( [] { return gate.lists > 0 && gate.ioctls > 0; } ) );
    callEveryGetter( lo.get() );
    EXPECT_TRUE( gate.closed ) << "a getter waited for what the host was asked";
    gate.closed = false;
    set.join();
    change.join();
    EXPECT_EQ( interfaceCount(), 1 );
}

TEST_F( Nw, FunctionsOfSignalsMayAsk )
{
    Interface v0;
    auto ask = pb::adopt( pbSignalableCreate( askBack, pb::obj( interfaceNamed( "lo" ).get() ) ) );
    asked = 0;
    inNwInterfacesUpdateAddSignalable( ask.get() );
    Links links( "ip link add v0 type veth peer name w0", { "v0" } );
    EXPECT_TRUE( eventually( [] { return asked == 1; } ) );
    inNwInterfaceUpdateAddSignalable( ( v0 = interfaceNamed( "v0" ) ).get(), ask.get() );
    in___NwInterfaceTrySetLayer3UnicastAddress( v0.get(), address( "10.7.0.1" ).get(), nullptr );
    EXPECT_TRUE( eventually( [] { return asked == 2; } ) );
}

TEST_F( Nw, AFirstStateIsNotOlderThanItsInterface )
{
    Links links( "true", { "v0" } );
    stopSet();
    afterNextList = [] { sh( "ip link add v0 type veth peer name w0 && ip address add 10.7.0.1/24 dev v0" ); };
    in___NwInterfacesStartup();
    Interface v0 = interfaceNamed( "v0" );
    ASSERT_TRUE( v0 ) << "it was made before the table of devices was read";
    EXPECT_TRUE( inNwInterfaceStateLayer3HasUnicastAddress( stateOf( v0 ).get(), address( "10.7.0.1" ).get() ) );
}

TEST_F( Nw, AnyNameThatTheKernelTakes )
{
    const std::string rows[] = {
        "\"},{\"",
        "..x",
        "\u3000x", // white space, but none that the kernel puts before a name
        "\u2028y",
        "\u0085z",
    };
    std::string command = "true";
    for ( std::size_t i = 0; i < std::size( rows ); ++i )
        command += " && ip link add '" + rows[i] + "' type veth peer name p" + std::to_string( i );
    Links links( command, { std::begin( rows ), std::end( rows ) } );
    stopSet();
    in___NwInterfacesStartup();
    EXPECT_EQ( interfaceCount(), 1 + 2 * PB_INT_FROM( std::size( rows ) ) );
    for ( const std::string &name : rows ) {
        Interface iface = interfaceNamed( name );
        EXPECT_TRUE( iface && inNwInterfaceStateHasStatus( stateOf( iface ).get() ) ) << name;
    }
}

namespace {

/** Stops the modules while two interfaces are held, one that has vanished, and asks and releases them after that. */
[[noreturn]] void stopWhileHeld()
{
    Interface lo = interfaceNamed( "lo" );
    Interface gone;
    {
        Links links( "ip link add v0 type veth peer name w0", { "v0" } );
        waitForInterfaces( 10'000, [] { return interfaceCount() == 3; } );
        gone = interfaceNamed( "v0" );
    }
    waitForInterfaces( 10'000, [] { return interfaceCount() == 1; } );
    PB_MODULE *modules[] = { inModule(), csModule(), prModule(), trModule() };
    for ( auto phase : { &PB_MODULE::shutdown, &PB_MODULE::shutdownWait } )
        for ( PB_MODULE *module : modules )
            if ( module->*phase )
                ( module->*phase )();
    bool answers = take( inNwInterfaceIdentifier( gone.get() ) ) == "v0" &&
                   inNwInterfaceStateEnd( stateOf( gone ).get() ) && !inNwInterfaceStateEnd( stateOf( lo ).get() );
    lo = gone = nullptr;
    std::_Exit( answers ? 0 : 1 );
}

} // namespace

TEST_F( Nw, InterfacesMayBeHeldAtTheStop )
{
    EXPECT_EXIT( stopWhileHeld(), testing::ExitedWithCode( 0 ), "" );
}
