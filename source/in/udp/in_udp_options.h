/* Options of UDP on a stack. */
#ifndef IN_UDP_OPTIONS_H
#define IN_UDP_OPTIONS_H

#include <in/base/in_settings.h>
#include <in/udp/in_udp_port_range.h>

IN_OPTIONS_CLASS( IN_UDP_OPTIONS, inUdpOptions );
/* Names: inUdpOptionsSort, inUdpOptionsObj, inUdpOptionsFrom, inUdpOptionsRetain, inUdpOptionsRelease,
   inUdpOptionsToString, inUdpOptionsCompare, inUdpOptionsEquals, inUdpOptionsCreate, inUdpOptionsCreateFrom,
   inUdpOptionsRestore, inUdpOptionsCheck */

/** The local ports to choose from when a channel is opened without an explicit port; key "portRange". */
IN_OPTIONAL( IN_UDP_OPTIONS, inUdpOptions, PortRange, IN_UDP_PORT_RANGE );
/* Names: inUdpOptionsPortRange, inUdpOptionsHasPortRange, inUdpOptionsSetPortRange, inUdpOptionsDelPortRange */

/** A new store; without a port range it is empty, whatever `full` says. */
PB_API PB_STORE *inUdpOptionsStore( IN_UDP_OPTIONS *opt, PB_BOOL full );

#endif
