/* The set of interfaces as links come and go, what a stack finds in it, readers beside changes, and what it costs. */
#include <in/nw/in_nw_socket_private.hpp>
#include <in/nw/in_nw_util_private.h>
#include <nw/nw_support.hpp>
#include <sys/resource.h>

using namespace test;

namespace {

struct Found {
    pb::Ref<IN_ADDRESS> address;
    Interface primary;
    pb::Ref<PB_VECTOR> interfaces;
};

/** Finds from what was found before. */
void find( IN_OPTIONS *options, Found &found )
{
    in___NwUtilFindAddressAndInterface( options, found.address.get(), found.primary.get(), found.address.handle(),
        found.primary.handle(), found.interfaces.handle() );
}

TEST_F( Nw, InterfacesComeAndGo )
{
    Interface first;
    Waiter endOfFirst, newInterface;
    in___NwUtilInterfacesUpdateAddSignalable( newInterface.get() );
    {
        Links links( "ip link add v0 type veth peer name w0", { "v0" } );
        sh( "ip link set v0 up && ip link set w0 up && ip address add 10.7.0.1/24 dev v0 && "
            "ip address add 10.7.0.1/24 dev w0" );
        ASSERT_TRUE( waitForInterfaces( 10'000, [] { return interfaceCount() == 3; } ) );
        EXPECT_TRUE( newInterface.wait() );
        for ( const char *name : { "v0", "w0" } ) // that they came may have been seen before their addresses
            ASSERT_TRUE( waitForState( interfaceNamed( name ), 10'000,
                []( auto *state ) { return inNwInterfaceStateLayer3UnicastAddressesLength( state ) == 2; } ) );

        // the same address on both: both are found, the primary one stays primary
        auto options = pb::adopt( inOptionsCreate() );
        Found found;
        find( options.get(), found );
        ASSERT_TRUE( found.address );
        EXPECT_EQ( textOf( found.address.get() ), "10.7.0.1" );
        EXPECT_EQ( pbVectorLength( found.interfaces.get() ), 2 );
        EXPECT_EQ( found.primary.get(), interfaceNamed( "v0" ).get() );
        found.primary = interfaceNamed( "w0" );
        find( options.get(), found );
        EXPECT_EQ( found.primary.get(), interfaceNamed( "w0" ).get() );
        EXPECT_EQ( textOf( pb::adopt( in___NwUtilGatherLayer3UnicastAddressesVector() ).get() )
                       .find( "[10.7.0.1, 127.0.0.1, ::1, FE80:" ),
            0U );
        inOptionsSetAddress( options.handle(), found.address.get() );
        auto why = pb::adopt( in___NwUtilExplainSelection( options.get(), found.address.get() ) );
        auto candidates = nlohmann::json::parse( textOf( why.get() ) ).at( "candidates" );
        EXPECT_EQ(
            candidates.at( 0 ).dump(), R"({"address":"10.7.0.1","chosen":true,"interfaces":["v0","w0"],"score":9})" );
        EXPECT_EQ( candidates.at( 1 ).at( "droppedBy" ), "address" );

        first = interfaceNamed( "v0" );
        inNwInterfaceUpdateAddSignalable( first.get(), endOfFirst.get() );
    }
    in___NwUtilInterfacesUpdateDelSignalable( newInterface.get() );
    ASSERT_TRUE( waitForInterfaces( 10'000, [] { return interfaceCount() == 1; } ) );
    EXPECT_TRUE( endOfFirst.wait() );
    EXPECT_TRUE( inNwInterfaceStateEnd( stateOf( first ).get() ) );
    EXPECT_FALSE( interfaceNamed( "v0" ) );

    Links links( "ip link add v0 type veth peer name w0", { "v0" } );
    ASSERT_TRUE( waitForInterfaces( 10'000, [] { return interfaceCount() == 3; } ) );
    EXPECT_NE( interfaceNamed( "v0" ).get(), first.get() );
    EXPECT_FALSE( inNwInterfaceStateEnd( stateOf( interfaceNamed( "v0" ) ).get() ) );
    EXPECT_TRUE( inNwInterfaceStateEnd( stateOf( first ).get() ) ) << "an end is final";
}

TEST_F( Nw, WithoutDescriptorsInterfacesStay )
{
    Interface lo = interfaceNamed( "lo" );
    auto ina = address( "127.0.0.1" );
    auto has = [&]( IN_NW_INTERFACE_STATE *state ) {
        return inNwInterfaceStateLayer3HasUnicastAddress( state, ina.get() );
    };
    ASSERT_TRUE( waitForState( lo, 10'000, has ) );
    rlimit limit;
    getrlimit( RLIMIT_NOFILE, &limit );
    in::hostSocketShutdown();
    pb::Fd firstFree( dup( STDERR_FILENO ) );
    rlimit none{ static_cast<rlim_t>( firstFree.get() ), limit.rlim_max };
    firstFree.close();
    setrlimit( RLIMIT_NOFILE, &none );
    Interface found = look( "lo" );
    bool status = inNwInterfaceStateHasStatus( stateOf( found ).get() );
    bool gone = waitForState( lo, 10'000, std::not_fn( has ) ); // of what cannot be read, the state holds nothing
    pbSleep( 5'500 );                                           // the set has polled too
    setrlimit( RLIMIT_NOFILE, &limit );
    EXPECT_TRUE( gone );
    EXPECT_EQ( interfaceNamed( "lo" ).get(), lo.get() );
    EXPECT_FALSE( status );
    EXPECT_TRUE( waitForState( lo, 10'000, has ) );
    EXPECT_TRUE( waitForState( found, 10'000, inNwInterfaceStateHasStatus ) ) << "the socket was not opened again";
    EXPECT_FALSE( inNwInterfaceStateEnd( stateOf( lo ).get() ) );
}

TEST_F( Nw, OneDescriptorForAll )
{
    int before = openDescriptors();
    std::vector<Interface> interfaces( 50 );
    std::ranges::generate( interfaces, [] { return look( "lo" ); } );
    EXPECT_EQ( openDescriptors(), before );
}

TEST_F( Nw, ReadersBesideAFlappingInterface )
{
    Links links( "ip link add v0 type veth peer name w0 && ip link set w0 up", { "v0" } );
    ASSERT_TRUE( waitForInterfaces( 10'000, [] { return interfaceCount() == 3; } ) );
    Interface iface = interfaceNamed( "v0" );
    auto ina = address( "fd00:7::1" );
    std::atomic<bool> stop = false;
    std::atomic<int> reads = 0;
    auto read = [&] {
        auto options = pb::adopt( inOptionsCreate() );
        Waiter updates;
        for ( Found found; !stop; ++reads ) {
            in___NwUtilInterfacesUpdateAddSignalable( updates.get() );
            find( options.get(), found );
            in___NwUtilInterfacesUpdateDelSignalable( updates.get() );
            textOf( pb::adopt( inNwInterfaceStateStore( stateOf( iface ).get() ) ).get() );
        }
    };
    std::thread readers[] = { std::thread( read ), std::thread( read ) };
    for ( int i = 0; i < 1000; ++i ) {
        EXPECT_TRUE( in___NwInterfaceTrySetStatus(
            iface.get(), i % 2 ? IN_NW_INTERFACE_STATUS_DOWN : IN_NW_INTERFACE_STATUS_UP ) );
        EXPECT_TRUE( in___NwInterfaceTrySetLayer3UnicastAddress( iface.get(), ina.get(), nullptr ) ) << i;
    }
    stop = true;
    for ( std::thread &reader : readers )
        reader.join();
    EXPECT_GT( reads, 0 );
    EXPECT_TRUE( in___NwInterfaceTrySetStatus( iface.get(), IN_NW_INTERFACE_STATUS_UP ) );
    EXPECT_TRUE( in___NwInterfaceTrySetLayer3UnicastAddress( iface.get(), ina.get(), nullptr ) );
    EXPECT_TRUE( waitForState( iface, 1'000, [&]( IN_NW_INTERFACE_STATE *state ) {
        return inNwInterfaceStateStatus( state ) == IN_NW_INTERFACE_STATUS_UP &&
               inNwInterfaceStateLayer3HasUnicastAddress( state, ina.get() );
    } ) );
}

TEST_F( Nw, AThousandInterfaces )
{
    auto batch = []( const std::string &lines ) {
        sh( "for i in $( seq 0 499 ); do echo \"" + lines + "\"; done | ip -batch -" );
    };
    batch( "link add a$i type veth peer name b$i\nlink set a$i up\nlink set b$i up\n"
           "address add 10.1.$(( i / 250 )).$(( i % 250 + 1 ))/24 dev a$i\n"
           "address add 10.2.$(( i / 250 )).$(( i % 250 + 1 ))/24 dev b$i" );
    ASSERT_TRUE( waitForInterfaces( 30'000, [] { return interfaceCount() == 1001; } ) );
    EXPECT_TRUE( waitForState( interfaceNamed( "b499" ), 30'000, []( IN_NW_INTERFACE_STATE *state ) {
        return inNwInterfaceStateLayer3HasUnicastAddress( state, address( "10.2.1.250" ).get() );
    } ) );
    batch( "link del a$i" );
}

} // namespace
