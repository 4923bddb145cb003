/* A TCP endpoint: an IP address and a port. */
#ifndef IN_TCP_ADDRESS_H
#define IN_TCP_ADDRESS_H

#include <in/base/in_endpoint.h>
#include <in/tcp/in_tcp_port.h>

/** The number is the Port, 1..65535, under the key "port". */
IN_ENDPOINT( IN_TCP_ADDRESS, inTcpAddress, Port );
/* Names: inTcpAddressSort, inTcpAddressObj, inTcpAddressFrom, inTcpAddressRetain, inTcpAddressRelease,
   inTcpAddressToString, inTcpAddressCompare, inTcpAddressEquals, inTcpAddressCreate, inTcpAddressCreateFrom,
   inTcpAddressAddress, inTcpAddressPort, inTcpAddressSetAddress, inTcpAddressSetPort, inTcpAddressStore,
   inTcpAddressTryRestore */

#endif
