/*
 * What a kind of mapping implements: a peer that opens channels, and the channels. The objects are thin; what they do is
 * in the implementation that they own. Any thread calls an implementation's functions.
 */
#ifndef IN_MAP_PRIVATE_HPP
#define IN_MAP_PRIVATE_HPP

#include <in/base/in_stack.h>
#include <in/map/in_map_stack.h>
#include <in/qos/in_qos_stack.h>
#include <in/udp/in_udp_path_private.hpp>
#include <memory>
#include <pb/pb.hpp>

PB_CLASS( IN___MAP_UDP_CHANNEL, in___MapUdpChannel )

namespace in {

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
    std::unique_ptr<in::UdpPath> path; // never null
};

struct IN_MAP_STACK_PEER : PB_OBJ {
    std::unique_ptr<in::MapPeer> peer; // never null
};

IN___MAP_UDP_CHANNEL *in___MapUdpChannelCreate( std::unique_ptr<in::UdpPath> path );
IN_MAP_STACK_PEER *in___MapStackPeerCreate( std::unique_ptr<in::MapPeer> peer );
/** A map stack with that peer, or with none. */
IN_MAP_STACK *in___MapStackCreate( IN_MAP_STACK_PEER *optionalPeer, TR_ANCHOR *optionalAnchor );

#endif
