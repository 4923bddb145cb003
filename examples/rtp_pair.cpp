/*
 * Two RTP/RTCP pairs in C++, a caller's and its peer's, both on loopback: a second of voice goes from one to the other, and
 * a report at its end. The sockets are marked as voice; the peer's stand behind a filter that lets loopback in.
 */
#include <array>
#include <in/in.h>
#include <iostream>
#include <pb/pb.hpp>

namespace {

constexpr int PACKETS = 50;           // a second of voice ...
constexpr PB_INT INTERVAL = 20;       // ... with one every 20 ms
constexpr std::size_t RTP_SIZE = 172; // 12 bytes of header, 160 samples of G.711

/** RTP and RTCP of one side, on an even port and the next one. */
struct Pair {
    pb::Ref<IN_UDP_CHANNEL> rtp;
    pb::Ref<IN_UDP_CHANNEL> rtcp;
};

pb::Ref<IN_STACK> createStack()
{
    pb::Ref<IN_OPTIONS> options = pb::adopt( inOptionsCreate() );
    inOptionsSetFlags( options.handle(), IN_FLAG_LOOPBACK_ONLY );
    inOptionsSetAddressVersion( options.handle(), IN_ADDRESS_VERSION_4 );
    pb::Ref<IN_UDP_OPTIONS> udp = pb::adopt( inUdpOptionsCreate() );
    inUdpOptionsSetPortRange( udp.handle(), pb::adopt( inUdpPortRangeCreate( 16384, 1000 ) ).get() );
    inOptionsSetUdpOptions( options.handle(), udp.get() );

    pb::Ref<IN_STACK> stack = pb::adopt( inStackCreate( options.get(), nullptr ) );
    pb::Ref<PB_BARRIER> barrier = pb::adopt( pbBarrierCreate( 1 ) );
    pb::Ref<PB_SIGNALABLE> updated = pb::adopt( pbSignalableCreateBarrier( barrier.get() ) );
    inStackUpdateAddSignalable( stack.get(), updated.get() ); // register first, then look
    if ( !inStackHasAddress( stack.get() ) )
        pbBarrierPassTimed( barrier.get(), 10'000 );
    inStackUpdateDelSignalable( stack.get(), updated.get() );
    return stack;
}

/** Lets 127.0.0.0/8 in, and nobody else. */
pb::Ref<IN_FILTER> createFilter()
{
    pb::Ref<IN_FILTER_ENTRY> entry = pb::adopt( inFilterEntryCreate( pb::string( "127.0.0.0" ).get() ) );
    inFilterEntrySetFlags( entry.handle(), IN_FILTER_ENTRY_FLAG_ADDRESS );
    inFilterEntrySetAddressMatchingBits( entry.handle(), 8 );
    pb::Ref<IN_FILTER_OPTIONS> options = pb::adopt( inFilterOptionsCreate() );
    inFilterOptionsAppendEntry( options.handle(), entry.get() );
    pb::Ref<IN_FILTER> filter = pb::adopt( inFilterCreate( options.get(), nullptr ) );

    // It permits nothing before its first table is built, in the background, soon.
    pb::Ref<IN_ADDRESS> peer = pb::adopt( inAddressTryCreateFromCstr( "127.0.0.1", -1 ) );
    for ( int i = 0; i < 10'000 && !inFilterCheck( filter.get(), peer.get() ); ++i )
        pbSleep( 1 );
    return filter;
}

pb::Ref<IN_QOS_STACK> createQosStack()
{
    pb::Ref<IN_QOS_OPTIONS> options = pb::adopt( inQosOptionsCreate() );
    inQosOptionsSetDefaults( options.handle(), IN_QOS_DEFAULTS_VOICE );
    return pb::adopt( inQosStackCreate( options.get(), nullptr ) );
}

/** Without channels when no pair of ports is free, or the stack has no address. */
Pair open( IN_STACK *stack, IN_QOS_STACK *qosStack, IN_FILTER *optionalFilter )
{
    pb::Ref<PB_VECTOR> channels =
        pb::adopt( inUdpChannelsVectorTryCreateRtp( stack, qosStack, nullptr, optionalFilter, 0, nullptr ) );
    if ( !channels )
        return {};
    return { pb::adoptAs<IN_UDP_CHANNEL>( pbVectorObjAt( channels.get(), 0 ) ),
        pb::adoptAs<IN_UDP_CHANNEL>( pbVectorObjAt( channels.get(), 1 ) ) };
}

/** A voice packet: version 2, payload type 0, sequence number, time stamp (RFC 3550 section 5.1); the samples are zero. */
std::array<PB_BYTE, RTP_SIZE> voice( unsigned sequence )
{
    unsigned time = sequence * 160;
    std::array<PB_BYTE, RTP_SIZE> packet{ 0x80, 0, PB_BYTE( sequence >> 8 ), PB_BYTE( sequence ), PB_BYTE( time >> 24 ),
        PB_BYTE( time >> 16 ), PB_BYTE( time >> 8 ), PB_BYTE( time ) };
    return packet;
}

/** A sender report (section 6.4.1) that counts nothing. */
constexpr std::array<PB_BYTE, 28> senderReport{ 0x80, 200, 0, 6 };

/** Takes what arrives at a pair, and counts it. */
class Listener {
public:
    explicit Listener( const Pair &listensTo ) : pair( listensTo )
    {
        inUdpChannelReceiveAddAlertable( pair.rtp.get(), alertable.get() );
        inUdpChannelReceiveAddAlertable( pair.rtcp.get(), alertable.get() );
    }
    bool complete() const { return packets == PACKETS && reports == 1; }
    /** Until that time, or until all is there. */
    void listen( PB_INT until )
    {
        for ( PB_INT left; !complete() && ( left = until - pbTimestamp() ) > 0; ) {
            if ( pbBarrierPassTimed( barrier.get(), left ) )
                pbBarrierBlock( barrier.get() ); // before the look, so that what comes after it ends the next wait
            packets += takeAll( pair.rtp.get() );
            reports += takeAll( pair.rtcp.get() );
        }
    }
    int packets = 0;
    int reports = 0;

private:
    /** The alert comes when datagrams begin to wait, so all have to be taken. */
    static int takeAll( IN_UDP_CHANNEL *channel )
    {
        int count = 0;
        while ( pb::adopt( inUdpChannelReceive( channel ) ) )
            ++count;
        return count;
    }

    const Pair &pair;
    pb::Ref<PB_BARRIER> barrier = pb::adopt( pbBarrierCreate( 1 ) );
    pb::Ref<PB_ALERTABLE> alertable = pb::adopt( pbAlertableCreateBarrier( barrier.get() ) );
};

template <class Bytes>
void send( const pb::Ref<IN_UDP_CHANNEL> &from, const pb::Ref<IN_UDP_CHANNEL> &to, const Bytes &bytes )
{
    pb::Ref<IN_UDP_ADDRESS> target = pb::adopt( inUdpChannelLocalAddress( to.get() ) );
    inUdpChannelSendBytes( from.get(), target.get(), bytes.data(), PB_INT_FROM( bytes.size() ) );
}

/** Whether all of it has arrived. */
bool call( const Pair &caller, const Pair &peer )
{
    Listener listener( peer );
    PB_INT begin = pbTimestamp();
    for ( unsigned sent = 0; sent < PACKETS; ) {
        send( caller.rtp, peer.rtp, voice( sent++ ) );
        listener.listen( begin + sent * INTERVAL ); // in absolute times, so that delays do not add up
    }
    send( caller.rtcp, peer.rtcp, senderReport );
    listener.listen( pbTimestamp() + 1000 );
    std::cout << listener.packets << " of " << PACKETS << " packets, " << listener.reports << " of 1 report\n";
    return listener.complete();
}

bool run()
{
    pb::Ref<IN_STACK> stack = createStack();
    pb::Ref<IN_QOS_STACK> qosStack = createQosStack();
    pb::Ref<IN_FILTER> filter = createFilter();
    Pair caller = open( stack.get(), qosStack.get(), nullptr );
    Pair peer = open( stack.get(), qosStack.get(), filter.get() );
    return caller.rtp && peer.rtp && call( caller, peer );
}

} // namespace

int main()
{
    if ( !pbRuntimeTryStart( "in", -1 ) ) {
        std::cerr << pb::text( pb::adopt( pbRuntimeErrorText() ).get() ) << '\n';
        return 1;
    }
    bool good = run(); // a scope of its own, so that everything is released before the stop
    pbRuntimeStop();
    return good ? 0 : 1;
}
