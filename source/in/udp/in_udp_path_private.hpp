/*
 * The road of datagrams behind a UDP channel: a channel of the socket engine, or one of a mapping. Any thread calls. What
 * is returned as an object is a new reference, or null where the name says optional.
 */
#ifndef IN_UDP_PATH_PRIVATE_HPP
#define IN_UDP_PATH_PRIVATE_HPP

#include <in/qos/in_qos_stack.h>
#include <in/udp/in_udp_packet.h>
#include <pb/pb.hpp>
#include <pb/pb_sync.h>

namespace in {

class UdpPath {
public:
    virtual ~UdpPath() = default;

    virtual pb::Ref<IN_QOS_STACK> optionalQosStack() = 0;
    virtual pb::Ref<IN_UDP_ADDRESS> localAddress() = 0;
    virtual PB_INT flags() = 0;

    /** Whether it has failed, for good; the signalables are fired when it does. */
    virtual bool error() = 0;
    virtual void errorAddSignalable( PB_SIGNALABLE *signalable ) = 0;
    virtual void errorDelSignalable( PB_SIGNALABLE *signalable ) = 0;

    /** Whether the outside address is known; the signalables are fired when it is. What is not mapped knows it at once. */
    virtual bool mapped() { return true; }
    virtual void mappedAddSignalable( PB_SIGNALABLE *signalable ) { pbSignalableSignal( signalable ); }
    virtual void mappedDelSignalable( PB_SIGNALABLE * ) {}
    virtual pb::Ref<IN_UDP_ADDRESS> optionalMappedLocalAddress() { return localAddress(); }

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
