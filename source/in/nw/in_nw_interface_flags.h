/* Flags of an interface, for users who need them: the interface monitor itself sets none. No flags is 0. */
#ifndef IN_NW_INTERFACE_FLAGS_H
#define IN_NW_INTERFACE_FLAGS_H

#include <pb/pb_string.h>

#define IN_NW_INTERFACE_FLAG_CANNOT_SET_STATUS 1 /* its status is not to be changed */
#define IN_NW_INTERFACE_FLAG_HIDE 2              /* it is not to be shown */

/** The flags as they are: undefined bits travel too. Any thread, as the others here. */
PB_API PB_INT inNwInterfaceFlagsNormalize( PB_INT flags );
/** The flags that a text names, joined by "|"; unknown names count for nothing. Aborts on null. */
PB_API PB_INT inNwInterfaceFlagsFromString( PB_STRING *pbs );
/** The names of the flags joined by "|", a new string, empty for none; undefined bits are left out. */
PB_API PB_STRING *inNwInterfaceFlagsToString( PB_INT flags );

#endif
