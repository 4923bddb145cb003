/* TCP ports: integers in host byte order. */
#ifndef IN_TCP_PORT_H
#define IN_TCP_PORT_H

#include <pb/pb_base.h>

#define IN_TCP_PORT_INVALID ( (PB_INT)-1 ) /* no port, where one is optional */
#define IN_TCP_PORT_ANY ( (PB_INT)0 )      /* any port, where a question allows it */
/** True for 1..65535. */
#define IN_TCP_PORT_OK( port ) ( ( port ) >= 1 && ( port ) <= 65535 )

#endif
