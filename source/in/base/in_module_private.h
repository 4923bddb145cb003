/* Starting and stopping the module: called by the runtime through the descriptor, on one thread. */
#ifndef IN_MODULE_PRIVATE_H
#define IN_MODULE_PRIVATE_H

#include <in/base/in_module.h>
#include <pb/pb_store.h>

/** Brings the sub-parts up; always true. */
PB_BOOL in___ModuleStartup( void );
/** Phase one: stops what the configuration store and the monitor threads can still call into. */
void in___ModuleShutdown( void );
/** Phase two: frees the vocabularies and the socket engines, and waits for the interface monitor. */
void in___ModuleShutdownWait( void );

/** What the configuration store shows of the module: the host's interfaces. A new store. Any thread. */
PB_STORE *in___CsModuleInfoFunc( PB_OBJ *optionalContext );

#endif
