/*
 * TCP channels: a path, of the backend or of a mapping, with a trace stream. What is held does not change from creation on.
 *
 * The send monitor makes sends go one after the other, so that the trace has the bytes in the order in which they were sent;
 * the receive monitor does the same for receives. What a send or a receive brings about is told to users when the monitor has
 * been left: the function of an end signal may receive.
 */
#include <in/channel/in_channel_private.hpp>
#include <in/imp/in_imp_tcp_private.h>
#include <in/tcp/in_tcp_channel_private.h>
#include <unix/unix.h>

struct IN_TCP_CHANNEL : in::ChannelParts {
    IN_TCP_CHANNEL() : ChannelParts( "IN_TCP_CHANNEL" ) {}

    pb::Monitor sendMonitor{ pb::Rank::streamSend };
    pb::Monitor receiveMonitor{ pb::Rank::streamReceive };
    pb::Ref<IN___MAP_TCP_CHANNEL> intMapTcpChannel;
    PB_INT intImpTcpChannel = IN___IMP_TCP_CHANNEL_INVALID;
    in::TcpPath *path = nullptr; // of one of the two

    void setMapped( pb::Ref<IN___MAP_TCP_CHANNEL> mapped )
    {
        intMapTcpChannel = std::move( mapped );
        path = intMapTcpChannel ? intMapTcpChannel->path.get() : nullptr;
    }
    void setImp( PB_INT impTcpChannel )
    {
        intImpTcpChannel = impTcpChannel;
        path = IN___IMP_TCP_CHANNEL_OK( impTcpChannel ) ? &in___ImpTcpChannelPath( impTcpChannel ) : nullptr;
    }
};

namespace {

pb::Ref<IN_TCP_CHANNEL> create( IN_STACK *stack, IN_QOS_STACK *optionalQosStack, IN_MAP_STACK *optionalMapStack,
    IN_FILTER *optionalFilter, TR_ANCHOR *optionalTraceAnchor )
{
    pb::Ref<IN_TCP_CHANNEL> chan = pb::adopt( pb::create<IN_TCP_CHANNEL>() );
    chan->use( stack, optionalQosStack, optionalMapStack, optionalFilter, optionalTraceAnchor );
    return chan;
}

bool filtered( IN_TCP_CHANNEL *chan, IN_TCP_ADDRESS *remoteAddress )
{
    if ( !chan->filter || inFilterCheckTcpAddress( chan->filter.get(), remoteAddress ) )
        return false;
    chan->refuse( "[inTcpChannelTryCreate()] inFilterCheckTcpAddress(): false" );
    trStreamSetPropertyObjCstr( chan->stream.get(), "inFilteredTcpAddress", -1, pb::obj( remoteAddress ) );
    return true;
}

/** What a channel is opened with. */
struct Opening {
    IN_TCP_ADDRESS *remoteAddress;
    PB_INT optionalLocalPort;
    PB_INT flags;
};

bool openMapped( IN_TCP_CHANNEL *chan, const Opening &opening )
{
    pb::Ref<IN_MAP_STACK_PEER> peer = pb::adopt( inMapStackPeer( chan->mapStack.get() ) );
    if ( !peer )
        return chan->refuse( "[inTcpChannelTryCreate()] inMapStackPeer(): null" );
    chan->setMapped( peer->peer->tryCreateTcpChannel( chan->stack.get(), chan->qosStack.get(), opening.remoteAddress,
        opening.optionalLocalPort, opening.flags, chan->anchor().get() ) );
    return chan->path || chan->refuse( "[inTcpChannelTryCreate()] inMapStackPeerTryCreateTcpChannel(): null" );
}

bool openOnStack( IN_TCP_CHANNEL *chan, const Opening &given )
{
    pb::Ref<IN_TCP_OPTIONS> options = in::tcpOptionsOf( chan->stack.get() );
    std::optional<in::Ports> ports = in::portsOf( pb::adopt( inTcpOptionsPortRange( options.get() ) ) );
    in::StackOpening opening( chan->stack.get(), ports, chan->qosStack.get(), given.flags );
    if ( !opening.plan.localAddress )
        return chan->refuse( "[inTcpChannelTryCreate()] in___ImpTcpChannelTryCreate(): inStackAddress(): null" );
    opening.plan.optionalPort = given.optionalLocalPort;
    in::OpenFailure failure;
    chan->setImp( in___ImpTcpChannelTryCreate( opening.plan, options.get(), given.remoteAddress, failure ) );
    return chan->path ||
           chan->refuse( "[inTcpChannelTryCreate()] in___ImpTcpChannelTryCreate(): IN___IMP_TCP_CHANNEL_INVALID",
               "[inTcpChannelTryCreate()] %~s", failure );
}

void traceAddress( IN_TCP_CHANNEL *chan, const char *property, const pb::Ref<IN_TCP_ADDRESS> &address )
{
    trStreamSetPropertyObjCstr( chan->stream.get(), property, -1, pb::obj( address.get() ) );
}

/** The path that the operations go. */
in::TcpPath &pathOf( IN_TCP_CHANNEL *chan )
{
    PB_ASSERT( chan );
    PB_ASSERT( chan->intMapTcpChannel || IN___IMP_TCP_CHANNEL_OK( chan->intImpTcpChannel ) );
    return *chan->path;
}

/** Tells how the channel came to its end, and the stack when the connection could not be made. */
void traceEnd( IN_TCP_CHANNEL *chan )
{
    if ( chan->path->error() )
        trStreamSetNotable( chan->stream.get() );
    trStreamTextFormatCstr( chan->stream.get(),
        "[in___TcpChannelFreeFunc()] end: %b, error: %b, mapped: %b, active: %b", -1, chan->path->end(),
        chan->path->error(), chan->path->mapped(), chan->path->active() );
    if ( int reason = chan->path->errorReason() )
        trStreamTextFormatCstr(
            chan->stream.get(), "[in___TcpChannelFreeFunc()] %~s", -1, unixErrorToString( reason ) );
    if ( IN___IMP_TCP_CHANNEL_OK( chan->intImpTcpChannel ) && in___ImpTcpChannelErrorConnect( chan->intImpTcpChannel ) )
        in___StackTcpBlacklist( chan->stack.get(), chan->path->remoteAddress().get() );
}

/** A new channel around one that is open. */
IN_TCP_CHANNEL *wrapped( pb::Ref<IN_TCP_CHANNEL> chan )
{
    traceAddress( chan.get(), "inLocalTcpAddress", chan->path->localAddress() );
    traceAddress( chan.get(), "inRemoteTcpAddress", chan->path->remoteAddress() );
    return chan.give();
}

} // namespace

