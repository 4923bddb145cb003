/* The flag set of interfaces. Written once at start-up, read by any thread after that. */
#include <in/nw/in_nw_vocabulary_private.h>

IN_FLAGS_DEFINE( inNwInterfaceFlags, in___NwInterfaceFlags, in___NwInterfaceFlagsFlagset, ~PB_INT( 0 ) );

void in___NwInterfaceFlagsStartup()
{
    in___NwInterfaceFlagsFlagset.set( pbFlagsetCreate() );
    PB_FLAGSET_ADD( &in___NwInterfaceFlagsFlagset, IN_NW_INTERFACE_FLAG_CANNOT_SET_STATUS );
    PB_FLAGSET_ADD( &in___NwInterfaceFlagsFlagset, IN_NW_INTERFACE_FLAG_HIDE );
}
