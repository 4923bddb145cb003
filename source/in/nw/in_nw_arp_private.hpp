/* Gratuitous ARP (RFC 5227 section 2.3): tells the neighbours that an address has come to an interface. */
#ifndef IN_NW_ARP_PRIVATE_HPP
#define IN_NW_ARP_PRIVATE_HPP

#include <in/base/in_address.h>
#include <in/nw/in_nw_interface_state.h>
#include <tr/tr.h>

/**
 * Sends it three times, over about ten milliseconds, from the first hardware address of the state. Only for IPv4. What
 * fails is traced, and is nobody's failure.
 */
void in___NwInterfaceImpTrySendGratuitousArp(
    TR_STREAM *stream, const char *interfaceName, IN_NW_INTERFACE_STATE *state, IN_ADDRESS *ina );

#endif