static void in___TcpChannelFreeFunc( PB_OBJ *obj )
{
    IN_TCP_CHANNEL *chan = inTcpChannelFrom( obj );
    if ( chan->path )
        traceEnd( chan );
    if ( IN___IMP_TCP_CHANNEL_OK( chan->intImpTcpChannel ) )
        in___ImpTcpChannelDestroy( chan->intImpTcpChannel );
    pb::destroy<IN_TCP_CHANNEL>( chan );
}

PB_CLASS_DEFINE( IN_TCP_CHANNEL, inTcpChannel, in___TcpChannelFreeFunc, nullptr, nullptr );
IN_CHANNEL_DEFINE( IN_TCP_CHANNEL, inTcpChannel, chan, IN_TCP_ADDRESS );
IN___CHANNEL_STATE( IN_TCP_CHANNEL, inTcpChannel, chan, End, end )
IN___CHANNEL_STATE( IN_TCP_CHANNEL, inTcpChannel, chan, Active, active )

IN_TCP_CHANNEL *inTcpChannelTryCreate( IN_STACK *stack, IN_QOS_STACK *optionalQosStack, IN_MAP_STACK *optionalMapStack,
    IN_FILTER *optionalFilter, IN_TCP_ADDRESS *remoteAddress, PB_INT optionalLocalPort, PB_INT flags,
    TR_ANCHOR *optionalTraceAnchor )
{
    PB_ASSERT( stack );
    PB_ASSERT( remoteAddress );
    PB_ASSERT( optionalLocalPort == IN_TCP_PORT_INVALID || IN_TCP_PORT_OK( optionalLocalPort ) );
    Opening opening{ remoteAddress, optionalLocalPort, inTcpFlagsNormalize( flags ) };
    pb::Ref<IN_TCP_CHANNEL> chan =
        create( stack, optionalQosStack, optionalMapStack, optionalFilter, optionalTraceAnchor );
    TR_STREAM *stream = chan->stream.get();
    trStreamTextFormatCstr( stream, "[inTcpChannelTryCreate()] optionalLocalPort: %i", -1, optionalLocalPort );
    trStreamSetPropertyObjCstr( stream, "inRemoteTcpAddress", -1, pb::obj( remoteAddress ) );
    trStreamSetPropertyCstr( stream, "inTcpFlags", -1, pb::adopt( inTcpFlagsToString( opening.flags ) ).get() );
    if ( filtered( chan.get(), remoteAddress ) )
        return nullptr;
    if ( !( optionalMapStack ? openMapped( chan.get(), opening ) : openOnStack( chan.get(), opening ) ) )
        return nullptr;
    traceAddress( chan.get(), "inLocalTcpAddress", chan->path->localAddress() );
    return chan.give();
}

IN_TCP_CHANNEL *in___TcpChannelTryCreateWithImpTcpChannel( IN_STACK *stack, IN_QOS_STACK *optionalQosStack,
    PB_INT impTcpChannel, IN_FILTER *optionalFilter, TR_ANCHOR *optionalTraceAnchor )
{
    PB_ASSERT( stack );
    PB_ASSERT( IN___IMP_TCP_CHANNEL_OK( impTcpChannel ) );
    pb::Ref<IN_TCP_CHANNEL> chan = create( stack, optionalQosStack, nullptr, optionalFilter, optionalTraceAnchor );
    chan->setImp( impTcpChannel );
    return wrapped( std::move( chan ) );
}

