/*
 * A UDP datagram: its payload, and the remote address that it came from or goes to. A value: immutable while shared, any
 * thread; setters copy first.
 */
#ifndef IN_UDP_PACKET_H
#define IN_UDP_PACKET_H

#include <in/udp/in_udp_address.h>
#include <pb/pb_buffer.h>

/** Order: by remote address, then by payload. Text form: "192.0.2.1:5060, 160 bytes". */
PB_CLASS( IN_UDP_PACKET, inUdpPacket )
/* Names: inUdpPacketSort, inUdpPacketObj, inUdpPacketFrom, inUdpPacketRetain, inUdpPacketRelease,
   inUdpPacketToString, inUdpPacketCompare, inUdpPacketEquals */

/** A new packet with an empty payload; with a payload, which is shared; with a copy of `byteCount` bytes. */
PB_API IN_UDP_PACKET *inUdpPacketCreate( IN_UDP_ADDRESS *remoteAddress );
PB_API IN_UDP_PACKET *inUdpPacketCreateWithPayload( IN_UDP_ADDRESS *remoteAddress, PB_BUFFER *payload );
PB_API IN_UDP_PACKET *inUdpPacketCreateWithPayloadBytes(
    IN_UDP_ADDRESS *remoteAddress, const void *bytes, PB_INT byteCount );
/** A new, unshared packet; address and payload are shared with the source. */
PB_API IN_UDP_PACKET *inUdpPacketCreateFrom( IN_UDP_PACKET *source );

/** New references. */
PB_API IN_UDP_ADDRESS *inUdpPacketRemoteAddress( IN_UDP_PACKET *up );
PB_API PB_BUFFER *inUdpPacketPayload( IN_UDP_PACKET *up );
/** In bytes. */
PB_API PB_INT inUdpPacketPayloadLength( IN_UDP_PACKET *up );

PB_API void inUdpPacketSetRemoteAddress( IN_UDP_PACKET **up, IN_UDP_ADDRESS *remoteAddress );
/** Shares the given buffer. */
PB_API void inUdpPacketSetPayload( IN_UDP_PACKET **up, PB_BUFFER *buf );
/** Copy a part of a buffer: inner, the first bytes, the last bytes, all but the inner part; or bytes. */
PB_API void inUdpPacketSetPayloadInner( IN_UDP_PACKET **up, PB_BUFFER *buf, PB_INT byteOffset, PB_INT byteCount );
PB_API void inUdpPacketSetPayloadLeading( IN_UDP_PACKET **up, PB_BUFFER *buf, PB_INT byteCount );
PB_API void inUdpPacketSetPayloadTrailing( IN_UDP_PACKET **up, PB_BUFFER *buf, PB_INT byteCount );
PB_API void inUdpPacketSetPayloadOuter( IN_UDP_PACKET **up, PB_BUFFER *buf, PB_INT byteOffset, PB_INT byteCount );
PB_API void inUdpPacketSetPayloadBytes( IN_UDP_PACKET **up, const void *bytes, PB_INT byteCount );

#endif
