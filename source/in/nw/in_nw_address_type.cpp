/* The types of layer-2 addresses. Written once at start-up, read by any thread after that. */
#include <in/nw/in_nw_vocabulary_private.h>

IN_ENUM_DEFINE( inNwAddressType, in___NwAddressType, in___NwAddressTypeEnum, at, IN_NW_ADDRESS_TYPE_OK( at ) );

void in___NwAddressTypeStartup()
{
    in___NwAddressTypeEnum.set( pbEnumCreate() );
    PB_ENUM_ADD( &in___NwAddressTypeEnum, IN_NW_ADDRESS_TYPE_MAC );
}
