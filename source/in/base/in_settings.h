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
 * - prefixCheck: what prefixRestore passes over, a new store: the path of each such key ("portRange.count") leads to the
 *   reason ("unknown key", "wrong type", "does not parse", "out of range").
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

#endif
