/* The library flag set. Written once at start-up, read by any thread after that. */
#include <in/base/in_flags_private.h>

IN_FLAGS_DEFINE( inFlags, in___Flags, in___FlagsFlagset, IN_FLAG_LOOPBACK_ONLY );

void in___FlagsStartup()
{
    in___FlagsFlagset.set( pbFlagsetCreate() );
    PB_FLAGSET_ADD( &in___FlagsFlagset, IN_FLAG_LOOPBACK_ONLY );
}
