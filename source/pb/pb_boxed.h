/* Integers as objects, for containers of objects. Immutable. */
#ifndef PB_BOXED_H
#define PB_BOXED_H

#include <pb/pb_obj.h>

PB_CLASS( PB_BOXED_INT, pbBoxedInt ) /* order: as numbers; text form: decimal */
/* Names: pbBoxedIntSort, pbBoxedIntObj, pbBoxedIntFrom, pbBoxedIntRetain, pbBoxedIntRelease, pbBoxedIntToString,
   pbBoxedIntCompare, pbBoxedIntEquals */

PB_API PB_BOXED_INT *pbBoxedIntCreate( PB_INT value );
PB_API PB_INT pbBoxedIntValue( PB_BOXED_INT *boxed );

#endif
