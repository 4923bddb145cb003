/* UDP ports: integers in host byte order. */
#ifndef IN_UDP_PORT_H
#define IN_UDP_PORT_H

#include <pb/pb_base.h>

#define IN_UDP_PORT_INVALID ( (PB_INT)-1 ) /* no port, where one is optional */
/** True for 1..65535. */
#define IN_UDP_PORT_OK( port ) ( ( port ) >= 1 && ( port ) <= 65535 )

#endif
