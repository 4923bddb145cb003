/*
 * TCP listeners: a path, of the backend or of a mapping, with a filter in front and a trace stream. No lock of their own;
 * what is held does not change from creation on.
 */
#include <in/channel/in_channel_private.hpp>
#include <in/imp/in_imp_tcp_private.h>
#include <in/tcp/in_tcp_channel_listener_private.h>
#include <in/tcp/in_tcp_channel_private.h>
#include <in/tcp/in_tcp_channel_proposal_private.h>
#include <unix/unix.h>

struct IN_TCP_CHANNEL_LISTENER : in::ChannelParts {
    IN_TCP_CHANNEL_LISTENER() : ChannelParts( "IN_TCP_CHANNEL_LISTENER" ) {}

    pb::Ref<IN___MAP_TCP_CHANNEL_LISTENER> intMapTcpChannelListener;
    PB_INT intImpTcpChannelListener = IN___IMP_TCP_CHANNEL_LISTENER_INVALID;
    in::TcpListenerPath *path = nullptr; // of one of the two
    std::atomic<bool> errorTraced = false;

    void setMapped( pb::Ref<IN___MAP_TCP_CHANNEL_LISTENER> mapped )
    {
        intMapTcpChannelListener = std::move( mapped );
        path = intMapTcpChannelListener ? intMapTcpChannelListener->path.get() : nullptr;
    }
    void setImp( PB_INT impTcpChannelListener )
    {
        intImpTcpChannelListener = impTcpChannelListener;
        path = IN___IMP_TCP_CHANNEL_LISTENER_OK( impTcpChannelListener )
                   ? &in___ImpTcpChannelListenerPath( impTcpChannelListener )
                   : nullptr;
    }
};

namespace {

pb::Ref<IN_TCP_CHANNEL_LISTENER> create( IN_STACK *stack, IN_QOS_STACK *optionalQosStack,
    IN_MAP_STACK *optionalMapStack, IN_FILTER *optionalFilter, TR_ANCHOR *optionalTraceAnchor )
{
    pb::Ref<IN_TCP_CHANNEL_LISTENER> lsn = pb::adopt( pb::create<IN_TCP_CHANNEL_LISTENER>() );
    lsn->use( stack, optionalQosStack, optionalMapStack, optionalFilter, optionalTraceAnchor );
    return lsn;
}

bool openMapped( IN_TCP_CHANNEL_LISTENER *lsn, PB_INT optionalLocalPort, PB_INT flags )
{
    pb::Ref<IN_MAP_STACK_PEER> peer = pb::adopt( inMapStackPeer( lsn->mapStack.get() ) );
    if ( !peer )
        return lsn->refuse( "[inTcpChannelListenerTryCreate()] inMapStackPeer(): null" );
    lsn->setMapped( peer->peer->tryCreateTcpChannelListener(
        lsn->stack.get(), lsn->qosStack.get(), optionalLocalPort, flags, lsn->anchor().get() ) );
    return lsn->path ||
           lsn->refuse( "[inTcpChannelListenerTryCreate()] inMapStackPeerTryCreateTcpChannelListener(): null" );
}

bool openOnStack( IN_TCP_CHANNEL_LISTENER *lsn, PB_INT optionalLocalPort, PB_INT flags )
{
    pb::Ref<IN_TCP_OPTIONS> options = in::tcpOptionsOf( lsn->stack.get() );
    std::optional<in::Ports> ports = in::portsOf( pb::adopt( inTcpOptionsPortRange( options.get() ) ) );
    in::StackOpening opening( lsn->stack.get(), ports, lsn->qosStack.get(), flags );
    if ( !opening.plan.localAddress )
        return lsn->refuse( "[inTcpChannelListenerTryCreate()] inStackAddress(): null" );
    opening.plan.optionalPort = optionalLocalPort;
    in::OpenFailure failure;
    lsn->setImp( in___ImpTcpChannelListenerTryCreate( opening.plan, options.get(), failure ) );
    return lsn->path || lsn->refuse( "[inTcpChannelListenerTryCreate()] in___ImpTcpChannelListenerTryCreate(): "
                                     "IN___IMP_TCP_CHANNEL_LISTENER_INVALID",
                            "[inTcpChannelListenerTryCreate()] %~s", failure );
}

/** The path that the operations go. */
in::TcpListenerPath &pathOf( IN_TCP_CHANNEL_LISTENER *lsn )
{
    PB_ASSERT( lsn );
    PB_ASSERT( lsn->intMapTcpChannelListener || IN___IMP_TCP_CHANNEL_LISTENER_OK( lsn->intImpTcpChannelListener ) );
    return *lsn->path;
}

/** Tells why the listener has failed, once. */
void traceError( IN_TCP_CHANNEL_LISTENER *lsn )
{
    if ( !lsn->path->error() || lsn->errorTraced.exchange( true ) )
        return;
    trStreamSetNotable( lsn->stream.get() );
    if ( int reason = lsn->path->errorReason() )
        trStreamTextFormatCstr(
            lsn->stream.get(), "[inTcpChannelListenerListen()] accept: %~s", -1, unixErrorToString( reason ) );
}

/** What a function that makes a listener around another one tells of it. */
IN_TCP_CHANNEL_LISTENER *traced(
    pb::Ref<IN_TCP_CHANNEL_LISTENER> lsn, const char *flagsFormat, const char *addressFormat )
{
    trStreamTextFormatCstr( lsn->stream.get(), flagsFormat, -1, inTcpFlagsToString( lsn->path->flags() ) );
    trStreamTextFormatCstr( lsn->stream.get(), addressFormat, -1, lsn->path->localAddress().give() );
    return lsn.give();
}

} // namespace

