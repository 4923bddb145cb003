/* The administrative status of an interface. */
#ifndef IN_NW_INTERFACE_STATUS_H
#define IN_NW_INTERFACE_STATUS_H

#include <pb/pb_string.h>

enum { IN_NW_INTERFACE_STATUS_DOWN = 0, IN_NW_INTERFACE_STATUS_UP = 1 };

#define IN_NW_INTERFACE_STATUS_OK( status ) ( (uint64_t)( status ) <= IN_NW_INTERFACE_STATUS_UP )

/** The status that a text names, or -1. Aborts on null. Any thread, as the other one here. */
PB_API PB_INT inNwInterfaceStatusFromString( PB_STRING *pbs );
/** The name of the status, a new string. Aborts unless IN_NW_INTERFACE_STATUS_OK. */
PB_API PB_STRING *inNwInterfaceStatusToString( PB_INT status );

#endif
