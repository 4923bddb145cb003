/*
 * Binding a configured class to the configuration store, written once. Creating restores options from the stored
 * configuration, or takes the defaults; normalising restores and stores again, so that what is unknown or bad disappears.
 */
#ifndef IN_CONFIGURED_PRIVATE_HPP
#define IN_CONFIGURED_PRIVATE_HPP

#include <cs/cs.h>
#include <pb/pb.hpp>

/**
 * The functions, the handle, Startup and Shutdown of the binding of a class with a constructor, Options, SetOptions and
 * TraceCompleteAnchor, and of its options; `statusFunc` may be nullptr.
 */
#define IN_CONFIGURED_DEFINE(                                                                                 \
    CLASS, prefix, internalPrefix, OPTIONS, optionsPrefix, internalOptionsPrefix, statusFunc )                \
    PB_STORE *internalOptionsPrefix##Check( PB_STORE *store, CS_CONFIG *optionalFile );                       \
    static constinit pb::Global<CS_SORT_BACKEND> internalPrefix##SortBackend;                                 \
    static PB_OBJ *internalPrefix##TryCreateFunc( PB_STORE *optionalConfig, TR_ANCHOR *optionalAnchor )       \
    {                                                                                                         \
        pb::Ref<OPTIONS> options =                                                                            \
            pb::adopt( optionalConfig ? optionsPrefix##Restore( optionalConfig ) : optionsPrefix##Create() ); \
        return prefix##Obj( prefix##Create( options.get(), optionalAnchor ) );                                \
    }                                                                                                         \
    static PB_STORE *internalPrefix##ConfigFunc( PB_OBJ *obj, PB_BOOL full )                                  \
    {                                                                                                         \
        pb::Ref<OPTIONS> options = pb::adopt( prefix##Options( prefix##From( obj ) ) );                       \
        return optionsPrefix##Store( options.get(), full );                                                   \
    }                                                                                                         \
    static void internalPrefix##SetConfigFunc( PB_OBJ *obj, PB_STORE *config )                                \
    {                                                                                                         \
        prefix##SetOptions( prefix##From( obj ), pb::adopt( optionsPrefix##Restore( config ) ).get() );       \
    }                                                                                                         \
    static PB_STORE *internalPrefix##NormalizeConfigFunc( PB_STORE *config, PB_BOOL full )                    \
    {                                                                                                         \
        PB_ASSERT( config );                                                                                  \
        return optionsPrefix##Store( pb::adopt( optionsPrefix##Restore( config ) ).get(), full );             \
    }                                                                                                         \
    static void internalPrefix##TraceCompleteAnchorFunc( PB_OBJ *obj, TR_ANCHOR *anchor )                     \
    {                                                                                                         \
        prefix##TraceCompleteAnchor( prefix##From( obj ), anchor );                                           \
    }                                                                                                         \
    void internalPrefix##CsStartup()                                                                          \
    {                                                                                                         \
        internalPrefix##SortBackend.set( csSortBackendCreate( prefix##Sort(), internalPrefix##TryCreateFunc,  \
            internalPrefix##ConfigFunc, internalPrefix##SetConfigFunc, internalPrefix##NormalizeConfigFunc,   \
            statusFunc, internalPrefix##TraceCompleteAnchorFunc ) );                                          \
        csSortBackendSetCheckFunc( internalPrefix##SortBackend.get(), internalOptionsPrefix##Check );         \
    }                                                                                                         \
    void internalPrefix##CsShutdown()                                                                         \
    {                                                                                                         \
        internalPrefix##SortBackend.drop();                                                                   \
    }                                                                                                         \
    static_assert( true )

#endif
