/*
 * UDP channels, the part that knows no sockets: which local port, RTP/RTCP pairs, and the table of the local addresses in
 * use. `in___ImpUdpMonitor` makes creating and destroying go one after the other, and guards the table; the engine's own
 * locks are taken under it.
 */
#include <in/imp/in_imp_ports_private.hpp>
#include <in/imp/in_imp_slot_engine_private.hpp>
#include <in/imp/in_imp_udp_private.h>
#include <pb/pb_dict.h>

static constinit pb::Monitor in___ImpUdpMonitor;
static constinit pb::Global<PB_DICT> in___ImpUdpAddressesDict PB_GUARDED_BY( in___ImpUdpMonitor );

void in___ImpUdpStartup()
{
    pb::Lock lock( in___ImpUdpMonitor );
    in___ImpUdpAddressesDict.set( pbDictCreate() );
}

void in___ImpUdpShutdown()
{
    pb::Lock lock( in___ImpUdpMonitor );
    in___ImpUdpAddressesDict.drop();
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

PB_INT allocateLocked( const Opening &opening, PB_INT optionalLocalPort ) PB_REQUIRES( in___ImpUdpMonitor )
{
    PB_INT chan = in___ImpUdpChannelTryAllocate(
        opening.localAddress, optionalLocalPort, opening.flags, opening.optionalQosStack, opening.optionalInterface );
    if ( chan == IN___IMP_UDP_CHANNEL_INVALID || in___ImpUdpChannelIsMulticast( chan ) )
        return chan;
    PB_OBJ *address = inUdpAddressObj( in___ImpUdpChannelLocalAddress( chan ) );
    pb::Ref<PB_OBJ> held = pb::adopt( address );
    pbDictSet( &in___ImpUdpAddressesDict, address, address );
    return chan;
}

bool usedLocked( IN_ADDRESS *localAddress, PB_INT port ) PB_REQUIRES( in___ImpUdpMonitor )
{
    pb::Ref<IN_UDP_ADDRESS> ua = pb::adopt( inUdpAddressCreate( localAddress, port ) );
    return pbDictHas( in___ImpUdpAddressesDict.get(), inUdpAddressObj( ua.get() ) );
}

PB_INT tryCreateLocked( const Opening &opening, PB_INT optionalLocalPort ) PB_REQUIRES( in___ImpUdpMonitor )
{
    if ( optionalLocalPort != IN_UDP_PORT_INVALID || !opening.optionalPortRange )
        return allocateLocked( opening, optionalLocalPort );
    return in::choosePort( opening.ports(), [&]( PB_INT port ) {
        monitorHeld();
        return usedLocked( opening.localAddress, port ) ? IN___IMP_UDP_CHANNEL_INVALID
                                                        : allocateLocked( opening, port );
    } );
}

void destroyLocked( PB_INT chan, in::Wakes &wakes ) PB_REQUIRES( in___ImpUdpMonitor )
{
    if ( !in___ImpUdpChannelIsMulticast( chan ) ) {
        pb::Ref<IN_UDP_ADDRESS> ua = pb::adopt( in___ImpUdpChannelLocalAddress( chan ) );
        pbDictDel( &in___ImpUdpAddressesDict, inUdpAddressObj( ua.get() ) );
    }
    in___ImpUdpChannelReleaseDeferred( chan, wakes );
}

PB_INT portOf( PB_INT chan )
{
    return inUdpAddressPort( pb::adopt( in___ImpUdpChannelLocalAddress( chan ) ).get() );
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
        opening.ports(), [&] { return tryOn( IN_UDP_PORT_INVALID ); }, tryOn, portOf, destroy );
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
