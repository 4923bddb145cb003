/*
 * The TCP backend as channels and listeners see it. A handle of a channel or a listener is an index, 0..16383, or -1 for none;
 * one that is out of bounds, or whose slot is empty, aborts. Any thread; but a handle is destroyed once, when nobody else
 * uses it.
 */
#ifndef IN_IMP_TCP_PRIVATE_H
#define IN_IMP_TCP_PRIVATE_H

#include <in/imp/in_imp_opening_private.hpp>
#include <in/tcp/in_tcp_flags.h>
#include <in/tcp/in_tcp_options.h>
#include <in/tcp/in_tcp_path_private.hpp>

#define IN___IMP_TCP_CHANNEL_INVALID ( (PB_INT)-1 )
#define IN___IMP_TCP_CHANNEL_OK( chan ) ( ( chan ) >= 0 )
#define IN___IMP_TCP_CHANNEL_LISTENER_INVALID ( (PB_INT)-1 )
#define IN___IMP_TCP_CHANNEL_LISTENER_OK( lsn ) ( ( lsn ) >= 0 )

/** The local ports in use, of channels and listeners. */
void in___ImpTcpStartup();
void in___ImpTcpShutdown();
/** Start the engines' threads and end them; every channel and listener must have been destroyed by then. */
void in___ImpTcpChannelAndListenerStartup();
void in___ImpTcpChannelAndListenerShutdown();

/** Begins to connect to a remote address; -1, and why, when that fails at once. */
PB_INT in___ImpTcpChannelTryCreate(
    const in::OpenPlan &plan, IN_TCP_OPTIONS *options, IN_TCP_ADDRESS *remoteAddress, in::OpenFailure &failure );
/** Closes it. In a forked child it closes the descriptor and does nothing else. */
void in___ImpTcpChannelDestroy( PB_INT chan );
/** What a channel forwards to; lent until the handle is destroyed. */
in::TcpPath &in___ImpTcpChannelPath( PB_INT chan );
/** Whether the attempt to connect has failed. */
PB_BOOL in___ImpTcpChannelErrorConnect( PB_INT chan );

/** Listens; -1, and why, when that fails. The options and marks are those of the connections that it takes. */
PB_INT in___ImpTcpChannelListenerTryCreate(
    const in::OpenPlan &plan, IN_TCP_OPTIONS *options, in::OpenFailure &failure );
/** Two listeners on neighbouring ports, the RTP one on the even port. Both handles are -1 when there is no such pair. */
PB_BOOL in___ImpTcpChannelListenerTryCreateRtp(
    PB_INT *rtp, PB_INT *rtcp, const in::OpenPlan &plan, IN_TCP_OPTIONS *options, in::OpenFailure &failure );
/** Closes it, and the connections that wait. In a forked child it closes the descriptor and does nothing else. */
void in___ImpTcpChannelListenerDestroy( PB_INT lsn );
in::TcpListenerPath &in___ImpTcpChannelListenerPath( PB_INT lsn );
/**
 * The oldest connection that waits, as the handle of a new channel; -1 when there is none. One that cannot be made a channel
 * is closed; `failure` then says why, for the last of them.
 */
PB_INT in___ImpTcpChannelListenerListen( PB_INT lsn, in::OpenFailure &failure );

/**
 * Whether a socket of the host has the port, on that address or on all, at its own or at its far end, in whatever state; so
 * it errs on the side of in use. Port 0 asks for any. False when the system does not tell.
 */
PB_BOOL in___ImpTcpPortUsed( IN_ADDRESS *address, PB_INT port );

#endif
