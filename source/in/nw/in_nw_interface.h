/*
 * An interface of the host: its identifier, and snapshots of its state as the interface monitor last saw it. A handle;
 * any thread. Nothing here waits for the host. A handle may be held for longer than the interface is there, and than the
 * runtime runs: its last state stays.
 */
#ifndef IN_NW_INTERFACE_H
#define IN_NW_INTERFACE_H

#include <in/nw/in_nw_interface_state.h>
#include <pb/pb_sync.h>
#include <tr/tr.h>

/** Orders by identity; no text form of its own. An interface that has gone and come back is a new object. */
PB_CLASS( IN_NW_INTERFACE, inNwInterface )
/* Names: inNwInterfaceSort, inNwInterfaceObj, inNwInterfaceFrom, inNwInterfaceRetain, inNwInterfaceRelease,
   inNwInterfaceToString, inNwInterfaceCompare, inNwInterfaceEquals */

/** The kernel's name of the interface, a new reference. */
PB_API PB_STRING *inNwInterfaceIdentifier( IN_NW_INTERFACE *iface );
/** The state now, a new reference to an immutable snapshot. */
PB_API IN_NW_INTERFACE_STATE *inNwInterfaceState( IN_NW_INTERFACE *iface );
/** Fires at the next change of the state, on a thread "pr worker"; register again after that. */
PB_API void inNwInterfaceUpdateAddSignalable( IN_NW_INTERFACE *iface, PB_SIGNALABLE *signalable );
PB_API void inNwInterfaceUpdateDelSignalable( IN_NW_INTERFACE *iface, PB_SIGNALABLE *signalable );
/** Completes the anchor with the interface's trace stream "IN_NW_INTERFACE". */
PB_API void inNwInterfaceTraceCompleteAnchor( IN_NW_INTERFACE *iface, TR_ANCHOR *anchor );

#endif
