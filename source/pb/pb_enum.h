/* Vocabularies: enumerations and flag sets that know the names of their members. Copy-on-write. */
#ifndef PB_ENUM_H
#define PB_ENUM_H

#include <pb/pb_string.h>

PB_CLASS( PB_ENUM, pbEnum )
/* Names: pbEnumSort, pbEnumObj, pbEnumFrom, pbEnumRetain, pbEnumRelease, pbEnumToString, pbEnumCompare, pbEnumEquals */

PB_API PB_ENUM *pbEnumCreate( void );
PB_API PB_ENUM *pbEnumCreateFrom( PB_ENUM *source );
/** Adds a member; names and values are unique, a second one aborts. Values are not negative. */
PB_API void pbEnumAddCstr( PB_ENUM **enm, const char *name, PB_INT length, PB_INT value );
PB_API PB_BOOL pbEnumHasCstr( PB_ENUM *enm, const char *name, PB_INT length );
/** The value of a name, exactly as it was added; -1 for an unknown text. */
PB_API PB_INT pbEnumParse( PB_ENUM *enm, PB_STRING *text );
/** The name of a value, a new string; aborts on an unknown value. */
PB_API PB_STRING *pbEnumGenerate( PB_ENUM *enm, PB_INT value );

PB_CLASS( PB_FLAGSET, pbFlagset )
/* Names: pbFlagsetSort, pbFlagsetObj, pbFlagsetFrom, pbFlagsetRetain, pbFlagsetRelease, pbFlagsetToString,
   pbFlagsetCompare, pbFlagsetEquals */

PB_API PB_FLAGSET *pbFlagsetCreate( void );
PB_API PB_FLAGSET *pbFlagsetCreateFrom( PB_FLAGSET *source );
/** Adds a flag; the name must be new, the value must be one bit. Of several names for a bit the first is written. */
PB_API void pbFlagsetAddFlagCstr( PB_FLAGSET **set, const char *name, PB_INT length, PB_INT value );
PB_API PB_BOOL pbFlagsetHasFlagCstr( PB_FLAGSET *set, const char *name, PB_INT length );
/** The flags that a text names: names joined by "|", blanks around them allowed; unknown names are left out. */
PB_API PB_INT pbFlagsetParse( PB_FLAGSET *set, PB_STRING *text );
/** The names of the flags joined by "|", lowest bit first, a new string; bits without a name are left out; "" for none. */
PB_API PB_STRING *pbFlagsetGenerate( PB_FLAGSET *set, PB_INT flags );

/** Adds the flag under its own name; aborts when the name is in the set already. `set` is a PB_FLAGSET **. */
#define PB_FLAGSET_ADD( set, flag )                                                                             \
    ( pbFlagsetHasFlagCstr( *( set ), #flag, -1 )                                                               \
            ? pb___Abort( NULL, __FILE__, __LINE__, "!pbFlagsetHasFlagCstr( *(" #set "), \"" #flag "\", -1 )" ) \
            : pbFlagsetAddFlagCstr( set, #flag, -1, flag ) )
/** Adds the enumerant under its own name. `enm` is a PB_ENUM **. */
#define PB_ENUM_ADD( enm, enumerant ) ( pbEnumAddCstr( enm, #enumerant, -1, enumerant ) )

#endif
