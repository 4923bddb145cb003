/*
 * TCP listeners: the records of the engine that serves all listening sockets, its thread, and the connections that wait.
 *
 * The thread accepts without any lock and puts the descriptor among those that wait, under the listener's monitor. A user
 * takes it out under the monitor, and makes a channel of it outside: that enters the channels' engine, which has locks of
 * its own. Descriptors that nobody took are closed with the record.
 */
#include <deque>
#include <in/imp/in_imp_tcp_opening_private.hpp>

namespace {

constexpr int BACKLOG = 128;               // connections that wait in the kernel
constexpr std::size_t PENDING_MAX = 2048;  // connections that wait here; accepting stops
constexpr std::size_t PENDING_RESUME = 32; // and goes on when no more than these are left

using Step = in::SocketStep<in::TcpPlan>;

constexpr Step steps[] = {
    { "SO_REUSEADDR", in::Need::required, SOL_SOCKET, SO_REUSEADDR,
        []( const in::TcpPlan & ) { return in::when( true, 1 ); } },
};

struct TcpListener final : in::TcpRecord, in::TcpListenerPath {
    explicit TcpListener( const in::TcpPlan &itsPlan ) : TcpRecord( itsPlan ), options( pb::share( itsPlan.options ) )
    {}

    const pb::Ref<IN_TCP_OPTIONS> options;
    std::atomic<bool> failed = false;
    std::atomic<int> reason = 0; // the errno for which it has failed
    bool pendingFull PB_GUARDED_BY( monitor ) = false;
    std::deque<pb::Fd> pending PB_GUARDED_BY( monitor );
    in::WantedSignal errorSignal PB_GUARDED_BY( monitor );
    in::WantedAlert listenAlert PB_GUARDED_BY( monitor );

    // opening and closing, for the ported engine
    bool tryOpen( in::OpenFailure &failure ) { return tryOpenWith( steps, failure ); }
    in::PortAttempt tryFinish( in::OpenFailure &failure );
    void begin( in::Wakes &wakes ) PB_EXCLUDES( monitor );
    void fail( in::Wakes &wakes ) PB_EXCLUDES( monitor );

    // serving, for the slot engine
    PB_INT wantedCondsLocked() const override PB_REQUIRES( monitor )
    {
        if ( failed )
            return 0;
        return pendingFull ? UNIX_FD_ERROR : UNIX_FD_READABLE | UNIX_FD_ERROR;
    }
    void failLocked( in::Wakes &wakes ) override PB_REQUIRES( monitor )
    {
        failed = true;
        errorSignal.assertBy( wakes );
    }
    void serve( PB_INT conds, in::Wakes &wakes ) override PB_EXCLUDES( monitor );

    // the path of a listener
    pb::Ref<IN_QOS_STACK> optionalQosStack() override { return qosStack; }
    pb::Ref<IN_TCP_ADDRESS> localAddress() override { return local; }
    PB_INT flags() override { return tcpFlags; }
    bool error() override { return failed; }
    int errorReason() override { return reason; }
    void errorAddSignalable( PB_SIGNALABLE *s ) override { pbSignalAddSignalable( errorOne().get(), s ); }
    void errorDelSignalable( PB_SIGNALABLE *s ) override { pbSignalDelSignalable( errorOne().get(), s ); }
    void listenAddAlertable( PB_ALERTABLE *a ) override { pbAlertAddAlertable( listenOne().get(), a ); }
    void listenDelAlertable( PB_ALERTABLE *a ) override { pbAlertDelAlertable( listenOne().get(), a ); }

