/* Options of DNS look-ups on a stack. Times are milliseconds. */
#ifndef IN_DNS_OPTIONS_H
#define IN_DNS_OPTIONS_H

#include <in/base/in_settings.h>

/**
 * Restoring applies what it finds under "negativeCacheTimeout" to the cache time-out of good answers, so that restored
 * options always have the default negative one. This is meant.
 */
IN_OPTIONS_CLASS( IN_DNS_OPTIONS, inDnsOptions );
/* Names: inDnsOptionsSort, inDnsOptionsObj, inDnsOptionsFrom, inDnsOptionsRetain, inDnsOptionsRelease,
   inDnsOptionsToString, inDnsOptionsCompare, inDnsOptionsEquals, inDnsOptionsCreate, inDnsOptionsCreateFrom,
   inDnsOptionsRestore, inDnsOptionsCheck */

/** The longest wait of the blocking look-ups; at least 0, default 60000, key "maxBlockDuration". */
IN_SETTING( IN_DNS_OPTIONS, inDnsOptions, MaxBlockDuration, PB_INT );
/* Names: inDnsOptionsMaxBlockDuration, inDnsOptionsSetMaxBlockDuration, inDnsOptionsMaxBlockDurationDefault,
   inDnsOptionsSetMaxBlockDurationDefault */
/** Whether queries of a kind end with an error at once; default false, keys "disableQuery...". */
IN_SETTING( IN_DNS_OPTIONS, inDnsOptions, DisableQueryAddresses, PB_BOOL );
IN_SETTING( IN_DNS_OPTIONS, inDnsOptions, DisableQueryDomainNames, PB_BOOL );
IN_SETTING( IN_DNS_OPTIONS, inDnsOptions, DisableQuerySrv, PB_BOOL );
/* Names: inDnsOptionsDisableQueryAddresses, inDnsOptionsSetDisableQueryAddresses,
   inDnsOptionsDisableQueryAddressesDefault, inDnsOptionsSetDisableQueryAddressesDefault,
   inDnsOptionsDisableQueryDomainNames, inDnsOptionsSetDisableQueryDomainNames,
   inDnsOptionsDisableQueryDomainNamesDefault, inDnsOptionsSetDisableQueryDomainNamesDefault,
   inDnsOptionsDisableQuerySrv, inDnsOptionsSetDisableQuerySrv, inDnsOptionsDisableQuerySrvDefault,
   inDnsOptionsSetDisableQuerySrvDefault */
/** How long answers are kept; at least 0, default 60000, key "cacheTimeout". */
IN_SETTING( IN_DNS_OPTIONS, inDnsOptions, CacheTimeout, PB_INT );
/* Names: inDnsOptionsCacheTimeout, inDnsOptionsSetCacheTimeout, inDnsOptionsCacheTimeoutDefault,
   inDnsOptionsSetCacheTimeoutDefault */
/** How long failures are kept; at least 0, default 60000, key "negativeCacheTimeout". */
IN_SETTING( IN_DNS_OPTIONS, inDnsOptions, NegativeCacheTimeout, PB_INT );
/* Names: inDnsOptionsNegativeCacheTimeout, inDnsOptionsSetNegativeCacheTimeout,
   inDnsOptionsNegativeCacheTimeoutDefault, inDnsOptionsSetNegativeCacheTimeoutDefault */

/** A new store with what was chosen; with `full` also what is at its default. */
PB_API PB_STORE *inDnsOptionsStore( IN_DNS_OPTIONS *opt, PB_BOOL full );

#endif
