/* What the library itself does with an interface: see in_nw_interface_imp_private.h. Any thread. */
#ifndef IN_NW_INTERFACE_PRIVATE_H
#define IN_NW_INTERFACE_PRIVATE_H

#include <in/nw/in_nw_interface.h>
#include <in/nw/in_nw_interface_imp_private.h>

/** A new handle; when it goes, the implementation is halted. */
IN_NW_INTERFACE *in___NwInterfaceCreate( IN___NW_INTERFACE_IMP *imp );
/** The implementation, a new reference. */
IN___NW_INTERFACE_IMP *in___NwInterfaceImp( IN_NW_INTERFACE *iface );

PB_BOOL in___NwInterfaceTrySetStatus( IN_NW_INTERFACE *iface, PB_INT status );
PB_BOOL in___NwInterfaceTrySetLayer3UnicastAddress(
    IN_NW_INTERFACE *iface, IN_ADDRESS *inAddress, IN_NETWORK *optionalInNetwork );
PB_BOOL in___NwInterfaceTryDelLayer3UnicastAddress( IN_NW_INTERFACE *iface, IN_ADDRESS *inAddress );

#endif
