/* UDP port ranges. No state. */
#include <in/kit/in_port_range_private.hpp>
#include <in/udp/in_udp_port_range.h>

IN_PORT_RANGE_DEFINE( IN_UDP_PORT_RANGE, inUdpPortRange, IN_UDP_PORT_OK );
