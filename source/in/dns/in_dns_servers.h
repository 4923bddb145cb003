/* The name servers that the host is configured with. */
#ifndef IN_DNS_SERVERS_H
#define IN_DNS_SERVERS_H

#include <pb/pb_vector.h>

/**
 * The name servers of /etc/resolv.conf (resolv.conf(5)), a new vector of IN_ADDRESS in the order of addresses, each once; empty when
 * the file cannot be read. Any thread.
 */
PB_API PB_VECTOR *inDnsServersVector( void );

#endif
