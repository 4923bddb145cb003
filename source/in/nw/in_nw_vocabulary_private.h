/* The vocabularies of network interfaces: registered at start-up, freed at shut-down. */
#ifndef IN_NW_VOCABULARY_PRIVATE_H
#define IN_NW_VOCABULARY_PRIVATE_H

#include <in/kit/in_vocabulary_private.hpp>
#include <in/nw/in_nw_address_type.h>
#include <in/nw/in_nw_interface_flags.h>
#include <in/nw/in_nw_interface_status.h>

IN_VOCABULARY_DECLARE( PB_ENUM, in___NwAddressType, in___NwAddressTypeEnum );
IN_VOCABULARY_DECLARE( PB_ENUM, in___NwInterfaceStatus, in___NwInterfaceStatusEnum );
IN_VOCABULARY_DECLARE( PB_FLAGSET, in___NwInterfaceFlags, in___NwInterfaceFlagsFlagset );

#endif
