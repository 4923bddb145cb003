/*
 * QoS stacks. Each one's monitor guards its options; the update signal is asserted, and what was replaced is released,
 * outside of it.
 */
#include <in/qos/in_qos_stack_private.h>
#include <pb/pb_update_signal.hpp>

struct IN_QOS_STACK : PB_OBJ {
    pb::Ref<TR_STREAM> stream = pb::adopt( trStreamCreateCstr( "IN_QOS_STACK", -1 ) );
    pb::UpdateSignal update;
    pb::Monitor monitor{ pb::Rank::service };
    pb::Ref<IN_QOS_OPTIONS> options PB_GUARDED_BY( monitor );

    explicit IN_QOS_STACK( pb::Ref<IN_QOS_OPTIONS> initial ) : options( std::move( initial ) ) {}
};

PB_CLASS_DEFINE( IN_QOS_STACK, inQosStack, pb::destroy<IN_QOS_STACK>, nullptr, nullptr );

static void traceConfiguration( IN_QOS_STACK *stack, IN_QOS_OPTIONS *options )
{
    trStreamSetConfiguration( stack->stream.get(), pb::adopt( inQosOptionsStore( options, false ) ).get() );
}

IN_QOS_STACK *inQosStackCreate( IN_QOS_OPTIONS *options, TR_ANCHOR *optionalTraceAnchor )
{
    PB_ASSERT( options );
    IN_QOS_STACK *stack = pb::create<IN_QOS_STACK>( pb::share( options ) );
    if ( optionalTraceAnchor )
        trAnchorComplete( optionalTraceAnchor, stack->stream.get() );
    traceConfiguration( stack, options );
    return stack;
}

IN_QOS_OPTIONS *inQosStackOptions( IN_QOS_STACK *stack )
{
    return in___QosStackConfiguration( stack );
}

void inQosStackSetOptions( IN_QOS_STACK *stack, IN_QOS_OPTIONS *options )
{
    PB_ASSERT( stack );
    PB_ASSERT( options );
    pb::Ref<IN_QOS_OPTIONS> replaced = pb::share( options );
    pb::Ref<PB_SIGNAL> changed;
    {
        pb::Lock lock( stack->monitor );
        if ( inQosOptionsEquals( stack->options.get(), options ) )
            return;
        std::swap( stack->options, replaced );
        changed = stack->update.replace();
        traceConfiguration( stack, options ); // under the monitor: traces in the order of the changes
    }
    pbSignalAssert( changed.get() );
}

void inQosStackTraceCompleteAnchor( IN_QOS_STACK *stack, TR_ANCHOR *anchor )
{
    PB_ASSERT( stack );
    trAnchorComplete( anchor, stack->stream.get() );
}

IN_QOS_OPTIONS *in___QosStackConfiguration( IN_QOS_STACK *stack )
{
    PB_ASSERT( stack );
    pb::Lock lock( stack->monitor );
    return stack->options.retained();
}

void in___QosStackConfigurationAddSignalable( IN_QOS_STACK *stack, PB_SIGNALABLE *signalable )
{
    PB_ASSERT( stack );
    stack->update.add( signalable );
}

void in___QosStackConfigurationDelSignalable( IN_QOS_STACK *stack, PB_SIGNALABLE *signalable )
{
    PB_ASSERT( stack );
    stack->update.del( signalable );
}
