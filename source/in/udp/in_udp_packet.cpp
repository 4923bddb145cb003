/* UDP packets. No state. */
#include <in/kit/in_accessors_private.hpp>
#include <in/udp/in_udp_packet_private.h>

struct IN_UDP_PACKET : PB_OBJ {
    pb::Ref<IN_UDP_ADDRESS> remoteAddress; // never null
    pb::Ref<PB_BUFFER> payload;            // never null
};

namespace {

PB_INT in___UdpPacketCompFunc( PB_OBJ *a, PB_OBJ *b )
{
    IN_UDP_PACKET *thisObj = inUdpPacketFrom( a );
    IN_UDP_PACKET *thatObj = inUdpPacketFrom( b );
    PB_INT addresses = in::compareValues( thisObj->remoteAddress, thatObj->remoteAddress );
    return addresses ? addresses : in::compareValues( thisObj->payload, thatObj->payload );
}

PB_STRING *in___UdpPacketToStringFunc( PB_OBJ *obj )
{
    IN_UDP_PACKET *up = inUdpPacketFrom( obj );
    return pb::format( "%o, %i bytes", up->remoteAddress, inUdpPacketPayloadLength( up ) ).give();
}

/** Replaces the payload by what `append` puts into an empty buffer; the source may be the packet's own payload. */
template <class Append>
void setPayload( IN_UDP_PACKET &up, Append append )
{
    pb::Ref<PB_BUFFER> payload = pb::adopt( pbBufferCreate() );
    append( payload.handle() );
    up.payload = std::move( payload );
}

} // namespace

PB_CLASS_DEFINE(
    IN_UDP_PACKET, inUdpPacket, pb::destroy<IN_UDP_PACKET>, in___UdpPacketCompFunc, in___UdpPacketToStringFunc );

IN_UDP_PACKET *inUdpPacketCreate( IN_UDP_ADDRESS *remoteAddress )
{
    PB_ASSERT( remoteAddress );
    return pb::create<IN_UDP_PACKET>( pb::share( remoteAddress ), pb::adopt( pbBufferCreate() ) );
}

IN_UDP_PACKET *inUdpPacketCreateWithPayload( IN_UDP_ADDRESS *remoteAddress, PB_BUFFER *payload )
{
    PB_ASSERT( remoteAddress );
    PB_ASSERT( payload );
    return pb::create<IN_UDP_PACKET>( pb::share( remoteAddress ), pb::share( payload ) );
}

IN_UDP_PACKET *inUdpPacketCreateWithPayloadBytes( IN_UDP_ADDRESS *remoteAddress, const void *bytes, PB_INT byteCount )
{
    PB_ASSERT( remoteAddress );
    pb::Ref<PB_BUFFER> payload = pb::adopt( pbBufferCreateFromBytesCopy( bytes, byteCount ) );
    return pb::create<IN_UDP_PACKET>( pb::share( remoteAddress ), std::move( payload ) );
}

IN_UDP_PACKET *inUdpPacketCreateFrom( IN_UDP_PACKET *source )
{
    PB_ASSERT( source );
    return pb::copy( *source );
}

IN_UDP_ADDRESS *inUdpPacketRemoteAddress( IN_UDP_PACKET *up )
{
    PB_ASSERT( up );
    return up->remoteAddress.retained();
}

PB_BUFFER *inUdpPacketPayload( IN_UDP_PACKET *up )
{
    PB_ASSERT( up );
    return up->payload.retained();
}

PB_INT inUdpPacketPayloadLength( IN_UDP_PACKET *up )
{
    PB_ASSERT( up );
    return pbBufferLength( up->payload.get() );
}

void inUdpPacketSetRemoteAddress( IN_UDP_PACKET **up, IN_UDP_ADDRESS *remoteAddress )
{
    IN_ASSERT_HANDLE( up );
    PB_ASSERT( remoteAddress );
    PB_UNSHARE( up, inUdpPacketCreateFrom ).remoteAddress = pb::share( remoteAddress );
}

void inUdpPacketSetPayload( IN_UDP_PACKET **up, PB_BUFFER *buf )
{
    IN_ASSERT_HANDLE( up );
    PB_ASSERT( buf );
    PB_UNSHARE( up, inUdpPacketCreateFrom ).payload = pb::share( buf );
}

void inUdpPacketSetPayloadInner( IN_UDP_PACKET **up, PB_BUFFER *buf, PB_INT byteOffset, PB_INT byteCount )
{
    IN_ASSERT_HANDLE( up );
    PB_ASSERT( buf );
    setPayload( PB_UNSHARE( up, inUdpPacketCreateFrom ),
        [&]( PB_BUFFER **payload ) { pbBufferAppendInner( payload, buf, byteOffset, byteCount ); } );
}

void inUdpPacketSetPayloadLeading( IN_UDP_PACKET **up, PB_BUFFER *buf, PB_INT byteCount )
{
    inUdpPacketSetPayloadInner( up, buf, 0, byteCount );
}

void inUdpPacketSetPayloadTrailing( IN_UDP_PACKET **up, PB_BUFFER *buf, PB_INT byteCount )
{
    IN_ASSERT_HANDLE( up );
    PB_ASSERT( buf );
    PB_ASSERT( PB_INT_SUB_OK( pbBufferLength( buf ), byteCount ) );
    inUdpPacketSetPayloadInner( up, buf, pbBufferLength( buf ) - byteCount, byteCount );
}

void inUdpPacketSetPayloadOuter( IN_UDP_PACKET **up, PB_BUFFER *buf, PB_INT byteOffset, PB_INT byteCount )
{
    IN_ASSERT_HANDLE( up );
    PB_ASSERT( buf );
    setPayload( PB_UNSHARE( up, inUdpPacketCreateFrom ),
        [&]( PB_BUFFER **payload ) { pbBufferAppendOuter( payload, buf, byteOffset, byteCount ); } );
}

void inUdpPacketSetPayloadBytes( IN_UDP_PACKET **up, const void *bytes, PB_INT byteCount )
{
    IN_ASSERT_HANDLE( up );
    pb::Ref<PB_BUFFER> payload = pb::adopt( pbBufferCreateFromBytesCopy( bytes, byteCount ) );
    PB_UNSHARE( up, inUdpPacketCreateFrom ).payload = std::move( payload );
}

void in___UdpPacketTrace( IN_UDP_PACKET *up, TR_STREAM *stream, const char *format )
{
    if ( trSystemAcceptsHighVolumeMessages() )
        trStreamMessageFormatCstr( stream, pbBufferBacking( up->payload.get() ), pbBufferLength( up->payload.get() ),
            format, -1, pbBufferLength( up->payload.get() ), up->remoteAddress.get() );
}
