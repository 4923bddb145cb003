/*
 * UDP channels: a path, of the backend or of a mapping, with a filter in front and a trace stream. No lock of their own;
 * what is held does not change from creation on, and the counts are atomic.
 */
#include <in/channel/in_channel_private.hpp>
#include <in/imp/in_imp_udp_private.h>
#include <in/udp/in_udp_channel_private.h>
#include <in/udp/in_udp_packet_private.h>
#include <in/udp/in_udp_send_errors_private.hpp>
#include <unix/unix.h>

struct IN_UDP_CHANNEL : in::ChannelParts {
    IN_UDP_CHANNEL() : ChannelParts( "IN_UDP_CHANNEL" ) {}

    pb::Ref<IN_OPTIONS> stackOptions; // as they were at creation
    pb::Ref<IN_UDP_OPTIONS> udpOptions;
    pb::Ref<IN___MAP_UDP_CHANNEL> intMapUdpChannel;
    PB_INT intImpUdpChannel = IN___IMP_UDP_CHANNEL_INVALID;
    in::UdpPath *path = nullptr; // of one of the two
    in::SendErrors sendErrors;

    void setMapped( pb::Ref<IN___MAP_UDP_CHANNEL> mapped )
    {
        intMapUdpChannel = std::move( mapped );
        path = intMapUdpChannel ? intMapUdpChannel->path.get() : nullptr;
    }
    void setImp( PB_INT impUdpChannel )
    {
        intImpUdpChannel = impUdpChannel;
        path = IN___IMP_UDP_CHANNEL_OK( impUdpChannel ) ? &in___ImpUdpChannelPath( impUdpChannel ) : nullptr;
    }
};

namespace {

/** The object, without a channel behind it yet. */
pb::Ref<IN_UDP_CHANNEL> create( IN_STACK *stack, IN_QOS_STACK *optionalQosStack, IN_MAP_STACK *optionalMapStack,
    IN_FILTER *optionalFilter, TR_ANCHOR *optionalTraceAnchor )
{
    pb::Ref<IN_UDP_CHANNEL> chan = pb::adopt( pb::create<IN_UDP_CHANNEL>() );
    chan->use( stack, optionalQosStack, optionalMapStack, optionalFilter, optionalTraceAnchor );
    chan->stackOptions = pb::adopt( inStackOptions( stack ) );
    chan->udpOptions = pb::adopt( inOptionsUdpOptions( chan->stackOptions.get() ) );
    return chan;
}

bool openMapped( IN_UDP_CHANNEL *chan, PB_INT optionalLocalPort, PB_INT flags )
{
    pb::Ref<IN_MAP_STACK_PEER> peer = pb::adopt( inMapStackPeer( chan->mapStack.get() ) );
    if ( !peer )
        return chan->refuse( "[inUdpChannelTryCreate()] inMapStackPeer(): null" );
    chan->setMapped( peer->peer->tryCreateUdpChannel(
        chan->stack.get(), chan->qosStack.get(), optionalLocalPort, flags, chan->anchor().get() ) );
    return chan->path || chan->refuse( "[inUdpChannelTryCreate()] inMapStackPeerTryCreateUdpChannel(): null" );
}

bool openOnStack( IN_UDP_CHANNEL *chan, PB_INT optionalLocalPort, PB_INT flags )
{
    std::optional<in::Ports> ports = in::portsOf( pb::adopt( inUdpOptionsPortRange( chan->udpOptions.get() ) ) );
    in::StackOpening opening( chan->stack.get(), ports, chan->qosStack.get(), flags );
    if ( !opening.plan.localAddress )
        return chan->refuse( "[inUdpChannelTryCreate()] in___ImpUdpChannelTryCreate(): inStackAddress(): null" );
    opening.plan.optionalPort = optionalLocalPort;
    in::OpenFailure failure;
    chan->setImp( in___ImpUdpChannelTryCreate( opening.plan, failure ) );
    return chan->path ||
           chan->refuse( "[inUdpChannelTryCreate()] in___ImpUdpChannelTryCreate(): IN___IMP_UDP_CHANNEL_INVALID",
               "[inUdpChannelTryCreate()] %~s", failure );
}

void traceLocalAddress( IN_UDP_CHANNEL *chan )
{
    pb::Ref<IN_UDP_ADDRESS> localAddress = pb::adopt( inUdpChannelLocalAddress( chan ) );
    trStreamSetPropertyObjCstr( chan->stream.get(), "inLocalUdpAddress", -1, pb::obj( localAddress.get() ) );
}

void traceFiltered( IN_UDP_CHANNEL *chan, IN_UDP_ADDRESS *remoteAddress, const char *text )
{
    trStreamTextCstr( chan->stream.get(), text, -1 );
    trStreamSetPropertyObjCstr( chan->stream.get(), "inFilteredUdpAddress", -1, pb::obj( remoteAddress ) );
}

/** The path that the operations go. */
in::UdpPath &pathOf( IN_UDP_CHANNEL *chan )
{
    PB_ASSERT( chan );
    PB_ASSERT( chan->intMapUdpChannel || IN___IMP_UDP_CHANNEL_OK( chan->intImpUdpChannel ) );
    return *chan->path;
}

/** Counts a datagram that was not sent, and traces the first one that was not sent for that reason. */
void noteSendError( IN_UDP_CHANNEL *chan, int error )
{
    if ( chan->sendErrors.add( error ) )
        trStreamTextFormatCstr( chan->stream.get(),
            chan->path->error() ? "[inUdpChannelSendBytes()] the channel has failed: %~s"
                                : "[inUdpChannelSendBytes()] sendto: %~s",
            -1, unixErrorToString( error ) );
}

} // namespace

