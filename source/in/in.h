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
#include <in/base/in_stack.h>
#include <in/dns/in_dns_idna.h>
#include <in/dns/in_dns_options.h>
#include <in/dns/in_dns_punycode.h>
#include <in/dns/in_dns_servers.h>
#include <in/filter/in_filter.h>
#include <in/filter/in_filter_entry.h>
#include <in/filter/in_filter_entry_flags.h>
#include <in/filter/in_filter_options.h>
#include <in/map/in_map_stack.h>
#include <in/nw/in_nw_address.h>
#include <in/nw/in_nw_address_type.h>
#include <in/nw/in_nw_interface.h>
#include <in/nw/in_nw_interface_flags.h>
#include <in/nw/in_nw_interface_state.h>
#include <in/nw/in_nw_interface_status.h>
#include <in/nw/in_nw_interfaces.h>
#include <in/nw/in_nw_mac_address.h>
#include <in/qos/in_qos_options.h>
#include <in/qos/in_qos_stack.h>
#include <in/qos/in_qos_vocabulary.h>
#include <in/raw/in_raw_address.h>
#include <in/tcp/in_tcp_address.h>
#include <in/tcp/in_tcp_flags.h>
#include <in/tcp/in_tcp_options.h>
#include <in/tcp/in_tcp_port_range.h>
#include <in/udp/in_udp_address.h>
#include <in/udp/in_udp_channel.h>
#include <in/udp/in_udp_channels_vector.h>
#include <in/udp/in_udp_flags.h>
#include <in/udp/in_udp_match.h>
#include <in/udp/in_udp_multicast_receiver.h>
#include <in/udp/in_udp_options.h>
#include <in/udp/in_udp_packet.h>
#include <in/udp/in_udp_port_range.h>

#endif