IN_TCP_CHANNEL *in___TcpChannelTryCreateWithMapTcpChannel( IN_STACK *stack, IN_QOS_STACK *optionalQosStack,
    IN_MAP_STACK *optionalMapStack, IN___MAP_TCP_CHANNEL *mapTcpChannel, IN_FILTER *optionalFilter,
    TR_ANCHOR *optionalTraceAnchor )
{
    PB_ASSERT( stack );
    PB_ASSERT( mapTcpChannel );
    pb::Ref<IN_TCP_CHANNEL> chan =
        create( stack, optionalQosStack, optionalMapStack, optionalFilter, optionalTraceAnchor );
    chan->setMapped( pb::share( mapTcpChannel ) );
    return wrapped( std::move( chan ) );
}

IN_TCP_ADDRESS *inTcpChannelRemoteAddress( IN_TCP_CHANNEL *chan )
{
    return pathOf( chan ).remoteAddress().give();
}

/** Whether bytes go either way now. */
static bool isOpen( in::TcpPath &path )
{
    return !path.error() && path.active();
}

static PB_INT in___TcpChannelDoSend( IN_TCP_CHANNEL *chan, const PB_BYTE *bytes, PB_INT byteCount, in::Wakes &wakes )
{
    PB_INT sent = chan->path->send( bytes, byteCount, wakes );
    PB_ASSERT( sent <= byteCount );
    if ( sent > 0 && trSystemAcceptsHighVolumeMessages() )
        trStreamMessageFormatCstr(
            chan->stream.get(), bytes, sent, "[in___TcpChannelDoSend()] bytesSent: %i", -1, sent );
    return sent;
}

PB_INT inTcpChannelSend( IN_TCP_CHANNEL *chan, PB_BUFFER *buffer, PB_INT byteOffset, PB_INT byteCount )
{
    in::TcpPath &path = pathOf( chan );
    PB_ASSERT( buffer );
    PB_ASSERT( byteOffset >= 0 );
    PB_ASSERT( byteCount >= 0 );
    PB_ASSERT( PB_INT_ADD_OK( byteOffset, byteCount ) );
    PB_ASSERT( byteOffset + byteCount <= pbBufferLength( buffer ) );
    if ( byteCount == 0 )
        return 0;
    in::Wakes wakes; // fire when the monitor has been left
    pb::Lock lock( chan->sendMonitor );
    if ( !isOpen( path ) )
        return 0;
    return in___TcpChannelDoSend( chan, pbBufferBacking( buffer ) + byteOffset, byteCount, wakes );
}

static PB_INT in___TcpChannelDoReceive( IN_TCP_CHANNEL *chan, PB_BUFFER **buf, PB_INT maxByteCount, in::Wakes &wakes )
{
    PB_INT length = pbBufferLength( *buf );
    PB_INT received = chan->path->receive( buf, maxByteCount, wakes );
    PB_ASSERT( received <= maxByteCount );
    if ( received > 0 && trSystemAcceptsHighVolumeMessages() )
        trStreamMessageFormatCstr( chan->stream.get(), pbBufferBacking( *buf ) + length, received,
            "[in___TcpChannelDoReceive()] bytesReceived: %i", -1, received );
    return received;
}

PB_INT inTcpChannelReceive( IN_TCP_CHANNEL *chan, PB_BUFFER **buf, PB_INT maxByteCount )
{
    in::TcpPath &path = pathOf( chan );
    PB_ASSERT( buf );
    PB_ASSERT( *buf );
    PB_ASSERT( maxByteCount >= -1 );
    PB_ASSERT( maxByteCount == -1 || maxByteCount <= pbBufferSpace( *buf ) );
    if ( maxByteCount == -1 )
        maxByteCount = pbBufferSpace( *buf );
    in::Wakes wakes; // fire when the monitor has been left
    pb::Lock lock( chan->receiveMonitor );
    if ( maxByteCount == 0 || !isOpen( path ) )
        return 0;
    return in___TcpChannelDoReceive( chan, buf, maxByteCount, wakes );
}

void inTcpChannelSendAddAlertable( IN_TCP_CHANNEL *chan, PB_ALERTABLE *alertable )
{
    pathOf( chan ).sendAddAlertable( alertable );
}

void inTcpChannelSendDelAlertable( IN_TCP_CHANNEL *chan, PB_ALERTABLE *alertable )
{
    pathOf( chan ).sendDelAlertable( alertable );
}

void inTcpChannelReceiveAddAlertable( IN_TCP_CHANNEL *chan, PB_ALERTABLE *alertable )
{
    pathOf( chan ).receiveAddAlertable( alertable );
}

void inTcpChannelReceiveDelAlertable( IN_TCP_CHANNEL *chan, PB_ALERTABLE *alertable )
{
    pathOf( chan ).receiveDelAlertable( alertable );
}

void inTcpChannelTerminate( IN_TCP_CHANNEL *chan )
{
    in::TcpPath &path = pathOf( chan );
    trStreamTextCstr( chan->stream.get(), "[inTcpChannelTerminate()]", -1 );
    path.terminate();
}
