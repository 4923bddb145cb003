/*
 * UDP channels, the part that knows no sockets: which local port, RTP/RTCP pairs, and the table of the local addresses in
 * use. `in___ImpUdpMonitor` makes creating and destroying go one after the other, and guards the table; the engine's own
 * locks are taken under it.
 */
#include <in/imp/in_imp_ports_private.hpp>
#include <in/imp/in_imp_slot_engine_private.hpp>
#include <in/imp/in_imp_udp_private.h>

static constinit pb::Monitor in___ImpUdpMonitor;
// Of all open channels that are not multicast. By pointer: nothing is destroyed at the end of the process.
static constinit in::LocalPorts *in___ImpUdpAddresses PB_GUARDED_BY( in___ImpUdpMonitor ) = nullptr;

void in___ImpUdpStartup()
{
    pb::Lock lock( in___ImpUdpMonitor );
    in___ImpUdpAddresses = new in::LocalPorts;
}

void in___ImpUdpShutdown()
{
    pb::Lock lock( in___ImpUdpMonitor );
    delete std::exchange( in___ImpUdpAddresses, pb::released<in::LocalPorts>() );
}

namespace {

/** What a channel is opened with, the port aside. */
struct Opening {
    IN_ADDRESS *localAddress;
    IN_UDP_PORT_RANGE *optionalPortRange;
    PB_INT flags;
    IN_QOS_STACK *optionalQosStack;
    PB_STRING *optionalInterface;

    in::Ports ports() const
    {
        if ( !optionalPortRange )
            return {};
        return { inUdpPortRangeFirstPort( optionalPortRange ), inUdpPortRangeCount( optionalPortRange ) };
    }
};

/** Tells the lock analysis, which cannot look through a template, that the monitor is held. */
void monitorHeld() PB_TS( assert_capability( in___ImpUdpMonitor ) ) {}

struct Local {
    pb::Ref<IN_ADDRESS> ina;
    PB_INT port;
};

Local localOf( PB_INT chan )
{
    pb::Ref<IN_UDP_ADDRESS> ua = pb::adopt( in___ImpUdpChannelLocalAddress( chan ) );
    return { pb::adopt( inUdpAddressAddress( ua.get() ) ), inUdpAddressPort( ua.get() ) };
}

PB_INT allocateLocked( const Opening &opening, PB_INT optionalLocalPort ) PB_REQUIRES( in___ImpUdpMonitor )
{
    PB_INT chan = in___ImpUdpChannelTryAllocate(
        opening.localAddress, optionalLocalPort, opening.flags, opening.optionalQosStack, opening.optionalInterface );
    if ( chan == IN___IMP_UDP_CHANNEL_INVALID || in___ImpUdpChannelIsMulticast( chan ) )
        return chan;
    auto [ina, port] = localOf( chan );
    in___ImpUdpAddresses->add( ina.get(), port );
    return chan;
}

PB_INT tryCreateLocked( const Opening &opening, PB_INT optionalLocalPort ) PB_REQUIRES( in___ImpUdpMonitor )
{
    if ( optionalLocalPort != IN_UDP_PORT_INVALID || !opening.optionalPortRange )
        return allocateLocked( opening, optionalLocalPort );
    return in::choosePort( opening.ports(), [&]( PB_INT port ) {
        monitorHeld();
        return in___ImpUdpAddresses->has( opening.localAddress, port ) ? IN___IMP_UDP_CHANNEL_INVALID
                                                                       : allocateLocked( opening, port );
    } );
}

void destroyLocked( PB_INT chan, in::Wakes &wakes ) PB_REQUIRES( in___ImpUdpMonitor )
{
    if ( !in___ImpUdpChannelIsMulticast( chan ) ) {
        auto [ina, port] = localOf( chan );
        in___ImpUdpAddresses->remove( ina.get(), port );
    }
    in___ImpUdpChannelReleaseDeferred( chan, wakes );
}

} // namespace

PB_INT in___ImpUdpChannelTryCreate( IN_ADDRESS *localAddress, PB_INT optionalLocalPort,
    IN_UDP_PORT_RANGE *optionalPortRange, PB_INT flags, IN_QOS_STACK *optionalQosStack, PB_STRING *optionalInterface )
{
    PB_ASSERT( localAddress );
    PB_ASSERT( optionalLocalPort == IN_UDP_PORT_INVALID || IN_UDP_PORT_OK( optionalLocalPort ) );
    pb::Lock lock( in___ImpUdpMonitor );
    return tryCreateLocked(
        { localAddress, optionalPortRange, flags, optionalQosStack, optionalInterface }, optionalLocalPort );
}

PB_BOOL in___ImpUdpChannelTryCreateRtp( PB_INT *rtp, PB_INT *rtcp, IN_ADDRESS *localAddress,
    IN_UDP_PORT_RANGE *optionalPortRange, PB_INT flags, IN_QOS_STACK *optionalQosStack )
{
    PB_ASSERT( rtp );
    PB_ASSERT( rtcp );
    PB_ASSERT( localAddress );
    Opening opening{ localAddress, optionalPortRange, flags, optionalQosStack, nullptr };
    auto tryOn = [&]( PB_INT optionalLocalPort ) {
        monitorHeld();
        return tryCreateLocked( opening, optionalLocalPort );
    };
    auto destroy = []( PB_INT chan ) {
        monitorHeld();
        in::Wakes nobody; // has seen the handle
        destroyLocked( chan, nobody );
    };
    pb::Lock lock( in___ImpUdpMonitor );
    in::PortPair pair = in::findPortPair(
        opening.ports(), [&] { return tryOn( IN_UDP_PORT_INVALID ); }, tryOn,
        []( PB_INT chan ) { return localOf( chan ).port; }, destroy );
    *rtp = pair.even;
    *rtcp = pair.odd;
    return pair.even != IN___IMP_UDP_CHANNEL_INVALID;
}

void in___ImpUdpChannelDestroy( PB_INT chan )
{
    in::Wakes wakes; // fire when the monitor has been left: a user's function may open a channel
    pb::Lock lock( in___ImpUdpMonitor );
    destroyLocked( chan, wakes );
}
