/*
 * Vocabularies of the library, written once: what every enumeration and every flag set has. A file defines the handle and
 * its functions with one of these, and a Startup function that registers the members, one line each or from a list.
 */
#ifndef IN_VOCABULARY_PRIVATE_HPP
#define IN_VOCABULARY_PRIVATE_HPP

#include <in/base/in_vocabulary.h>
#include <pb/pb.hpp>

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
        PB_ASSERT( pbs );                                                     \
        return prefix##Normalize( pbFlagsetParse( handle.get(), pbs ) );      \
    }                                                                         \
    PB_STRING *prefix##ToString( PB_INT flags )                               \
    {                                                                         \
        return pbFlagsetGenerate( handle.get(), prefix##Normalize( flags ) ); \
    }                                                                         \
    static_assert( true )

/** The handle, Shutdown, FromString and ToString of an enumeration; `ok` tests `parameter`, and is the text of the abort. */
#define IN_ENUM_DEFINE( prefix, internalPrefix, handle, parameter, ok ) \
    constinit pb::Global<PB_ENUM> handle;                               \
    void internalPrefix##Shutdown()                                     \
    {                                                                   \
        handle.drop();                                                  \
    }                                                                   \
    PB_INT prefix##FromString( PB_STRING *pbs )                         \
    {                                                                   \
        PB_ASSERT( pbs );                                               \
        return pbEnumParse( handle.get(), pbs );                        \
    }                                                                   \
    PB_STRING *prefix##ToString( PB_INT parameter )                     \
    {                                                                   \
        if ( !( ok ) )                                                  \
            pb___Abort( nullptr, __FILE__, __LINE__, #ok );             \
        return pbEnumGenerate( handle.get(), parameter );               \
    }                                                                   \
    static_assert( true )

/** The Startup function of an enumeration whose members stand in a list. */
#define IN_ENUM_STARTUP_DEFINE( internalPrefix, handle, LIST ) \
    void internalPrefix##Startup()                             \
    {                                                          \
        handle.set( pbEnumCreate() );                          \
        LIST( IN_ENUM_REGISTER, &handle )                      \
    }                                                          \
    static_assert( true )
#define IN_ENUM_REGISTER( handle, name, value ) PB_ENUM_ADD( handle, name );

#endif
