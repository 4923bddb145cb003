/*
 * UDP channels: the records of the UDP engine, its receive thread, sending.
 *
 * A channel's datagrams go through two hands. The thread reads a batch without any lock, which is safe because a
 * slot that is served is not released, and puts it among `incoming` under the channel's monitor, with one wake. A user takes from
 * `outgoing` under `takeMonitor`, and fetches what has come in when that is empty. So users and the thread meet once a batch
 * and not once a datagram. `queued` counts both hands; it grows under the monitor, and shrinks before who took looks,
 * under the monitor, whether the alert and the full mark still say the truth. Whoever changes `queued` last looks last,
 * so the alert is never left unset over a datagram, nor the channel paused over an empty queue. Whoever finds both hands
 * empty unsets the alert too: while somebody else has taken a datagram and not counted it yet, the alert would be set over
 * nothing, and the next datagram would fire nobody.
 *
 * A channel that is busy gets trains of datagrams, so a read may bring more than the queue has room for. The rest is held
 * back, as if it were in the socket still; while it is there, the queue counts as full and nothing is read.
 *
 * Locks: takeMonitor, then the channel's monitor. Unchanging members and the atomics are read without.
 */
#include <in/imp/in_imp_datagrams_private.hpp>
#include <in/imp/in_imp_ported_engine_private.hpp>
#include <in/imp/in_imp_sockaddr_unix_private.h>
#include <in/imp/in_imp_udp_private.h>
#include <list>

namespace {

constexpr PB_INT QUEUE_MAX = 512;    // datagrams; reading stops here
constexpr PB_INT QUEUE_RESUME = 256; // and goes on when no more than these are left
constexpr PB_INT BUSY = 32;          // who gets as many in one read is given trains from then on

/** What a socket is opened with, and what the steps need of it, looked up once. */
struct UdpPlan {
    explicit UdpPlan( const in::OpenPlan &itsOpen )
        : open( itsOpen ), qosOptions( in::qosOptionsOf( itsOpen.optionalQosStack ) ),
          isMulticast( inAddressIsMulticast( itsOpen.localAddress ) )
    {}
    bool noReceive() const { return open.flags & IN_UDP_FLAG_NO_RECEIVE; }
    /** The receiver is to hear one interface only. */
    bool hearsOneInterface( PB_INT version ) const
    {
        return isMulticast && open.optionalInterface && inAddressVersion( open.localAddress ) == version;
    }

    in::OpenPlan open;
    pb::Ref<IN_QOS_OPTIONS> qosOptions; // null for no marks
    bool isMulticast;
};

using Step = in::SocketStep<UdpPlan>;
using Plan = const UdpPlan &;
using in::Need;
using in::when;

constexpr Step steps[] = {
    { "SO_BROADCAST", Need::bestEffort, SOL_SOCKET, SO_BROADCAST,
        []( Plan plan ) { return when( !plan.isMulticast, 1 ); } },
    { "SO_REUSEADDR", Need::bestEffort, SOL_SOCKET, SO_REUSEADDR,
        []( Plan plan ) { return when( !plan.isMulticast, 0 ); } },
    { "SO_RCVBUF", Need::required, SOL_SOCKET, SO_RCVBUF,
        []( Plan plan ) { return when( !plan.isMulticast && plan.noReceive(), 0 ); } },
    in::typeOfServiceStep<UdpPlan>,
    in::priorityStep<UdpPlan>,
    // Several receivers may share a group and port.
    { "SO_REUSEADDR", Need::required, SOL_SOCKET, SO_REUSEADDR,
        []( Plan plan ) { return when( plan.isMulticast, 1 ); } },
    // A receiver on a named interface must not get groups that other sockets joined elsewhere (ip(7)).
    { "IP_MULTICAST_ALL", Need::bestEffort, IPPROTO_IP, IP_MULTICAST_ALL,
        []( Plan plan ) { return when( plan.hearsOneInterface( IN_ADDRESS_VERSION_4 ), 0 ); } },
    { "IPV6_MULTICAST_ALL", Need::bestEffort, IPPROTO_IPV6, IPV6_MULTICAST_ALL,
        []( Plan plan ) { return when( plan.hearsOneInterface( IN_ADDRESS_VERSION_6 ), 0 ); } },
};

struct UdpChannel final : in::Slot, in::UdpPath {
    using Plan = UdpPlan;
    explicit UdpChannel( const Plan &itsPlan );

