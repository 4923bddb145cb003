/* UDP matches. No state. */
#include <in/kit/in_accessors_private.hpp>
#include <in/udp/in_udp_match.h>
#include <pb/pb_dict.h>

struct IN_UDP_MATCH : PB_OBJ {
    pb::Ref<PB_DICT> addresses = pb::adopt( pbDictCreate() ); // each under itself
};

static PB_INT in___UdpMatchCompFunc( PB_OBJ *a, PB_OBJ *b )
{
    return in::compareValues( inUdpMatchFrom( a )->addresses, inUdpMatchFrom( b )->addresses );
}

PB_CLASS_DEFINE( IN_UDP_MATCH, inUdpMatch, pb::destroy<IN_UDP_MATCH>, in___UdpMatchCompFunc, nullptr );

IN_UDP_MATCH *inUdpMatchCreate( void )
{
    return pb::create<IN_UDP_MATCH>();
}

IN_UDP_MATCH *inUdpMatchCreateFrom( IN_UDP_MATCH *source )
{
    PB_ASSERT( source );
    return pb::copy( *source );
}

PB_BOOL inUdpMatchHas( IN_UDP_MATCH *match, IN_UDP_ADDRESS *ua )
{
    PB_ASSERT( match );
    PB_ASSERT( ua );
    return pbDictHas( match->addresses.get(), inUdpAddressObj( ua ) );
}

void inUdpMatchSet( IN_UDP_MATCH **match, IN_UDP_ADDRESS *ua )
{
    IN_ASSERT_HANDLE( match );
    PB_ASSERT( ua );
    IN_UDP_MATCH &unshared = PB_UNSHARE( match, inUdpMatchCreateFrom );
    pbDictSet( unshared.addresses.handle(), inUdpAddressObj( ua ), inUdpAddressObj( ua ) );
}

void inUdpMatchDel( IN_UDP_MATCH **match, IN_UDP_ADDRESS *ua )
{
    IN_ASSERT_HANDLE( match );
    PB_ASSERT( ua );
    pbDictDel( PB_UNSHARE( match, inUdpMatchCreateFrom ).addresses.handle(), inUdpAddressObj( ua ) );
}

PB_BOOL inUdpMatchMatchPacket( IN_UDP_MATCH *match, IN_UDP_PACKET *pkt )
{
    PB_ASSERT( pkt );
    return inUdpMatchHas( match, pb::adopt( inUdpPacketRemoteAddress( pkt ) ).get() );
}
