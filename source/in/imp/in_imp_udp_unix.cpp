/*
 * UDP channels, the sockets: the records of the UDP slot engine, its receive thread, sending.
 *
 * A channel's datagrams go through two hands. The thread reads a batch without any lock, which is safe because the barrier
 * keeps the socket open, and puts it among `incoming` under the channel's monitor, with one wake. A user takes from
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
#include <in/imp/in_imp_ports_private.hpp>
#include <in/imp/in_imp_slot_engine_private.hpp>
#include <in/imp/in_imp_sockaddr_unix_private.h>
#include <in/imp/in_imp_socket_private.hpp>
#include <in/imp/in_imp_udp_private.h>
#include <list>
#include <net/if.h>

namespace {

constexpr PB_INT QUEUE_MAX = 512;    // datagrams; reading stops here
constexpr PB_INT QUEUE_RESUME = 256; // and goes on when no more than these are left
constexpr PB_INT BUSY = 32;          // who gets as many in one read is given trains from then on

/** What a socket is opened with. */
struct UdpPlan {
    IN_ADDRESS *localAddress;
    PB_INT flags;
    pb::Ref<IN_QOS_OPTIONS> qosOptions; // null for no marks
    bool isMulticast;
    bool namesInterface;

    bool noReceive() const { return flags & IN_UDP_FLAG_NO_RECEIVE; }
};

using Step = in::SocketStep<UdpPlan>;
using Plan = const UdpPlan &;
using in::Need;
using in::when;

constexpr Step steps[] = {
    { Need::bestEffort, SOL_SOCKET, SO_BROADCAST, []( Plan plan ) { return when( !plan.isMulticast, 1 ); } },
    { Need::bestEffort, SOL_SOCKET, SO_REUSEADDR, []( Plan plan ) { return when( !plan.isMulticast, 0 ); } },
    { Need::required, SOL_SOCKET, SO_RCVBUF,
        []( Plan plan ) { return when( !plan.isMulticast && plan.noReceive(), 0 ); } },
    // The level of IPv4 on IPv6 sockets too: meant.
    { Need::bestEffort, IPPROTO_IP, IP_TOS,
        []( Plan plan ) {
            return plan.qosOptions ? when( true, inQosOptionsLayer3Tos( plan.qosOptions.get() ) & 0xFF ) : std::nullopt;
        } },
    // After IP_TOS, which sets a priority of its own (ip(7)).
    { Need::bestEffort, SOL_SOCKET, SO_PRIORITY,
        []( Plan plan ) {
            return plan.qosOptions ? when( true, static_cast<int>( inQosOptionsLayer2Pcp( plan.qosOptions.get() ) ) )
                                   : std::nullopt;
        } },
    // Several receivers may share a group and port.
    { Need::required, SOL_SOCKET, SO_REUSEADDR, []( Plan plan ) { return when( plan.isMulticast, 1 ); } },
    // Who names an interface is not to hear what other sockets have joined elsewhere (ip(7)).
    { Need::bestEffort, IPPROTO_IP, IP_MULTICAST_ALL,
        []( Plan plan ) { return when( plan.namesInterface && inAddressIsV4( plan.localAddress ), 0 ); } },
    { Need::bestEffort, IPPROTO_IPV6, IPV6_MULTICAST_ALL,
        []( Plan plan ) { return when( plan.namesInterface && inAddressIsV6( plan.localAddress ), 0 ); } },
};

struct UdpChannel final : in::Slot {
    pb::Ref<IN_UDP_ADDRESS> localAddress;
    PB_INT flags = 0;
    pb::Ref<IN_QOS_STACK> qosStack;
    pb::Ref<PB_STRING> interfaceName;
    bool isMulticast = false;

    std::atomic<bool> failed = false; // set under the monitor, together with the error signal
    std::atomic<bool> receiveQueueFull = false;
    std::atomic<PB_INT> queued = 0;
    pb::Ref<PB_SIGNAL> errorSignal = pb::adopt( pbSignalCreate() );
    pb::Ref<PB_ALERT> receiveAlert = pb::adopt( pbAlertCreate() );
    std::list<in::DatagramBatch> incoming PB_GUARDED_BY( monitor );
    std::list<in::DatagramBatch> held PB_GUARDED_BY( monitor ); // comes after all that is queued