static void in___TcpChannelListenerFreeFunc( PB_OBJ *obj )
{
    IN_TCP_CHANNEL_LISTENER *lsn = inTcpChannelListenerFrom( obj );
    if ( lsn->path ) {
        traceError( lsn );
        trStreamTextFormatCstr(
            lsn->stream.get(), "[in___TcpChannelListenerFreeFunc()] error: %b", -1, PB_BOOL( lsn->path->error() ) );
    }
    if ( IN___IMP_TCP_CHANNEL_LISTENER_OK( lsn->intImpTcpChannelListener ) )
        in___ImpTcpChannelListenerDestroy( lsn->intImpTcpChannelListener );
    pb::destroy<IN_TCP_CHANNEL_LISTENER>( lsn );
}

PB_CLASS_DEFINE( IN_TCP_CHANNEL_LISTENER, inTcpChannelListener, in___TcpChannelListenerFreeFunc, nullptr, nullptr );
IN_CHANNEL_DEFINE( IN_TCP_CHANNEL_LISTENER, inTcpChannelListener, lsn, IN_TCP_ADDRESS );

IN_TCP_CHANNEL_LISTENER *inTcpChannelListenerTryCreate( IN_STACK *stack, IN_QOS_STACK *optionalQosStack,
    IN_MAP_STACK *optionalMapStack, IN_FILTER *optionalFilter, PB_INT optionalLocalPort, PB_INT flags,
    TR_ANCHOR *optionalTraceAnchor )
{
    PB_ASSERT( stack );
    PB_ASSERT( optionalLocalPort == IN_TCP_PORT_INVALID || IN_TCP_PORT_OK( optionalLocalPort ) );
    flags = inTcpFlagsNormalize( flags );
    pb::Ref<IN_TCP_CHANNEL_LISTENER> lsn =
        create( stack, optionalQosStack, optionalMapStack, optionalFilter, optionalTraceAnchor );
    TR_STREAM *stream = lsn->stream.get();
    trStreamTextFormatCstr( stream, "[inTcpChannelListenerTryCreate()] optionalLocalPort: %i", -1, optionalLocalPort );
    trStreamTextFormatCstr( stream, "[inTcpChannelListenerTryCreate()] flags: %~s", -1, inTcpFlagsToString( flags ) );
    bool opened = optionalMapStack ? openMapped( lsn.get(), optionalLocalPort, flags )
                                   : openOnStack( lsn.get(), optionalLocalPort, flags );
    if ( !opened )
        return nullptr;
    trStreamTextFormatCstr(
        stream, "[inTcpChannelListenerTryCreate()] localAddress: %~o", -1, lsn->path->localAddress().give() );
    return lsn.give();
}

IN_TCP_CHANNEL_LISTENER *in___TcpChannelListenerCreateWithImpTcpChannelListener(
    IN_STACK *stack, PB_INT impTcpChannelListener, IN_FILTER *optionalFilter, TR_ANCHOR *optionalTraceAnchor )
{
    PB_ASSERT( stack );
    PB_ASSERT( IN___IMP_TCP_CHANNEL_LISTENER_OK( impTcpChannelListener ) );
    pb::Ref<IN_QOS_STACK> qosStack = in___ImpTcpChannelListenerPath( impTcpChannelListener ).optionalQosStack();
    pb::Ref<IN_TCP_CHANNEL_LISTENER> lsn =
        create( stack, qosStack.get(), nullptr, optionalFilter, optionalTraceAnchor );
    lsn->setImp( impTcpChannelListener );
    return traced( std::move( lsn ), "[in___TcpChannelListenerCreateWithImpTcpChannelListener()] flags: %~s",
        "[in___TcpChannelListenerCreateWithImpTcpChannelListener()] localAddress: %~o" );
}

