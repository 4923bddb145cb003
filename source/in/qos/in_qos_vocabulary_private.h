/* The QoS enumerations: registered at start-up, freed at shut-down. */
#ifndef IN_QOS_VOCABULARY_PRIVATE_H
#define IN_QOS_VOCABULARY_PRIVATE_H

#include <in/kit/in_vocabulary_private.hpp>
#include <in/qos/in_qos_vocabulary.h>

IN_VOCABULARY_DECLARE( PB_ENUM, in___QosDefaults, in___QosDefaultsEnum );
IN_VOCABULARY_DECLARE( PB_ENUM, in___QosLayer2Pcp, in___QosLayer2PcpEnum );
IN_VOCABULARY_DECLARE( PB_ENUM, in___QosWindowsTrafficType, in___QosWindowsTrafficTypeEnum );

#endif
