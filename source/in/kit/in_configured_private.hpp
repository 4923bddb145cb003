/*
 * Binding a configured class to the configuration store, written once. Creating restores options from the stored
 * configuration, or takes the defaults; normalising restores and stores again, so that what is unknown or bad disappears.
 */
#ifndef IN_CONFIGURED_PRIVATE_HPP
#define IN_CONFIGURED_PRIVATE_HPP

#include <cs/cs.h>
#include <pb/pb.hpp>

namespace in {

/** The functions of a class with options that the store calls. */
template <class T, class Options>
struct ConfiguredClass {
    T *( *from )( PB_OBJ *obj );
    T *( *create )( Options *options, TR_ANCHOR *optionalAnchor );
    Options *( *options )( T *object );
    void ( *setOptions )( T *object, Options *options );
    void ( *traceCompleteAnchor )( T *object, TR_ANCHOR *anchor );
    Options *( *createOptions )();
    Options *( *restoreOptions )( PB_STORE *store );
    PB_STORE *( *storeOptions )( Options *options, PB_BOOL full );
    PB_STORE *( *checkOptions )( PB_STORE *store, CS_CONFIG *optionalFile );
    CS_STATUS_REPORTER *( *optionalStatus )( PB_OBJ *obj );
};

/** What the store calls has no argument for the class, which is therefore one of the template. */
template <const auto &Class>
struct Configured {
    static PB_OBJ *tryCreate( PB_STORE *optionalConfig, TR_ANCHOR *optionalAnchor )
    {
        auto options = pb::adopt( optionalConfig ? Class.restoreOptions( optionalConfig ) : Class.createOptions() );
        return pb::obj( Class.create( options.get(), optionalAnchor ) );
    }
    static PB_STORE *config( PB_OBJ *obj, PB_BOOL full )
    {
        return Class.storeOptions( pb::adopt( Class.options( Class.from( obj ) ) ).get(), full );
    }
    static void setConfig( PB_OBJ *obj, PB_STORE *config )
    {
        Class.setOptions( Class.from( obj ), pb::adopt( Class.restoreOptions( config ) ).get() );
    }
    static PB_STORE *normalizeConfig( PB_STORE *config, PB_BOOL full )
    {
        PB_ASSERT( config );
        return Class.storeOptions( pb::adopt( Class.restoreOptions( config ) ).get(), full );
    }
    static void traceCompleteAnchor( PB_OBJ *obj, TR_ANCHOR *anchor )
    {
        Class.traceCompleteAnchor( Class.from( obj ), anchor );
    }
    static void start( pb::Global<CS_SORT_BACKEND> &backend, const PB_SORT *sort )
    {
        backend.set( csSortBackendCreate(
            sort, tryCreate, config, setConfig, normalizeConfig, Class.optionalStatus, traceCompleteAnchor ) );
        csSortBackendSetCheckFunc( backend.get(), Class.checkOptions );
    }
};

} // namespace in

/**
 * The handle, Startup and Shutdown of the binding of a class with a constructor, Options, SetOptions and
 * TraceCompleteAnchor, and of its options; `statusFunc` may be nullptr.
 */
#define IN_CONFIGURED_DEFINE(                                                                                         \
    CLASS, prefix, internalPrefix, OPTIONS, optionsPrefix, internalOptionsPrefix, statusFunc )                        \
    PB_STORE *internalOptionsPrefix##Check( PB_STORE *store, CS_CONFIG *optionalFile );                               \
    static constinit pb::Global<CS_SORT_BACKEND> internalPrefix##SortBackend;                                         \
    static constexpr in::ConfiguredClass<CLASS, OPTIONS> internalPrefix##Configured = { prefix##From, prefix##Create, \
        prefix##Options, prefix##SetOptions, prefix##TraceCompleteAnchor, optionsPrefix##Create,                      \
        optionsPrefix##Restore, optionsPrefix##Store, internalOptionsPrefix##Check, statusFunc };                     \
    void internalPrefix##CsStartup()                                                                                  \
    {                                                                                                                 \
        in::Configured<internalPrefix##Configured>::start( internalPrefix##SortBackend, prefix##Sort() );             \
    }                                                                                                                 \
    void internalPrefix##CsShutdown()                                                                                 \
    {                                                                                                                 \
        internalPrefix##SortBackend.drop();                                                                           \
    }                                                                                                                 \
    static_assert( true )

#endif
