/* Multicast receivers: a backend channel on a group. No lock of their own. */
#include <in/channel/in_stack_opening_private.hpp>
#include <in/imp/in_imp_udp_private.h>
#include <in/udp/in_udp_multicast_receiver.h>
#include <in/udp/in_udp_packet_private.h>
#include <pb/pb.hpp>

struct IN_UDP_MULTICAST_RECEIVER : PB_OBJ {
    pb::Ref<TR_STREAM> stream = pb::adopt( trStreamCreateCstr( "IN_UDP_MULTICAST_RECEIVER", -1 ) );
    PB_INT intImpUdpChannel = IN___IMP_UDP_CHANNEL_INVALID;
    in::UdpPath *path = nullptr; // of the backend's channel
};

static void in___UdpMulticastReceiverFreeFunc( PB_OBJ *obj )
{
    IN_UDP_MULTICAST_RECEIVER *recv = inUdpMulticastReceiverFrom( obj );
    if ( IN___IMP_UDP_CHANNEL_OK( recv->intImpUdpChannel ) ) {
        PB_BOOL error = recv->path->error();
        if ( error )
            trStreamSetNotable( recv->stream.get() );
        trStreamTextFormatCstr( recv->stream.get(), "[in___UdpMulticastReceiverFreeFunc()] error: %b", -1, error );
        in___ImpUdpChannelDestroy( recv->intImpUdpChannel );
    }
    pb::destroy<IN_UDP_MULTICAST_RECEIVER>( recv );
}

PB_CLASS_DEFINE(
    IN_UDP_MULTICAST_RECEIVER, inUdpMulticastReceiver, in___UdpMulticastReceiverFreeFunc, nullptr, nullptr );

static void traceProperties(
    TR_STREAM *stream, IN_ADDRESS *multicastAddress, PB_STRING *optionalInterface, PB_INT optionalLocalPort )
{
    trStreamSetPayloadTypeCstr( stream, "PB_BUFFER", -1 );
    trStreamSetPropertyObjCstr( stream, "inMulticastAddress", -1, pb::obj( multicastAddress ) );
    if ( optionalLocalPort != IN_UDP_PORT_INVALID )
        trStreamSetPropertyIntCstr( stream, "inMulticastPort", -1, optionalLocalPort );
    if ( optionalInterface )
        trStreamSetPropertyCstr( stream, "inMulticastInterface", -1, optionalInterface );
}

IN_UDP_MULTICAST_RECEIVER *inUdpMulticastReceiverTryCreate( IN_ADDRESS *multicastAddress, PB_STRING *optionalInterface,
    PB_INT optionalLocalPort, TR_ANCHOR *optionalTraceAnchor )
{
    PB_ASSERT( multicastAddress );
    PB_ASSERT( inAddressIsMulticast( multicastAddress ) );
    PB_ASSERT( optionalLocalPort == IN_UDP_PORT_INVALID || IN_UDP_PORT_OK( optionalLocalPort ) );
    pb::Ref<IN_UDP_MULTICAST_RECEIVER> recv = pb::adopt( pb::create<IN_UDP_MULTICAST_RECEIVER>() );
    if ( optionalTraceAnchor )
        trAnchorComplete( optionalTraceAnchor, recv->stream.get() );
    traceProperties( recv->stream.get(), multicastAddress, optionalInterface, optionalLocalPort );
    in::OpenPlan plan{ .localAddress = multicastAddress,
        .optionalPort = optionalLocalPort,
        .ports = {},
        .optionalInterface = optionalInterface };
    in::OpenFailure failure;
    recv->intImpUdpChannel = in___ImpUdpChannelTryCreate( plan, failure );
    if ( IN___IMP_UDP_CHANNEL_OK( recv->intImpUdpChannel ) ) {
        recv->path = &in___ImpUdpChannelPath( recv->intImpUdpChannel );
        return recv.give();
    }
    trStreamSetNotable( recv->stream.get() );
    trStreamTextCstr( recv->stream.get(),
        "[inUdpMulticastReceiverTryCreate()] in___ImpUdpChannelTryCreate(): IN___IMP_UDP_CHANNEL_INVALID", -1 );
    in::traceFailure( recv->stream.get(), "[inUdpMulticastReceiverTryCreate()] %~s", failure );
    return nullptr;
}

void inUdpMulticastReceiverTraceCompleteAnchor( IN_UDP_MULTICAST_RECEIVER *recv, TR_ANCHOR *anchor )
{
    PB_ASSERT( recv );
    trAnchorComplete( anchor, recv->stream.get() );
}

