/* The TCP flag set. Written once at start-up, read by any thread after that. */
#include <in/tcp/in_tcp_flags_private.h>

IN_FLAGS_DEFINE( inTcpFlags, in___TcpFlags, in___TcpFlagsFlagset, IN_TCP_FLAG_NO_DELAY | IN_TCP_FLAG_KEEP_ALIVE );

void in___TcpFlagsStartup()
{
    in___TcpFlagsFlagset.set( pbFlagsetCreate() );
    PB_FLAGSET_ADD( &in___TcpFlagsFlagset, IN_TCP_FLAG_NO_DELAY );
    PB_FLAGSET_ADD( &in___TcpFlagsFlagset, IN_TCP_FLAG_KEEP_ALIVE );
}
