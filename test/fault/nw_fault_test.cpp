/* The ladder under the interface monitor: what is seen of an interface, and what the library changes on it. */
#include <fault/fault.h>
#include <in/nw/in_nw_interfaces_private.h>
#include <in/nw/in_nw_socket_private.hpp>
#include <in/nw/in_nw_vocabulary_private.h>
#include <nw/nw_support.hpp>
#include <support/processes.hpp>
#include <support/recording.hpp>
#include <tr/tr.h>

namespace {

using test::Interface;
using test::look;
using test::sh;
using test::stateOf;

void start()
{
    test::startProcesses();
    in___NwAddressTypeStartup();
    in___NwInterfaceStatusStartup();
    in___NwInterfaceFlagsStartup();
}

void stop()
{
    in___NwInterfaceFlagsShutdown();
    in___NwInterfaceStatusShutdown();
    in___NwAddressTypeShutdown();
    test::stopProcesses();
}

const int fixture = test::addFixture( 9, { start, stop } );

/** Has the snapshot and the socket that are kept for all. They are counted among the objects that live. */
void keepForAll()
{
    in::hostSnapshot();
    in::hostSocket();
}

void letGoForAll()
{
    in::hostShutdown();
    in::hostSocketShutdown();
}

class FaultNw : public testing::Test {
protected:
    void SetUp() override
    {
        NEEDS_NAMESPACE();
        sh( "ip link add v0 type veth peer name w0 && ip link set v0 addrgenmode none && ip link set w0 up" );
        keepForAll();
    }
    void TearDown() override
    {
        if ( !IsSkipped() ) {
            sh( "ip link del v0" );
            letGoForAll();
        }
    }
};

/** Runs with calls failing; the calls whose failure was traced, each as its text begins, without the reason. */
template <class Run>
std::string tracedFailures( Run run )
{
    test::Recording recording;
    {
        fault::Armed armed;
        run();
    }
    std::string all;
    for ( auto &record : recording.take() ) {
        std::string text = test::take( pbStoreValueCstr( record.get(), "text", -1 ) );
        if ( text.find( "(): " ) != text.npos )
            all += " " + text.substr( 0, text.find( "(): " ) + 2 );
    }
    return all;
}

/** The parts of a state that are known. */
std::string describe( IN_NW_INTERFACE_STATE *state )
{
    return std::string( inNwInterfaceStateHasStatus( state ) ? " status" : "" ) +
           ( inNwInterfaceStateLayer2AddressesLength( state ) ? " mac" : "" ) +
           ( inNwInterfaceStateLayer2HasMtu( state ) ? " mtu" : "" ) +
           ( inNwInterfaceStateLayer2HasSpeedReceive( state ) ? " speed" : "" ) +
           ( inNwInterfaceStateLayer3UnicastAddressesLength( state ) ? " address" : "" ) +
           ( inNwInterfaceStateLayer3NetworksLength( state ) ? " network" : "" );
}

/** Changes an address with a call failing: the result, whether the host has it, and what was traced. */
template <class Change>
std::string change( IN_ADDRESS *ina, Change change )
{
    Interface iface = look( "v0" );
    pb::Ref<IN___NW_INTERFACE_IMP> imp = pb::adopt( in___NwInterfaceImp( iface.get() ) );
    bool done = false;
    std::string traced = tracedFailures( [&] { done = change( iface.get() ); } );
    in___NwInterfaceImpHaltWait( imp.get() ); // the poll that it asked for
    return ( done ? "true" : "false" ) +
           std::string( inNwInterfaceStateLayer3HasUnicastAddress( stateOf( look( "v0" ) ).get(), ina )
                            ? ", there:"
                            : ", not there:" ) +
           traced;
}

} // namespace

TEST_F( FaultNw, WhatCannotBeAskedIsAbsent )
{
    sh( "ip address add 10.7.0.1/24 dev v0" );
    fault::ladder(
        { " status mac mtu speed address network", " mac mtu speed address network",
            " status mtu speed address network", " status mac speed address network", " status mac mtu address network",
            " status mac mtu speed",
            " status mac mtu speed address network [in___NwInterfaceImpCreate()] socket()" }, // had at the next try
        [] {
            in::hostChanged();
            in::hostSocketShutdown();
            Interface iface;
            std::string traced = tracedFailures( [&] { iface = look( "v0" ); } );
            return describe( stateOf( iface ).get() ) + traced;
        } );
}

