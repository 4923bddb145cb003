/*
 * The one place where the library's addresses meet the system's socket addresses. Any thread, no state.
 *
 * From functions write the record of an address: 16 bytes for IPv4, 28 for IPv6. The area and the length may be null;
 * the area must hold in___ImpSockaddrSize() bytes. They always give true. TCP and UDP ports must be 1..65535.
 *
 * To and Update functions read a record of `length` bytes. False, and *out null, when it is no IPv4 record of at least 16
 * bytes or IPv6 record of at least 28, or a TCP or UDP port is 0. *out is null or owned by the caller, and is replaced;
 * Update functions, and both of the plain address, keep what is there where it says the same.
 */
#ifndef IN_IMP_SOCKADDR_UNIX_PRIVATE_H
#define IN_IMP_SOCKADDR_UNIX_PRIVATE_H

#include <in/raw/in_raw_address.h>
#include <in/tcp/in_tcp_address.h>
#include <in/udp/in_udp_address.h>
#include <pb/pb_file.h>
#include <pb/pb_vector.h>

/** What to reserve for a record: 28 bytes. */
PB_INT in___ImpSockaddrSize( void );

PB_BOOL in___ImpSockaddrFromAddress( void *optionalSa, PB_INT *optionalLength, IN_ADDRESS *ina );
/**
 * For binding. Port 0 lets the system choose. `scope` is the index of the interface on which an IPv6 link-local address or
 * group is meant (RFC 4007 section 6); 0 for none. The kernel ignores it with other addresses.
 */
PB_BOOL in___ImpSockaddrFromAddressPortAndScope(
    void *optionalSa, PB_INT *optionalLength, IN_ADDRESS *ina, PB_INT port, PB_INT scope );
PB_BOOL in___ImpSockaddrFromAddressAndTcpPort(
    void *optionalSa, PB_INT *optionalLength, IN_ADDRESS *ina, PB_INT tcpPort );
PB_BOOL in___ImpSockaddrFromAddressAndUdpPort(
    void *optionalSa, PB_INT *optionalLength, IN_ADDRESS *ina, PB_INT udpPort );
PB_BOOL in___ImpSockaddrFromTcpAddress( void *optionalSa, PB_INT *optionalLength, IN_TCP_ADDRESS *ta );
PB_BOOL in___ImpSockaddrFromUdpAddress( void *optionalSa, PB_INT *optionalLength, IN_UDP_ADDRESS *ua );
/** The protocol travels in the port field. */
PB_BOOL in___ImpSockaddrFromRawAddress( void *optionalSa, PB_INT *optionalLength, IN_RAW_ADDRESS *ra );

PB_BOOL in___ImpSockaddrToAddress( const void *sa, PB_INT length, IN_ADDRESS **ina );
PB_BOOL in___ImpSockaddrToTcpAddress( const void *sa, PB_INT length, IN_TCP_ADDRESS **ta );
PB_BOOL in___ImpSockaddrToUdpAddress( const void *sa, PB_INT length, IN_UDP_ADDRESS **ua );
/** Whether in___ImpSockaddrToUdpAddress would be true. */
PB_BOOL in___ImpSockaddrIsUdpAddress( const void *sa, PB_INT length );
/** `protocol` is taken up to 255; above, the port field is, which then must be below 256. */
PB_BOOL in___ImpSockaddrToRawAddress( const void *sa, PB_INT length, IN_RAW_ADDRESS **ra, PB_INT protocol );

PB_BOOL in___ImpSockaddrUpdateAddress( const void *sa, PB_INT length, IN_ADDRESS **ina );
PB_BOOL in___ImpSockaddrUpdateTcpAddress( const void *sa, PB_INT length, IN_TCP_ADDRESS **ta );
PB_BOOL in___ImpSockaddrUpdateUdpAddress( const void *sa, PB_INT length, IN_UDP_ADDRESS **ua );
PB_BOOL in___ImpSockaddrUpdateRawAddress( const void *sa, PB_INT length, IN_RAW_ADDRESS **ra, PB_INT protocol );

/**
 * The name servers that a text in the form of /etc/resolv.conf lists, a new vector, in the order of addresses, each once.
 * Lines that begin with "nameserver" count, what does not parse behind that is skipped.
 */
PB_VECTOR *in___ImpReadDnsServers( PB_LINE_SOURCE *lines );
/** The same of /etc/resolv.conf itself; empty when the file cannot be read. */
PB_VECTOR *in___ImpSystemEnumerateDnsServers( void );

#endif