/** The backend's channel. */
static PB_INT channelOf( IN_UDP_MULTICAST_RECEIVER *recv )
{
    PB_ASSERT( recv );
    PB_ASSERT( IN___IMP_UDP_CHANNEL_OK( recv->intImpUdpChannel ) );
    return recv->intImpUdpChannel;
}

static in::UdpPath &pathOf( IN_UDP_MULTICAST_RECEIVER *recv )
{
    (void)channelOf( recv );
    return *recv->path;
}

IN_UDP_ADDRESS *inUdpMulticastReceiverLocalAddress( IN_UDP_MULTICAST_RECEIVER *recv )
{
    return pathOf( recv ).localAddress().give();
}

PB_STRING *inUdpMulticastReceiverInterface( IN_UDP_MULTICAST_RECEIVER *recv )
{
    return in___ImpUdpChannelInterface( channelOf( recv ) );
}

PB_BOOL inUdpMulticastReceiverHasInterface( IN_UDP_MULTICAST_RECEIVER *recv )
{
    return in___ImpUdpChannelHasInterface( channelOf( recv ) );
}

PB_BOOL inUdpMulticastReceiverError( IN_UDP_MULTICAST_RECEIVER *recv )
{
    return pathOf( recv ).error();
}

void inUdpMulticastReceiverErrorAddSignalable( IN_UDP_MULTICAST_RECEIVER *recv, PB_SIGNALABLE *signalable )
{
    pathOf( recv ).errorAddSignalable( signalable );
}

void inUdpMulticastReceiverErrorDelSignalable( IN_UDP_MULTICAST_RECEIVER *recv, PB_SIGNALABLE *signalable )
{
    pathOf( recv ).errorDelSignalable( signalable );
}

IN_UDP_PACKET *inUdpMulticastReceiverReceive( IN_UDP_MULTICAST_RECEIVER *recv )
{
    pb::Ref<IN_UDP_PACKET> pkt = pathOf( recv ).optionalReceive();
    if ( pkt )
        in___UdpPacketTrace(
            pkt.get(), recv->stream.get(), "[inUdpMulticastReceiverReceive()] bytesReceived: %i, remoteAddress: %o" );
    return pkt.give();
}

void inUdpMulticastReceiverReceiveAddAlertable( IN_UDP_MULTICAST_RECEIVER *recv, PB_ALERTABLE *alertable )
{
    pathOf( recv ).receiveAddAlertable( alertable );
}

void inUdpMulticastReceiverReceiveDelAlertable( IN_UDP_MULTICAST_RECEIVER *recv, PB_ALERTABLE *alertable )
{
    pathOf( recv ).receiveDelAlertable( alertable );
}

void inUdpMulticastReceiverReceiveWait( IN_UDP_MULTICAST_RECEIVER *recv, PB_SIGNAL *optionalAbortSignal )
{
    PB_ASSERT( recv );
    pb::Ref<PB_BARRIER> barrier = pb::adopt( pbBarrierCreate( 1 ) );
    pb::Ref<PB_ALERTABLE> alertable = pb::adopt( pbAlertableCreateBarrier( barrier.get() ) );
    pb::Ref<PB_SIGNALABLE> signalable = pb::adopt( pbSignalableCreateBarrier( barrier.get() ) );
    inUdpMulticastReceiverErrorAddSignalable( recv, signalable.get() );
    inUdpMulticastReceiverReceiveAddAlertable( recv, alertable.get() );
    if ( optionalAbortSignal )
        pbSignalAddBarrier( optionalAbortSignal, barrier.get() );
    pbBarrierPass( barrier.get() );
    if ( optionalAbortSignal )
        pbSignalDelBarrier( optionalAbortSignal, barrier.get() );
    inUdpMulticastReceiverReceiveDelAlertable( recv, alertable.get() );
    inUdpMulticastReceiverErrorDelSignalable( recv, signalable.get() );
}

IN_UDP_PACKET *inUdpMulticastReceiverBlockReceive( IN_UDP_MULTICAST_RECEIVER *recv, PB_SIGNAL *optionalAbortSignal )
{
    while ( !inUdpMulticastReceiverError( recv ) ) {
        inUdpMulticastReceiverReceiveWait( recv, optionalAbortSignal );
        if ( optionalAbortSignal && pbSignalAsserted( optionalAbortSignal ) )
            return nullptr;
        if ( IN_UDP_PACKET *pkt = inUdpMulticastReceiverReceive( recv ) )
            return pkt;
    }
    return nullptr;
}