static void in___UdpChannelFreeFunc( PB_OBJ *obj )
{
    IN_UDP_CHANNEL *chan = inUdpChannelFrom( obj );
    if ( chan->path ) {
        PB_BOOL error = inUdpChannelError( chan );
        if ( error )
            trStreamSetNotable( chan->stream.get() );
        trStreamTextFormatCstr( chan->stream.get(), "[in___UdpChannelFreeFunc()] error: %b", -1, error );
    }
    if ( IN___IMP_UDP_CHANNEL_OK( chan->intImpUdpChannel ) )
        in___ImpUdpChannelDestroy( chan->intImpUdpChannel );
    pb::destroy<IN_UDP_CHANNEL>( chan );
}

PB_CLASS_DEFINE( IN_UDP_CHANNEL, inUdpChannel, in___UdpChannelFreeFunc, nullptr, nullptr );

IN_UDP_CHANNEL *inUdpChannelTryCreate( IN_STACK *stack, IN_QOS_STACK *optionalQosStack, IN_MAP_STACK *optionalMapStack,
    IN_FILTER *optionalFilter, PB_INT optionalLocalPort, PB_INT flags, TR_ANCHOR *optionalTraceAnchor )
{
    PB_ASSERT( stack );
    PB_ASSERT( optionalLocalPort == IN_UDP_PORT_INVALID || IN_UDP_PORT_OK( optionalLocalPort ) );
    flags = inUdpFlagsNormalize( flags );
    pb::Ref<IN_UDP_CHANNEL> chan =
        create( stack, optionalQosStack, optionalMapStack, optionalFilter, optionalTraceAnchor );
    trStreamTextFormatCstr(
        chan->stream.get(), "[inUdpChannelTryCreate()] optionalLocalPort: %i", -1, optionalLocalPort );
    trStreamSetPropertyCstr( chan->stream.get(), "inUdpFlags", -1, pb::adopt( inUdpFlagsToString( flags ) ).get() );
    bool opened = optionalMapStack ? openMapped( chan.get(), optionalLocalPort, flags )
                                   : openOnStack( chan.get(), optionalLocalPort, flags );
    if ( !opened )
        return nullptr;
    traceLocalAddress( chan.get() );
    return chan.give();
}

