/*
 * What stands behind an interface: a process that polls it, and the changes that the library makes to it. Any thread. Polls
 * and changes never interleave: one waits for the other, and for the ten milliseconds of a gratuitous ARP. What only reads
 * waits for neither.
 */
#ifndef IN_NW_INTERFACE_IMP_PRIVATE_H
#define IN_NW_INTERFACE_IMP_PRIVATE_H

#include <in/nw/in_nw_interface_state.h>
#include <pb/pb_sync.h>
#include <tr/tr.h>

/** Orders by identity. Its process holds a reference until it is halted. */
PB_CLASS( IN___NW_INTERFACE_IMP, in___NwInterfaceImp )

/** A new implementation, polled once already. Aborts unless `canSetStatus`. */
IN___NW_INTERFACE_IMP *in___NwInterfaceImpCreate(
    PB_STRING *identifier, PB_BOOL canSetStatus, TR_ANCHOR *optionalAnchor );
/** No poll begins after this call; the last one may go on. */
void in___NwInterfaceImpHalt( IN___NW_INTERFACE_IMP *imp );
/** The same, and waits for the last one. */
void in___NwInterfaceImpHaltWait( IN___NW_INTERFACE_IMP *imp );

PB_STRING *in___NwInterfaceImpIdentifier( IN___NW_INTERFACE_IMP *imp );
IN_NW_INTERFACE_STATE *in___NwInterfaceImpState( IN___NW_INTERFACE_IMP *imp );
void in___NwInterfaceImpUpdateAddSignalable( IN___NW_INTERFACE_IMP *imp, PB_SIGNALABLE *signalable );
void in___NwInterfaceImpUpdateDelSignalable( IN___NW_INTERFACE_IMP *imp, PB_SIGNALABLE *signalable );
void in___NwInterfaceImpTraceCompleteAnchor( IN___NW_INTERFACE_IMP *imp, TR_ANCHOR *anchor );

/** Asks it to say that the interface has gone. */
void in___NwInterfaceImpSetEnd( IN___NW_INTERFACE_IMP *imp );

/** Takes the interface up or down; whether it is then what was asked for. Aborts unless IN_NW_INTERFACE_STATUS_OK. */
PB_BOOL in___NwInterfaceImpTrySetStatus( IN___NW_INTERFACE_IMP *imp, PB_INT status );
/**
 * Adds or replaces an address, with the prefix length of the network, or all bits of the address; tells the neighbours, and
 * lets the interface be polled soon. False when the kernel refuses. Aborts when the network does not contain the address.
 */
PB_BOOL in___NwInterfaceImpTrySetLayer3UnicastAddress(
    IN___NW_INTERFACE_IMP *imp, IN_ADDRESS *inAddress, IN_NETWORK *optionalInNetwork );
/** Removes an address and lets the interface be polled soon. False when the kernel refuses. */
PB_BOOL in___NwInterfaceImpTryDelLayer3UnicastAddress( IN___NW_INTERFACE_IMP *imp, IN_ADDRESS *inAddress );

#endif
