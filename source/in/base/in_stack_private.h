/* What the library itself needs of a stack, its implementation object, and its binding to the configuration store. */
#ifndef IN_STACK_PRIVATE_H
#define IN_STACK_PRIVATE_H

#include <in/base/in_stack.h>
#include <in/tcp/in_tcp_address.h>
#include <pb/pb.hpp>

/** Puts a remote address on the blacklist for the time of the stack's TCP options; nothing when that is disabled. */
void in___StackTcpBlacklist( IN_STACK *stack, IN_TCP_ADDRESS *ta );
PB_BOOL in___StackTcpIsBlacklisted( IN_STACK *stack, IN_TCP_ADDRESS *ta );

/** Where sockets on a stack are bound. */
struct in___StackLocal {
    pb::Ref<IN_ADDRESS> address;          // null while the stack has none
    pb::Ref<PB_STRING> optionalInterface; // on which an IPv6 link-local address is meant; null for any other
};
in___StackLocal in___StackLocalAddress( IN_STACK *stack );

/** The implementation, to which the functions of a stack forward under the same names. */
PB_CLASS( IN___STACK_IMP, in___StackImp )

/** A new implementation, whose process has not been scheduled yet. */
IN___STACK_IMP *in___StackImpCreate( IN_OPTIONS *opt, TR_ANCHOR *optionalTraceAnchor );
/** Lets the process run for the first time. */
void in___StackImpStart( IN___STACK_IMP *imp );
/** Ends the process: no run begins after this call. The last one may still go on. */
void in___StackImpHalt( IN___STACK_IMP *imp );
void in___StackImpSetOptions( IN___STACK_IMP *imp, IN_OPTIONS *opt );
void in___StackImpConfiguration( IN___STACK_IMP *imp, IN_OPTIONS **optionalOptions, IN_ADDRESS **optionalAddress,
    IN_NW_INTERFACE **optionalPrimaryInterface, PB_VECTOR **optionalInterfaces, PB_BOOL *optionalUp );
CS_STATUS_REPORTER *in___StackImpCsStatus( IN___STACK_IMP *imp );
void in___StackImpTraceCompleteAnchor( IN___STACK_IMP *imp, TR_ANCHOR *anchor );
void in___StackImpUpdateAddSignalable( IN___STACK_IMP *imp, PB_SIGNALABLE *signalable );
void in___StackImpUpdateDelSignalable( IN___STACK_IMP *imp, PB_SIGNALABLE *signalable );
void in___StackImpTcpBlacklist( IN___STACK_IMP *imp, IN_TCP_ADDRESS *ta );
PB_BOOL in___StackImpTcpIsBlacklisted( IN___STACK_IMP *imp, IN_TCP_ADDRESS *ta );
PB_STORE *in___StackImpTcpBlacklistStore( IN___STACK_IMP *imp );

void in___StackCsStartup();
void in___StackCsShutdown();
/** Aborts while stacks are held: their processes would outlive the domain that runs them. */
void in___StackShutdownWait();

#endif
