/* How a stack follows the host's interfaces and chooses among them. Any thread. */
#ifndef IN_NW_UTIL_PRIVATE_H
#define IN_NW_UTIL_PRIVATE_H

#include <in/base/in_options.h>
#include <in/nw/in_nw_interface.h>

/** Adds the signalable to the update signals of the set and of every interface that is present now, or takes it away. */
void in___NwUtilInterfacesUpdateAddSignalable( PB_SIGNALABLE *signalable );
void in___NwUtilInterfacesUpdateDelSignalable( PB_SIGNALABLE *signalable );

/** The layer-3 unicast addresses of all interfaces, each once, in the order of addresses: a new vector. */
PB_VECTOR *in___NwUtilGatherLayer3UnicastAddressesVector();

/**
 * Chooses the local address, the primary interface and the interfaces of a stack. Each out argument is null or owned by
 * the caller, and is replaced: the address by the one chosen, or null; the primary interface likewise; the interfaces by
 * a vector, which may be empty.
 */
void in___NwUtilFindAddressAndInterface( IN_OPTIONS *options, IN_ADDRESS *optionalPreviousAddress,
    IN_NW_INTERFACE *optionalPreviousPrimaryInterface, IN_ADDRESS **address, IN_NW_INTERFACE **primaryInterface,
    PB_VECTOR **interfaces );

/**
 * The same selection, told: a new store with "candidates", an array with a store for each address of the host, in the
 * order in which they are looked at: "address", "interfaces" (array of identifiers), and either "droppedBy", the name of
 * the option that excludes it ("interface", "addressVersion", "network", "address", "flags"), or "score"; the chosen one
 * has "chosen" true.
 */
PB_STORE *in___NwUtilExplainSelection( IN_OPTIONS *options, IN_ADDRESS *optionalPreviousAddress );

#endif
