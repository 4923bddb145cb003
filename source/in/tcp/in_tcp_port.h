/* TCP ports: integers in host byte order. */
#ifndef IN_TCP_PORT_H
#define IN_TCP_PORT_H

#include <in/base/in_address.h>

#define IN_TCP_PORT_INVALID ( (PB_INT)-1 ) /* no port, where one is optional */
#define IN_TCP_PORT_ANY ( (PB_INT)0 )      /* any port, where a question allows it */
/** True for 1..65535. */
#define IN_TCP_PORT_OK( port ) ( ( port ) >= 1 && ( port ) <= 65535 )

/**
 * Whether a TCP port is in use on the host: a socket has it, on that address or on all addresses of the version, at its own
 * or at its far end, in whatever state. So it errs on the side of in use. With IN_TCP_PORT_ANY it is true when anything
 * listens. False when the system does not tell. Reads the kernel's table of sockets, so it takes the longer the more there
 * are. Aborts on a port outside 0..65535. Any thread.
 */
PB_API PB_BOOL inTcpPortUsed( IN_ADDRESS *address, PB_INT port );

#endif