    PB_INT longestTrain = 1; // of the last read; the thread's own, as the next one
    bool trains = false;     // asked for

    pb::Monitor takeMonitor;
    std::list<in::DatagramBatch> outgoing PB_GUARDED_BY( takeMonitor );
    pb::Ref<IN_UDP_ADDRESS> remoteAddress PB_GUARDED_BY( takeMonitor ); // of the last datagram; reused

    PB_INT wantedCondsLocked() const override PB_REQUIRES( monitor )
    {
        if ( failed )
            return 0;
        bool paused = receiveQueueFull || ( flags & IN_UDP_FLAG_NO_RECEIVE );
        return paused ? UNIX_FD_ERROR : UNIX_FD_READABLE | UNIX_FD_ERROR;
    }
    void failLocked( in::Wakes &wakes ) override PB_REQUIRES( monitor )
    {
        if ( !failed.exchange( true ) )
            wakes.assertSignal( errorSignal );
    }
    void serve( PB_INT conds, in::Wakes &wakes ) override PB_EXCLUDES( monitor );

    void updateLocked( in::Wakes &wakes ) PB_REQUIRES( monitor );
    void fail( in::Wakes &wakes ) PB_EXCLUDES( monitor );
    std::list<in::DatagramBatch> receive();
    std::list<in::DatagramBatch> read( PB_INT space );
    void queueLocked( std::list<in::DatagramBatch> &batches ) PB_REQUIRES( monitor );
    void resumeLocked() PB_REQUIRES( monitor );
    pb::Ref<IN_UDP_PACKET> take() PB_EXCLUDES( takeMonitor, monitor );
    bool fetchLocked() PB_REQUIRES( takeMonitor ) PB_EXCLUDES( monitor );
    void taken() PB_EXCLUDES( monitor );
};

struct UdpEngine : in::SlotEngine {
    in::DatagramReader reader; // the thread's own
};

constinit UdpEngine *engine = nullptr;

UdpChannel &channelAt( PB_INT chan )
{
    auto &channelArray = engine->slots;
    PB_ASSERT( IN___IMP_UDP_CHANNEL_OK( chan ) );
    PB_ASSERT( chan < PB_SIZEOF_ARRAY( channelArray ) );
    in::Slot *CHAN = channelArray[static_cast<std::size_t>( chan )].load( std::memory_order_acquire );
    PB_ASSERT( CHAN );
    return static_cast<UdpChannel &>( *CHAN );
}

