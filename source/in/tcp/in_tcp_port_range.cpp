/* TCP port ranges. No state. */
#include <in/tcp/in_tcp_port_range.h>
#include <in/base/in_endpoint_private.hpp>

IN_PORT_RANGE_DEFINE( IN_TCP_PORT_RANGE, inTcpPortRange, IN_TCP_PORT_OK );
