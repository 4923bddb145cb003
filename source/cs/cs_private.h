/*
 * What the files of the library share: the registered backends, the live store and who watches it. One monitor guards all
 * of it, together with the values of conditions, so that a change and what it means for those who watch are one step.
 *
 * Under the monitor nothing is called that is not ours and no last reference is dropped: a change puts the signals that it
 * asserts, and the references that it lets go, into an Aftermath, which does both once the monitor has been left.
 */
#ifndef CS_PRIVATE_H
#define CS_PRIVATE_H

#include <cs/cs.h>
#include <map>
#include <memory>
#include <pb/pb.hpp>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

/** What the module descriptor runs; tests call them too. */
PB_BOOL cs___ModuleStartup( void );
void cs___ModuleShutdown( void );
void cs___ModuleShutdownWait( void );

namespace cs {

/*
 * A registration in three parts: the object that the module holds, the record of what it registered, and the entry of
 * the record in the registry. Releasing the object takes the entry away; a call that is under way keeps the record.
 */
struct ModuleBackend {
    PB_MODULE *module;
    CS_MODULE_INFO_FUNC *info;
    pb::Ref<PB_OBJ> context;
};

struct SortBackend {
    const PB_SORT *sort;
    CS_SORT_TRY_CREATE_FUNC *tryCreate;
    CS_SORT_CONFIG_FUNC *config;
    CS_SORT_SET_CONFIG_FUNC *setConfig;
    CS_SORT_NORMALIZE_CONFIG_FUNC *normalizeConfig;
    CS_SORT_STATUS_FUNC *status;
    CS_SORT_TRACE_COMPLETE_ANCHOR_FUNC *traceCompleteAnchor;
};

struct UpdateBackend {
    CS_UPDATE_FUNC *update;
    pb::Ref<PB_OBJ> context;
};

using ModuleBackendPtr = std::shared_ptr<const ModuleBackend>;
using SortBackendPtr = std::shared_ptr<const SortBackend>;
using UpdateBackendPtr = std::shared_ptr<const UpdateBackend>;

struct Watch;

struct LiveObject {
    pb::Ref<PB_OBJ> object;
    SortBackendPtr backend;
};

/** What a change leaves to be done outside the monitor; make it before the lock, so that it ends after. */
class Aftermath {
public:
    Aftermath() = default;
    Aftermath( const Aftermath & ) = delete;
    Aftermath &operator=( const Aftermath & ) = delete;
    ~Aftermath();

    /** Puts a fresh signal in the place of one that is to be asserted. */
    void fire( pb::Ref<PB_SIGNAL> &signal );
    void drop( pb::Ref<PB_OBJ> object );
    /** The object's stream is to be linked with this one, whose owner begins to follow the object. */
    void link( pb::Ref<TR_STREAM> stream, pb::Ref<PB_OBJ> object, SortBackendPtr backend );

private:
    struct Link {
        pb::Ref<TR_STREAM> stream;
        pb::Ref<PB_OBJ> object;
        SortBackendPtr backend;
    };
    std::vector<pb::Ref<PB_SIGNAL>> signals;
    std::vector<pb::Ref<PB_OBJ>> objects;
    std::vector<Link> links;
};

/** Made at start-up, gone after shut-down. Keys are UTF-8. */
struct State {
    pb::Monitor monitor{ pb::Rank::store };
    pb::Monitor changes{ pb::Rank::storeTurn }; /* held by whoever changes the store, see cs_store.cpp */
    std::map<std::string, ModuleBackendPtr> modules PB_GUARDED_BY( monitor );
    std::unordered_map<std::string, SortBackendPtr> sorts PB_GUARDED_BY( monitor );
    std::unordered_map<std::string, CS_SORT_CHECK_FUNC *> checks PB_GUARDED_BY( monitor );
    std::multimap<std::string, UpdateBackendPtr> updates PB_GUARDED_BY( monitor ); /* by date, then as registered */

