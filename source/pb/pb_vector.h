/*
 * Vectors of objects, copy-on-write. Setters take PB_VECTOR ** and copy first when the vector is shared. The vector
 * holds a reference to each entry; entries are never null. Out-of-range indexes abort.
 */
#ifndef PB_VECTOR_H
#define PB_VECTOR_H

#include <pb/pb_obj.h>

PB_CLASS( PB_VECTOR, pbVector ) /* order: entry by entry, a prefix first; text form: "[a, b]" */
/* Names: pbVectorSort, pbVectorObj, pbVectorFrom, pbVectorRetain, pbVectorRelease, pbVectorToString, pbVectorCompare,
   pbVectorEquals */

PB_API PB_VECTOR *pbVectorCreate( void );
PB_API PB_VECTOR *pbVectorCreateFrom( PB_VECTOR *source );
PB_API PB_INT pbVectorLength( PB_VECTOR *vec );
/** The entry, a new reference. */
PB_API PB_OBJ *pbVectorObjAt( PB_VECTOR *vec, PB_INT index );
/** Whether every entry is of the sort. */
PB_API PB_BOOL pbVectorContainsOnly( PB_VECTOR *vec, const PB_SORT *sort );

PB_API void pbVectorAppend( PB_VECTOR **vec, PB_OBJ *obj );
PB_API void pbVectorPrepend( PB_VECTOR **vec, PB_OBJ *obj );
/** Inserts before `index`, 0..length. */
PB_API void pbVectorInsert( PB_VECTOR **vec, PB_INT index, PB_OBJ *obj );
PB_API void pbVectorSetObjAt( PB_VECTOR **vec, PB_INT index, PB_OBJ *obj );
/** Removes an entry. Removing the first one takes constant time over many calls. */
PB_API void pbVectorDelAt( PB_VECTOR **vec, PB_INT index );
PB_API void pbVectorClear( PB_VECTOR **vec );

#endif
