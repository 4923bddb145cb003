/* The UDP flag set. Written once at start-up, read by any thread after that. */
#include <in/udp/in_udp_flags_private.h>

IN_FLAGS_DEFINE( inUdpFlags, in___UdpFlags, in___UdpFlagsFlagset, IN_UDP_FLAG_NO_RECEIVE );

void in___UdpFlagsStartup()
{
    in___UdpFlagsFlagset.set( pbFlagsetCreate() );
    PB_FLAGSET_ADD( &in___UdpFlagsFlagset, IN_UDP_FLAG_NO_RECEIVE );
}
