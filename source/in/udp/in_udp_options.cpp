/* UDP options. No state. */
#include <in/kit/in_port_range_private.hpp>
#include <in/kit/in_settings_private.hpp>
#include <in/udp/in_udp_options.h>

struct IN_UDP_OPTIONS : PB_OBJ {
    pb::Ref<IN_UDP_PORT_RANGE> portRange;

    static constexpr auto options()
    {
        return std::tuple{ in::StoreRow<IN_UDP_OPTIONS, IN_UDP_PORT_RANGE>{ "portRange", &IN_UDP_OPTIONS::portRange,
            inUdpPortRangeStore, inUdpPortRangeTryRestore, in::checkPortRange } };
    }
};

IN_OPTIONS_DEFINE( IN_UDP_OPTIONS, inUdpOptions, in___UdpOptions );

IN_OPTIONAL_DEFINE( IN_UDP_OPTIONS, inUdpOptions, PortRange, portRange, IN_UDP_PORT_RANGE, opt, range );
