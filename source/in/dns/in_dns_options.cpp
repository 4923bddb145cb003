/* DNS options. No state. */
#include <in/dns/in_dns_options.h>
#include <in/kit/in_settings_private.hpp>

struct IN_DNS_OPTIONS : PB_OBJ {
    in::Setting<PB_INT> maxBlockDuration;
    in::Setting<bool> disableQueryAddresses;
    in::Setting<bool> disableQueryDomainNames;
    in::Setting<bool> disableQuerySrv;
    in::Setting<PB_INT> cacheTimeout;
    in::Setting<PB_INT> negativeCacheTimeout;

    static constexpr auto options()
    {
        using Flag = in::ValueRow<IN_DNS_OPTIONS, bool>;
        using Integer = in::ValueRow<IN_DNS_OPTIONS, PB_INT>;
        return std::tuple{
            Integer{ "maxBlockDuration", &IN_DNS_OPTIONS::maxBlockDuration, 60'000 },
            Flag{ "disableQueryAddresses", &IN_DNS_OPTIONS::disableQueryAddresses, false },
            Flag{ "disableQueryDomainNames", &IN_DNS_OPTIONS::disableQueryDomainNames, false },
            Flag{ "disableQuerySrv", &IN_DNS_OPTIONS::disableQuerySrv, false },
            Integer{ "cacheTimeout", &IN_DNS_OPTIONS::cacheTimeout, 60'000 },
            Integer{ .key = "negativeCacheTimeout",
                .member = &IN_DNS_OPTIONS::negativeCacheTimeout,
                .initial = 60'000,
                .restoredInto = &IN_DNS_OPTIONS::cacheTimeout }, // meant
        };
    }
};

IN_OPTIONS_DEFINE( IN_DNS_OPTIONS, inDnsOptions, in___DnsOptions );

IN_SETTING_DEFINE(
    IN_DNS_OPTIONS, inDnsOptions, MaxBlockDuration, maxBlockDuration, PB_INT, maxBlockDuration, maxBlockDuration >= 0 );
IN_SETTING_DEFINE( IN_DNS_OPTIONS, inDnsOptions, DisableQueryAddresses, disableQueryAddresses, PB_BOOL, disable, true );
IN_SETTING_DEFINE(
    IN_DNS_OPTIONS, inDnsOptions, DisableQueryDomainNames, disableQueryDomainNames, PB_BOOL, disable, true );
IN_SETTING_DEFINE( IN_DNS_OPTIONS, inDnsOptions, DisableQuerySrv, disableQuerySrv, PB_BOOL, disable, true );
IN_SETTING_DEFINE( IN_DNS_OPTIONS, inDnsOptions, CacheTimeout, cacheTimeout, PB_INT, cacheTimeout, cacheTimeout >= 0 );
IN_SETTING_DEFINE( IN_DNS_OPTIONS, inDnsOptions, NegativeCacheTimeout, negativeCacheTimeout, PB_INT,
    negativeCacheTimeout, negativeCacheTimeout >= 0 );
