/* A range of UDP ports, for example those that a channel may choose its local port from. */
#ifndef IN_UDP_PORT_RANGE_H
#define IN_UDP_PORT_RANGE_H

#include <in/base/in_endpoint.h>
#include <in/udp/in_udp_port.h>

IN_PORT_RANGE( IN_UDP_PORT_RANGE, inUdpPortRange );
/* Names: inUdpPortRangeSort, inUdpPortRangeObj, inUdpPortRangeFrom, inUdpPortRangeRetain, inUdpPortRangeRelease,
   inUdpPortRangeToString, inUdpPortRangeCompare, inUdpPortRangeEquals, inUdpPortRangeCreate,
   inUdpPortRangeCreateFrom, inUdpPortRangeFirstPort, inUdpPortRangeCount, inUdpPortRangeSetFirstPort,
   inUdpPortRangeSetCount, inUdpPortRangeStore, inUdpPortRangeTryRestore */

#endif
