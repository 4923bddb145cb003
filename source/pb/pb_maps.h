/*
 * Two ordered maps, copy-on-write. Range maps lead from integer ranges to objects; priority maps keep objects by an
 * integer, for example what expires at which time. All operations take logarithmic time.
 */
#ifndef PB_MAPS_H
#define PB_MAPS_H

#include <pb/pb_obj.h>

PB_CLASS( PB_RANGE_MAP, pbRangeMap ) /* order: range by range; text form: "{1..5: a, 7..7: b}" */
/* Names: pbRangeMapSort, pbRangeMapObj, pbRangeMapFrom, pbRangeMapRetain, pbRangeMapRelease, pbRangeMapToString,
   pbRangeMapCompare, pbRangeMapEquals */

PB_API PB_RANGE_MAP *pbRangeMapCreate( void );
PB_API PB_RANGE_MAP *pbRangeMapCreateFrom( PB_RANGE_MAP *source );
/** Number of ranges. */
PB_API PB_INT pbRangeMapLength( PB_RANGE_MAP *map );
/** The object of the range that holds `key`, a new reference, or null. */
PB_API PB_OBJ *pbRangeMapValue( PB_RANGE_MAP *map, PB_INT key );
/** Lets the range first..last (both included, first <= last) lead to `value`; what it covered of other ranges is cut off. */
PB_API void pbRangeMapSetRange( PB_RANGE_MAP **map, PB_INT first, PB_INT last, PB_OBJ *value );
PB_API void pbRangeMapSetKey( PB_RANGE_MAP **map, PB_INT key, PB_OBJ *value );
PB_API void pbRangeMapDelRange( PB_RANGE_MAP **map, PB_INT first, PB_INT last );

PB_CLASS( PB_PRIORITY_MAP, pbPriorityMap ) /* order: entry by entry; text form: "{10: a, 20: b}" */
/* Names: pbPriorityMapSort, pbPriorityMapObj, pbPriorityMapFrom, pbPriorityMapRetain, pbPriorityMapRelease,
   pbPriorityMapToString, pbPriorityMapCompare, pbPriorityMapEquals */

PB_API PB_PRIORITY_MAP *pbPriorityMapCreate( void );
PB_API PB_PRIORITY_MAP *pbPriorityMapCreateFrom( PB_PRIORITY_MAP *source );
PB_API PB_INT pbPriorityMapLength( PB_PRIORITY_MAP *map );
PB_API PB_BOOL pbPriorityMapHas( PB_PRIORITY_MAP *map, PB_OBJ *obj );
/** The priority of an object that is in; aborts when it is not. */
PB_API PB_INT pbPriorityMapPriority( PB_PRIORITY_MAP *map, PB_OBJ *obj );
/** The lowest priority, or its object (a new reference; of several the first by compare order). Aborts when empty. */
PB_API PB_INT pbPriorityMapLowestPriority( PB_PRIORITY_MAP *map );
PB_API PB_OBJ *pbPriorityMapLowestObj( PB_PRIORITY_MAP *map );
/** Enters an object or changes its priority; an object stands in the map once. */
PB_API void pbPriorityMapSet( PB_PRIORITY_MAP **map, PB_OBJ *obj, PB_INT priority );
/** Removes an object; one that is not in changes nothing. */
PB_API void pbPriorityMapDel( PB_PRIORITY_MAP **map, PB_OBJ *obj );
/** Removes the object that pbPriorityMapLowestObj gives. Aborts when empty. */
PB_API void pbPriorityMapDelLowest( PB_PRIORITY_MAP **map );

#endif
