/* What the receive paths do with a packet. */
#ifndef IN_UDP_PACKET_PRIVATE_H
#define IN_UDP_PACKET_PRIVATE_H

#include <in/udp/in_udp_packet.h>
#include <tr/tr.h>

/**
 * Writes the packet to the stream, its payload with it, where lines for each packet are asked for. The format takes the
 * number of bytes (%i) and the remote address (%o).
 */
void in___UdpPacketTrace( IN_UDP_PACKET *up, TR_STREAM *stream, const char *format );

#endif