    pb::Ref<CS_CONFIG> config PB_GUARDED_BY( monitor ) = pb::adopt( csConfigCreate() ); /* what the store shall hold */
    std::unordered_map<std::string, LiveObject> live PB_GUARDED_BY( monitor );
    pb::Ref<PB_SIGNAL> liveSignal PB_GUARDED_BY( monitor ) = pb::adopt( pbSignalCreate() );

    std::unordered_map<std::string, std::unordered_set<Watch *>> watchesByName PB_GUARDED_BY( monitor );
    std::unordered_map<PB_OBJ *, std::unordered_set<Watch *>> watchesByCondition PB_GUARDED_BY( monitor );

    pb::Ref<TR_STREAM> stream = pb::adopt( trStreamCreateCstr( "CS_STORE", -1 ) );
};

extern pb::GlobalState<State> state;

/** Whoever follows the object of a name, or one that was given: the inside of both observer classes. */
struct Watch {
    Watch( const PB_SORT *watchedSort, bool watchesValue, const char *streamName, TR_ANCHOR *optionalAnchor );

    const PB_SORT *const sort;
    const bool ofValue; /* also told when the value of the condition that it follows changes */
    const pb::Ref<TR_STREAM> stream;
    pb::Ref<PB_STRING> name PB_GUARDED_BY( state->monitor );
    pb::Ref<PB_OBJ> direct PB_GUARDED_BY( state->monitor );
    pb::Ref<PB_OBJ> current PB_GUARDED_BY( state->monitor );
    pb::Ref<PB_SIGNAL> signal PB_GUARDED_BY( state->monitor ) = pb::adopt( pbSignalCreate() );
};

/** A registered backend, or null. */
SortBackendPtr sortBackend( PB_STRING *sortName );
SortBackendPtr sortBackendLocked( const std::string &sortName ) PB_REQUIRES( state->monitor );
/** What the check function of a sort says of a configuration, null when it has none. */
pb::Ref<PB_STORE> checkConfig( const std::string &sortName, PB_STORE *optionalConfig, CS_CONFIG *optionalFile );
/** All modules by name, all updates in their order. */
std::vector<ModuleBackendPtr> moduleBackends();
std::vector<UpdateBackendPtr> updateBackends();

/** Takes the live objects of a backend that goes out of the store. */
void storeForgetBackendLocked( const SortBackend *backend, Aftermath &after ) PB_REQUIRES( state->monitor );
/** Lets go of everything live, at shut-down. */
void storeClear();

/** Tells those who watch a name what lives under it now, null for nothing. */
void watchesNameChangedLocked( const std::string &name, PB_OBJ *object, Aftermath &after )
    PB_REQUIRES( state->monitor );
/** Tells those who follow a condition that its value changed. */
void watchesValueChangedLocked( PB_OBJ *condition, Aftermath &after ) PB_REQUIRES( state->monitor );
void watchConfigure( Watch &watch, PB_STRING *optionalName, PB_OBJ *optionalObject );
void watchEnd( Watch &watch );
pb::Ref<PB_OBJ> watchObject( Watch &watch );
pb::Ref<PB_SIGNAL> watchSignal( Watch &watch );

void conditionStartup();
void conditionShutdown();

/** The object records of a configuration, as they stand in the file, and one of them (null when it is not there). */
pb::Ref<PB_STORE> configObjects( CS_CONFIG *config );
pb::Ref<PB_STORE> configRecord( CS_CONFIG *config, PB_STRING *name );
void configSetRecord( CS_CONFIG **config, PB_STRING *name, PB_STORE *record );
void configSetModuleVersion( CS_CONFIG **config, PB_MODULE *module, PB_MODULE_VERSION *version );
/** Records the versions of the registered modules. */
void configSetCurrentVersions( CS_CONFIG **config );
/** Puts a text into an error argument. */
void setError( PB_STRING **error, pb::Ref<PB_STRING> text );

} // namespace cs

#endif
