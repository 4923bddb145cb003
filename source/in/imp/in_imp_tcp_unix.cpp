/*
 * TCP channels: the records of the engine that serves all connections, its thread, sending and receiving.
 *
 * The thread reads without any lock, which is safe because a slot that is served is not released, and only the thread reads.
 * What it read it queues under the channel's monitor. A user sends without it too: the send wakes the peer, who may wake
 * this channel's thread before the sender goes on. The channel above lets one thread send at a time, and the socket stays
 * open as long as somebody holds the channel. Everything else happens under the monitor.
 *
 * The states are atomic, so that they are looked at without the monitor. They change under it, and only become true; what
 * follows from another is stored later: whoever sees the end of a failed channel sees the failure.
 *
 * Errors. The kernel hands out a socket's error once, to the first call that meets it:
 * - A refused connection is readable, writable and in error at the same time. While the attempt is not over, the thread asks
 *   for the error before it reads.
 * - A send that meets a reset takes the error, and the thread would see a clean end. So no end is told while a send is under
 *   way or when one has failed. A send that went well looks whether the end is due. One that failed is remembered, and all
 *   conditions are asked for, which a dead socket has; the thread then fails the channel.
 * - A send that overlaps a half-close of another thread fails too (EPIPE); that is no failure of the channel.
 */
#include <in/imp/in_imp_sockaddr_unix_private.h>
#include <in/imp/in_imp_tcp_opening_private.hpp>
#include <list>
#include <netinet/tcp.h>

namespace {

constexpr PB_INT READ_MAX = 65'535;     // bytes of one read
constexpr PB_INT RECEIVE_MAX = 65'535;  // bytes that wait; reading stops above
constexpr PB_INT RECEIVE_RESUME = 1024; // and goes on when no more than these are left
constexpr PB_INT SEND_MAX = 65'536;     // bytes of one send
constexpr PB_INT CHUNK_SIZE = 65'536;   // bytes of storage that the thread reads into
constexpr PB_INT CHUNK_HALF = CHUNK_SIZE / 2;

using Step = in::SocketStep<in::TcpPlan>;
using Plan = const in::TcpPlan &;
using in::Need;
using in::when;

constexpr Step steps[] = {
    { "SO_REUSEADDR", Need::required, SOL_SOCKET, SO_REUSEADDR, []( Plan ) { return when( true, 1 ); } },
    { "TCP_NODELAY", Need::required, IPPROTO_TCP, TCP_NODELAY,
        []( Plan plan ) { return when( plan.open.flags & IN_TCP_FLAG_NO_DELAY, 1 ); } },
    { "SO_KEEPALIVE", Need::bestEffort, SOL_SOCKET, SO_KEEPALIVE,
        []( Plan plan ) { return when( plan.keepAliveSeconds.has_value(), 1 ); } },
    { "TCP_KEEPIDLE", Need::bestEffort, IPPROTO_TCP, TCP_KEEPIDLE, []( Plan plan ) { return plan.keepAliveSeconds; } },
    { "TCP_KEEPINTVL", Need::bestEffort, IPPROTO_TCP, TCP_KEEPINTVL,
        []( Plan plan ) { return plan.keepAliveSeconds; } },
    in::typeOfServiceStep<in::TcpPlan>,
    in::priorityStep<in::TcpPlan>,
};

struct TcpChannel final : in::TcpRecord, in::TcpPath {
    explicit TcpChannel( const in::TcpPlan &itsPlan )
        : TcpRecord( itsPlan ), remote( pb::share( itsPlan.optionalRemoteAddress ) )
    {}

    pb::Ref<IN_TCP_ADDRESS> remote;

    std::atomic<bool> isErrorConnect = false;
    std::atomic<bool> isError = false;
    std::atomic<bool> isEnd = false;
    std::atomic<bool> isActive = false;
    std::atomic<int> reason = 0; // the errno for which it has failed
    std::atomic<bool> isWritable = false;
    std::atomic<bool> terminated = false;
    std::atomic<bool> peerClosed = false;
    std::atomic<bool> sending = false; // a send is under way
    bool receiveFull PB_GUARDED_BY( monitor ) = false;
    bool sendFailed PB_GUARDED_BY( monitor ) = false;
    PB_INT waiting PB_GUARDED_BY( monitor ) = 0; // bytes in the buffer
    std::list<pb::Ref<PB_BUFFER>> receiveBuffer PB_GUARDED_BY( monitor );