    const PB_INT channelFlags;
    const bool isMulticast;
    const pb::Ref<IN_QOS_STACK> qosStack;
    const pb::Ref<PB_STRING> interfaceName;
    const Plan *plan; // while it is opened
    unsigned interfaceNumber = 0;
    pb::Ref<IN_UDP_ADDRESS> local;

    std::atomic<bool> failed = false; // set under the monitor, together with the error signal
    std::atomic<bool> receiveQueueFull = false;
    std::atomic<PB_INT> queued = 0;
    in::WantedSignal errorSignal PB_GUARDED_BY( monitor ); // stands for `failed`
    in::WantedAlert receiveAlert PB_GUARDED_BY( monitor ); // stands for `queued`
    std::list<in::DatagramBatch> incoming PB_GUARDED_BY( monitor );
    std::list<in::DatagramBatch> held PB_GUARDED_BY( monitor ); // comes after all that is queued

    PB_INT longestTrain = 1; // of the last read; the thread's own, as the next one
    bool trains = false;     // asked for

    pb::Monitor takeMonitor{ pb::Rank::take };
    std::list<in::DatagramBatch> outgoing PB_GUARDED_BY( takeMonitor );
    pb::Ref<IN_UDP_ADDRESS> remoteAddress PB_GUARDED_BY( takeMonitor ); // of the last datagram; reused

    // opening and closing, for the ported engine
    bool tryOpen( in::OpenFailure &failure );
    unsigned scope() const { return interfaceNumber; }
    in::PortAttempt tryFinish( in::OpenFailure &failure );
    bool occupiesPort() const { return !isMulticast; }
    pb::Ref<IN_ADDRESS> address() const { return pb::adopt( inUdpAddressAddress( local.get() ) ); }
    PB_INT port() const { return inUdpAddressPort( local.get() ); }
    void begin( in::Wakes &wakes ) PB_EXCLUDES( monitor );
    void fail( in::Wakes &wakes ) PB_EXCLUDES( monitor );

    // serving, for the slot engine
    PB_INT wantedCondsLocked() const override PB_REQUIRES( monitor )
    {
        if ( failed )
            return 0;
        bool paused = receiveQueueFull || ( channelFlags & IN_UDP_FLAG_NO_RECEIVE );
        return paused ? UNIX_FD_ERROR : UNIX_FD_READABLE | UNIX_FD_ERROR;
    }
    void failLocked( in::Wakes &wakes ) override PB_REQUIRES( monitor )
    {
        failed = true;
        errorSignal.assertBy( wakes );
    }
    void serve( PB_INT conds, in::Wakes &wakes ) override PB_EXCLUDES( monitor );

