/*
 * The module "in". A program loads it with pbRuntimeTryStart( "in", -1 ), which starts it, and stops it with
 * pbRuntimeStop(). Every other function of the library may be used only in between. It is not started twice.
 */
#ifndef IN_MODULE_H
#define IN_MODULE_H

#include <pb/pb_module.h>

/** The module's descriptor: static, never released. */
PB_API PB_MODULE *inModule( void );

#endif
