/* What the interface monitor saw of an interface: a value, immutable while shared, any thread; setters copy first. */
#ifndef IN_NW_INTERFACE_STATE_H
#define IN_NW_INTERFACE_STATE_H

#include <in/base/in_network.h>
#include <in/base/in_settings.h>
#include <in/nw/in_nw_address.h>
#include <in/nw/in_nw_interface_flags.h>
#include <in/nw/in_nw_interface_status.h>
#include <pb/pb_store.h>
#include <pb/pb_vector.h>

/** Order: field by field, what is absent before what is present, so that states are equal when every field is. */
PB_CLASS( IN_NW_INTERFACE_STATE, inNwInterfaceState )
/* Names: inNwInterfaceStateSort, inNwInterfaceStateObj, inNwInterfaceStateFrom, inNwInterfaceStateRetain,
   inNwInterfaceStateRelease, inNwInterfaceStateToString, inNwInterfaceStateCompare, inNwInterfaceStateEquals */

/** A new state of which nothing is known. */
PB_API IN_NW_INTERFACE_STATE *inNwInterfaceStateCreate( void );
/** A new, unshared copy. */
PB_API IN_NW_INTERFACE_STATE *inNwInterfaceStateCreateFrom( IN_NW_INTERFACE_STATE *source );

/** Whether the interface has gone; no state follows one that says so. */
PB_API PB_BOOL inNwInterfaceStateEnd( IN_NW_INTERFACE_STATE *state );
PB_API void inNwInterfaceStateSetEnd( IN_NW_INTERFACE_STATE **state, PB_BOOL end );

/** A name for people to read; of the monitor, the identifier. */
IN_OPTIONAL( IN_NW_INTERFACE_STATE, inNwInterfaceState, DisplayName, PB_STRING );
/* Names: inNwInterfaceStateDisplayName, inNwInterfaceStateHasDisplayName, inNwInterfaceStateSetDisplayName,
   inNwInterfaceStateDelDisplayName */

/** The administrative status; aborts when there is none. */
PB_API PB_INT inNwInterfaceStateStatus( IN_NW_INTERFACE_STATE *state );
PB_API PB_BOOL inNwInterfaceStateHasStatus( IN_NW_INTERFACE_STATE *state );
/** Aborts unless IN_NW_INTERFACE_STATUS_OK. */
PB_API void inNwInterfaceStateSetStatus( IN_NW_INTERFACE_STATE **state, PB_INT status );
PB_API void inNwInterfaceStateDelStatus( IN_NW_INTERFACE_STATE **state );

PB_API PB_INT inNwInterfaceStateFlags( IN_NW_INTERFACE_STATE *state );
PB_API void inNwInterfaceStateSetFlags( IN_NW_INTERFACE_STATE **state, PB_INT flags );

/**
 * A number that may be absent: its value, which aborts when there is none, whether there is one, setting it, which aborts
 * below 0, and taking it away.
 */
#define IN_NW_STATE_NUMBER( Layer, Name )                                                 \
    PB_API PB_INT inNwInterfaceState##Layer##Name( IN_NW_INTERFACE_STATE *state );        \
    PB_API PB_BOOL inNwInterfaceState##Layer##Has##Name( IN_NW_INTERFACE_STATE *state );  \
    PB_API void inNwInterfaceState##Layer##Set##Name( IN_NW_INTERFACE_STATE **, PB_INT ); \
    PB_API void inNwInterfaceState##Layer##Del##Name( IN_NW_INTERFACE_STATE **state )

IN_NW_STATE_NUMBER( Layer2, Mtu ); /* in bytes */
/* Names: inNwInterfaceStateLayer2Mtu, inNwInterfaceStateLayer2HasMtu, inNwInterfaceStateLayer2SetMtu,
   inNwInterfaceStateLayer2DelMtu */
