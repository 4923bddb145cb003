/* The binding of QoS stacks to the configuration store. */
#include <in/kit/in_configured_private.hpp>
#include <in/qos/in_qos_stack_private.h>

IN_CONFIGURED_DEFINE( IN_QOS_STACK, inQosStack, in___QosStack, IN_QOS_OPTIONS, inQosOptions, in___QosOptions, nullptr );
