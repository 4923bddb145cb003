/*
 * The interfaces of the host, one object for each name, as long as the interface is there. What happens on the host is seen
 * within some five seconds; nothing here waits for the host. Any thread.
 */
#ifndef IN_NW_INTERFACES_H
#define IN_NW_INTERFACES_H

#include <in/nw/in_nw_interface.h>

/** The present interfaces, a new vector of IN_NW_INTERFACE, in the order of their identifiers. */
PB_API PB_VECTOR *inNwInterfacesVector( void );
/** The interface with that name, a new reference, or null. */
PB_API IN_NW_INTERFACE *inNwInterfacesInterfaceByIdentifier( PB_STRING *identifier );
/**
 * Fires when interfaces have come or gone, on a thread "pr worker"; register again after that. Their states have update
 * signals of their own.
 */
PB_API void inNwInterfacesUpdateAddSignalable( PB_SIGNALABLE *signalable );
PB_API void inNwInterfacesUpdateDelSignalable( PB_SIGNALABLE *signalable );

#endif
