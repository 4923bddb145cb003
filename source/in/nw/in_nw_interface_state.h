/* What the interface monitor saw of an interface: a value, immutable while shared, any thread; setters copy first. */
#ifndef IN_NW_INTERFACE_STATE_H
#define IN_NW_INTERFACE_STATE_H

#include <in/base/in_network.h>
#include <in/nw/in_nw_interface_status.h>
#include <pb/pb_store.h>
#include <pb/pb_vector.h>

PB_CLASS( IN_NW_INTERFACE_STATE, inNwInterfaceState )

/** The administrative status; aborts when there is none. */
PB_API PB_INT inNwInterfaceStateStatus( IN_NW_INTERFACE_STATE *state );
PB_API PB_BOOL inNwInterfaceStateHasStatus( IN_NW_INTERFACE_STATE *state );

#endif