IN_UDP_CHANNEL *in___UdpChannelCreateWithImpUdpChannel(
    IN_STACK *stack, PB_INT impUdpChannel, IN_FILTER *optionalFilter, TR_ANCHOR *optionalTraceAnchor )
{
    PB_ASSERT( stack );
    PB_ASSERT( IN___IMP_UDP_CHANNEL_OK( impUdpChannel ) );
    pb::Ref<IN_QOS_STACK> qosStack = in___ImpUdpChannelPath( impUdpChannel ).optionalQosStack();
    pb::Ref<IN_UDP_CHANNEL> chan = create( stack, qosStack.get(), nullptr, optionalFilter, optionalTraceAnchor );
    chan->setImp( impUdpChannel );
    traceLocalAddress( chan.get() );
    return chan.give();
}

IN_UDP_CHANNEL *in___UdpChannelCreateWithMapUdpChannel( IN_STACK *stack, IN_MAP_STACK *mapStack,
    IN___MAP_UDP_CHANNEL *mapUdpChannel, IN_FILTER *optionalFilter, TR_ANCHOR *optionalTraceAnchor )
{
    PB_ASSERT( stack );
    PB_ASSERT( mapStack );
    PB_ASSERT( mapUdpChannel );
    pb::Ref<IN_QOS_STACK> qosStack = mapUdpChannel->path->optionalQosStack();
    pb::Ref<IN_UDP_CHANNEL> chan = create( stack, qosStack.get(), mapStack, optionalFilter, optionalTraceAnchor );
    chan->setMapped( pb::share( mapUdpChannel ) );
    traceLocalAddress( chan.get() );
    return chan.give();
}

IN_CHANNEL_DEFINE( IN_UDP_CHANNEL, inUdpChannel, chan, IN_UDP_ADDRESS );

PB_INT inUdpChannelSendErrorCount( IN_UDP_CHANNEL *chan )
{
    PB_ASSERT( chan );
    return chan->sendErrors.count();
}

void inUdpChannelSendBytes( IN_UDP_CHANNEL *chan, IN_UDP_ADDRESS *remoteAddress, const void *bytes, PB_INT byteCount )
{
    PB_ASSERT( chan );
    PB_ASSERT( remoteAddress );
    PB_ASSERT( bytes || !byteCount );
    PB_ASSERT( byteCount >= 0 );
    if ( chan->filter && !inFilterCheckUdpAddress( chan->filter.get(), remoteAddress ) )
        return traceFiltered( chan, remoteAddress, "[inUdpChannelSendBytes()] inFilterCheckUdpAddress(): false" );
    if ( trSystemAcceptsHighVolumeMessages() )
        trStreamMessageFormatCstr( chan->stream.get(), bytes, byteCount,
            "[inUdpChannelSendBytes()] bytesSent: %i, remoteAddress: %o", -1, byteCount, remoteAddress );
    if ( int error = pathOf( chan ).sendBytes( remoteAddress, bytes, byteCount ) )
        noteSendError( chan, error );
}

void inUdpChannelSend( IN_UDP_CHANNEL *chan, IN_UDP_PACKET *up )
{
    PB_ASSERT( up );
    pb::Ref<IN_UDP_ADDRESS> remoteAddress = pb::adopt( inUdpPacketRemoteAddress( up ) );
    pb::Ref<PB_BUFFER> payload = pb::adopt( inUdpPacketPayload( up ) );
    inUdpChannelSendBytes(
        chan, remoteAddress.get(), pbBufferBacking( payload.get() ), pbBufferLength( payload.get() ) );
}

void inUdpChannelSendBuffer( IN_UDP_CHANNEL *chan, IN_UDP_ADDRESS *remoteAddress, PB_BUFFER *buffer )
{
    PB_ASSERT( buffer );
    inUdpChannelSendBufferInner( chan, remoteAddress, buffer, 0, pbBufferLength( buffer ) );
}

