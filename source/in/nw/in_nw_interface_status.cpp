/* The status of an interface as an enumeration. Written once at start-up, read by any thread after that. */
#include <in/nw/in_nw_vocabulary_private.h>

IN_ENUM_DEFINE( inNwInterfaceStatus, in___NwInterfaceStatus, in___NwInterfaceStatusEnum, status,
    IN_NW_INTERFACE_STATUS_OK( status ) );

void in___NwInterfaceStatusStartup()
{
    in___NwInterfaceStatusEnum.set( pbEnumCreate() );
    PB_ENUM_ADD( &in___NwInterfaceStatusEnum, IN_NW_INTERFACE_STATUS_DOWN );
    PB_ENUM_ADD( &in___NwInterfaceStatusEnum, IN_NW_INTERFACE_STATUS_UP );
}