void UdpChannel::updateLocked( in::Wakes &wakes )
{
    engine->updateObserverLocked( *this, wakes );
    wakes.level( receiveAlert.get(), queued > 0 );
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
std::list<in::DatagramBatch> UdpChannel::receive()
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
        batches = receive();
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
            pbAlertUnset( receiveAlert.get() );
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

/** The number of the interface that is named, 0 when none is; nothing when there is no such interface. */
std::optional<unsigned> interfaceIndex( PB_STRING *optionalInterface )
{
    if ( !optionalInterface )
        return 0;
    pb::Ref<PB_BUFFER> name = pb::adopt( pbStringTryToCstr( optionalInterface ) );
    unsigned index = name ? if_nametoindex( reinterpret_cast<const char *>( pbBufferBacking( name.get() ) ) ) : 0;
    return index == 0 ? std::nullopt : std::optional( index );
}

/** Link-local groups are bound with the number of their interface (RFC 4007 section 6); for others the kernel ignores it. */
void setScope( void *record, unsigned index )
{
    if ( auto *sa = static_cast<sockaddr_in6 *>( record ); sa->sin6_family == AF_INET6 )
        sa->sin6_scope_id = index;
}

/** Joins the group on the interface; errno tells why not. */
bool joinGroup( int fd, IN_ADDRESS *group, unsigned index, const void *record, PB_INT sockaddrLength )
{
    group_req req{};
    req.gr_interface = index;
    PB_ASSERT( ( (unsigned int)sockaddrLength ) <= sizeof( req.gr_group ) );
    std::memcpy( &req.gr_group, record, static_cast<std::size_t>( sockaddrLength ) );
    int level = inAddressIsV6( group ) ? IPPROTO_IPV6 : IPPROTO_IP;
    return setsockopt( fd, level, MCAST_JOIN_GROUP, &req, sizeof req ) == 0;
}

/** Reads back what the socket got; where that is the address asked for, the channel shares that object. */
bool readLocalAddress( UdpChannel &channel, IN_ADDRESS *localAddress )
{
    channel.localAddress = pb::adopt( inUdpAddressCreate( localAddress, in::PORT_MAX ) );
    std::array<PB_BYTE, sizeof( sockaddr_in6 )> record{};
    socklen_t length = record.size();
    return getsockname( channel.fd.get(), reinterpret_cast<sockaddr *>( record.data() ), &length ) == 0 &&
           in___ImpSockaddrUpdateUdpAddress( record.data(), length, channel.localAddress.handle() );
}

/** Opens the socket of a record whose other members are set. */
bool openChannel( UdpChannel &channel, IN_ADDRESS *localAddress, PB_INT optionalLocalPort )
{
    UdpPlan plan{ localAddress, channel.flags,
        pb::adopt( channel.qosStack ? inQosStackOptions( channel.qosStack.get() ) : nullptr ), channel.isMulticast,
        channel.isMulticast && channel.interfaceName };
    alignas( sockaddr_in6 ) std::array<PB_BYTE, sizeof( sockaddr_in6 )> record{};
    PB_INT length = 0;
    if ( optionalLocalPort == IN_UDP_PORT_INVALID )
        in___ImpSockaddrFromAddress( record.data(), &length, localAddress );
    else
        in___ImpSockaddrFromAddressAndUdpPort( record.data(), &length, localAddress, optionalLocalPort );

    if ( channel.isMulticast && optionalLocalPort == IN_UDP_PORT_INVALID )
        return false;
    std::optional<unsigned> index = interfaceIndex( plan.namesInterface ? channel.interfaceName.get() : nullptr );
    if ( !index )
        return false;
    setScope( record.data(), *index );
    channel.fd = in::openSocket( localAddress, SOCK_DGRAM, IPPROTO_UDP );
    if ( !channel.fd || !in::applySteps( channel.fd.get(), steps, plan ) )
        return false;
    if ( bind( channel.fd.get(), reinterpret_cast<sockaddr *>( record.data() ), static_cast<socklen_t>( length ) ) !=
         0 )
        return false;
    if ( channel.isMulticast && !joinGroup( channel.fd.get(), localAddress, *index, record.data(), length ) )
        return false;
    return readLocalAddress( channel, localAddress );
}

} // namespace

void in___ImpUdpChannelStartup()
{
    engine = new UdpEngine;
    engine->start( "in___ImpUdpUnixChannelThreadFunc()", in___ImpUdpUnixChannelThreadFunc, 4 );
}

void in___ImpUdpChannelShutdown()
{
    engine->stop();
    delete engine;
    engine = pb::released<UdpEngine>();
}

PB_INT in___ImpUdpChannelTryAllocate( IN_ADDRESS *localAddress, PB_INT optionalLocalPort, PB_INT flags,
    IN_QOS_STACK *optionalQosStack, PB_STRING *optionalInterface )
{
    PB_ASSERT( localAddress );
    PB_ASSERT( optionalLocalPort == IN_UDP_PORT_INVALID || IN_UDP_PORT_OK( optionalLocalPort ) );
    auto record = std::make_unique<UdpChannel>();
    record->flags = inUdpFlagsNormalize( flags );
    record->qosStack = pb::share( optionalQosStack );
    record->interfaceName = pb::share( optionalInterface );
    record->isMulticast = inAddressIsMulticast( localAddress );
    if ( !openChannel( *record, localAddress, optionalLocalPort ) )
        return IN___IMP_UDP_CHANNEL_INVALID;
    PB_INT chan = engine->tryInsert( std::move( record ) );
    if ( chan == IN___IMP_UDP_CHANNEL_INVALID )
        return chan;
    in::Wakes wakes;
    UdpChannel &channel = channelAt( chan );
    pb::Lock lock( channel.monitor );
    channel.updateLocked( wakes );
    return chan;
}

