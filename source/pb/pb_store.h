/*
 * Stores: the tree that configurations are made of, copy-on-write. A store is either keyed (entries under text keys, in
 * the order they were written) or an array (entries by index). An entry is a value, that is a text, or a store.
 * A typed read of an entry that is absent or of another kind or type gives null or false and leaves the out argument.
 * Setting a key that is there replaces its entry in its place. Keys end in Cstr: UTF-8 with a length, -1 for
 * zero-terminated. Keyed reads of an array see no entries, keyed setters abort. Places count the entries of either kind
 * in their order; reads past the end see no entry, setters abort. Nesting has no limit.
 */
#ifndef PB_STORE_H
#define PB_STORE_H

#include <pb/pb_obj.h>
#include <pb/pb_string.h>

PB_CLASS( PB_STORE, pbStore ) /* order: entry by entry; text form: compact JSON */
/* Names: pbStoreSort, pbStoreObj, pbStoreFrom, pbStoreRetain, pbStoreRelease, pbStoreToString, pbStoreCompare,
   pbStoreEquals */

PB_API PB_STORE *pbStoreCreate( void );
PB_API PB_STORE *pbStoreCreateArray( void );
PB_API PB_STORE *pbStoreCreateFrom( PB_STORE *source );
PB_API PB_BOOL pbStoreIsArray( PB_STORE *store );
/** Number of entries. */
PB_API PB_INT pbStoreLength( PB_STORE *store );

/** Keyed reads: new references, or null. */
PB_API PB_STRING *pbStoreValueCstr( PB_STORE *store, const char *key, PB_INT length );
PB_API PB_STORE *pbStoreStoreCstr( PB_STORE *store, const char *key, PB_INT length );
/** Reads a value as an integer: an optional sign and decimal digits, or "0x" and hexadecimal ones. */
PB_API PB_BOOL pbStoreValueIntCstr( PB_STORE *store, PB_INT *value, const char *key, PB_INT length );
/** Reads a value as a boolean: "true" or "false". */
PB_API PB_BOOL pbStoreValueBoolCstr( PB_STORE *store, PB_BOOL *value, const char *key, PB_INT length );
PB_API PB_BOOL pbStoreHasValueCstr( PB_STORE *store, const char *key, PB_INT length );
PB_API PB_BOOL pbStoreHasStoreCstr( PB_STORE *store, const char *key, PB_INT length );

PB_API void pbStoreSetValueCstr( PB_STORE **store, const char *key, PB_INT length, PB_STRING *value );
PB_API void pbStoreSetValueIntCstr( PB_STORE **store, const char *key, PB_INT length, PB_INT value );
PB_API void pbStoreSetValueBoolCstr( PB_STORE **store, const char *key, PB_INT length, PB_BOOL value );
PB_API void pbStoreSetStoreCstr( PB_STORE **store, const char *key, PB_INT length, PB_STORE *value );
/** Removes an entry; a key that is not there changes nothing. */
PB_API void pbStoreDelCstr( PB_STORE **store, const char *key, PB_INT length );

/** Reads and writes by place. KeyAt is null in an array; ValueAt and StoreAt are null for an entry of the other kind. */
PB_API PB_STRING *pbStoreKeyAt( PB_STORE *store, PB_INT index );
PB_API PB_STRING *pbStoreValueAt( PB_STORE *store, PB_INT index );
PB_API PB_STORE *pbStoreStoreAt( PB_STORE *store, PB_INT index );
PB_API void pbStoreSetValueAt( PB_STORE **store, PB_INT index, PB_STRING *value );
PB_API void pbStoreSetStoreAt( PB_STORE **store, PB_INT index, PB_STORE *value );
PB_API void pbStoreDelAt( PB_STORE **store, PB_INT index );
/** Array stores only. */
PB_API void pbStoreAppendValue( PB_STORE **store, PB_STRING *value );
PB_API void pbStoreAppendStore( PB_STORE **store, PB_STORE *value );

/** The keyed functions with the key as a string. */
PB_API PB_STRING *pbStoreValue( PB_STORE *store, PB_STRING *key );
PB_API PB_STORE *pbStoreStore( PB_STORE *store, PB_STRING *key );
PB_API void pbStoreSetValue( PB_STORE **store, PB_STRING *key, PB_STRING *value );
PB_API void pbStoreSetStore( PB_STORE **store, PB_STRING *key, PB_STORE *value );
PB_API void pbStoreDel( PB_STORE **store, PB_STRING *key );

/**
 * Whether the value at a place is a bare word: an integer or boolean that was set as such, or a number, true, false or
 * null that stood without quotes in a file. It only decides how the value is written to a file again. Keyed or array.
 * Setting a text clears the mark; an entry that JSON does not allow without quotes does not take it.
 */
PB_API PB_BOOL pbStoreIsBareAt( PB_STORE *store, PB_INT index );
PB_API void pbStoreSetBareAt( PB_STORE **store, PB_INT index, PB_BOOL bare );

#endif
