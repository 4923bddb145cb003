/* UDP addresses. No state. */
#include <in/base/in_endpoint_private.hpp>
#include <in/udp/in_udp_address_private.h>

IN_ENDPOINT_DEFINE( IN_UDP_ADDRESS, inUdpAddress, in___UdpAddress, ua, Port, port, "port", 1, 65535, IN_UDP_PORT_OK );