    // the path of a channel
    pb::Ref<IN_QOS_STACK> optionalQosStack() override { return qosStack; }
    pb::Ref<IN_UDP_ADDRESS> localAddress() override { return local; }
    PB_INT flags() override { return channelFlags; }
    bool error() override { return failed; }
    void errorAddSignalable( PB_SIGNALABLE *signalable ) override;
    void errorDelSignalable( PB_SIGNALABLE *signalable ) override;
    int sendBytes( IN_UDP_ADDRESS *remote, const void *bytes, PB_INT byteCount ) override;
    pb::Ref<IN_UDP_PACKET> optionalReceive() override;
    void receiveAddAlertable( PB_ALERTABLE *alertable ) override;
    void receiveDelAlertable( PB_ALERTABLE *alertable ) override;

private:
    pb::Ref<PB_SIGNAL> neededErrorSignal() PB_EXCLUDES( monitor );
    pb::Ref<PB_ALERT> neededReceiveAlert() PB_EXCLUDES( monitor );
    void updateLocked( in::Wakes &wakes ) PB_REQUIRES( monitor );
    std::list<in::DatagramBatch> readBatch();
    std::list<in::DatagramBatch> read( PB_INT space );
    void queueLocked( std::list<in::DatagramBatch> &batches ) PB_REQUIRES( monitor );
    void resumeLocked() PB_REQUIRES( monitor );
    pb::Ref<IN_UDP_PACKET> take() PB_EXCLUDES( takeMonitor, monitor );
    bool fetchLocked() PB_REQUIRES( takeMonitor ) PB_EXCLUDES( monitor );
    void taken() PB_EXCLUDES( monitor );
};

struct UdpEngine : in::PortedEngine<UdpChannel> {
    using PortedEngine::PortedEngine;
    in::DatagramReader reader; // the thread's own
};

constinit pb::GlobalState<in::PortTable> in___ImpUdpPorts;
constinit pb::GlobalState<UdpEngine> engine;

UdpChannel::UdpChannel( const Plan &itsPlan )
    : channelFlags( inUdpFlagsNormalize( itsPlan.open.flags ) ), isMulticast( itsPlan.isMulticast ),
      qosStack( pb::share( itsPlan.open.optionalQosStack ) ),
      interfaceName( pb::share( itsPlan.open.optionalInterface ) ), plan( &itsPlan )
{}

void UdpChannel::updateLocked( in::Wakes &wakes )
{
    engine->updateObserverLocked( *this, wakes );
    receiveAlert.level( wakes, queued > 0 );
}

void UdpChannel::fail( in::Wakes &wakes )
{
    pb::Lock lock( monitor );
    failLocked( wakes );
    updateLocked( wakes );
}

/** Whether datagrams have a sender that can be answered: of a known family, and not from port 0. */
bool usable( const in::DatagramTrain &train )
{
    return in___ImpSockaddrIsUdpAddress( train.sender.data(), train.senderLength );
}

/** Appends a train to the last batch, and what does not fit to new ones that can be queued when reading goes on. */
void append( std::list<in::DatagramBatch> &batches, PB_INT space, in::DatagramTrain train )
{
    for ( PB_INT left = train.count(); left > 0; ) {
        PB_INT room = ( batches.size() == 1 ? space : QUEUE_MAX - QUEUE_RESUME ) - batches.back().count();
        PB_INT fitting = std::min( left, room );
        if ( fitting > 0 )
            batches.back().append( train.take( fitting ) );
        left -= fitting;
        if ( left > 0 )
            batches.emplace_back( in::DatagramBatch::sizeFor( train ) );
    }
}

/** One read, without what is not usable: a batch for the space that there is, and behind it what was too much. */
std::list<in::DatagramBatch> UdpChannel::read( PB_INT space )
{
    in::DatagramReader &reader = engine->reader;
    PB_INT limit = std::max<PB_INT>( 1, space / longestTrain );
    std::size_t count = reader.read( fd.get(), static_cast<std::size_t>( limit ) );
    std::list<in::DatagramBatch> batches;
    if ( count == 0 )
        return batches;
    std::size_t size = 0;
    longestTrain = 1;
    for ( std::size_t i = 0; i < count; ++i ) {
        in::DatagramTrain train = reader.at( i );
        size += in::DatagramBatch::sizeFor( train );
        longestTrain = std::max( longestTrain, train.count() );
    }
    batches.emplace_back( size );
    for ( std::size_t i = 0; i < count; ++i )
        if ( in::DatagramTrain train = reader.at( i ); usable( train ) )
            append( batches, space, train );
    if ( batches.front().count() == 0 )
        batches.clear();
    return batches;
}

/** Queues the first batch and holds back the others. */
void UdpChannel::queueLocked( std::list<in::DatagramBatch> &batches )
{
    queued += batches.front().count();
    incoming.splice( incoming.end(), batches, batches.begin() );
    held.splice( held.end(), batches );
    receiveQueueFull = queued >= QUEUE_MAX || !held.empty();
    resumeLocked(); // users may have taken them before the mark could be seen
}

/** Queues what is held back and lets reading go on, when enough has been taken. */
void UdpChannel::resumeLocked()
{
    while ( receiveQueueFull && queued <= QUEUE_RESUME ) {
        receiveQueueFull = !held.empty();
        if ( held.empty() )
            return;
        queued += held.front().count();
        incoming.splice( incoming.end(), held, held.begin() );
    }
}

/** One batch. What is left in the socket is reported again, after the other channels had their turn. */
std::list<in::DatagramBatch> UdpChannel::readBatch()
{
    if ( receiveQueueFull )
        return {};
    std::list<in::DatagramBatch> batches = read( QUEUE_MAX - queued ); // others only make more space
    if ( !trains && !batches.empty() && batches.front().count() >= BUSY ) {
        in::askForTrains( fd.get() );
        trains = true;
    }
    return batches;
}

void UdpChannel::serve( PB_INT conds, in::Wakes &wakes )
{
    std::list<in::DatagramBatch> batches;
    if ( conds & UNIX_FD_READABLE )
        batches = readBatch();
    pb::Lock lock( monitor );
    if ( conds & UNIX_FD_ERROR )
        failLocked( wakes );
    if ( !failed && !batches.empty() )
        queueLocked( batches );
    updateLocked( wakes );
}

/** Fetches what has come in; false when there is nothing to take. */
bool UdpChannel::fetchLocked()
{
    if ( outgoing.empty() ) {
        pb::Lock lock( monitor );
        outgoing.swap( incoming );
        if ( outgoing.empty() ) // the alert stands for what somebody else has taken, but not counted yet
            receiveAlert.unset();
    }
    return !outgoing.empty();
}

pb::Ref<IN_UDP_PACKET> UdpChannel::take()
{
    pb::Lock lock( takeMonitor );
    if ( failed || !fetchLocked() )
        return {};
    in::DatagramTrain datagram = outgoing.front().take();
    in___ImpSockaddrUpdateUdpAddress( datagram.sender.data(), datagram.senderLength, remoteAddress.handle() );
    pb::Ref<IN_UDP_PACKET> pkt =
        pb::adopt( inUdpPacketCreateWithPayloadBytes( remoteAddress.get(), datagram.bytes, datagram.byteCount ) );
    PB_ASSERT( pkt );
    if ( outgoing.front().count() == 0 )
        outgoing.pop_front();
    return pkt;
}

/** One datagram less is queued. Looks at the alert and the observer when that may change them. */
void UdpChannel::taken()
{
    PB_INT left = queued.fetch_sub( 1 ) - 1;
    if ( left > 0 && !( left <= QUEUE_RESUME && receiveQueueFull ) )
        return;
    in::Wakes wakes;
    pb::Lock lock( monitor );
    resumeLocked();
    updateLocked( wakes );
}

void in___ImpUdpUnixChannelThreadFunc( PB_OBJ * )
{
    engine->run();
}

/** Joins the group on the interface. */
bool joinGroup( int fd, IN_ADDRESS *group, unsigned index, const in::LocalRecord &local, in::OpenFailure &failure )
{
    group_req req{};
    req.gr_interface = index;
    PB_INT sockaddrLength = local.length;
    PB_ASSERT( ( (unsigned int)sockaddrLength ) <= sizeof( req.gr_group ) );
    std::memcpy( &req.gr_group, local.get(), local.length );
    int level = inAddressIsV6( group ) ? IPPROTO_IPV6 : IPPROTO_IP;
    return setsockopt( fd, level, MCAST_JOIN_GROUP, &req, sizeof req ) == 0 || failure.failed( "MCAST_JOIN_GROUP" );
}

bool UdpChannel::tryOpen( in::OpenFailure &failure )
{
    if ( isMulticast && plan->open.optionalPort < 0 )
        return failure.failed( "multicast port", EDESTADDRREQ );
    PB_STRING *optionalInterface = isMulticast ? plan->open.optionalInterface : plan->open.optionalScopeInterface;
    std::optional<unsigned> index = in::interfaceIndex( optionalInterface, failure );
    if ( !index )
        return false;
    interfaceNumber = *index;
    fd = in::openSocket( plan->open.localAddress, SOCK_DGRAM, IPPROTO_UDP, failure );
    return fd && in::applySteps( fd.get(), steps, *plan, failure );
}

in::PortAttempt UdpChannel::tryFinish( in::OpenFailure &failure )
{
    IN_ADDRESS *wanted = plan->open.localAddress;
    local = pb::adopt( inUdpAddressCreate( wanted, in::PORT_MAX ) );
    bool done = in::readLocalAddress( fd.get(), local, failure ) &&
                ( !isMulticast || joinGroup( fd.get(), wanted, interfaceNumber,
                                      in::LocalRecord( wanted, port(), interfaceNumber ), failure ) );
    return done ? in::PortAttempt::done : in::PortAttempt::failed;
}

void UdpChannel::begin( in::Wakes &wakes )
{
    plan = nullptr;
    pb::Lock lock( monitor );
    updateLocked( wakes );
}

pb::Ref<PB_SIGNAL> UdpChannel::neededErrorSignal()
{
    pb::Lock lock( monitor );
    return errorSignal.get();
}

pb::Ref<PB_ALERT> UdpChannel::neededReceiveAlert()
{
    pb::Lock lock( monitor );
    return receiveAlert.get( queued > 0 );
}

void UdpChannel::errorAddSignalable( PB_SIGNALABLE *signalable )
{
    pbSignalAddSignalable( neededErrorSignal().get(), signalable );
}

void UdpChannel::errorDelSignalable( PB_SIGNALABLE *signalable )
{
    pbSignalDelSignalable( neededErrorSignal().get(), signalable );
}

void UdpChannel::receiveAddAlertable( PB_ALERTABLE *alertable )
{
    pbAlertAddAlertable( neededReceiveAlert().get(), alertable );
}

void UdpChannel::receiveDelAlertable( PB_ALERTABLE *alertable )
{
    pbAlertDelAlertable( neededReceiveAlert().get(), alertable );
}

// No lock: the system makes each datagram whole, and the socket stays open as long as the caller holds the channel.
int UdpChannel::sendBytes( IN_UDP_ADDRESS *remote, const void *bytes, PB_INT byteCount )
{
    std::array<PB_BYTE, sizeof( sockaddr_in6 )> record;
    PB_INT length = 0;
    if ( failed || !in___ImpSockaddrFromUdpAddress( record.data(), &length, remote ) ) {
        in::Wakes wakes;
        fail( wakes );
        return ENOTCONN;
    }
    ssize_t sent = sendto( fd.get(), bytes, static_cast<std::size_t>( byteCount ), 0,
        reinterpret_cast<sockaddr *>( record.data() ), static_cast<socklen_t>( length ) );
    return sent < 0 ? errno : 0;
}

pb::Ref<IN_UDP_PACKET> UdpChannel::optionalReceive()
{
    pb::Ref<IN_UDP_PACKET> pkt = take();
    if ( pkt )
        taken();
    return pkt;
}

UdpChannel &channelAt( PB_INT chan )
{
    PB_ASSERT( IN___IMP_UDP_CHANNEL_OK( chan ) );
    return engine->at( chan );
}

} // namespace

