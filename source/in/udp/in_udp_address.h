/* A UDP endpoint: an IP address and a port. */
#ifndef IN_UDP_ADDRESS_H
#define IN_UDP_ADDRESS_H

#include <in/base/in_endpoint.h>
#include <in/udp/in_udp_port.h>

/** The number is the Port, 1..65535, under the key "port". */
IN_ENDPOINT( IN_UDP_ADDRESS, inUdpAddress, Port );
/* Names: inUdpAddressSort, inUdpAddressObj, inUdpAddressFrom, inUdpAddressRetain, inUdpAddressRelease,
   inUdpAddressToString, inUdpAddressCompare, inUdpAddressEquals, inUdpAddressCreate, inUdpAddressCreateFrom,
   inUdpAddressAddress, inUdpAddressPort, inUdpAddressSetAddress, inUdpAddressSetPort, inUdpAddressStore,
   inUdpAddressTryRestore */

#endif