void in___ImpUdpChannelReleaseDeferred( PB_INT chan, in::Wakes &wakes )
{
    channelAt( chan ).fail( wakes );
    engine->release( chan );
}

void in___ImpUdpChannelRelease( PB_INT chan )
{
    in::Wakes wakes;
    in___ImpUdpChannelReleaseDeferred( chan, wakes );
}

IN_UDP_ADDRESS *in___ImpUdpChannelLocalAddress( PB_INT chan )
{
    return channelAt( chan ).localAddress.retained();
}

PB_INT in___ImpUdpChannelFlags( PB_INT chan )
{
    return channelAt( chan ).flags;
}

IN_QOS_STACK *in___ImpUdpChannelQosStack( PB_INT chan )
{
    return channelAt( chan ).qosStack.retained();
}

PB_BOOL in___ImpUdpChannelHasQosStack( PB_INT chan )
{
    return PB_BOOL_FROM( channelAt( chan ).qosStack );
}

PB_STRING *in___ImpUdpChannelInterface( PB_INT chan )
{
    return channelAt( chan ).interfaceName.retained();
}

PB_BOOL in___ImpUdpChannelHasInterface( PB_INT chan )
{
    return PB_BOOL_FROM( channelAt( chan ).interfaceName );
}

PB_BOOL in___ImpUdpChannelIsMulticast( PB_INT chan )
{
    return channelAt( chan ).isMulticast;
}

PB_BOOL in___ImpUdpChannelError( PB_INT chan )
{
    return channelAt( chan ).failed;
}

void in___ImpUdpChannelErrorAddSignalable( PB_INT chan, PB_SIGNALABLE *signalable )
{
    pbSignalAddSignalable( channelAt( chan ).errorSignal.get(), signalable );
}

void in___ImpUdpChannelErrorDelSignalable( PB_INT chan, PB_SIGNALABLE *signalable )
{
    pbSignalDelSignalable( channelAt( chan ).errorSignal.get(), signalable );
}

// No lock: the system makes each datagram whole, and the socket stays open as long as the caller holds the handle.
void in___ImpUdpChannelSendBytes( PB_INT chan, IN_UDP_ADDRESS *remoteAddress, const void *bytes, PB_INT byteCount )
{
    UdpChannel &channel = channelAt( chan );
    PB_ASSERT( remoteAddress );
    PB_ASSERT( bytes || !byteCount );
    PB_ASSERT( byteCount >= 0 );
    std::array<PB_BYTE, sizeof( sockaddr_in6 )> record;
    PB_INT length = 0;
    if ( channel.failed || !in___ImpSockaddrFromUdpAddress( record.data(), &length, remoteAddress ) ) {
        in::Wakes wakes;
        return channel.fail( wakes );
    }
    // A datagram that the system refuses is lost, as UDP allows.
    (void)sendto( channel.fd.get(), bytes, static_cast<std::size_t>( byteCount ), 0,
        reinterpret_cast<sockaddr *>( record.data() ), static_cast<socklen_t>( length ) );
}

IN_UDP_PACKET *in___ImpUdpChannelReceive( PB_INT chan )
{
    UdpChannel &channel = channelAt( chan );
    pb::Ref<IN_UDP_PACKET> pkt = channel.take();
    if ( pkt )
        channel.taken();
    return pkt.give();
}

void in___ImpUdpChannelReceiveAddAlertable( PB_INT chan, PB_ALERTABLE *alertable )
{
    pbAlertAddAlertable( channelAt( chan ).receiveAlert.get(), alertable );
}

void in___ImpUdpChannelReceiveDelAlertable( PB_INT chan, PB_ALERTABLE *alertable )
{
    pbAlertDelAlertable( channelAt( chan ).receiveAlert.get(), alertable );
}
