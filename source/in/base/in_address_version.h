/* The two versions of the Internet protocol, as an enumeration. */
#ifndef IN_ADDRESS_VERSION_H
#define IN_ADDRESS_VERSION_H

#include <pb/pb_string.h>

enum { IN_ADDRESS_VERSION_4 = 0, IN_ADDRESS_VERSION_6 = 1 };

/** True for IN_ADDRESS_VERSION_4 and IN_ADDRESS_VERSION_6. */
#define IN_ADDRESS_VERSION_OK( version ) ( (uint64_t)( version ) <= IN_ADDRESS_VERSION_6 )

/**
 * The version that a text names ("IN_ADDRESS_VERSION_4"); for any other text a value that is not
 * IN_ADDRESS_VERSION_OK. Aborts on null. Any thread.
 */
PB_API PB_INT inAddressVersionFromString( PB_STRING *pbs );

/** The name of a version, a new string. Aborts unless IN_ADDRESS_VERSION_OK. Any thread. */
PB_API PB_STRING *inAddressVersionToString( PB_INT version );

#endif
