/*
 * What stands behind a filter. A process of its own follows the stack and rebuilds the table; the public object halts it
 * when it goes. Any thread.
 */
#ifndef IN_FILTER_IMP_PRIVATE_H
#define IN_FILTER_IMP_PRIVATE_H

#include <in/filter/in_filter_options.h>
#include <tr/tr.h>

PB_CLASS( IN___FILTER_IMP, in___FilterImp )

/** A new imp, whose first rebuild begins soon; it holds itself by its process until it is halted. */
IN___FILTER_IMP *in___FilterImpCreate( IN_FILTER_OPTIONS *options, TR_ANCHOR *optionalTraceAnchor );
/** Final: ends a rebuild that is under way and waits until it has. */
void in___FilterImpHalt( IN___FILTER_IMP *imp );

IN_FILTER_OPTIONS *in___FilterImpOptions( IN___FILTER_IMP *imp );
void in___FilterImpSetOptions( IN___FILTER_IMP *imp, IN_FILTER_OPTIONS *options );
PB_BOOL in___FilterImpCheck( IN___FILTER_IMP *imp, IN_ADDRESS *ina );
void in___FilterImpTraceCompleteAnchor( IN___FILTER_IMP *imp, TR_ANCHOR *anchor );

#endif
