/*
 * A configured set of marks, which the configuration store creates and reconfigures. Channels that hold one put its marks
 * on their sockets when they open. Any thread.
 */
#ifndef IN_QOS_STACK_H
#define IN_QOS_STACK_H

#include <in/qos/in_qos_options.h>
#include <tr/tr.h>

PB_CLASS( IN_QOS_STACK, inQosStack )
/* Names: inQosStackSort, inQosStackObj, inQosStackFrom, inQosStackRetain, inQosStackRelease, inQosStackToString,
   inQosStackCompare, inQosStackEquals */

/** A new QoS stack; the anchor is completed with its trace stream "IN_QOS_STACK". */
PB_API IN_QOS_STACK *inQosStackCreate( IN_QOS_OPTIONS *options, TR_ANCHOR *optionalTraceAnchor );
/** The options, a new reference. */
PB_API IN_QOS_OPTIONS *inQosStackOptions( IN_QOS_STACK *stack );
/** Replaces the options; equal ones change nothing. Sockets that are open keep their marks. */
PB_API void inQosStackSetOptions( IN_QOS_STACK *stack, IN_QOS_OPTIONS *options );
PB_API void inQosStackTraceCompleteAnchor( IN_QOS_STACK *stack, TR_ANCHOR *anchor );

#endif
