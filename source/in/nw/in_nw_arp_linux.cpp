/* Sending gratuitous ARP through a packet socket. Runs on the caller's thread and blocks it for about ten milliseconds. */
#include <arpa/inet.h>
#include <in/nw/in_nw_arp_private.hpp>
#include <in/nw/in_nw_trace_private.hpp>
#include <linux/if_ether.h>
#include <linux/if_packet.h>
#include <net/if.h>
#include <pb/pb.hpp>
#include <sys/socket.h>

namespace {

constexpr int times = 3;
constexpr PB_INT pause = 5; // ms

/** The first hardware address of an interface, or null. */
pb::Ref<IN_NW_MAC_ADDRESS> firstMac( IN_NW_INTERFACE_STATE *state )
{
    for ( PB_INT i = 0; i < inNwInterfaceStateLayer2AddressesLength( state ); ++i ) {
        pb::Ref<IN_NW_ADDRESS> nwa = pb::adopt( inNwInterfaceStateLayer2AddressAt( state, i ) );
        if ( inNwAddressHasMac( nwa.get() ) )
            return pb::adopt( inNwAddressMac( nwa.get() ) );
    }
    return {};
}

/** An Ethernet frame with a request (RFC 826) for the address by the address itself. */
pb::Ref<PB_BUFFER> createFrame( IN_NW_MAC_ADDRESS *mac, IN_ADDRESS *ina )
{
    constexpr PB_BYTE everybody[] = { 0xff, 0xff, 0xff, 0xff, 0xff, 0xff };
    constexpr PB_BYTE head[] = {
        0x08, 0x06, // EtherType: ARP
        0x00, 0x01, // hardware: Ethernet
        0x08, 0x00, // protocol: IPv4
        6, 4,       // lengths of the addresses
        0x00, 0x01, // operation: request
    };
    constexpr PB_BYTE unknown[6] = {};
    const PB_BYTE *hardware = inNwMacAddressBacking( mac );
    const PB_BYTE *protocol = inAddressBacking( ina );
    pb::Ref<PB_BUFFER> frame = pb::adopt( pbBufferCreateWithCapacity( 42 ) );
    pbBufferAppendBytes( frame.handle(), everybody, sizeof everybody );
    pbBufferAppendBytes( frame.handle(), hardware, 6 );
    pbBufferAppendBytes( frame.handle(), head, sizeof head );
    pbBufferAppendBytes( frame.handle(), hardware, 6 );
    pbBufferAppendBytes( frame.handle(), protocol, 4 );
    pbBufferAppendBytes( frame.handle(), unknown, sizeof unknown );
    pbBufferAppendBytes( frame.handle(), protocol, 4 );
    return frame;
}

/** The address of an interface, for sending; of family 0 when there is no such interface. */
sockaddr_ll destination( TR_STREAM *stream, const char *interfaceName )
{
    sockaddr_ll address{};
    unsigned index = if_nametoindex( interfaceName );
    if ( index == 0 ) {
        in::traceErrno( stream, "[in___NwInterfaceImpTrySendGratuitousArp()] if_nametoindex(): %~s" );
        return address;
    }
    address.sll_family = AF_PACKET;
    address.sll_ifindex = static_cast<int>( index );
    address.sll_halen = ETH_ALEN;
    return address;
}

void send( TR_STREAM *stream, const sockaddr_ll &to, PB_BUFFER *frame )
{
    pb::Fd fd( socket( AF_PACKET, SOCK_RAW | SOCK_CLOEXEC, htons( ETH_P_ALL ) ) );
    if ( !fd ) {
        in::traceErrno( stream, "[in___NwInterfaceImpTrySendGratuitousArp()] socket(): %~s" );
        return;
    }
    auto size = static_cast<std::size_t>( pbBufferLength( frame ) );
    for ( int i = 0; i < times; ++i ) {
        if ( i > 0 )
            pbSleep( pause );
        if ( sendto( fd.get(), pbBufferBacking( frame ), size, 0, reinterpret_cast<const sockaddr *>( &to ),
                 sizeof to ) < 0 )
            in::traceErrno( stream, "[in___NwInterfaceImpTrySendGratuitousArp()] sendto(): %~s" );
    }
}

} // namespace

void in___NwInterfaceImpTrySendGratuitousArp(
    TR_STREAM *stream, const char *interfaceName, IN_NW_INTERFACE_STATE *state, IN_ADDRESS *ina )
{
    if ( !inAddressIsV4( ina ) ) {
        trStreamTextFormatCstr( stream, "[in___NwInterfaceImpTrySendGratuitousArp()] inAddressVersion(): %~s", -1,
            inAddressVersionToString( inAddressVersion( ina ) ) );
        return;
    }
    pb::Ref<IN_NW_MAC_ADDRESS> mac = firstMac( state );
    if ( !mac ) {
        trStreamTextCstr( stream, "[in___NwInterfaceImpTrySendGratuitousArp()] macAddress: null", -1 );
        return;
    }
    sockaddr_ll to = destination( stream, interfaceName );
    if ( to.sll_family == AF_PACKET )
        send( stream, to, createFrame( mac.get(), ina ).get() );
}
