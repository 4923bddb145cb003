/*
 * What a kind of mapping implements: a peer that opens channels, and the channels. The objects are thin; what they do is
 * in the implementation that they own. Any thread calls an implementation's functions.
 */
#ifndef IN_MAP_PRIVATE_HPP
#define IN_MAP_PRIVATE_HPP

#include <in/base/in_stack.h>
#include <in/map/in_map_stack.h>
#include <in/qos/in_qos_stack.h>
#include <in/tcp/in_tcp_path_private.hpp>
#include <in/udp/in_udp_path_private.hpp>
#include <memory>
#include <pb/pb.hpp>

PB_CLASS( IN___MAP_UDP_CHANNEL, in___MapUdpChannel )
PB_CLASS( IN___MAP_TCP_CHANNEL, in___MapTcpChannel )
PB_CLASS( IN___MAP_TCP_CHANNEL_LISTENER, in___MapTcpChannelListener )

namespace in {

/** The connections behind a mapped listener. */
class MapTcpListenerPath : public TcpListenerPath {
public:
    /** The oldest connection that waits; null when none does. */
    virtual pb::Ref<IN___MAP_TCP_CHANNEL> optionalListen() = 0;
};

/** Opens channels. What a mapping does not offer gives null. */
class MapPeer {
public:
    virtual ~MapPeer() = default;
    /** A channel on that port, or with -1 on any; null when that fails. */
    virtual pb::Ref<IN___MAP_UDP_CHANNEL> tryCreateUdpChannel( IN_STACK *stack, IN_QOS_STACK *optionalQosStack,
        PB_INT optionalLocalPort, PB_INT flags, TR_ANCHOR *anchor ) = 0;
    /** Two channels for RTP and RTCP, in that order, as a vector; null when that fails. */
    virtual pb::Ref<PB_VECTOR> tryCreateUdpChannelsRtp(
        IN_STACK *stack, IN_QOS_STACK *optionalQosStack, PB_INT flags, TR_ANCHOR *anchor ) = 0;
    /** A channel to that remote address, from that port, or with -1 from any; null when that fails. */
    virtual pb::Ref<IN___MAP_TCP_CHANNEL> tryCreateTcpChannel( IN_STACK * /*stack*/,
        IN_QOS_STACK * /*optionalQosStack*/, IN_TCP_ADDRESS * /*remoteAddress*/, PB_INT /*optionalLocalPort*/,
        PB_INT /*flags*/, TR_ANCHOR * /*anchor*/ )
    {
        return {};
    }
    /** A listener on that port, or with -1 on any; null when that fails. */
    virtual pb::Ref<IN___MAP_TCP_CHANNEL_LISTENER> tryCreateTcpChannelListener( IN_STACK * /*stack*/,
        IN_QOS_STACK * /*optionalQosStack*/, PB_INT /*optionalLocalPort*/, PB_INT /*flags*/, TR_ANCHOR * /*anchor*/ )
    {
        return {};
    }
    /** Two listeners for RTP and RTCP, in that order, as a vector; null when that fails. */
    virtual pb::Ref<PB_VECTOR> tryCreateTcpChannelListenersRtp(
        IN_STACK * /*stack*/, IN_QOS_STACK * /*optionalQosStack*/, PB_INT /*flags*/, TR_ANCHOR * /*anchor*/ )
    {
        return {};
    }
};

} // namespace in

struct IN___MAP_UDP_CHANNEL : PB_OBJ {
    std::unique_ptr<in::UdpPath> path; // never null
};

struct IN___MAP_TCP_CHANNEL : PB_OBJ {
    std::unique_ptr<in::TcpPath> path; // never null
};

struct IN___MAP_TCP_CHANNEL_LISTENER : PB_OBJ {
    std::unique_ptr<in::MapTcpListenerPath> path; // never null
};

struct IN_MAP_STACK_PEER : PB_OBJ {
    std::unique_ptr<in::MapPeer> peer; // never null
};

IN___MAP_UDP_CHANNEL *in___MapUdpChannelCreate( std::unique_ptr<in::UdpPath> path );
IN___MAP_TCP_CHANNEL *in___MapTcpChannelCreate( std::unique_ptr<in::TcpPath> path );
IN___MAP_TCP_CHANNEL_LISTENER *in___MapTcpChannelListenerCreate( std::unique_ptr<in::MapTcpListenerPath> path );
IN_MAP_STACK_PEER *in___MapStackPeerCreate( std::unique_ptr<in::MapPeer> peer );
/** A map stack with that peer, or with none. */
IN_MAP_STACK *in___MapStackCreate( IN_MAP_STACK_PEER *optionalPeer, TR_ANCHOR *optionalAnchor );

#endif
