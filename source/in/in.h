/*
 * The whole public interface of the IP networking layer.
 *
 * These rules hold for every function here, and for those of the libraries below (pb, tr, pr, cs, unix, rfc, iri):
 *
 * References. A function that returns an object returns a reference, which the caller must release; arguments are lent.
 * prefixObj and prefixFrom, which only convert, add none. A setter takes the address of the caller's handle, and copies
 * the object first when somebody else holds it too.
 *
 * Null. A null pointer aborts unless the name of the parameter begins with "optional". Two exceptions: prefixObj and
 * prefixFrom pass null on, and text or bytes of length 0 may be null.
 *
 * Start. pbRuntimeTryStart( "in", -1 ) comes before every other call.
 *
 * Stop. pbRuntimeStop comes last, on a thread of the user's own. Before it the user must have released all channels,
 * listeners, proposals, multicast receivers, stacks, filters, and observers of the configuration store, and halted all
 * processes. What is forgotten aborts the process, and the text names it ("channels are still held"). A reference that only
 * a function holds which the library is calling just then is waited for. The stop itself releases the live objects of the
 * configuration store. Values (addresses, options, packets, strings and the like) may be held and released after it.
 *
 * Fork. A forked child has no thread of the library: nothing is received, followed or fired there, and a lock that a
 * thread held at the fork stays locked. The child may only call exec or _exit, or release channels, listeners, multicast
 * receivers, stacks and filters. That closes the child's descriptors, and leaves what the parent has alone.
 *
 * Threads. A comment says when a function must not be called on any thread. What the user registers runs on the thread
 * that the comment of the registering function names, while that holds no lock of the library. It may call every function
 * here but pbRuntimeStop. It must not wait: that thread serves nobody else meanwhile. pb/pb_sync.h has more.
 */
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
#include <in/tcp/in_tcp_channel.h>
#include <in/tcp/in_tcp_channel_listener.h>
#include <in/tcp/in_tcp_channel_listeners_vector.h>
#include <in/tcp/in_tcp_channel_proposal.h>
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