    in::WantedSignal activeSignal PB_GUARDED_BY( monitor );
    in::WantedSignal endSignal PB_GUARDED_BY( monitor );
    in::WantedSignal errorSignal PB_GUARDED_BY( monitor );
    in::WantedAlert sendAlert PB_GUARDED_BY( monitor );
    in::WantedAlert receiveAlert PB_GUARDED_BY( monitor );

    // opening and closing, for the ported engine
    bool tryOpen( in::OpenFailure &failure ) { return tryOpenWith( steps, failure ); }
    in::PortAttempt tryFinish( in::OpenFailure &failure );
    bool tryAccepted( pb::Fd connection, const pb::Ref<IN_TCP_ADDRESS> &probableLocal, in::OpenFailure &failure );
    void begin( in::Wakes &wakes ) PB_EXCLUDES( monitor );
    void fail( in::Wakes &wakes ) PB_EXCLUDES( monitor );

    // serving, for the slot engine
    PB_INT wantedCondsLocked() const override PB_REQUIRES( monitor );
    void failLocked( in::Wakes &wakes ) override PB_REQUIRES( monitor );
    void serve( PB_INT conds, in::Wakes &wakes ) override PB_EXCLUDES( monitor );

    // the path of a channel
    pb::Ref<IN_QOS_STACK> optionalQosStack() override { return qosStack; }
    pb::Ref<IN_TCP_ADDRESS> localAddress() override { return local; }
    pb::Ref<IN_TCP_ADDRESS> remoteAddress() override { return remote; }
    PB_INT flags() override { return tcpFlags; }
    bool error() override { return isError; }
    int errorReason() override { return reason; }
    bool end() override { return isEnd; }
    bool active() override { return isActive; }
    void errorAddSignalable( PB_SIGNALABLE *s ) override { pbSignalAddSignalable( errorOne().get(), s ); }
    void errorDelSignalable( PB_SIGNALABLE *s ) override { pbSignalDelSignalable( errorOne().get(), s ); }
    void endAddSignalable( PB_SIGNALABLE *s ) override { pbSignalAddSignalable( endOne().get(), s ); }
    void endDelSignalable( PB_SIGNALABLE *s ) override { pbSignalDelSignalable( endOne().get(), s ); }
    void activeAddSignalable( PB_SIGNALABLE *s ) override { pbSignalAddSignalable( activeOne().get(), s ); }
    void activeDelSignalable( PB_SIGNALABLE *s ) override { pbSignalDelSignalable( activeOne().get(), s ); }
    PB_INT send( const PB_BYTE *bytes, PB_INT byteCount, in::Wakes &wakes ) override;
    void sendAddAlertable( PB_ALERTABLE *a ) override { pbAlertAddAlertable( sendOne().get(), a ); }
    void sendDelAlertable( PB_ALERTABLE *a ) override { pbAlertDelAlertable( sendOne().get(), a ); }
    PB_INT receive( PB_BUFFER **buf, PB_INT maxByteCount, in::Wakes &wakes ) override;
    void receiveAddAlertable( PB_ALERTABLE *a ) override { pbAlertAddAlertable( receiveOne().get(), a ); }
    void receiveDelAlertable( PB_ALERTABLE *a ) override { pbAlertDelAlertable( receiveOne().get(), a ); }
    void terminate() override;

private:
    /** What a read brought: bytes in the engine's chunk, 0 for the end, or -1 and why. */
    struct Reading {
        ssize_t count = -1;
        int error = EAGAIN;

        bool failed() const { return count < 0 && error != EAGAIN && error != EINTR; }
    };

