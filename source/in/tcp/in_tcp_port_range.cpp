/* TCP port ranges. No state. */
#include <in/kit/in_port_range_private.hpp>
#include <in/tcp/in_tcp_port_range.h>

IN_PORT_RANGE_DEFINE( IN_TCP_PORT_RANGE, inTcpPortRange, IN_TCP_PORT_OK );
