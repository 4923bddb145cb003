/*
 * The UDP backend as channels and receivers see it. A channel handle is an index, 0..16383, or -1 for none; a handle that is
 * out of bounds, or whose slot is empty, aborts. Any thread; but a handle is destroyed once, when nobody else uses it.
 */
#ifndef IN_IMP_UDP_PRIVATE_H
#define IN_IMP_UDP_PRIVATE_H

#include <in/imp/in_imp_opening_private.hpp>
#include <in/udp/in_udp_flags.h>
#include <in/udp/in_udp_path_private.hpp>

#define IN___IMP_UDP_CHANNEL_INVALID ( (PB_INT)-1 )
#define IN___IMP_UDP_CHANNEL_OK( chan ) ( ( chan ) >= 0 )

/** The local ports in use. */
void in___ImpUdpStartup();
void in___ImpUdpShutdown();
/** Start the engine's thread and end it; every channel must have been destroyed by then. */
void in___ImpUdpChannelStartup();
void in___ImpUdpChannelShutdown();

/**
 * Opens a channel; -1, and why, when that fails. A multicast address needs a port; its group is joined on the plan's
 * interface, or on the system's choice.
 */
PB_INT in___ImpUdpChannelTryCreate( const in::OpenPlan &plan, in::OpenFailure &failure );
/** Opens two channels on neighbouring ports, the RTP one on the even port. Both handles are -1 when there is no such pair. */
PB_BOOL in___ImpUdpChannelTryCreateRtp( PB_INT *rtp, PB_INT *rtcp, const in::OpenPlan &plan, in::OpenFailure &failure );
/** Closes it. In a forked child it closes the descriptor and does nothing else. */
void in___ImpUdpChannelDestroy( PB_INT chan );

/** What a channel forwards to; lent until the handle is destroyed. */
in::UdpPath &in___ImpUdpChannelPath( PB_INT chan );
/** The interface on which a group was joined, a new reference, or null. */
PB_STRING *in___ImpUdpChannelInterface( PB_INT chan );
PB_BOOL in___ImpUdpChannelHasInterface( PB_INT chan );

#endif