TEST_F( FaultNw, StatusIsWhatIsSaidOrTheResultIsFalse )
{
    // false with the interface up: it was set, and could not be read back
    fault::ladder( { "true, up", "false, down", "false, up" }, [] {
        sh( "ip link set v0 down" );
        Interface iface = look( "v0" );
        bool done;
        {
            fault::Armed armed;
            done = in___NwInterfaceTrySetStatus( iface.get(), IN_NW_INTERFACE_STATUS_UP );
        }
        bool up = inNwInterfaceStateStatus( stateOf( look( "v0" ) ).get() );
        return std::string( done ? "true" : "false" ) + ( up ? ", up" : ", down" );
    } );
}

TEST_F( FaultNw, AddressIsAdded )
{
    sh( "ip link set v0 up" );
    auto ina = pb::adopt( inAddressTryCreateFromCstr( "10.7.0.1", -1 ) );
    // what fails of telling the neighbours changes nothing; without an answer nobody knows that it is there
    fault::ladder( { "true, there:", "false, not there: [in___NwInterfaceImpRtnetlinkTryModifyAddress()] ioctl()",
                       "false, not there: [in___NwInterfaceImpRtnetlinkTalk()] socket()",
                       "false, not there: [in___NwInterfaceImpRtnetlinkTalk()] bind()",
                       "false, not there: [in___NwInterfaceImpRtnetlinkTalk()] sendmsg()",
                       "false, there: [in___NwInterfaceImpRtnetlinkTalk()] recvmsg()",
                       "true, there: [in___NwInterfaceImpTrySendGratuitousArp()] if_nametoindex()",
                       "true, there: [in___NwInterfaceImpTrySendGratuitousArp()] socket()",
                       "true, there: [in___NwInterfaceImpTrySendGratuitousArp()] sendto()" },
        [&] {
            sh( "ip address flush dev v0" );
            return change( ina.get(), [&]( IN_NW_INTERFACE *iface ) {
                return in___NwInterfaceTrySetLayer3UnicastAddress( iface, ina.get(), nullptr );
            } );
        } );
}

TEST_F( FaultNw, AddressIsRemoved )
{
    sh( "ip link set v0 up" );
    auto ina = pb::adopt( inAddressTryCreateFromCstr( "fd00:7::1", -1 ) );
    // without a fault: two requests, and a look at the host's list between them, which can fail silently
    fault::ladder(
        { "true, not there:", "false, there:", "false, there: [in___NwInterfaceImpRtnetlinkTryModifyAddress()] ioctl()",
            "false, there: [in___NwInterfaceImpRtnetlinkTalk()] socket()",
            "false, there: [in___NwInterfaceImpRtnetlinkTalk()] bind()",
            "false, there: [in___NwInterfaceImpRtnetlinkTalk()] sendmsg()",
            "false, there: [in___NwInterfaceImpRtnetlinkTalk()] recvmsg()",
            "false, not there: [in___NwInterfaceImpRtnetlinkTalk()] recvmsg()" },
        [&] {
            sh( "ip -6 address replace fd00:7::1/64 dev v0 nodad" );
            return change( ina.get(), [&]( IN_NW_INTERFACE *iface ) {
                return in___NwInterfaceTryDelLayer3UnicastAddress( iface, ina.get() );
            } );
        } );
}

TEST_F( FaultNw, InterfacesAreFoundFromEitherSource )
{
    fault::ladder( { " lo v0 w0" }, [] {
        letGoForAll();
        {
            fault::Armed armed;
            in___NwInterfacesStartup();
        }
        std::string names;
        for ( auto &iface : test::takeAll<IN_NW_INTERFACE>( inNwInterfacesVector() ) )
            names += " " + test::take( inNwInterfaceIdentifier( iface.get() ) );
        in___NwInterfacesShutdown();
        in___NwInterfacesShutdownWait();
        keepForAll();
        return names;
    } );
}
