/*
 * The configuration of a stack: which interface it binds to, which network, address version or address it uses, and the
 * DNS, TCP and UDP options of everything that runs on it.
 */
#ifndef IN_OPTIONS_H
#define IN_OPTIONS_H

#include <in/base/in_flags.h>
#include <in/base/in_network.h>
#include <in/base/in_settings.h>
#include <in/dns/in_dns_options.h>
#include <in/tcp/in_tcp_options.h>
#include <in/udp/in_udp_options.h>

IN_OPTIONS_CLASS( IN_OPTIONS, inOptions );
/* Names: inOptionsSort, inOptionsObj, inOptionsFrom, inOptionsRetain, inOptionsRelease, inOptionsToString,
   inOptionsCompare, inOptionsEquals, inOptionsCreate, inOptionsCreateFrom, inOptionsRestore, inOptionsCheck */

/** Library flags, at first none; undefined bits are dropped. Key "flags", flag names. */
PB_API PB_INT inOptionsFlags( IN_OPTIONS *opt );
PB_API void inOptionsSetFlags( IN_OPTIONS **opt, PB_INT flags );

/** The name of the host interface; keys of these three as the text forms of their classes. */
IN_OPTIONAL( IN_OPTIONS, inOptions, Interface, PB_STRING ); /* "interface" */
IN_OPTIONAL( IN_OPTIONS, inOptions, Network, IN_NETWORK );  /* "network" */
IN_OPTIONAL( IN_OPTIONS, inOptions, Address, IN_ADDRESS );  /* "address" */
/* Names: inOptionsInterface, inOptionsHasInterface, inOptionsSetInterface, inOptionsDelInterface, inOptionsNetwork,
   inOptionsHasNetwork, inOptionsSetNetwork, inOptionsDelNetwork, inOptionsAddress, inOptionsHasAddress,
   inOptionsSetAddress, inOptionsDelAddress */

/** The address version, -1 when absent; setting another than a valid one aborts. Key "addressVersion", its name. */
PB_API PB_INT inOptionsAddressVersion( IN_OPTIONS *opt );
PB_API PB_BOOL inOptionsHasAddressVersion( IN_OPTIONS *opt );
PB_API void inOptionsSetAddressVersion( IN_OPTIONS **opt, PB_INT version );
PB_API void inOptionsDelAddressVersion( IN_OPTIONS **opt );

/** Sub-stores "dnsOptions", "tcpOptions", "udpOptions". */
IN_INNER_OPTIONS( IN_OPTIONS, inOptions, DnsOptions, IN_DNS_OPTIONS );
IN_INNER_OPTIONS( IN_OPTIONS, inOptions, TcpOptions, IN_TCP_OPTIONS );
IN_INNER_OPTIONS( IN_OPTIONS, inOptions, UdpOptions, IN_UDP_OPTIONS );
/* Names: inOptionsDnsOptions, inOptionsSetDnsOptions, inOptionsDnsOptionsDefault, inOptionsSetDnsOptionsDefault,
   inOptionsTcpOptions, inOptionsSetTcpOptions, inOptionsTcpOptionsDefault, inOptionsSetTcpOptionsDefault,
   inOptionsUdpOptions, inOptionsSetUdpOptions, inOptionsUdpOptionsDefault, inOptionsSetUdpOptionsDefault */

/** A new store: the flags, what is present, and the inner options that were chosen; with `full` all inner options. */
PB_API PB_STORE *inOptionsStore( IN_OPTIONS *opt, PB_BOOL full );

#endif
