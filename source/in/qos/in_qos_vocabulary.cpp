/* The QoS enumerations. Written once at start-up, read by any thread after that. */
#include <in/qos/in_qos_vocabulary_private.h>

IN_ENUM_DEFINE( inQosDefaults, in___QosDefaults, in___QosDefaultsEnum, dflt, IN_QOS_DEFAULTS_OK( dflt ) );
IN_ENUM_DEFINE( inQosLayer2Pcp, in___QosLayer2Pcp, in___QosLayer2PcpEnum, pcp, IN_QOS_LAYER2_PCP_OK( pcp ) );
IN_ENUM_DEFINE( inQosWindowsTrafficType, in___QosWindowsTrafficType, in___QosWindowsTrafficTypeEnum, tt,
    IN_QOS_WINDOWS_TRAFFIC_TYPE_OK( tt ) );

IN_ENUM_STARTUP_DEFINE( in___QosDefaults, in___QosDefaultsEnum, IN_QOS_DEFAULTS_ENUMERANTS );
IN_ENUM_STARTUP_DEFINE( in___QosLayer2Pcp, in___QosLayer2PcpEnum, IN_QOS_LAYER2_PCP_ENUMERANTS );
IN_ENUM_STARTUP_DEFINE(
    in___QosWindowsTrafficType, in___QosWindowsTrafficTypeEnum, IN_QOS_WINDOWS_TRAFFIC_TYPE_ENUMERANTS );
