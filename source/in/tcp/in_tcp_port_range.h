/* A range of TCP ports, for example those that a channel may choose its local port from. */
#ifndef IN_TCP_PORT_RANGE_H
#define IN_TCP_PORT_RANGE_H

#include <in/base/in_endpoint.h>
#include <in/tcp/in_tcp_port.h>

IN_PORT_RANGE( IN_TCP_PORT_RANGE, inTcpPortRange );
/* Names: inTcpPortRangeSort, inTcpPortRangeObj, inTcpPortRangeFrom, inTcpPortRangeRetain, inTcpPortRangeRelease,
   inTcpPortRangeToString, inTcpPortRangeCompare, inTcpPortRangeEquals, inTcpPortRangeCreate,
   inTcpPortRangeCreateFrom, inTcpPortRangeFirstPort, inTcpPortRangeCount, inTcpPortRangeSetFirstPort,
   inTcpPortRangeSetCount, inTcpPortRangeStore, inTcpPortRangeTryRestore */

#endif
