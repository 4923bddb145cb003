/*
 * Declarations that options have in common. A setting is a value and whether it was left at its default; a chosen value may
 * equal the default and still counts as chosen.
 */
#ifndef IN_SETTINGS_H
#define IN_SETTINGS_H

#include <pb/pb_store.h>

/**
 * Declares what every options class has. Values: immutable while shared, any thread; setters take the address of the
 * caller's handle, abort when it or its object is null, and copy first. Order: field by field, a default before a chosen
 * value, an absent part before a present one.
 *
 * - prefixCreate: new options, everything at its default.
 * - prefixCreateFrom: a new, unshared copy.
 * - prefixRestore: new options from a store; keys that are absent, unknown or hold something bad leave the default.
 * - prefixCheck: what prefixRestore passes over, and what it takes without an effect, a new store: the path of each such
 *   key ("portRange.count") leads to the reason, in words ("unknown key", "70000 is out of range").
 */
#define IN_OPTIONS_CLASS( NAME, prefix )             \
    PB_CLASS( NAME, prefix )                         \
    PB_API NAME *prefix##Create( void );             \
    PB_API NAME *prefix##CreateFrom( NAME *source ); \
    PB_API NAME *prefix##Restore( PB_STORE *store ); \
    PB_API PB_STORE *prefix##Check( PB_STORE *store )

/** A setting of plain type: prefixName, prefixSetName, prefixNameDefault (is it), prefixSetNameDefault. */
#define IN_SETTING( NAME, prefix, Name, TYPE )               \
    PB_API TYPE prefix##Name( NAME *opt );                   \
    PB_API void prefix##Set##Name( NAME **opt, TYPE value ); \
    PB_API PB_BOOL prefix##Name##Default( NAME *opt );       \
    PB_API void prefix##Set##Name##Default( NAME **opt )

/** The same for options within options: the getter returns a new reference, the setter aborts on null. */
#define IN_INNER_OPTIONS( NAME, prefix, Name, TYPE )          \
    PB_API TYPE *prefix##Name( NAME *opt );                   \
    PB_API void prefix##Set##Name( NAME **opt, TYPE *value ); \
    PB_API PB_BOOL prefix##Name##Default( NAME *opt );        \
    PB_API void prefix##Set##Name##Default( NAME **opt )

/** An optional part: prefixName (a new reference, or null), prefixHasName, prefixSetName (aborts on null), prefixDelName. */
#define IN_OPTIONAL( NAME, prefix, Name, TYPE )               \
    PB_API TYPE *prefix##Name( NAME *opt );                   \
    PB_API PB_BOOL prefix##Has##Name( NAME *opt );            \
    PB_API void prefix##Set##Name( NAME **opt, TYPE *value ); \
    PB_API void prefix##Del##Name( NAME **opt )

/** The same for an integer: prefixName gives -1 when it is absent. */
#define IN_OPTIONAL_INT( NAME, prefix, Name )                  \
    PB_API PB_INT prefix##Name( NAME *opt );                   \
    PB_API PB_BOOL prefix##Has##Name( NAME *opt );             \
    PB_API void prefix##Set##Name( NAME **opt, PB_INT value ); \
    PB_API void prefix##Del##Name( NAME **opt )

/**
 * A vector part, with the accessors of vectors: prefixItemsLength, prefixItemsVector (a new reference), prefixItemAt (a new
 * reference), prefixSetItemAt, prefixDelItemAt, prefixAppendItem, prefixPrependItem, prefixInsertItem (before the index),
 * prefixClearItems, prefixSetItemsVector. Null, and an index out of range, abort.
 */
#define IN_ITEMS( NAME, prefix, Item, Items, TYPE )                            \
    PB_API PB_INT prefix##Items##Length( NAME *opt );                          \
    PB_API PB_VECTOR *prefix##Items##Vector( NAME *opt );                      \
    PB_API TYPE *prefix##Item##At( NAME *opt, PB_INT index );                  \
    PB_API void prefix##Set##Item##At( NAME **opt, PB_INT index, TYPE *item ); \
    PB_API void prefix##Del##Item##At( NAME **opt, PB_INT index );             \
    PB_API void prefix##Append##Item( NAME **opt, TYPE *item );                \
    PB_API void prefix##Prepend##Item( NAME **opt, TYPE *item );               \
    PB_API void prefix##Insert##Item( NAME **opt, PB_INT index, TYPE *item );  \
    PB_API void prefix##Clear##Items( NAME **opt );                            \
    PB_API void prefix##Set##Items##Vector( NAME **opt, PB_VECTOR *items )

#endif
