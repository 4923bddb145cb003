/* TCP addresses. No state. */
#include <in/base/in_endpoint_private.hpp>
#include <in/tcp/in_tcp_address_private.h>

IN_ENDPOINT_DEFINE( IN_TCP_ADDRESS, inTcpAddress, in___TcpAddress, ta, Port, port, "port", 1, 65535, IN_TCP_PORT_OK );