IN_TCP_CHANNEL_LISTENER *in___TcpChannelListenerCreateWithMapTcpChannelListener( IN_STACK *stack,
    IN_MAP_STACK *mapStack, IN___MAP_TCP_CHANNEL_LISTENER *mapTcpChannelListener, IN_FILTER *optionalFilter,
    TR_ANCHOR *optionalTraceAnchor )
{
    PB_ASSERT( stack );
    PB_ASSERT( mapStack );
    PB_ASSERT( mapTcpChannelListener );
    pb::Ref<IN_QOS_STACK> qosStack = mapTcpChannelListener->path->optionalQosStack();
    pb::Ref<IN_TCP_CHANNEL_LISTENER> lsn =
        create( stack, qosStack.get(), mapStack, optionalFilter, optionalTraceAnchor );
    lsn->setMapped( pb::share( mapTcpChannelListener ) );
    return traced( std::move( lsn ), "[in___TcpChannelListenerCreateWithMapTcpChannelListener()] flags: %~s",
        "[in___TcpChannelListenerCreateWithMapTcpChannelListener()] localAddress: %~o" );
}

/** The next channel of the backend, accepted by the filter or not. */
static pb::Ref<IN_TCP_CHANNEL> nextOfImp( IN_TCP_CHANNEL_LISTENER *lsn )
{
    in::OpenFailure failure;
    PB_INT chan = in___ImpTcpChannelListenerListen( lsn->intImpTcpChannelListener, failure );
    if ( failure.error )
        in::traceFailure( lsn->stream.get(), "[inTcpChannelListenerListen()] %~s", failure );
    if ( !IN___IMP_TCP_CHANNEL_OK( chan ) )
        return {};
    return pb::adopt( in___TcpChannelTryCreateWithImpTcpChannel(
        lsn->stack.get(), lsn->qosStack.get(), chan, lsn->filter.get(), lsn->anchor().get() ) );
}

static pb::Ref<IN_TCP_CHANNEL> nextOfMapped( IN_TCP_CHANNEL_LISTENER *lsn )
{
    pb::Ref<IN___MAP_TCP_CHANNEL> chan = lsn->intMapTcpChannelListener->path->optionalListen();
    if ( !chan )
        return {};
    return pb::adopt( in___TcpChannelTryCreateWithMapTcpChannel( lsn->stack.get(), lsn->qosStack.get(),
        lsn->mapStack.get(), chan.get(), lsn->filter.get(), lsn->anchor().get() ) );
}

static pb::Ref<IN_TCP_CHANNEL> next( IN_TCP_CHANNEL_LISTENER *lsn )
{
    return lsn->intMapTcpChannelListener ? nextOfMapped( lsn ) : nextOfImp( lsn );
}

/** Whether the filter lets the peer in; one that is refused leaves its trace. */
static bool accepted( IN_TCP_CHANNEL_LISTENER *lsn, IN_TCP_CHANNEL *chan )
{
    if ( !lsn->filter )
        return true;
    pb::Ref<IN_TCP_ADDRESS> remoteAddress = pb::adopt( inTcpChannelRemoteAddress( chan ) );
    if ( inFilterCheckTcpAddress( lsn->filter.get(), remoteAddress.get() ) )
        return true;
    trStreamTextCstr( lsn->stream.get(), "[inTcpChannelListenerListen()] inFilterCheckTcpAddress(): false", -1 );
    trStreamSetPropertyObjCstr( lsn->stream.get(), "inFilteredTcpAddress", -1, pb::obj( remoteAddress.get() ) );
    return false;
}

IN_TCP_CHANNEL_PROPOSAL *inTcpChannelListenerListen( IN_TCP_CHANNEL_LISTENER *lsn )
{
    if ( pathOf( lsn ).error() ) {
        traceError( lsn );
        return nullptr;
    }
    pb::Ref<IN_TCP_CHANNEL> chan = next( lsn );
    while ( chan && !accepted( lsn, chan.get() ) )
        chan = next( lsn );
    return chan ? in___TcpChannelProposalCreate( std::move( chan ) ) : nullptr;
}

void inTcpChannelListenerListenAddAlertable( IN_TCP_CHANNEL_LISTENER *lsn, PB_ALERTABLE *alertable )
{
    pathOf( lsn ).listenAddAlertable( alertable );
}

void inTcpChannelListenerListenDelAlertable( IN_TCP_CHANNEL_LISTENER *lsn, PB_ALERTABLE *alertable )
{
    pathOf( lsn ).listenDelAlertable( alertable );
}
