/* What the receive paths do to a UDP address. */
#ifndef IN_UDP_ADDRESS_PRIVATE_H
#define IN_UDP_ADDRESS_PRIVATE_H

#include <in/udp/in_udp_address.h>

/** Sets both parts; when they are what they were, the object is not touched, not even made unshared. */
void in___UdpAddressUpdate( IN_UDP_ADDRESS **ua, IN_ADDRESS *ina, PB_INT port );

#endif
