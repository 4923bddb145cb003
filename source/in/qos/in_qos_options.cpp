/* QoS options. No state. */
#include <in/kit/in_settings_private.hpp>
#include <in/qos/in_qos_options.h>

namespace {

/** The marks of a preset. */
struct Preset {
    PB_INT layer3Tos;
    PB_INT layer2Pcp;
    PB_INT windowsTrafficType;
};

constexpr Preset presets[] = {
    { 0, IN_QOS_LAYER2_PCP_BEST_EFFORT, IN_QOS_WINDOWS_TRAFFIC_TYPE_BEST_EFFORT },
    { 0xA0, IN_QOS_LAYER2_PCP_EXCELLENT_EFFORT, IN_QOS_WINDOWS_TRAFFIC_TYPE_EXCELLENT_EFFORT }, // DSCP 40
    { 0xB8, IN_QOS_LAYER2_PCP_VOICE, IN_QOS_WINDOWS_TRAFFIC_TYPE_VOICE },                       // DSCP 46
    { 0xA0, IN_QOS_LAYER2_PCP_EXCELLENT_EFFORT, IN_QOS_WINDOWS_TRAFFIC_TYPE_EXCELLENT_EFFORT }, // as IPC, meant
};

/** A mark that follows the preset until it is chosen. */
template <class Owner>
struct MarkRow {
    const char *key;
    in::Setting<PB_INT> Owner::*member;
    PB_INT Preset::*preset;
    PB_STRING *( *toText )( PB_INT value );
    in::Ignored ( *readMark )( PB_STORE *store, const char *key, PB_INT &value );

    void reset( Owner &owner ) const { owner.*member = { presets[owner.defaults].*preset, true }; }
    void write( PB_STORE **store, PB_INT value, bool ) const { in::writeText( store, key, toText( value ) ); }
    in::Ignored read( PB_STORE *store, PB_INT &value ) const { return readMark( store, key, value ); }
};

PB_STRING *tosToText( PB_INT tos )
{
    return pb::format( "0x%02!16i", tos ).give();
}

in::Ignored readTos( PB_STORE *store, const char *key, PB_INT &value )
{
    return in::readWithin( store, key, 0, 255, value );
}

template <PB_STRING *( *ToString )( PB_INT value ), PB_INT ( *FromString )( PB_STRING *pbs ), PB_INT last>
in::Ignored readEnumerant( PB_STORE *store, const char *key, PB_INT &value )
{
    return in::readName(
        store, key, ToString, FromString, []( PB_INT read ) { return read >= 0 && read <= last; }, value );
}

} // namespace

struct IN_QOS_OPTIONS : PB_OBJ {
    PB_INT defaults = IN_QOS_DEFAULTS_NONE;
    in::Setting<PB_INT> layer3Tos;
    in::Setting<PB_INT> layer2Pcp;
    in::Setting<PB_INT> windowsTrafficType;

    static constexpr bool defaultsOk( PB_INT dflt ) { return IN_QOS_DEFAULTS_OK( dflt ); }

    static constexpr auto options()
    {
        using Mark = MarkRow<IN_QOS_OPTIONS>;
        return std::tuple{
            in::NameRow<IN_QOS_OPTIONS>{ "defaults", &IN_QOS_OPTIONS::defaults, IN_QOS_DEFAULTS_NONE,
                inQosDefaultsToString, inQosDefaultsFromString, defaultsOk },
            Mark{ "layer3Tos", &IN_QOS_OPTIONS::layer3Tos, &Preset::layer3Tos, tosToText, readTos },
            Mark{ "layer2Pcp", &IN_QOS_OPTIONS::layer2Pcp, &Preset::layer2Pcp, inQosLayer2PcpToString,
                readEnumerant<inQosLayer2PcpToString, inQosLayer2PcpFromString, IN_QOS_LAYER2_PCP_NETWORK_CONTROL> },
            Mark{ "windowsTrafficType", &IN_QOS_OPTIONS::windowsTrafficType, &Preset::windowsTrafficType,
                inQosWindowsTrafficTypeToString,
                readEnumerant<inQosWindowsTrafficTypeToString, inQosWindowsTrafficTypeFromString,
                    IN_QOS_WINDOWS_TRAFFIC_TYPE_CONTROL> },
        };
    }

    /** Lets the marks that were not chosen follow the preset. */
    void settle()
    {
        in::eachStoredRow<IN_QOS_OPTIONS>( [&]( const auto &row ) {
            if constexpr ( requires { row.preset; } )
                if ( ( this->*row.member ).isDefault )
                    row.reset( *this );
        } );
    }
};

IN_OPTIONS_DEFINE( IN_QOS_OPTIONS, inQosOptions, in___QosOptions );

IN_GETTER_DEFINE( IN_QOS_OPTIONS, inQosOptionsDefaults, opt, PB_INT, defaults );

void inQosOptionsSetDefaults( IN_QOS_OPTIONS **opt, PB_INT dflt )
{
    IN_ASSERT_HANDLE( opt );
    PB_ASSERT( IN_QOS_DEFAULTS_OK( dflt ) );
    IN_QOS_OPTIONS &unshared = PB_UNSHARE( opt, inQosOptionsCreateFrom );
    unshared.defaults = dflt;
    unshared.settle();
}

IN_SETTING_DEFINE( IN_QOS_OPTIONS, inQosOptions, Layer3Tos, layer3Tos, PB_INT, tos, tos >= 0 && tos <= 255 );
IN_SETTING_DEFINE( IN_QOS_OPTIONS, inQosOptions, Layer2Pcp, layer2Pcp, PB_INT, pcp, IN_QOS_LAYER2_PCP_OK( pcp ) );
IN_SETTING_DEFINE( IN_QOS_OPTIONS, inQosOptions, WindowsTrafficType, windowsTrafficType, PB_INT, tt,
    IN_QOS_WINDOWS_TRAFFIC_TYPE_OK( tt ) );
