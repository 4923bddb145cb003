/*
 * Mapping: a map stack opens channels through a peer instead of directly on a stack, so that they are seen outside under
 * another address. A channel that is opened through one forwards to the peer's channel. Any thread.
 */
#ifndef IN_MAP_STACK_H
#define IN_MAP_STACK_H

#include <pb/pb_obj.h>
#include <tr/tr.h>

PB_CLASS( IN_MAP_STACK, inMapStack )          /* orders by identity */
PB_CLASS( IN_MAP_STACK_PEER, inMapStackPeer ) /* orders by identity */
/* Names: inMapStackSort, inMapStackObj, inMapStackFrom, inMapStackRetain, inMapStackRelease, inMapStackToString,
   inMapStackCompare, inMapStackEquals, inMapStackPeerSort, inMapStackPeerObj, inMapStackPeerFrom,
   inMapStackPeerRetain, inMapStackPeerRelease, inMapStackPeerToString, inMapStackPeerCompare, inMapStackPeerEquals */

/** What the map stack opens channels through now, a new reference; null while there is none. */
PB_API IN_MAP_STACK_PEER *inMapStackPeer( IN_MAP_STACK *stack );
/** Completes the anchor with the map stack's trace stream "IN_MAP_STACK". */
PB_API void inMapStackTraceCompleteAnchor( IN_MAP_STACK *stack, TR_ANCHOR *anchor );

#endif