void in___ImpUdpStartup()
{
    in___ImpUdpPorts.start();
}

void in___ImpUdpShutdown()
{
    in___ImpUdpPorts.stop();
}

void in___ImpUdpChannelStartup()
{
    engine.start( *in___ImpUdpPorts );
    engine->start( "in___ImpUdpUnixChannelThreadFunc()", in___ImpUdpUnixChannelThreadFunc, 4 );
}

void in___ImpUdpChannelShutdown()
{
    engine->beginStop();
    engine->endStop( "channels are still held" );
    engine.stop();
}

PB_INT in___ImpUdpChannelTryCreate( const in::OpenPlan &plan, in::OpenFailure &failure )
{
    auto [localAddress, optionalLocalPort] = std::pair( plan.localAddress, plan.optionalPort );
    PB_ASSERT( localAddress );
    PB_ASSERT( optionalLocalPort == IN_UDP_PORT_INVALID || IN_UDP_PORT_OK( optionalLocalPort ) );
    return engine->tryCreate( UdpPlan( plan ), failure );
}

PB_BOOL in___ImpUdpChannelTryCreateRtp( PB_INT *rtp, PB_INT *rtcp, const in::OpenPlan &plan, in::OpenFailure &failure )
{
    PB_ASSERT( rtp );
    PB_ASSERT( rtcp );
    IN_ADDRESS *localAddress = plan.localAddress;
    PB_ASSERT( localAddress );
    in::PortPair pair = engine->tryCreatePair( UdpPlan( plan ), failure );
    *rtp = pair.even;
    *rtcp = pair.odd;
    return pair.even != IN___IMP_UDP_CHANNEL_INVALID;
}

void in___ImpUdpChannelDestroy( PB_INT chan )
{
    engine->destroy( chan );
}

in::UdpPath &in___ImpUdpChannelPath( PB_INT chan )
{
    return channelAt( chan );
}

PB_STRING *in___ImpUdpChannelInterface( PB_INT chan )
{
    return channelAt( chan ).interfaceName.retained();
}

PB_BOOL in___ImpUdpChannelHasInterface( PB_INT chan )
{
    return PB_BOOL_FROM( channelAt( chan ).interfaceName );
}
