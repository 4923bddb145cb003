/*
 * The vocabularies of quality of service: presets, IEEE 802.1Q priority code points, traffic types. FromString functions
 * give, for a text that is no name, a value that is not OK; ToString functions give a new string and abort on such a value.
 * Any thread.
 */
#ifndef IN_QOS_VOCABULARY_H
#define IN_QOS_VOCABULARY_H

#include <in/base/in_vocabulary.h>
#include <pb/pb_string.h>

/** Presets, each a full set of marks. */
#define IN_QOS_DEFAULTS_ENUMERANTS( MEMBER, context ) \
    MEMBER( context, IN_QOS_DEFAULTS_NONE, 0 )        \
    MEMBER( context, IN_QOS_DEFAULTS_IPC, 1 )         \
    MEMBER( context, IN_QOS_DEFAULTS_VOICE, 2 )       \
    MEMBER( context, IN_QOS_DEFAULTS_SIGNALING, 3 )
enum { IN_QOS_DEFAULTS_ENUMERANTS( IN_ENUMERANT, ) };
#define IN_QOS_DEFAULTS_OK( dflt ) ( (uint64_t)( dflt ) <= IN_QOS_DEFAULTS_SIGNALING )
PB_API PB_INT inQosDefaultsFromString( PB_STRING *pbs );
PB_API PB_STRING *inQosDefaultsToString( PB_INT dflt );

/** Priority code points (IEEE 802.1Q), as they go on the wire. */
#define IN_QOS_LAYER2_PCP_ENUMERANTS( MEMBER, context )           \
    MEMBER( context, IN_QOS_LAYER2_PCP_BEST_EFFORT, 0 )           \
    MEMBER( context, IN_QOS_LAYER2_PCP_BACKGROUND, 1 )            \
    MEMBER( context, IN_QOS_LAYER2_PCP_EXCELLENT_EFFORT, 2 )      \
    MEMBER( context, IN_QOS_LAYER2_PCP_CRITICAL_APPLICATIONS, 3 ) \
    MEMBER( context, IN_QOS_LAYER2_PCP_VIDEO, 4 )                 \
    MEMBER( context, IN_QOS_LAYER2_PCP_VOICE, 5 )                 \
    MEMBER( context, IN_QOS_LAYER2_PCP_INTERNETWORK_CONTROL, 6 )  \
    MEMBER( context, IN_QOS_LAYER2_PCP_NETWORK_CONTROL, 7 )
enum { IN_QOS_LAYER2_PCP_ENUMERANTS( IN_ENUMERANT, ) };
#define IN_QOS_LAYER2_PCP_OK( pcp ) ( (uint64_t)( pcp ) <= IN_QOS_LAYER2_PCP_NETWORK_CONTROL )
PB_API PB_INT inQosLayer2PcpFromString( PB_STRING *pbs );
PB_API PB_STRING *inQosLayer2PcpToString( PB_INT pcp );

/** Traffic types, for hosts that mark traffic by class; kept and stored, not applied on Linux. */
#define IN_QOS_WINDOWS_TRAFFIC_TYPE_ENUMERANTS( MEMBER, context )      \
    MEMBER( context, IN_QOS_WINDOWS_TRAFFIC_TYPE_BEST_EFFORT, 0 )      \
    MEMBER( context, IN_QOS_WINDOWS_TRAFFIC_TYPE_BACKGROUND, 1 )       \
    MEMBER( context, IN_QOS_WINDOWS_TRAFFIC_TYPE_EXCELLENT_EFFORT, 2 ) \
    MEMBER( context, IN_QOS_WINDOWS_TRAFFIC_TYPE_AUDIO_VIDEO, 3 )      \
    MEMBER( context, IN_QOS_WINDOWS_TRAFFIC_TYPE_VOICE, 4 )            \
    MEMBER( context, IN_QOS_WINDOWS_TRAFFIC_TYPE_CONTROL, 5 )
enum { IN_QOS_WINDOWS_TRAFFIC_TYPE_ENUMERANTS( IN_ENUMERANT, ) };
#define IN_QOS_WINDOWS_TRAFFIC_TYPE_OK( tt ) ( (uint64_t)( tt ) <= IN_QOS_WINDOWS_TRAFFIC_TYPE_CONTROL )
PB_API PB_INT inQosWindowsTrafficTypeFromString( PB_STRING *pbs );
PB_API PB_STRING *inQosWindowsTrafficTypeToString( PB_INT tt );

#endif
