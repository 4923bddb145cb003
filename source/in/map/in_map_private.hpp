/*
 * What a kind of mapping implements: a peer that opens channels, and the channels. The objects are thin; what they do is
 * in the implementation that they own. Any thread calls an implementation's functions.
 */
#ifndef IN_MAP_PRIVATE_HPP
#define IN_MAP_PRIVATE_HPP

#include <in/base/in_stack.h>
#include <in/map/in_map_stack.h>
#include <in/qos/in_qos_stack.h>
#include <in/udp/in_udp_packet.h>
#include <memory>
#include <pb/pb.hpp>

PB_CLASS( IN___MAP_UDP_CHANNEL, in___MapUdpChannel )

namespace in {

/** A UDP channel of a mapping. Objects that are returned are new references, or null where it says optional. */
class MapUdpChannel {
public:
    virtual ~MapUdpChannel() = default;
    virtual pb::Ref<IN_QOS_STACK> optionalQosStack() = 0;
    virtual pb::Ref<IN_UDP_ADDRESS> localAddress() = 0;
    virtual PB_INT flags() = 0;
    virtual bool error() = 0;
    virtual void errorAddSignalable( PB_SIGNALABLE *signalable ) = 0;
    virtual void errorDelSignalable( PB_SIGNALABLE *signalable ) = 0;
    /** Whether the outside address is known; it is told by the signalables. */
    virtual bool mapped() = 0;
    virtual void mappedAddSignalable( PB_SIGNALABLE *signalable ) = 0;
    virtual void mappedDelSignalable( PB_SIGNALABLE *signalable ) = 0;
    virtual pb::Ref<IN_UDP_ADDRESS> optionalMappedLocalAddress() = 0;
    virtual void sendBytes( IN_UDP_ADDRESS *remoteAddress, const void *bytes, PB_INT byteCount ) = 0;
    virtual pb::Ref<IN_UDP_PACKET> optionalReceive() = 0;
    virtual void receiveAddAlertable( PB_ALERTABLE *alertable ) = 0;
    virtual void receiveDelAlertable( PB_ALERTABLE *alertable ) = 0;
};

/** Opens channels. */
class MapPeer {
public:
    virtual ~MapPeer() = default;
    /** A channel on that port, or with -1 on any; null when that fails. */
    virtual pb::Ref<IN___MAP_UDP_CHANNEL> tryCreateUdpChannel( IN_STACK *stack, IN_QOS_STACK *optionalQosStack,
        PB_INT optionalLocalPort, PB_INT flags, TR_ANCHOR *anchor ) = 0;
    /** Two channels for RTP and RTCP, in that order, as a vector; null when that fails. */
    virtual pb::Ref<PB_VECTOR> tryCreateUdpChannelsRtp(
        IN_STACK *stack, IN_QOS_STACK *optionalQosStack, PB_INT flags, TR_ANCHOR *anchor ) = 0;
};

} // namespace in

struct IN___MAP_UDP_CHANNEL : PB_OBJ {
    std::unique_ptr<in::MapUdpChannel> channel; // never null
};

struct IN_MAP_STACK_PEER : PB_OBJ {
    std::unique_ptr<in::MapPeer> peer; // never null
};

IN___MAP_UDP_CHANNEL *in___MapUdpChannelCreate( std::unique_ptr<in::MapUdpChannel> channel );
IN_MAP_STACK_PEER *in___MapStackPeerCreate( std::unique_ptr<in::MapPeer> peer );
/** A map stack with that peer, or with none. */
IN_MAP_STACK *in___MapStackCreate( IN_MAP_STACK_PEER *optionalPeer, TR_ANCHOR *optionalAnchor );

#endif
