/* What the library itself needs of a QoS stack, and its binding to the configuration store. */
#ifndef IN_QOS_STACK_PRIVATE_H
#define IN_QOS_STACK_PRIVATE_H

#include <in/qos/in_qos_stack.h>
#include <pb/pb_sync.h>

/** The options now, a new reference. */
IN_QOS_OPTIONS *in___QosStackConfiguration( IN_QOS_STACK *stack );
/** Fires at the next change of the options; register again after that. */
void in___QosStackConfigurationAddSignalable( IN_QOS_STACK *stack, PB_SIGNALABLE *signalable );
void in___QosStackConfigurationDelSignalable( IN_QOS_STACK *stack, PB_SIGNALABLE *signalable );

void in___QosStackCsStartup();
void in___QosStackCsShutdown();

#endif
