/*
 * The marks that sockets get: a preset that fills all of them, and each one maybe chosen explicitly, after which it no
 * longer follows the preset.
 */
#ifndef IN_QOS_OPTIONS_H
#define IN_QOS_OPTIONS_H

#include <in/base/in_settings.h>
#include <in/qos/in_qos_vocabulary.h>

/** New options have the preset NONE. */
IN_OPTIONS_CLASS( IN_QOS_OPTIONS, inQosOptions );
/* Names: inQosOptionsSort, inQosOptionsObj, inQosOptionsFrom, inQosOptionsRetain, inQosOptionsRelease,
   inQosOptionsToString, inQosOptionsCompare, inQosOptionsEquals, inQosOptionsCreate, inQosOptionsCreateFrom,
   inQosOptionsRestore, inQosOptionsCheck */

/** The preset; setting it changes what still follows it. Aborts unless IN_QOS_DEFAULTS_OK. Key "defaults", its name. */
PB_API PB_INT inQosOptionsDefaults( IN_QOS_OPTIONS *opt );
PB_API void inQosOptionsSetDefaults( IN_QOS_OPTIONS **opt, PB_INT dflt );

/** The type-of-service byte, 0..255, the DSCP in its upper six bits (RFC 2474); aborts outside. Key "layer3Tos", "0xb8". */
IN_SETTING( IN_QOS_OPTIONS, inQosOptions, Layer3Tos, PB_INT );
/* Names: inQosOptionsLayer3Tos, inQosOptionsSetLayer3Tos, inQosOptionsLayer3TosDefault,
   inQosOptionsSetLayer3TosDefault */
/** The priority code point; aborts unless IN_QOS_LAYER2_PCP_OK. Key "layer2Pcp", its name. */
IN_SETTING( IN_QOS_OPTIONS, inQosOptions, Layer2Pcp, PB_INT );
/* Names: inQosOptionsLayer2Pcp, inQosOptionsSetLayer2Pcp, inQosOptionsLayer2PcpDefault,
   inQosOptionsSetLayer2PcpDefault */
/** The traffic type; aborts unless IN_QOS_WINDOWS_TRAFFIC_TYPE_OK. Key "windowsTrafficType", its name. */
IN_SETTING( IN_QOS_OPTIONS, inQosOptions, WindowsTrafficType, PB_INT );
/* Names: inQosOptionsWindowsTrafficType, inQosOptionsSetWindowsTrafficType, inQosOptionsWindowsTrafficTypeDefault,
   inQosOptionsSetWindowsTrafficTypeDefault */

/** A new store: the preset, and what was chosen explicitly; with `full` all marks. */
PB_API PB_STORE *inQosOptionsStore( IN_QOS_OPTIONS *opt, PB_BOOL full );

#endif