void inUdpChannelSendBufferInner(
    IN_UDP_CHANNEL *chan, IN_UDP_ADDRESS *remoteAddress, PB_BUFFER *buffer, PB_INT byteOffset, PB_INT byteCount )
{
    PB_ASSERT( buffer );
    PB_ASSERT( byteOffset >= 0 );
    PB_ASSERT( byteCount > 0 ); // an empty datagram is sent as bytes
    PB_ASSERT( PB_INT_ADD_OK( byteOffset, byteCount ) );
    PB_ASSERT( pbBufferLength( buffer ) >= byteOffset + byteCount );
    inUdpChannelSendBytes( chan, remoteAddress, pbBufferBacking( buffer ) + byteOffset, byteCount );
}

void inUdpChannelSendBufferLeading(
    IN_UDP_CHANNEL *chan, IN_UDP_ADDRESS *remoteAddress, PB_BUFFER *buffer, PB_INT byteCount )
{
    inUdpChannelSendBufferInner( chan, remoteAddress, buffer, 0, byteCount );
}

void inUdpChannelSendBufferTrailing(
    IN_UDP_CHANNEL *chan, IN_UDP_ADDRESS *remoteAddress, PB_BUFFER *buffer, PB_INT byteCount )
{
    PB_ASSERT( buffer );
    PB_ASSERT( PB_INT_SUB_OK( pbBufferLength( buffer ), byteCount ) );
    inUdpChannelSendBufferInner( chan, remoteAddress, buffer, pbBufferLength( buffer ) - byteCount, byteCount );
}

void inUdpChannelSendBufferOuter(
    IN_UDP_CHANNEL *chan, IN_UDP_ADDRESS *remoteAddress, PB_BUFFER *buffer, PB_INT byteOffset, PB_INT byteCount )
{
    PB_ASSERT( buffer );
    pb::Ref<PB_BUFFER> outer = pb::adopt( pbBufferCreate() );
    pbBufferAppendOuter( outer.handle(), buffer, byteOffset, byteCount );
    inUdpChannelSendBuffer( chan, remoteAddress, outer.get() );
}

/** The next packet, accepted or not. */
static pb::Ref<IN_UDP_PACKET> next( IN_UDP_CHANNEL *chan )
{
    pb::Ref<IN_UDP_PACKET> pkt = pathOf( chan ).optionalReceive();
    if ( pkt )
        in___UdpPacketTrace(
            pkt.get(), chan->stream.get(), "[inUdpChannelReceive()] bytesReceived: %i, remoteAddress: %o" );
    return pkt;
}

/** Whether the filter lets the packet in; one that is refused leaves its trace. */
static bool accepted( IN_UDP_CHANNEL *chan, IN_UDP_PACKET *pkt )
{
    if ( !chan->filter )
        return true;
    pb::Ref<IN_UDP_ADDRESS> remoteAddress = pb::adopt( inUdpPacketRemoteAddress( pkt ) );
    if ( inFilterCheckUdpAddress( chan->filter.get(), remoteAddress.get() ) )
        return true;
    if ( trSystemAcceptsHighVolumeMessages() )
        traceFiltered( chan, remoteAddress.get(), "[inUdpChannelReceive()] inFilterCheckUdpAddress(): false" );
    return false;
}

IN_UDP_PACKET *inUdpChannelReceive( IN_UDP_CHANNEL *chan )
{
    pb::Ref<IN_UDP_PACKET> pkt = next( chan );
    while ( pkt && !accepted( chan, pkt.get() ) )
        pkt = next( chan );
    return pkt.give();
}

void inUdpChannelReceiveAddAlertable( IN_UDP_CHANNEL *chan, PB_ALERTABLE *alertable )
{
    pathOf( chan ).receiveAddAlertable( alertable );
}

void inUdpChannelReceiveDelAlertable( IN_UDP_CHANNEL *chan, PB_ALERTABLE *alertable )
{
    pathOf( chan ).receiveDelAlertable( alertable );
}
