/* The address-version enumeration: registered at start-up, freed at shut-down. */
#ifndef IN_ADDRESS_VERSION_PRIVATE_H
#define IN_ADDRESS_VERSION_PRIVATE_H

#include <in/base/in_address_version.h>
#include <in/kit/in_vocabulary_private.hpp>

IN_VOCABULARY_DECLARE( PB_ENUM, in___AddressVersion, in___AddressVersionEnum );

#endif
