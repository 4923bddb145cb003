/*
 * The road of the bytes behind a TCP channel, and that of the connections behind a listener: of the socket engine, or of a
 * mapping. Any thread calls; a channel lets one thread send, and one receive, at a time.
 */
#ifndef IN_TCP_PATH_PRIVATE_HPP
#define IN_TCP_PATH_PRIVATE_HPP

#include <in/channel/in_path_private.hpp>
#include <in/kit/in_wakes_private.hpp>
#include <in/tcp/in_tcp_address.h>
#include <pb/pb_buffer.h>

namespace in {

class TcpPath : public Path<IN_TCP_ADDRESS> {
public:
    virtual pb::Ref<IN_TCP_ADDRESS> remoteAddress() = 0;

    /** Whether nothing more is received: the peer has closed and all was taken, or the connection has failed. Final. */
    virtual bool end() = 0;
    virtual void endAddSignalable( PB_SIGNALABLE *signalable ) = 0;
    virtual void endDelSignalable( PB_SIGNALABLE *signalable ) = 0;
    /** Whether the attempt to connect is over, with success or without. Final. */
    virtual bool active() = 0;
    virtual void activeAddSignalable( PB_SIGNALABLE *signalable ) = 0;
    virtual void activeDelSignalable( PB_SIGNALABLE *signalable ) = 0;
    /** The errno for which it has failed; 0 when there is none. */
    virtual int errorReason() { return 0; }

    /** Takes the first ones of 1 or more bytes: how many, 0 when none can be taken now. Wakes are the caller's to fire. */
    virtual PB_INT send( const PB_BYTE *bytes, PB_INT byteCount, Wakes &wakes ) = 0;
    /** The alert is set while bytes can be taken. */
    virtual void sendAddAlertable( PB_ALERTABLE *alertable ) = 0;
    virtual void sendDelAlertable( PB_ALERTABLE *alertable ) = 0;

    /** Appends at most so many, 1 or more, of the bytes that wait: how many. Wakes are the caller's to fire. */
    virtual PB_INT receive( PB_BUFFER **buf, PB_INT maxByteCount, Wakes &wakes ) = 0;
    /** The alert is set while bytes wait. */
    virtual void receiveAddAlertable( PB_ALERTABLE *alertable ) = 0;
    virtual void receiveDelAlertable( PB_ALERTABLE *alertable ) = 0;

    /** Nothing more is sent; the peer reads the end behind what was. */
    virtual void terminate() = 0;
};

class TcpListenerPath : public Path<IN_TCP_ADDRESS> {
public:
    /** The errno for which it has failed; 0 when there is none. */
    virtual int errorReason() { return 0; }
    /** The alert is set while connections wait. */
    virtual void listenAddAlertable( PB_ALERTABLE *alertable ) = 0;
    virtual void listenDelAlertable( PB_ALERTABLE *alertable ) = 0;
};

} // namespace in

#endif
