/* Map stacks, peers and mapped channels as objects; a map stack's peer never changes. No locks. */
#include <in/map/in_map_private.hpp>

struct IN_MAP_STACK : PB_OBJ {
    pb::Ref<TR_STREAM> stream = pb::adopt( trStreamCreateCstr( "IN_MAP_STACK", -1 ) );
    pb::Ref<IN_MAP_STACK_PEER> peer; // null for none
};

PB_CLASS_DEFINE( IN_MAP_STACK, inMapStack, pb::destroy<IN_MAP_STACK>, nullptr, nullptr );
PB_CLASS_DEFINE( IN_MAP_STACK_PEER, inMapStackPeer, pb::destroy<IN_MAP_STACK_PEER>, nullptr, nullptr );
PB_CLASS_DEFINE( IN___MAP_UDP_CHANNEL, in___MapUdpChannel, pb::destroy<IN___MAP_UDP_CHANNEL>, nullptr, nullptr );
PB_CLASS_DEFINE( IN___MAP_TCP_CHANNEL, in___MapTcpChannel, pb::destroy<IN___MAP_TCP_CHANNEL>, nullptr, nullptr );
PB_CLASS_DEFINE( IN___MAP_TCP_CHANNEL_LISTENER, in___MapTcpChannelListener, pb::destroy<IN___MAP_TCP_CHANNEL_LISTENER>,
    nullptr, nullptr );

IN_MAP_STACK_PEER *inMapStackPeer( IN_MAP_STACK *stack )
{
    PB_ASSERT( stack );
    return stack->peer.retained();
}

void inMapStackTraceCompleteAnchor( IN_MAP_STACK *stack, TR_ANCHOR *anchor )
{
    PB_ASSERT( stack );
    trAnchorComplete( anchor, stack->stream.get() );
}

IN___MAP_UDP_CHANNEL *in___MapUdpChannelCreate( std::unique_ptr<in::UdpPath> path )
{
    PB_ASSERT( path );
    return pb::create<IN___MAP_UDP_CHANNEL>( std::move( path ) );
}

IN___MAP_TCP_CHANNEL *in___MapTcpChannelCreate( std::unique_ptr<in::TcpPath> path )
{
    PB_ASSERT( path );
    return pb::create<IN___MAP_TCP_CHANNEL>( std::move( path ) );
}

IN___MAP_TCP_CHANNEL_LISTENER *in___MapTcpChannelListenerCreate( std::unique_ptr<in::MapTcpListenerPath> path )
{
    PB_ASSERT( path );
    return pb::create<IN___MAP_TCP_CHANNEL_LISTENER>( std::move( path ) );
}

IN_MAP_STACK_PEER *in___MapStackPeerCreate( std::unique_ptr<in::MapPeer> peer )
{
    PB_ASSERT( peer );
    return pb::create<IN_MAP_STACK_PEER>( std::move( peer ) );
}

IN_MAP_STACK *in___MapStackCreate( IN_MAP_STACK_PEER *optionalPeer, TR_ANCHOR *optionalAnchor )
{
    IN_MAP_STACK *stack = pb::create<IN_MAP_STACK>();
    stack->peer = pb::share( optionalPeer );
    if ( optionalAnchor )
        trAnchorComplete( optionalAnchor, stack->stream.get() );
    return stack;
}
