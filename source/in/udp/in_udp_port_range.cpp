/* UDP port ranges. No state. */
#include <in/udp/in_udp_port_range.h>
#include <in/base/in_endpoint_private.hpp>

IN_PORT_RANGE_DEFINE( IN_UDP_PORT_RANGE, inUdpPortRange, IN_UDP_PORT_OK );
