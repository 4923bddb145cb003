/* The binding of stacks to the configuration store. */
#include <in/base/in_stack_private.h>
#include <in/kit/in_configured_private.hpp>

static CS_STATUS_REPORTER *in___StackStatusFunc( PB_OBJ *obj )
{
    return inStackCsStatus( inStackFrom( obj ) );
}

IN_CONFIGURED_DEFINE( IN_STACK, inStack, in___Stack, IN_OPTIONS, inOptions, in___Options, in___StackStatusFunc );
