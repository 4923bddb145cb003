/* Options of TCP on a stack. Times are milliseconds. */
#ifndef IN_TCP_OPTIONS_H
#define IN_TCP_OPTIONS_H

#include <in/base/in_settings.h>
#include <in/tcp/in_tcp_port_range.h>

IN_OPTIONS_CLASS( IN_TCP_OPTIONS, inTcpOptions );
/* Names: inTcpOptionsSort, inTcpOptionsObj, inTcpOptionsFrom, inTcpOptionsRetain, inTcpOptionsRelease,
   inTcpOptionsToString, inTcpOptionsCompare, inTcpOptionsEquals, inTcpOptionsCreate, inTcpOptionsCreateFrom,
   inTcpOptionsRestore, inTcpOptionsCheck */

/** The local ports to choose from when none is given explicitly; key "portRange". */
IN_OPTIONAL( IN_TCP_OPTIONS, inTcpOptions, PortRange, IN_TCP_PORT_RANGE );
/* Names: inTcpOptionsPortRange, inTcpOptionsHasPortRange, inTcpOptionsSetPortRange, inTcpOptionsDelPortRange */

/** Whether the stack remembers for a time to which remote addresses no connection could be made; default true, key "blacklistEnabled". */
IN_SETTING( IN_TCP_OPTIONS, inTcpOptions, BlacklistEnabled, PB_BOOL );
/* Names: inTcpOptionsBlacklistEnabled, inTcpOptionsSetBlacklistEnabled, inTcpOptionsBlacklistEnabledDefault,
   inTcpOptionsSetBlacklistEnabledDefault */
/** For how long; above 0, default 120000, key "blacklistTimeout". */
IN_SETTING( IN_TCP_OPTIONS, inTcpOptions, BlacklistTimeout, PB_INT );
/* Names: inTcpOptionsBlacklistTimeout, inTcpOptionsSetBlacklistTimeout, inTcpOptionsBlacklistTimeoutDefault,
   inTcpOptionsSetBlacklistTimeoutDefault */
/** Above 0, default 15000, key "blacklistGranularity". */
IN_SETTING( IN_TCP_OPTIONS, inTcpOptions, BlacklistGranularity, PB_INT );
/* Names: inTcpOptionsBlacklistGranularity, inTcpOptionsSetBlacklistGranularity,
   inTcpOptionsBlacklistGranularityDefault, inTcpOptionsSetBlacklistGranularityDefault */
/** Keep-alive on every connection; default false, key "keepAliveEnabled". */
IN_SETTING( IN_TCP_OPTIONS, inTcpOptions, KeepAliveEnabled, PB_BOOL );
/* Names: inTcpOptionsKeepAliveEnabled, inTcpOptionsSetKeepAliveEnabled, inTcpOptionsKeepAliveEnabledDefault,
   inTcpOptionsSetKeepAliveEnabledDefault */
/**
 * Idle time before the first probe, and between probes; above 0, default 30000, key "keepAliveTime". Taken as whole seconds,
 * rounded up, from 1 second to 12 hours; Linux itself keeps to its own times above 32,767 seconds.
 */
IN_SETTING( IN_TCP_OPTIONS, inTcpOptions, KeepAliveTime, PB_INT );
/* Names: inTcpOptionsKeepAliveTime, inTcpOptionsSetKeepAliveTime, inTcpOptionsKeepAliveTimeDefault,
   inTcpOptionsSetKeepAliveTimeDefault */

/** A new store with what was chosen; with `full` also what is at its default. */
PB_API PB_STORE *inTcpOptionsStore( IN_TCP_OPTIONS *opt, PB_BOOL full );

#endif
