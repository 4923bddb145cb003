/* What the receive paths do to a TCP address. */
#ifndef IN_TCP_ADDRESS_PRIVATE_H
#define IN_TCP_ADDRESS_PRIVATE_H

#include <in/tcp/in_tcp_address.h>

/** Sets both parts; when they are what they were, the object is not touched, not even made unshared. */
void in___TcpAddressUpdate( IN_TCP_ADDRESS **ta, IN_ADDRESS *ina, PB_INT port );

#endif
