/* The ladder under neighbour look-up and the list of name servers. */
#include <fault/fault.h>
#include <in/in.h>
#include <support/command.hpp>
#include <support/test_support.h>

namespace {

std::string lookup( const char *address )
{
    pb::Ref<IN_ADDRESS> ina = pb::adopt( inAddressTryCreateFromCstr( address, -1 ) );
    fault::Armed armed;
    pb::Ref<IN_EUI48_ADDRESS> inea = pb::adopt( inEui48AddressTryLookup( ina.get(), nullptr ) );
    return inea ? test::textOf( inea.get() ) : "null";
}

} // namespace

TEST( FaultNeighbour, IsFoundOrNot )
{
    test::Command ping( "ping", "exit 0" );
    test::Command ip( "ip", "echo 'fd00::2 dev e0 lladdr 02:53:00:00:00:01 REACHABLE '" );
    fault::ladder( { "02:53:00:00:00:01", "null" }, [] { return lookup( "fd00::2" ); } );
    fault::ladder( { "null" }, [] { return lookup( "192.0.2.254" ); } );
}

TEST( FaultNameServers, AreListedOrNot )
{
    pb::Ref<PB_VECTOR> servers = pb::adopt( inDnsServersVector() );
    std::string all = test::textOf( servers.get() );
    servers = nullptr;
    // a read that fails in the middle ends the file there
    fault::ladder( { all, "[]" }, [] {
        fault::Armed armed;
        pb::Ref<PB_VECTOR> found = pb::adopt( inDnsServersVector() );
        return test::textOf( found.get() );
    } );
}
