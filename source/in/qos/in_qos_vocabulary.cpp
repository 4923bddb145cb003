/* The QoS enumerations. Written once at start-up, read by any thread after that. */
#include <in/qos/in_qos_vocabulary_private.h>

IN_ENUM_DEFINE( inQosDefaults, in___QosDefaults, in___QosDefaultsEnum, dflt, IN_QOS_DEFAULTS_OK( dflt ) );
IN_ENUM_DEFINE( inQosLayer2Pcp, in___QosLayer2Pcp, in___QosLayer2PcpEnum, pcp, IN_QOS_LAYER2_PCP_OK( pcp ) );
IN_ENUM_DEFINE( inQosWindowsTrafficType, in___QosWindowsTrafficType, in___QosWindowsTrafficTypeEnum, tt,
    IN_QOS_WINDOWS_TRAFFIC_TYPE_OK( tt ) );

void in___QosDefaultsStartup()
{
    in___QosDefaultsEnum.set( pbEnumCreate() );
    PB_ENUM_ADD( &in___QosDefaultsEnum, IN_QOS_DEFAULTS_NONE );
    PB_ENUM_ADD( &in___QosDefaultsEnum, IN_QOS_DEFAULTS_IPC );
    PB_ENUM_ADD( &in___QosDefaultsEnum, IN_QOS_DEFAULTS_VOICE );
    PB_ENUM_ADD( &in___QosDefaultsEnum, IN_QOS_DEFAULTS_SIGNALING );
}

void in___QosLayer2PcpStartup()
{
    in___QosLayer2PcpEnum.set( pbEnumCreate() );
    PB_ENUM_ADD( &in___QosLayer2PcpEnum, IN_QOS_LAYER2_PCP_BEST_EFFORT );
    PB_ENUM_ADD( &in___QosLayer2PcpEnum, IN_QOS_LAYER2_PCP_BACKGROUND );
    PB_ENUM_ADD( &in___QosLayer2PcpEnum, IN_QOS_LAYER2_PCP_EXCELLENT_EFFORT );
    PB_ENUM_ADD( &in___QosLayer2PcpEnum, IN_QOS_LAYER2_PCP_CRITICAL_APPLICATIONS );
    PB_ENUM_ADD( &in___QosLayer2PcpEnum, IN_QOS_LAYER2_PCP_VIDEO );
    PB_ENUM_ADD( &in___QosLayer2PcpEnum, IN_QOS_LAYER2_PCP_VOICE );
    PB_ENUM_ADD( &in___QosLayer2PcpEnum, IN_QOS_LAYER2_PCP_INTERNETWORK_CONTROL );
    PB_ENUM_ADD( &in___QosLayer2PcpEnum, IN_QOS_LAYER2_PCP_NETWORK_CONTROL );
}

void in___QosWindowsTrafficTypeStartup()
{
    in___QosWindowsTrafficTypeEnum.set( pbEnumCreate() );
    PB_ENUM_ADD( &in___QosWindowsTrafficTypeEnum, IN_QOS_WINDOWS_TRAFFIC_TYPE_BEST_EFFORT );
    PB_ENUM_ADD( &in___QosWindowsTrafficTypeEnum, IN_QOS_WINDOWS_TRAFFIC_TYPE_BACKGROUND );
    PB_ENUM_ADD( &in___QosWindowsTrafficTypeEnum, IN_QOS_WINDOWS_TRAFFIC_TYPE_EXCELLENT_EFFORT );
    PB_ENUM_ADD( &in___QosWindowsTrafficTypeEnum, IN_QOS_WINDOWS_TRAFFIC_TYPE_AUDIO_VIDEO );
    PB_ENUM_ADD( &in___QosWindowsTrafficTypeEnum, IN_QOS_WINDOWS_TRAFFIC_TYPE_VOICE );
    PB_ENUM_ADD( &in___QosWindowsTrafficTypeEnum, IN_QOS_WINDOWS_TRAFFIC_TYPE_CONTROL );
}
