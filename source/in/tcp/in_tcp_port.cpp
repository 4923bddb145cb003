/* Ports of the host. No state. */
#include <in/imp/in_imp_tcp_private.h>
#include <in/tcp/in_tcp_port.h>

PB_BOOL inTcpPortUsed( IN_ADDRESS *address, PB_INT port )
{
    return in___ImpTcpPortUsed( address, port );
}
