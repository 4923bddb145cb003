/* What the receive paths do to a raw IP address. */
#ifndef IN_RAW_ADDRESS_PRIVATE_H
#define IN_RAW_ADDRESS_PRIVATE_H

#include <in/raw/in_raw_address.h>

/** Sets both parts; when they are what they were, the object is not touched, not even made unshared. */
void in___RawAddressUpdate( IN_RAW_ADDRESS **ra, IN_ADDRESS *ina, PB_INT protocol );

#endif
