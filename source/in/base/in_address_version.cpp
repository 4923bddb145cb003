/* The address-version enumeration. Written once at start-up, read by any thread after that. */
#include <in/base/in_address_version_private.h>

IN_ENUM_DEFINE(
    inAddressVersion, in___AddressVersion, in___AddressVersionEnum, version, IN_ADDRESS_VERSION_OK( version ) );

void in___AddressVersionStartup()
{
    in___AddressVersionEnum.set( pbEnumCreate() );
    PB_ENUM_ADD( &in___AddressVersionEnum, IN_ADDRESS_VERSION_4 );
    PB_ENUM_ADD( &in___AddressVersionEnum, IN_ADDRESS_VERSION_6 );
}
