/* What kind a layer-2 address is of. */
#ifndef IN_NW_ADDRESS_TYPE_H
#define IN_NW_ADDRESS_TYPE_H

#include <pb/pb_string.h>

enum { IN_NW_ADDRESS_TYPE_MAC = 0 };

#define IN_NW_ADDRESS_TYPE_OK( at ) ( (uint64_t)( at ) <= IN_NW_ADDRESS_TYPE_MAC )

/** The type that a text names, or -1. Aborts on null. Any thread, as the other one here. */
PB_API PB_INT inNwAddressTypeFromString( PB_STRING *pbs );
/** The name of the type, a new string. Aborts unless IN_NW_ADDRESS_TYPE_OK. */
PB_API PB_STRING *inNwAddressTypeToString( PB_INT at );

#endif
