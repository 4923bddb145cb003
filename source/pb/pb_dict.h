/*
 * Dictionaries from object to object, copy-on-write, keys in compare order (pbObjCompare). The dictionary holds a
 * reference to each key and value; neither is ever null. Look-up, set and delete take logarithmic time. A key must not
 * change while it is in; values are immutable while shared, so none can.
 */
#ifndef PB_DICT_H
#define PB_DICT_H

#include <pb/pb_vector.h>

PB_CLASS( PB_DICT, pbDict ) /* order: entry by entry, key before value; text form: "{a: b, c: d}" */
/* Names: pbDictSort, pbDictObj, pbDictFrom, pbDictRetain, pbDictRelease, pbDictToString, pbDictCompare, pbDictEquals */

PB_API PB_DICT *pbDictCreate( void );
PB_API PB_DICT *pbDictCreateFrom( PB_DICT *source );
PB_API PB_INT pbDictLength( PB_DICT *dict );
PB_API PB_BOOL pbDictHas( PB_DICT *dict, PB_OBJ *key );
/** The value under an equal key, a new reference, or null. */
PB_API PB_OBJ *pbDictValue( PB_DICT *dict, PB_OBJ *key );
/** The entry at a place in key order, a new reference. Place 0 takes constant time, others linear time; aborts out of range. */
PB_API PB_OBJ *pbDictKeyAt( PB_DICT *dict, PB_INT index );
PB_API PB_OBJ *pbDictValueAt( PB_DICT *dict, PB_INT index );
/** All keys, or all values, in key order, a new vector. */
PB_API PB_VECTOR *pbDictKeysVector( PB_DICT *dict );
PB_API PB_VECTOR *pbDictValuesVector( PB_DICT *dict );
/** Enters or replaces; an equal key that is there already stays, only the value changes. */
PB_API void pbDictSet( PB_DICT **dict, PB_OBJ *key, PB_OBJ *value );
/** Removes an entry; a key that is not there changes nothing. */
PB_API void pbDictDel( PB_DICT **dict, PB_OBJ *key );
PB_API void pbDictClear( PB_DICT **dict );

#endif