/** In bits per second. What a driver says when it does not know (4294967295000000) stands here as it is. */
IN_NW_STATE_NUMBER( Layer2, SpeedReceive );
IN_NW_STATE_NUMBER( Layer2, SpeedTransmit );
/* Names: inNwInterfaceStateLayer2SpeedReceive, inNwInterfaceStateLayer2HasSpeedReceive,
   inNwInterfaceStateLayer2SetSpeedReceive, inNwInterfaceStateLayer2DelSpeedReceive,
   inNwInterfaceStateLayer2SpeedTransmit, inNwInterfaceStateLayer2HasSpeedTransmit,
   inNwInterfaceStateLayer2SetSpeedTransmit, inNwInterfaceStateLayer2DelSpeedTransmit */

/**
 * A set, each member once, in the order of the class: all as a new vector, their number, the one at a place (a new
 * reference; aborts out of range), whether an equal one is in, entering and taking away one. Null aborts.
 */
#define IN_NW_STATE_SET( Layer, Many, One, TYPE )                                                  \
    PB_API PB_VECTOR *inNwInterfaceState##Layer##Many##Vector( IN_NW_INTERFACE_STATE *state );     \
    PB_API PB_INT inNwInterfaceState##Layer##Many##Length( IN_NW_INTERFACE_STATE *state );         \
    PB_API TYPE *inNwInterfaceState##Layer##One##At( IN_NW_INTERFACE_STATE *state, PB_INT index ); \
    PB_API PB_BOOL inNwInterfaceState##Layer##Has##One( IN_NW_INTERFACE_STATE *state, TYPE * );    \
    PB_API void inNwInterfaceState##Layer##Set##One( IN_NW_INTERFACE_STATE **state, TYPE * );      \
    PB_API void inNwInterfaceState##Layer##Del##One( IN_NW_INTERFACE_STATE **state, TYPE * )

IN_NW_STATE_SET( Layer2, Addresses, Address, IN_NW_ADDRESS );
/* Names: inNwInterfaceStateLayer2AddressesVector, inNwInterfaceStateLayer2AddressesLength,
   inNwInterfaceStateLayer2AddressAt, inNwInterfaceStateLayer2HasAddress, inNwInterfaceStateLayer2SetAddress,
   inNwInterfaceStateLayer2DelAddress */
/** Setting an address aborts unless it is unicast. */
IN_NW_STATE_SET( Layer3, UnicastAddresses, UnicastAddress, IN_ADDRESS );
/* Names: inNwInterfaceStateLayer3UnicastAddressesVector, inNwInterfaceStateLayer3UnicastAddressesLength,
   inNwInterfaceStateLayer3UnicastAddressAt, inNwInterfaceStateLayer3HasUnicastAddress,
   inNwInterfaceStateLayer3SetUnicastAddress, inNwInterfaceStateLayer3DelUnicastAddress */
/** The networks on the link, those of the addresses above; a host mask makes none. */
IN_NW_STATE_SET( Layer3, Networks, Network, IN_NETWORK );
/* Names: inNwInterfaceStateLayer3NetworksVector, inNwInterfaceStateLayer3NetworksLength,
   inNwInterfaceStateLayer3NetworkAt, inNwInterfaceStateLayer3HasNetwork, inNwInterfaceStateLayer3SetNetwork,
   inNwInterfaceStateLayer3DelNetwork */

/**
 * A new store: "end", "displayName", "status" (its name), "flags" (names), "layer2Addresses" (array of stores), "layer2Mtu",
 * "layer2SpeedReceive", "layer2SpeedTransmit", "layer3UnicastAddresses" and "layer3Networks" (arrays of texts). What is
 * absent has no key.
 */
PB_API PB_STORE *inNwInterfaceStateStore( IN_NW_INTERFACE_STATE *state );
/** A new state from such a store; keys that are absent, unknown or hold something bad, and bad members, are passed over. */
PB_API IN_NW_INTERFACE_STATE *inNwInterfaceStateRestore( PB_STORE *store );

#endif
