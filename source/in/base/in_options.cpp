/* Stack options. No state. */
#include <in/base/in_options.h>
#include <in/kit/in_settings_private.hpp>

struct IN_OPTIONS : PB_OBJ {
    PB_INT flags = 0; // normalised
    pb::Ref<PB_STRING> interface;
    pb::Ref<IN_NETWORK> network;
    PB_INT addressVersion = -1; // -1 when absent
    pb::Ref<IN_ADDRESS> address;
    in::Setting<pb::Ref<IN_DNS_OPTIONS>> dnsOptions; // these three are never null
    in::Setting<pb::Ref<IN_TCP_OPTIONS>> tcpOptions;
    in::Setting<pb::Ref<IN_UDP_OPTIONS>> udpOptions;

    static constexpr bool versionOk( PB_INT version ) { return IN_ADDRESS_VERSION_OK( version ); }

    static constexpr auto options()
    {
        return std::tuple{
            in::FlagsRow<IN_OPTIONS>{ "flags", &IN_OPTIONS::flags, inFlagsToString, inFlagsFromString },
            in::TextRow<IN_OPTIONS, PB_STRING>{
                "interface", &IN_OPTIONS::interface, pbStringCreateFrom, pbStringRetain },
            in::TextRow<IN_OPTIONS, IN_NETWORK>{
                "network", &IN_OPTIONS::network, inNetworkToString, inNetworkTryCreateFromString },
            in::NameRow<IN_OPTIONS>{ "addressVersion", &IN_OPTIONS::addressVersion, -1, inAddressVersionToString,
                inAddressVersionFromString, versionOk },
            in::TextRow<IN_OPTIONS, IN_ADDRESS>{
                "address", &IN_OPTIONS::address, inAddressToString, inAddressTryCreateFromString },
            in::OptionsRow<IN_OPTIONS, IN_DNS_OPTIONS>{ "dnsOptions", &IN_OPTIONS::dnsOptions, inDnsOptionsCreate,
                inDnsOptionsStore, inDnsOptionsRestore, inDnsOptionsCheck },
            in::OptionsRow<IN_OPTIONS, IN_TCP_OPTIONS>{ "tcpOptions", &IN_OPTIONS::tcpOptions, inTcpOptionsCreate,
                inTcpOptionsStore, inTcpOptionsRestore, inTcpOptionsCheck },
            in::OptionsRow<IN_OPTIONS, IN_UDP_OPTIONS>{ "udpOptions", &IN_OPTIONS::udpOptions, inUdpOptionsCreate,
                inUdpOptionsStore, inUdpOptionsRestore, inUdpOptionsCheck },
        };
    }
};

IN_OPTIONS_DEFINE( IN_OPTIONS, inOptions, in___Options );

IN_GETTER_DEFINE( IN_OPTIONS, inOptionsFlags, opt, PB_INT, flags );

void inOptionsSetFlags( IN_OPTIONS **opt, PB_INT flags )
{
    IN_ASSERT_HANDLE( opt );
    PB_UNSHARE( opt, inOptionsCreateFrom ).flags = inFlagsNormalize( flags );
}

IN_OPTIONAL_DEFINE( IN_OPTIONS, inOptions, Interface, interface, PB_STRING, opt, iface );
IN_OPTIONAL_DEFINE( IN_OPTIONS, inOptions, Network, network, IN_NETWORK, opt, network );
IN_OPTIONAL_DEFINE( IN_OPTIONS, inOptions, Address, address, IN_ADDRESS, opt, address );
IN_OPTIONAL_INT_DEFINE(
    IN_OPTIONS, inOptions, AddressVersion, addressVersion, opt, version, IN_ADDRESS_VERSION_OK( version ) );
IN_INNER_OPTIONS_DEFINE( IN_OPTIONS, inOptions, DnsOptions, dnsOptions, IN_DNS_OPTIONS, dnsOptions );
IN_INNER_OPTIONS_DEFINE( IN_OPTIONS, inOptions, TcpOptions, tcpOptions, IN_TCP_OPTIONS, tcpOptions );
IN_INNER_OPTIONS_DEFINE( IN_OPTIONS, inOptions, UdpOptions, udpOptions, IN_UDP_OPTIONS, udpOptions );