    pb::Ref<PB_SIGNAL> activeOne() PB_EXCLUDES( monitor );
    pb::Ref<PB_SIGNAL> endOne() PB_EXCLUDES( monitor );
    pb::Ref<PB_SIGNAL> errorOne() PB_EXCLUDES( monitor );
    pb::Ref<PB_ALERT> sendOne() PB_EXCLUDES( monitor );
    pb::Ref<PB_ALERT> receiveOne() PB_EXCLUDES( monitor );
    void updateLocked( in::Wakes &wakes ) PB_REQUIRES( monitor );
    void activateLocked( in::Wakes &wakes ) PB_REQUIRES( monitor );
    void connectedLocked( in::Wakes &wakes ) PB_REQUIRES( monitor );
    void shutdownLocked( in::Wakes &wakes ) PB_REQUIRES( monitor );
    void endLocked( in::Wakes &wakes ) PB_REQUIRES( monitor );
    int socketError() const;
    Reading read();
    void takeInLocked( const Reading &reading, in::Wakes &wakes ) PB_REQUIRES( monitor );
    void queueLocked( PB_INT count ) PB_REQUIRES( monitor );
    void judgeLocked( PB_INT conds, int connectError, const Reading &reading, in::Wakes &wakes ) PB_REQUIRES( monitor );
    PB_INT trySend( const PB_BYTE *bytes, PB_INT byteCount, in::Wakes &wakes ) PB_EXCLUDES( monitor );
    void notSent( int why, in::Wakes &wakes ) PB_EXCLUDES( monitor );
    void endIfLastLocked( in::Wakes &wakes ) PB_REQUIRES( monitor );
};

struct TcpEngine : in::PortedEngine<TcpChannel> {
    using PortedEngine::PortedEngine;
    pb::Ref<PB_BUFFER> chunk = pb::adopt( pbBufferCreateWithCapacity( CHUNK_SIZE ) ); // read into; the thread's own
};

constinit pb::GlobalState<in::PortTable> in___ImpTcpPorts;
constinit pb::GlobalState<TcpEngine> engine;

// opening

in::PortAttempt TcpChannel::tryFinish( in::OpenFailure &failure )
{
    if ( !tryReadLocal( failure ) )
        return in::PortAttempt::failed;
    std::array<PB_BYTE, sizeof( sockaddr_in6 )> record;
    PB_INT length = 0;
    in___ImpSockaddrFromTcpAddress( record.data(), &length, remote.get() );
    if ( connect( fd.get(), reinterpret_cast<sockaddr *>( record.data() ), static_cast<socklen_t>( length ) ) == 0 ||
         errno == EINPROGRESS )
        return in::PortAttempt::done;
    failure.failed( "connect" );
    // a connection from this very port to that address is not forgotten yet
    return failure.error == EADDRNOTAVAIL ? in::PortAttempt::other : in::PortAttempt::failed;
}

bool TcpChannel::tryAccepted(
    pb::Fd connection, const pb::Ref<IN_TCP_ADDRESS> &probableLocal, in::OpenFailure &failure )
{
    fd = std::move( connection );
    local = probableLocal;
    isActive = true;
    return in::applySteps( fd.get(), steps, *plan, failure ) && in::readLocalAddress( fd.get(), local, failure ) &&
           in::readRemoteAddress( fd.get(), remote, failure );
}

void TcpChannel::begin( in::Wakes &wakes )
{
    plan = nullptr;
    pb::Lock lock( monitor );
    if ( isActive ) // accepted
        connectedLocked( wakes );
    updateLocked( wakes );
}

// states

void TcpChannel::activateLocked( in::Wakes &wakes )
{
    isActive = true;
    activeSignal.assertBy( wakes );
}

void TcpChannel::endLocked( in::Wakes &wakes )
{
    isEnd = true;
    activateLocked( wakes );
    endSignal.assertBy( wakes );
}

void TcpChannel::failLocked( in::Wakes &wakes )
{
    isError = true;
    endLocked( wakes );
    errorSignal.assertBy( wakes );
}

void TcpChannel::fail( in::Wakes &wakes )
{
    pb::Lock lock( monitor );
    failLocked( wakes );
    updateLocked( wakes );
}

/**
 * After the peer has closed there is nothing to read. But what a user still wants to send may be waiting for room: the end
 * comes only when the last byte was taken.
 */
PB_INT TcpChannel::wantedCondsLocked() const
{
    if ( isError )
        return 0;
    if ( sendFailed )
        return UNIX_FD_READABLE | UNIX_FD_WRITABLE | UNIX_FD_ERROR;
    if ( peerClosed )
        return isWritable || isEnd ? 0 : UNIX_FD_WRITABLE | UNIX_FD_ERROR;
    return UNIX_FD_ERROR | ( receiveFull ? 0 : UNIX_FD_READABLE ) | ( isWritable ? 0 : UNIX_FD_WRITABLE );
}

void TcpChannel::updateLocked( in::Wakes &wakes )
{
    engine->updateObserverLocked( *this, wakes );
    sendAlert.level( wakes, isWritable );
    receiveAlert.level( wakes, waiting > 0 );
}

// serving

/** Takes the error from the socket; 0 for none. While the attempt to connect goes on, why it has failed. */
int TcpChannel::socketError() const
{
    int error = 0;
    socklen_t length = sizeof error;
    return getsockopt( fd.get(), SOL_SOCKET, SO_ERROR, &error, &length ) == 0 ? error : 0;
}

TcpChannel::Reading TcpChannel::read()
{
    Reading reading;
    reading.count = recv( fd.get(), pbBufferRoom( engine->chunk.handle(), READ_MAX ), READ_MAX, 0 );
    reading.error = errno;
    return reading;
}

/** The bytes in the engine's chunk: a chunk that is well filled is handed on, few bytes are copied behind those there are. */
void TcpChannel::queueLocked( PB_INT count )
{
    waiting += count;
    receiveFull = waiting > RECEIVE_MAX;
    pbBufferExtend( engine->chunk.get(), count );
    if ( count >= CHUNK_HALF )
        return receiveBuffer.push_back(
            std::exchange( engine->chunk, pb::adopt( pbBufferCreateWithCapacity( CHUNK_SIZE ) ) ) );
    const PB_BYTE *bytes = pbBufferBacking( engine->chunk.get() );
    if ( receiveBuffer.empty() || pbBufferLength( receiveBuffer.back().get() ) + count > CHUNK_SIZE )
        receiveBuffer.push_back( pb::adopt( pbBufferCreateFromBytesCopy( bytes, count ) ) );
    else
        pbBufferAppendBytes( receiveBuffer.back().handle(), bytes, count );
    pbBufferClear( engine->chunk.handle() );
}

/** Nothing more comes when the peer has closed and the last byte was taken, and no send knows better. */
void TcpChannel::endIfLastLocked( in::Wakes &wakes )
{
    if ( peerClosed && waiting == 0 && !sending && !sendFailed )
        endLocked( wakes );
}

void TcpChannel::takeInLocked( const Reading &reading, in::Wakes &wakes )
{
    if ( reading.count > 0 )
        queueLocked( reading.count );
    if ( reading.count == 0 )
        peerClosed = true;
    endIfLastLocked( wakes );
}

/** The socket takes bytes; for the first time, when the connection is there. */
void TcpChannel::connectedLocked( in::Wakes &wakes )
{
    isWritable = true;
    if ( !isActive && terminated )
        shutdownLocked( wakes );
    activateLocked( wakes );
}

/** Fails the channel when anything says so. */
void TcpChannel::judgeLocked( PB_INT conds, int connectError, const Reading &reading, in::Wakes &wakes )
{
    if ( connectError )
        isErrorConnect = true;
    if ( !connectError && !reading.failed() && !sendFailed && !( conds & UNIX_FD_ERROR ) )
        return;
    if ( connectError || reading.failed() )
        reason = connectError ? connectError : reading.error;
    if ( reason == 0 )
        reason = socketError();
    failLocked( wakes );
}

void TcpChannel::serve( PB_INT conds, in::Wakes &wakes )
{
    int connectError = isActive ? 0 : socketError();
    Reading reading;
    if ( !connectError && ( conds & UNIX_FD_READABLE ) )
        reading = read();
    pb::Lock lock( monitor );
    if ( !connectError && ( conds & UNIX_FD_WRITABLE ) )
        connectedLocked( wakes );
    judgeLocked( conds, connectError, reading, wakes ); // first: whoever sees the end is to see the failure too
    takeInLocked( reading, wakes );
    updateLocked( wakes );
}

void in___ImpTcpUnixChannelThreadFunc( PB_OBJ * )
{
    engine->run();
}

// sending and receiving

PB_INT TcpChannel::send( const PB_BYTE *bytes, PB_INT byteCount, in::Wakes &wakes )
{
    sending = true;
    PB_INT sent = trySend( bytes, byteCount, wakes );
    sending = false;
    if ( peerClosed ) { // the end may have waited for this send
        pb::Lock lock( monitor );
        endIfLastLocked( wakes );
        updateLocked( wakes );
    }
    return sent;
}

PB_INT TcpChannel::trySend( const PB_BYTE *bytes, PB_INT byteCount, in::Wakes &wakes )
{
    if ( !isActive || isEnd || !isWritable || terminated )
        return 0;
    PB_INT wanted = std::min( byteCount, SEND_MAX );
    ssize_t sent = ::send( fd.get(), bytes, static_cast<std::size_t>( wanted ), MSG_NOSIGNAL );
    if ( sent != wanted )
        notSent( sent < 0 ? errno : EAGAIN, wakes );
    return std::max<PB_INT>( sent, 0 );
}

/** The socket has taken less than it was given: it is full, or dead, or was shut down here. */
void TcpChannel::notSent( int why, in::Wakes &wakes )
{
    pb::Lock lock( monitor );
    isWritable = false;
    if ( why != EAGAIN && why != EINTR && !( why == EPIPE && terminated ) ) {
        sendFailed = true;
        reason = why;
    }
    updateLocked( wakes );
}

/** Whether the caller may get a whole chunk for his buffer, which is empty and of the same size. */
bool replaceable( PB_BUFFER *buf )
{
    PB_INT space = pbBufferSpace( buf );
    return pbBufferLength( buf ) == 0 && space >= READ_MAX && space <= CHUNK_SIZE;
}

/** Moves the first bytes of the first chunk: how many. `former` is what the caller's buffer was. */
PB_INT moveFirst(
    std::list<pb::Ref<PB_BUFFER>> &chunks, PB_BUFFER **buf, PB_INT maxByteCount, pb::Ref<PB_BUFFER> &former )
{
    pb::Ref<PB_BUFFER> &first = chunks.front();
    PB_INT length = pbBufferLength( first.get() );
    PB_INT count = std::min( length, maxByteCount );
    if ( count == length && pbBufferSpace( first.get() ) + length == CHUNK_SIZE && replaceable( *buf ) )
        former = pb::adopt( std::exchange( *buf, first.give() ) );
    else
        pbBufferAppendInner( buf, first.get(), 0, count );
    if ( count == length )
        chunks.pop_front();
    else
        pbBufferDelLeading( first.handle(), count );
    return count;
}

PB_INT TcpChannel::receive( PB_BUFFER **buf, PB_INT maxByteCount, in::Wakes &wakes )
{
    PB_ASSERT( buf );
    PB_ASSERT( *buf );
    PB_ASSERT( maxByteCount > 0 );
    pb::Ref<PB_BUFFER> former; // let go after the monitor
    pb::Lock lock( monitor );
    PB_INT count = 0;
    while ( count < maxByteCount && !receiveBuffer.empty() )
        count += moveFirst( receiveBuffer, buf, maxByteCount - count, former );
    waiting -= count;
    receiveFull = receiveFull && waiting > RECEIVE_RESUME;
    endIfLastLocked( wakes );
    updateLocked( wakes );
    return count;
}

void TcpChannel::shutdownLocked( in::Wakes &wakes )
{
    if ( shutdown( fd.get(), SHUT_WR ) != 0 && errno != ENOTCONN )
        failLocked( wakes );
}

/** Shutting down a socket that is still connecting would give up the attempt; then the thread does it afterwards. */
void TcpChannel::terminate()
{
    in::Wakes wakes;
    pb::Lock lock( monitor );
    terminated = true;
    if ( isActive )
        shutdownLocked( wakes );
    updateLocked( wakes );
}

// signals and alerts

pb::Ref<PB_SIGNAL> TcpChannel::activeOne()
{
    pb::Lock lock( monitor );
    return activeSignal.get();
}

pb::Ref<PB_SIGNAL> TcpChannel::endOne()
{
    pb::Lock lock( monitor );
    return endSignal.get();
}

pb::Ref<PB_SIGNAL> TcpChannel::errorOne()
{
    pb::Lock lock( monitor );
    return errorSignal.get();
}

pb::Ref<PB_ALERT> TcpChannel::sendOne()
{
    pb::Lock lock( monitor );
    return sendAlert.get( isWritable );
}

pb::Ref<PB_ALERT> TcpChannel::receiveOne()
{
    pb::Lock lock( monitor );
    return receiveAlert.get( waiting > 0 );
}

TcpChannel &channelAt( PB_INT chan )
{
    PB_ASSERT( IN___IMP_TCP_CHANNEL_OK( chan ) );
    return engine->at( chan );
}

/** How long an idle connection waits for its first probe, and between probes; none without keep-alive. */
std::optional<int> keepAliveSecondsOf( PB_INT flags, IN_TCP_OPTIONS *options )
{
    if ( !( flags & IN_TCP_FLAG_KEEP_ALIVE ) && !inTcpOptionsKeepAliveEnabled( options ) )
        return {};
    PB_INT keepAliveTime = std::clamp<PB_INT>( inTcpOptionsKeepAliveTime( options ), 1'000, 43'200'000 );
    keepAliveTime = ( keepAliveTime + 999 ) / 1'000;
    PB_ASSERT( PB_INT_TO_SIGNED_INT_CONV_OK( keepAliveTime ) );
    return static_cast<int>( keepAliveTime );
}

} // namespace

in::TcpPlan::TcpPlan( const OpenPlan &itsOpen, IN_TCP_OPTIONS *itsOptions, IN_TCP_ADDRESS *itsRemoteAddress )
    : open( itsOpen ), options( itsOptions ), optionalRemoteAddress( itsRemoteAddress ),
      qosOptions( qosOptionsOf( itsOpen.optionalQosStack ) ),
      keepAliveSeconds( keepAliveSecondsOf( itsOpen.flags, itsOptions ) )
{}

in::PortTable &in::tcpPorts()
{
    return *in___ImpTcpPorts;
}

void in::startTcpChannels()
{
    engine.start( *in___ImpTcpPorts );
    engine->start( "in___ImpTcpUnixChannelThreadFunc()", in___ImpTcpUnixChannelThreadFunc, 4 );
}

void in::beginStopTcpChannels()
{
    engine->beginStop();
}

void in::endStopTcpChannels()
{
    engine->endStop( "channels are still held" );
    engine.stop();
}

PB_INT in::tryAcceptTcpChannel(
    pb::Fd connection, const TcpPlan &plan, const pb::Ref<IN_TCP_ADDRESS> &probableLocal, OpenFailure &failure )
{
    auto record = std::make_unique<TcpChannel>( plan );
    if ( !engine->hasRoom( failure ) || !record->tryAccepted( std::move( connection ), probableLocal, failure ) )
        return IN___IMP_TCP_CHANNEL_INVALID;
    return engine->tryEnter( std::move( record ), failure );
}

void in___ImpTcpStartup()
{
    in___ImpTcpPorts.start();
}

void in___ImpTcpShutdown()
{
    in___ImpTcpPorts.stop();
}

PB_INT in___ImpTcpChannelTryCreate(
    const in::OpenPlan &plan, IN_TCP_OPTIONS *options, IN_TCP_ADDRESS *remoteAddress, in::OpenFailure &failure )
{
    auto [localAddress, optionalLocalPort] = std::pair( plan.localAddress, plan.optionalPort );
    PB_ASSERT( localAddress );
    PB_ASSERT( optionalLocalPort == IN_TCP_PORT_INVALID || IN_TCP_PORT_OK( optionalLocalPort ) );
    PB_ASSERT( remoteAddress );
    PB_ASSERT( options );
    return engine->tryCreate( in::TcpPlan( plan, options, remoteAddress ), failure );
}

void in___ImpTcpChannelDestroy( PB_INT chan )
{
    engine->destroy( chan );
}

in::TcpPath &in___ImpTcpChannelPath( PB_INT chan )
{
    return channelAt( chan );
}

PB_BOOL in___ImpTcpChannelErrorConnect( PB_INT chan )
{
    return channelAt( chan ).isErrorConnect;
}
