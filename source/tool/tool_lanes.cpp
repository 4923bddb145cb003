/* Receiving on lanes. */
#include <tool/tool_lanes.hpp>

namespace {

constexpr int BATCH = 64; // datagrams of a lane before the next lane, and the clock, are looked at

} // namespace

std::string tool::Lane::localAddress() const
{
    return take( pbObjToString( pb::obj( pb::adopt(
        channel ? inUdpChannelLocalAddress( channel.get() ) : inUdpMulticastReceiverLocalAddress( receiver.get() ) )
                                             .get() ) ) );
}

void tool::Lane::wakes( const Wake &wake ) const
{
    if ( channel ) {
        inUdpChannelReceiveAddAlertable( channel.get(), wake.alertable() );
        inUdpChannelErrorAddSignalable( channel.get(), wake.signalable() );
    } else {
        inUdpMulticastReceiverReceiveAddAlertable( receiver.get(), wake.alertable() );
        inUdpMulticastReceiverErrorAddSignalable( receiver.get(), wake.signalable() );
    }
}

bool tool::Lane::failed() const
{
    return channel ? inUdpChannelError( channel.get() ) : inUdpMulticastReceiverError( receiver.get() );
}

pb::Ref<IN_UDP_PACKET> tool::Lane::receive() const
{
    return pb::adopt(
        channel ? inUdpChannelReceive( channel.get() ) : inUdpMulticastReceiverReceive( receiver.get() ) );
}

void tool::LaneActivity::follow( const Wake &wake )
{
    for ( const Lane &lane : lanes )
        lane.wakes( wake );
}

/** A batch from each lane. */
bool tool::LaneActivity::proceed()
{
    bool more = false;
    for ( std::size_t i = 0; i < lanes.size(); ++i ) {
        int left = BATCH;
        for ( ; left > 0 && !( complete() && allThere() ); --left ) {
            pb::Ref<IN_UDP_PACKET> pkt = lanes[i].receive();
            if ( !pkt )
                break;
            arrived( i, pkt.get() );
        }
        more = more || left == 0;
        if ( lanes[i].failed() )
            fail( "the socket on {} has failed; start again", lanes[i].localAddress() );
    }
    return more;
}
