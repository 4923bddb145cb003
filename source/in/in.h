/* The whole public interface of the IP networking layer. */
#ifndef IN_H
#define IN_H

#include <in/base/in_address.h>
#include <in/base/in_address_version.h>
#include <in/base/in_eui48_address.h>
#include <in/base/in_flags.h>
#include <in/base/in_module.h>
#include <in/base/in_network.h>
#include <in/base/in_options.h>
#include <in/dns/in_dns_idna.h>
#include <in/dns/in_dns_options.h>
#include <in/dns/in_dns_punycode.h>
#include <in/dns/in_dns_servers.h>
#include <in/filter/in_filter.h>
#include <in/filter/in_filter_entry.h>
#include <in/filter/in_filter_entry_flags.h>
#include <in/filter/in_filter_options.h>
#include <in/qos/in_qos_options.h>
#include <in/qos/in_qos_stack.h>
#include <in/qos/in_qos_vocabulary.h>
#include <in/raw/in_raw_address.h>
#include <in/tcp/in_tcp_address.h>
#include <in/tcp/in_tcp_flags.h>
#include <in/tcp/in_tcp_options.h>
#include <in/tcp/in_tcp_port_range.h>
#include <in/udp/in_udp_address.h>
#include <in/udp/in_udp_flags.h>
#include <in/udp/in_udp_options.h>
#include <in/udp/in_udp_packet.h>
#include <in/udp/in_udp_port_range.h>

#endif
