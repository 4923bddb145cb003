/*
 * The road of datagrams behind a UDP channel: a channel of the socket engine, or one of a mapping. Any thread calls. What
 * is returned as an object is a new reference, or null where the name says optional.
 */
#ifndef IN_UDP_PATH_PRIVATE_HPP
#define IN_UDP_PATH_PRIVATE_HPP

#include <in/channel/in_path_private.hpp>
#include <in/udp/in_udp_packet.h>

namespace in {

class UdpPath : public Path<IN_UDP_ADDRESS> {
public:
    /** Sends one datagram: 0, or the errno for which it was lost. */
    virtual int sendBytes( IN_UDP_ADDRESS *remoteAddress, const void *bytes, PB_INT byteCount ) = 0;
    /** The oldest datagram that waits; null when none does, and after an error. */
    virtual pb::Ref<IN_UDP_PACKET> optionalReceive() = 0;
    /** The alert is set while datagrams wait. */
    virtual void receiveAddAlertable( PB_ALERTABLE *alertable ) = 0;
    virtual void receiveDelAlertable( PB_ALERTABLE *alertable ) = 0;
};

} // namespace in

#endif
