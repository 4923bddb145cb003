/* Stacks as their users hold them: a handle that owns an implementation and ends it. No state of their own. */
#include <in/base/in_stack_private.h>
#include <in/kit/in_held_private.hpp>
#include <in/kit/in_origin_private.hpp>
#include <in/nw/in_nw_util_private.h>

struct IN_STACK : PB_OBJ {
    pb::Ref<IN___STACK_IMP> imp;
    in::Origin origin{};
};

static constinit in::Held stacks;

static void in___StackFreeFunc( PB_OBJ *obj )
{
    IN_STACK *stack = inStackFrom( obj );
    if ( stack->origin.isInChild() ) // its locks may be held for good; the parent looks after the rest
        return;
    in___StackImpHalt( stack->imp.get() );
    pb::destroy<IN_STACK>( obj );
    stacks.drop(); // last: the stop goes on when the count is 0
}

PB_CLASS_DEFINE( IN_STACK, inStack, in___StackFreeFunc, nullptr, nullptr );

static IN___STACK_IMP *impOf( IN_STACK *stack )
{
    PB_ASSERT( stack );
    return stack->imp.get();
}

IN_STACK *inStackCreate( IN_OPTIONS *opt, TR_ANCHOR *optionalTraceAnchor )
{
    IN_STACK *stack = pb::create<IN_STACK>( pb::adopt( in___StackImpCreate( opt, optionalTraceAnchor ) ) );
    stacks.add();
    in___StackImpStart( stack->imp.get() );
    return stack;
}

IN_OPTIONS *inStackOptions( IN_STACK *stack )
{
    IN_OPTIONS *options = nullptr;
    inStackConfiguration( stack, &options, nullptr, nullptr, nullptr, nullptr );
    return options;
}

void inStackSetOptions( IN_STACK *stack, IN_OPTIONS *opt )
{
    in___StackImpSetOptions( impOf( stack ), opt );
}

IN_ADDRESS *inStackAddress( IN_STACK *stack )
{
    IN_ADDRESS *address = nullptr;
    inStackConfiguration( stack, nullptr, &address, nullptr, nullptr, nullptr );
    return address;
}

PB_BOOL inStackHasAddress( IN_STACK *stack )
{
    return PB_BOOL_FROM( pb::adopt( inStackAddress( stack ) ) );
}

IN_NW_INTERFACE *inStackPrimaryInterface( IN_STACK *stack )
{
    IN_NW_INTERFACE *primaryInterface = nullptr;
    inStackConfiguration( stack, nullptr, nullptr, &primaryInterface, nullptr, nullptr );
    return primaryInterface;
}

PB_BOOL inStackHasPrimaryInterface( IN_STACK *stack )
{
    return PB_BOOL_FROM( pb::adopt( inStackPrimaryInterface( stack ) ) );
}

PB_VECTOR *inStackInterfacesVector( IN_STACK *stack )
{
    PB_VECTOR *interfaces = nullptr;
    inStackConfiguration( stack, nullptr, nullptr, nullptr, &interfaces, nullptr );
    return interfaces;
}

PB_BOOL inStackUp( IN_STACK *stack )
{
    PB_BOOL up;
    inStackConfiguration( stack, nullptr, nullptr, nullptr, nullptr, &up );
    return up;
}

void inStackConfiguration( IN_STACK *stack, IN_OPTIONS **optionalOptions, IN_ADDRESS **optionalAddress,
    IN_NW_INTERFACE **optionalPrimaryInterface, PB_VECTOR **optionalInterfaces, PB_BOOL *optionalUp )
{
    in___StackImpConfiguration(
        impOf( stack ), optionalOptions, optionalAddress, optionalPrimaryInterface, optionalInterfaces, optionalUp );
}

PB_STORE *inStackSelection( IN_STACK *stack )
{
    pb::Ref<IN_OPTIONS> options;
    pb::Ref<IN_ADDRESS> address;
    inStackConfiguration( stack, options.handle(), address.handle(), nullptr, nullptr, nullptr );
    return in___NwUtilExplainSelection( options.get(), address.get() );
}

PB_STORE *inStackTcpBlacklist( IN_STACK *stack )
{
    return in___StackImpTcpBlacklistStore( impOf( stack ) );
}

CS_STATUS_REPORTER *inStackCsStatus( IN_STACK *stack )
{
    return in___StackImpCsStatus( impOf( stack ) );
}

void inStackTraceCompleteAnchor( IN_STACK *stack, TR_ANCHOR *anchor )
{
    in___StackImpTraceCompleteAnchor( impOf( stack ), anchor );
}

void inStackUpdateAddSignalable( IN_STACK *stack, PB_SIGNALABLE *signalable )
{
    in___StackImpUpdateAddSignalable( impOf( stack ), signalable );
}

void inStackUpdateDelSignalable( IN_STACK *stack, PB_SIGNALABLE *signalable )
{
    in___StackImpUpdateDelSignalable( impOf( stack ), signalable );
}

void in___StackShutdownWait()
{
    stacks.assertNone( "stacks are still held" );
}

in___StackLocal in___StackLocalAddress( IN_STACK *stack )
{
    in___StackLocal local;
    pb::Ref<IN_NW_INTERFACE> primary;
    inStackConfiguration( stack, nullptr, local.address.handle(), primary.handle(), nullptr, nullptr );
    IN_ADDRESS *ina = local.address.get();
    if ( ina && primary && inAddressIsV6( ina ) && inAddressIsLinkLocalUnicast( ina ) )
        local.optionalInterface = pb::adopt( inNwInterfaceIdentifier( primary.get() ) );
    return local;
}

void in___StackTcpBlacklist( IN_STACK *stack, IN_TCP_ADDRESS *ta )
{
    if ( !stack->origin.isInChild() ) // where a lock may be held for good
        in___StackImpTcpBlacklist( impOf( stack ), ta );
}

PB_BOOL in___StackTcpIsBlacklisted( IN_STACK *stack, IN_TCP_ADDRESS *ta )
{
    return in___StackImpTcpIsBlacklisted( impOf( stack ), ta );
}
