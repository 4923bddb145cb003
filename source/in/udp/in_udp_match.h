/* A set of UDP addresses: the known peers of somebody. A value: immutable while shared, any thread; setters copy first. */
#ifndef IN_UDP_MATCH_H
#define IN_UDP_MATCH_H

#include <in/udp/in_udp_packet.h>

/** Orders by the addresses, from the lowest on. */
PB_CLASS( IN_UDP_MATCH, inUdpMatch )
/* Names: inUdpMatchSort, inUdpMatchObj, inUdpMatchFrom, inUdpMatchRetain, inUdpMatchRelease, inUdpMatchToString,
   inUdpMatchCompare, inUdpMatchEquals */

/** A new, empty set; a new, unshared copy. */
PB_API IN_UDP_MATCH *inUdpMatchCreate( void );
PB_API IN_UDP_MATCH *inUdpMatchCreateFrom( IN_UDP_MATCH *source );
/** Whether the address is in the set; address and port count. */
PB_API PB_BOOL inUdpMatchHas( IN_UDP_MATCH *match, IN_UDP_ADDRESS *ua );
/** Adds an address, or removes it; one that is there already, or is not, changes nothing. */
PB_API void inUdpMatchSet( IN_UDP_MATCH **match, IN_UDP_ADDRESS *ua );
PB_API void inUdpMatchDel( IN_UDP_MATCH **match, IN_UDP_ADDRESS *ua );
/** Whether the packet's remote address is in the set. */
PB_API PB_BOOL inUdpMatchMatchPacket( IN_UDP_MATCH *match, IN_UDP_PACKET *pkt );

#endif
