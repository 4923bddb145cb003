/*
 * Vocabularies of the library, written once: what every enumeration and every flag set has. A file names the handle and its
 * functions with one of these macros, and has a Startup function that registers the members.
 */
#ifndef IN_VOCABULARY_PRIVATE_HPP
#define IN_VOCABULARY_PRIVATE_HPP

#include <in/kit/in_accessors_private.hpp>
#include <pb/pb_enum.h>

namespace in {

inline PB_INT flagsFromString( const pb::Global<PB_FLAGSET> &flagset, PB_INT mask, PB_STRING *pbs, const Place &place )
{
    return pbFlagsetParse( flagset.get(), &existing( pbs, place ) ) & mask;
}

inline PB_INT enumFromString( const pb::Global<PB_ENUM> &enumeration, PB_STRING *pbs, const Place &place )
{
    return pbEnumParse( enumeration.get(), &existing( pbs, place ) );
}

/** The name of a value for which `ok` holds; `okText` is that of the abort when it does not. */
inline PB_STRING *enumToString(
    const pb::Global<PB_ENUM> &enumeration, PB_INT value, bool ok, const char *okText, const Place &place )
{
    assertAt( ok, okText, place );
    return pbEnumGenerate( enumeration.get(), value );
}

struct Enumerant {
    const char *name;
    PB_INT value;
};

template <std::size_t count>
void startEnum( pb::Global<PB_ENUM> &enumeration, const Enumerant ( &enumerants )[count] )
{
    enumeration.set( pbEnumCreate() );
    for ( const Enumerant &enumerant : enumerants )
        pbEnumAddCstr( &enumeration, enumerant.name, -1, enumerant.value );
}

} // namespace in

/** Declares the handle of a vocabulary and its Startup and Shutdown functions: in_<name>_private.h. */
#define IN_VOCABULARY_DECLARE( CLASS, internalPrefix, handle ) \
    extern pb::Global<CLASS> handle;                           \
    void internalPrefix##Startup();                            \
    void internalPrefix##Shutdown()

/** The handle, Shutdown, Normalize, FromString and ToString of a flag set; `mask` holds the defined flags. */
#define IN_FLAGS_DEFINE( prefix, internalPrefix, handle, mask )               \
    constinit pb::Global<PB_FLAGSET> handle;                                  \
    void internalPrefix##Shutdown()                                           \
    {                                                                         \
        handle.drop();                                                        \
    }                                                                         \
    PB_INT prefix##Normalize( PB_INT flags )                                  \
    {                                                                         \
        return flags & ( mask );                                              \
    }                                                                         \
    PB_INT prefix##FromString( PB_STRING *pbs )                               \
    {                                                                         \
        return in::flagsFromString( handle, mask, pbs, IN_PLACE( pbs ) );     \
    }                                                                         \
    PB_STRING *prefix##ToString( PB_INT flags )                               \
    {                                                                         \
        return pbFlagsetGenerate( handle.get(), prefix##Normalize( flags ) ); \
    }                                                                         \
    static_assert( true )

/** The handle, Shutdown, FromString and ToString of an enumeration; `ok` tests `parameter`, and is the text of the abort. */
#define IN_ENUM_DEFINE( prefix, internalPrefix, handle, parameter, ok )               \
    constinit pb::Global<PB_ENUM> handle;                                             \
    void internalPrefix##Shutdown()                                                   \
    {                                                                                 \
        handle.drop();                                                                \
    }                                                                                 \
    PB_INT prefix##FromString( PB_STRING *pbs )                                       \
    {                                                                                 \
        return in::enumFromString( handle, pbs, IN_PLACE( pbs ) );                    \
    }                                                                                 \
    PB_STRING *prefix##ToString( PB_INT parameter )                                   \
    {                                                                                 \
        return in::enumToString( handle, parameter, ok, #ok, IN_PLACE( parameter ) ); \
    }                                                                                 \
    static_assert( true )

/** The Startup function of an enumeration whose members stand in a list. */
#define IN_ENUM_STARTUP_DEFINE( internalPrefix, handle, LIST )                                \
    static constexpr in::Enumerant internalPrefix##Enumerants[] = { LIST( IN___ENUM_ROW, ) }; \
    void internalPrefix##Startup()                                                            \
    {                                                                                         \
        in::startEnum( handle, internalPrefix##Enumerants );                                  \
    }                                                                                         \
    static_assert( true )
#define IN___ENUM_ROW( context, name, value ) { #name, name },

#endif
