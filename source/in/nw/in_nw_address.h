/* A layer-2 address of an interface: a type, and what goes with it. An immutable value, any thread. */
#ifndef IN_NW_ADDRESS_H
#define IN_NW_ADDRESS_H

#include <in/nw/in_nw_address_type.h>
#include <in/nw/in_nw_mac_address.h>
#include <pb/pb_store.h>

/** Order: by type, then by address. Text form: that of the address. */
PB_CLASS( IN_NW_ADDRESS, inNwAddress )
/* Names: inNwAddressSort, inNwAddressObj, inNwAddressFrom, inNwAddressRetain, inNwAddressRelease,
   inNwAddressToString, inNwAddressCompare, inNwAddressEquals */

/** A new address of type IN_NW_ADDRESS_TYPE_MAC. */
PB_API IN_NW_ADDRESS *inNwAddressCreateMac( IN_NW_MAC_ADDRESS *mac );

PB_API PB_INT inNwAddressType( IN_NW_ADDRESS *nwa );
/** The hardware address, a new reference, or null: it is there when the type is IN_NW_ADDRESS_TYPE_MAC. */
PB_API IN_NW_MAC_ADDRESS *inNwAddressMac( IN_NW_ADDRESS *nwa );
PB_API PB_BOOL inNwAddressHasMac( IN_NW_ADDRESS *nwa );

/** A new store: "type", the name of the type, and "mac", the text of the hardware address. */
PB_API PB_STORE *inNwAddressStore( IN_NW_ADDRESS *nwa );
/** A new address from such a store; null when one of the two is missing or does not parse. */
PB_API IN_NW_ADDRESS *inNwAddressTryRestore( PB_STORE *store );

#endif