    /** The oldest connection that waits; none when there is none. */
    pb::Fd take() PB_EXCLUDES( monitor );
    PB_INT tryMakeChannel( pb::Fd connection, in::OpenFailure &failure );

private:
    pb::Ref<PB_SIGNAL> errorOne() PB_EXCLUDES( monitor );
    pb::Ref<PB_ALERT> listenOne() PB_EXCLUDES( monitor );
    void updateLocked( in::Wakes &wakes ) PB_REQUIRES( monitor );
};

using TcpListenerEngine = in::PortedEngine<TcpListener>;

constinit pb::GlobalState<TcpListenerEngine> engine;

in::PortAttempt TcpListener::tryFinish( in::OpenFailure &failure )
{
    if ( listen( fd.get(), BACKLOG ) != 0 ) {
        failure.failed( "listen" );
        // others may be bound to the port that do not listen
        return failure.error == EADDRINUSE ? in::PortAttempt::other : in::PortAttempt::failed;
    }
    return tryReadLocal( failure ) ? in::PortAttempt::done : in::PortAttempt::failed;
}

void TcpListener::begin( in::Wakes &wakes )
{
    plan = nullptr;
    pb::Lock lock( monitor );
    updateLocked( wakes );
}

void TcpListener::fail( in::Wakes &wakes )
{
    pb::Lock lock( monitor );
    failLocked( wakes );
    updateLocked( wakes );
}

void TcpListener::updateLocked( in::Wakes &wakes )
{
    engine->updateObserverLocked( *this, wakes );
    listenAlert.level( wakes, !pending.empty() );
}

/** Whether an accept that failed for that says nothing about the listener: nothing waits, or what waited has gone. */
bool isNobody( int error )
{
    return error == EAGAIN || error == EINTR || error == ECONNABORTED || error == EPROTO;
}

void TcpListener::serve( PB_INT conds, in::Wakes &wakes )
{
    pb::Fd connection;
    int error = 0;
    if ( conds & UNIX_FD_READABLE ) {
        connection = pb::Fd( accept4( fd.get(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC ) );
        error = connection ? 0 : errno;
    }
    pb::Lock lock( monitor );
    if ( connection )
        pending.push_back( std::move( connection ) );
    pendingFull = pending.size() >= PENDING_MAX;
    if ( error && !isNobody( error ) )
        reason = error;
    if ( reason || ( conds & UNIX_FD_ERROR ) )
        failLocked( wakes );
    updateLocked( wakes );
}

void in___ImpTcpUnixListenerThreadFunc( PB_OBJ * )
{
    engine->run();
}

pb::Fd TcpListener::take()
{
    in::Wakes wakes;
    pb::Fd sockfd;
    pb::Lock lock( monitor );
    if ( pending.empty() )
        return sockfd;
    sockfd = std::move( pending.front() );
    pending.pop_front();
    PB_ASSERT( UNIX_FD_OK( sockfd.get() ) );
    if ( pending.size() <= PENDING_RESUME )
        pendingFull = false;
    updateLocked( wakes );
    return sockfd;
}

/** A channel with the listener's flags, options and marks. */
PB_INT TcpListener::tryMakeChannel( pb::Fd connection, in::OpenFailure &failure )
{
    pb::Ref<IN_ADDRESS> ownAddress = address();
    in::OpenPlan open{ .localAddress = ownAddress.get(), .flags = tcpFlags, .optionalQosStack = qosStack.get() };
    return in::tryAcceptTcpChannel( std::move( connection ), in::TcpPlan( open, options.get() ), local, failure );
}

pb::Ref<PB_SIGNAL> TcpListener::errorOne()
{
    pb::Lock lock( monitor );
    return errorSignal.get();
}

pb::Ref<PB_ALERT> TcpListener::listenOne()
{
    pb::Lock lock( monitor );
    return listenAlert.get( !pending.empty() );
}

TcpListener &listenerAt( PB_INT lsn )
{
    PB_ASSERT( IN___IMP_TCP_CHANNEL_LISTENER_OK( lsn ) );
    return engine->at( lsn );
}

} // namespace

void in___ImpTcpChannelAndListenerStartup()
{
    in::startTcpChannels();
    engine.start( in::tcpPorts() );
    engine->start( "in___ImpTcpUnixListenerThreadFunc()", in___ImpTcpUnixListenerThreadFunc, 3 );
}

void in___ImpTcpChannelAndListenerShutdown()
{
    in::beginStopTcpChannels();
    engine->beginStop();
    in::endStopTcpChannels();
    engine->endStop( "listeners are still held" );
    engine.stop();
}

PB_INT in___ImpTcpChannelListenerTryCreate(
    const in::OpenPlan &plan, IN_TCP_OPTIONS *options, in::OpenFailure &failure )
{
    auto [localAddress, optionalLocalPort] = std::pair( plan.localAddress, plan.optionalPort );
    PB_ASSERT( localAddress );
    PB_ASSERT( optionalLocalPort == IN_TCP_PORT_INVALID || IN_TCP_PORT_OK( optionalLocalPort ) );
    PB_ASSERT( options );
    return engine->tryCreate( in::TcpPlan( plan, options ), failure );
}

PB_BOOL in___ImpTcpChannelListenerTryCreateRtp(
    PB_INT *rtp, PB_INT *rtcp, const in::OpenPlan &plan, IN_TCP_OPTIONS *options, in::OpenFailure &failure )
{
    PB_ASSERT( rtp );
    PB_ASSERT( rtcp );
    IN_ADDRESS *localAddress = plan.localAddress;
    PB_ASSERT( localAddress );
    PB_ASSERT( options );
    in::PortPair pair = engine->tryCreatePair( in::TcpPlan( plan, options ), failure );
    *rtp = pair.even;
    *rtcp = pair.odd;
    return pair.even != IN___IMP_TCP_CHANNEL_LISTENER_INVALID;
}

void in___ImpTcpChannelListenerDestroy( PB_INT lsn )
{
    engine->destroy( lsn );
}

in::TcpListenerPath &in___ImpTcpChannelListenerPath( PB_INT lsn )
{
    return listenerAt( lsn );
}

PB_INT in___ImpTcpChannelListenerListen( PB_INT lsn, in::OpenFailure &failure )
{
    TcpListener &listener = listenerAt( lsn );
    while ( pb::Fd connection = listener.take() ) {
        PB_INT chan = listener.tryMakeChannel( std::move( connection ), failure );
        if ( IN___IMP_TCP_CHANNEL_OK( chan ) )
            return chan;
    }
    return IN___IMP_TCP_CHANNEL_INVALID;
}
