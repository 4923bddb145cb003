/* Finding the hardware address of a neighbour with the host's own tools. */
#ifndef IN_IMP_EUI48_ADDRESS_LOOKUP_PRIVATE_H
#define IN_IMP_EUI48_ADDRESS_LOOKUP_PRIVATE_H

#include <in/base/in_eui48_address.h>

/** See inEui48AddressTryLookup. */
IN_EUI48_ADDRESS *in___ImpEui48AddressTryLookup( IN_ADDRESS *ina, PB_STRING *optionalInterface );

#endif
