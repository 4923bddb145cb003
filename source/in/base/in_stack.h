/*
 * A configured IP stack: follows the host's interfaces and keeps choosing, by its options, a local address, a primary
 * interface and the set of interfaces in use. Channels, listeners, queries and filters are created on one. It is down
 * until its process has run for the first time and found an interface that is up; wait on the update signal. Any thread.
 */
#ifndef IN_STACK_H
#define IN_STACK_H

#include <cs/cs.h>
#include <in/base/in_options.h>
#include <in/nw/in_nw_interface.h>

/** Orders by identity. When the last reference goes, the stack stops following the host. */
PB_CLASS( IN_STACK, inStack )
/* Names: inStackSort, inStackObj, inStackFrom, inStackRetain, inStackRelease, inStackToString, inStackCompare,
   inStackEquals */

/** A new stack, which begins to follow the host; the anchor is completed with its trace stream "IN_STACK". */
PB_API IN_STACK *inStackCreate( IN_OPTIONS *opt, TR_ANCHOR *optionalTraceAnchor );

/** The options last given, a new reference. */
PB_API IN_OPTIONS *inStackOptions( IN_STACK *stack );
/** Replaces the options; they take effect with the next run of the stack's process, soon. */
PB_API void inStackSetOptions( IN_STACK *stack, IN_OPTIONS *opt );

/** The chosen local address, a new reference, or null. */
PB_API IN_ADDRESS *inStackAddress( IN_STACK *stack );
PB_API PB_BOOL inStackHasAddress( IN_STACK *stack );
/** The primary interface, a new reference, or null. */
PB_API IN_NW_INTERFACE *inStackPrimaryInterface( IN_STACK *stack );
PB_API PB_BOOL inStackHasPrimaryInterface( IN_STACK *stack );
/** The interfaces in use, a new vector of IN_NW_INTERFACE; maybe empty. */
PB_API PB_VECTOR *inStackInterfacesVector( IN_STACK *stack );
/** Whether at least one of them is up. */
PB_API PB_BOOL inStackUp( IN_STACK *stack );

/**
 * All of that at one moment. Each argument may be null and is skipped then; an object behind one is null or owned by the
 * caller, and is replaced by a new reference, or by null where there is none.
 */
PB_API void inStackConfiguration( IN_STACK *stack, IN_OPTIONS **optionalOptions, IN_ADDRESS **optionalAddress,
    IN_NW_INTERFACE **optionalPrimaryInterface, PB_VECTOR **optionalInterfaces, PB_BOOL *optionalUp );

/**
 * Why the stack has the address that it has: what a selection by its options over the host's present interfaces looks
 * at, a new store. "candidates" is an array with a store for each address of the host: "address", "interfaces" (array of
 * identifiers), and either "droppedBy", the option that excludes it, or "score"; the one that wins has "chosen" true.
 */
PB_API PB_STORE *inStackSelection( IN_STACK *stack );

/**
 * The remote TCP addresses to which a connection of this stack's could not be made lately, a new array store, in the order
 * of the addresses: for each a store with its "address" and the "milliseconds" until the entry ends. A channel enters the
 * address when it is released, for the time of inTcpOptionsBlacklistTimeout. A program that has several addresses to choose
 * from tries these last; inTcpChannelTryCreate does not ask.
 */
PB_API PB_STORE *inStackTcpBlacklist( IN_STACK *stack );

/** The status reporter, a new reference: up or not, and the item "inStackAddress". It fires like the stack's updates. */
PB_API CS_STATUS_REPORTER *inStackCsStatus( IN_STACK *stack );
PB_API void inStackTraceCompleteAnchor( IN_STACK *stack, TR_ANCHOR *anchor );

/**
 * Fires after the next run of the stack's process, whether anything changed or not, on the thread "pr worker" that ran it.
 * Register again after that, and look then: what changes later fires again.
 */
PB_API void inStackUpdateAddSignalable( IN_STACK *stack, PB_SIGNALABLE *signalable );
PB_API void inStackUpdateDelSignalable( IN_STACK *stack, PB_SIGNALABLE *signalable );

#endif
