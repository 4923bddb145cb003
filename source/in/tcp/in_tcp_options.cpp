/* TCP options. No state. */
#include <in/kit/in_port_range_private.hpp>
#include <in/kit/in_settings_private.hpp>
#include <in/tcp/in_tcp_options.h>

struct IN_TCP_OPTIONS : PB_OBJ {
    pb::Ref<IN_TCP_PORT_RANGE> portRange;
    in::Setting<bool> blacklistEnabled;
    in::Setting<PB_INT> blacklistTimeout;
    in::Setting<PB_INT> blacklistGranularity;
    in::Setting<bool> keepAliveEnabled;
    in::Setting<PB_INT> keepAliveTime;

    static constexpr auto options()
    {
        using Flag = in::ValueRow<IN_TCP_OPTIONS, bool>;
        using Integer = in::ValueRow<IN_TCP_OPTIONS, PB_INT>;
        return std::tuple{
            in::StoreRow<IN_TCP_OPTIONS, IN_TCP_PORT_RANGE>{ "portRange", &IN_TCP_OPTIONS::portRange,
                inTcpPortRangeStore, inTcpPortRangeTryRestore, in::checkPortRange },
            Flag{ "blacklistEnabled", &IN_TCP_OPTIONS::blacklistEnabled, true },
            Integer{ "blacklistTimeout", &IN_TCP_OPTIONS::blacklistTimeout, 120'000, 1 },
            Integer{ "blacklistGranularity", &IN_TCP_OPTIONS::blacklistGranularity, 15'000, 1 },
            Flag{ "keepAliveEnabled", &IN_TCP_OPTIONS::keepAliveEnabled, false },
            Integer{ "keepAliveTime", &IN_TCP_OPTIONS::keepAliveTime, 30'000, 1 },
        };
    }
};

IN_OPTIONS_DEFINE( IN_TCP_OPTIONS, inTcpOptions, in___TcpOptions );

IN_OPTIONAL_DEFINE( IN_TCP_OPTIONS, inTcpOptions, PortRange, portRange, IN_TCP_PORT_RANGE, opt, range );
IN_SETTING_DEFINE( IN_TCP_OPTIONS, inTcpOptions, BlacklistEnabled, blacklistEnabled, PB_BOOL, enabled, true );
IN_SETTING_DEFINE( IN_TCP_OPTIONS, inTcpOptions, BlacklistTimeout, blacklistTimeout, PB_INT, timeout, timeout > 0 );
IN_SETTING_DEFINE(
    IN_TCP_OPTIONS, inTcpOptions, BlacklistGranularity, blacklistGranularity, PB_INT, granularity, granularity > 0 );
IN_SETTING_DEFINE( IN_TCP_OPTIONS, inTcpOptions, KeepAliveEnabled, keepAliveEnabled, PB_BOOL, enabled, true );
IN_SETTING_DEFINE( IN_TCP_OPTIONS, inTcpOptions, KeepAliveTime, keepAliveTime, PB_INT, milliseconds, milliseconds > 0 );
