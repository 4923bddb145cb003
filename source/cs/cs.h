/*
 * The configuration store. Named objects of registered sorts are created from stored configurations, reconfigured while
 * they live, normalised, and asked for their status. A configuration is one JSON file:
 *
 *     {
 *         "modules": { "in": "17.1" },
 *         "objects": {
 *             "voice": { "sort": "IN_STACK", "config": { "interface": "eth0" } }
 *         }
 *     }
 *
 * "modules" tells which module versions the objects were written by. Keys that nobody knows are kept.
 *
 * A CS_CONFIG is such a file as a value; the live store (csStore...) is the process's one set of objects made from it.
 * All functions may be called on any thread. Functions of backends are called outside every lock of cs but one: changes
 * of the live store go one after the other, and csStoreConfig stands between them. A backend's function may change the
 * store itself, which takes effect at once; it must not wait for another thread that changes or stores it. Objects that
 * leave are released, and signals asserted, when the change is over.
 */
#ifndef CS_H
#define CS_H

#include <pb/pb.h>
#include <tr/tr.h>

typedef struct CS_CONFIG CS_CONFIG; /* a configuration file as a value, see below */

/**
 * Whether a text can name an object: 1 to 255 code points, no control characters, no white space at either end, and
 * none of `/ \ "`.
 */
PB_API PB_BOOL csObjectRecordNameOk( PB_STRING *name );

/* ---- what modules register; each registration lasts until its object is released ---- */

PB_CLASS( CS_MODULE_BACKEND, csModuleBackend )
/* Names: csModuleBackendSort, csModuleBackendObj, csModuleBackendFrom, csModuleBackendRetain, csModuleBackendRelease,
   csModuleBackendToString, csModuleBackendCompare, csModuleBackendEquals */

/** Describes the module's surroundings, a new store. */
typedef PB_STORE *CS_MODULE_INFO_FUNC( PB_OBJ *optionalContext );
/** Registers a module; `optionalContext` is retained and handed to the function. */
PB_API CS_MODULE_BACKEND *csModuleBackendCreate(
    PB_MODULE *module, CS_MODULE_INFO_FUNC *optionalInfoFunc, PB_OBJ *optionalContext );
/** The info of a registered module, a new store; null when the module is not registered or has no info function. */
PB_API PB_STORE *csModuleInfo( PB_MODULE *module );

PB_CLASS( CS_STATUS_REPORTER, csStatusReporter )
/* Names: csStatusReporterSort, csStatusReporterObj, csStatusReporterFrom, csStatusReporterRetain,
   csStatusReporterRelease, csStatusReporterToString, csStatusReporterCompare, csStatusReporterEquals */

/** What an object tells of itself: whether it is up (at first not), and items of text. */
PB_API CS_STATUS_REPORTER *csStatusReporterCreate( void );
PB_API PB_BOOL csStatusReporterUp( CS_STATUS_REPORTER *reporter );
PB_API void csStatusReporterSetUp( CS_STATUS_REPORTER *reporter, PB_BOOL up );
PB_API void csStatusReporterSetItemCstr(
    CS_STATUS_REPORTER *reporter, const char *key, PB_INT length, PB_STRING *value );
PB_API void csStatusReporterDelItemCstr( CS_STATUS_REPORTER *reporter, const char *key, PB_INT length );
/** The items, a new store. */
PB_API PB_STORE *csStatusReporterItems( CS_STATUS_REPORTER *reporter );
/** Fires at the next change, on the thread that makes it; register again after that. */
PB_API void csStatusReporterUpdateAddSignalable( CS_STATUS_REPORTER *reporter, PB_SIGNALABLE *signalable );
PB_API void csStatusReporterUpdateDelSignalable( CS_STATUS_REPORTER *reporter, PB_SIGNALABLE *signalable );

PB_CLASS( CS_SORT_BACKEND, csSortBackend )
/* Names: csSortBackendSort, csSortBackendObj, csSortBackendFrom, csSortBackendRetain, csSortBackendRelease,
   csSortBackendToString, csSortBackendCompare, csSortBackendEquals */

/**
 * A new object from a stored configuration, or from the defaults when it is null; null when it cannot be, after telling
 * why with csSortTellReason.
 */
typedef PB_OBJ *CS_SORT_TRY_CREATE_FUNC( PB_STORE *optionalConfig, TR_ANCHOR *optionalAnchor );
/** The configuration of an object, a new store; `full` asks for defaulted values too. */
typedef PB_STORE *CS_SORT_CONFIG_FUNC( PB_OBJ *obj, PB_BOOL full );
typedef void CS_SORT_SET_CONFIG_FUNC( PB_OBJ *obj, PB_STORE *config );
/** The normalised form of a configuration, a new store: unknown keys and invalid values are gone. */
typedef PB_STORE *CS_SORT_NORMALIZE_CONFIG_FUNC( PB_STORE *config, PB_BOOL full );
/** The object's status reporter, a new reference. */
typedef CS_STATUS_REPORTER *CS_SORT_STATUS_FUNC( PB_OBJ *obj );
typedef void CS_SORT_TRACE_COMPLETE_ANCHOR_FUNC( PB_OBJ *obj, TR_ANCHOR *anchor );

/** To be called by a function that creates, before it gives null: why, in words, for the error text of the store. */
PB_API void csSortTellReason( PB_STRING *reason );

/**
 * Makes a sort configurable. A sort is registered once; the status and trace functions may be null. When the
 * registration is released the live objects of the sort leave the store; a call that began before may still run.
 */
PB_API CS_SORT_BACKEND *csSortBackendCreate( const PB_SORT *sort, CS_SORT_TRY_CREATE_FUNC *tryCreateFunc,
    CS_SORT_CONFIG_FUNC *configFunc, CS_SORT_SET_CONFIG_FUNC *setConfigFunc,
    CS_SORT_NORMALIZE_CONFIG_FUNC *normalizeConfigFunc, CS_SORT_STATUS_FUNC *optionalStatusFunc,
    CS_SORT_TRACE_COMPLETE_ANCHOR_FUNC *optionalTraceCompleteAnchorFunc );
/**
 * What normalising would pass over in a configuration, and what has no effect, a new store: the path of each such key
 * ("udpOptions.portRange") leads to the reason, in words. The file that the configuration stands in is there to look up what it refers to.
 */
typedef PB_STORE *CS_SORT_CHECK_FUNC( PB_STORE *config, CS_CONFIG *optionalFile );
/** Lets configurations of the sort be checked; once, right after registering. */
PB_API void csSortBackendSetCheckFunc( CS_SORT_BACKEND *backend, CS_SORT_CHECK_FUNC *checkFunc );
/** Whether a sort of that name is registered. */
PB_API PB_BOOL csSortRegistered( PB_STRING *sortName );

/* ---- dated updates ---- */

/** A configuration on its way to the current form. Copy-on-write. */
PB_CLASS( CS_UPDATE, csUpdate )
PB_CLASS( CS_UPDATE_OBJECT, csUpdateObject )
PB_CLASS( CS_UPDATE_OBJECTS, csUpdateObjects )
PB_CLASS( CS_UPDATE_BACKEND, csUpdateBackend )
/* Names: csUpdateSort, csUpdateObj, csUpdateFrom, csUpdateRetain, csUpdateRelease, csUpdateToString, csUpdateCompare,
   csUpdateEquals, csUpdateObjectSort, csUpdateObjectObj, csUpdateObjectFrom, csUpdateObjectRetain,
   csUpdateObjectRelease, csUpdateObjectToString, csUpdateObjectCompare, csUpdateObjectEquals, csUpdateObjectsSort,
   csUpdateObjectsObj, csUpdateObjectsFrom, csUpdateObjectsRetain, csUpdateObjectsRelease, csUpdateObjectsToString,
   csUpdateObjectsCompare, csUpdateObjectsEquals, csUpdateBackendSort, csUpdateBackendObj, csUpdateBackendFrom,
   csUpdateBackendRetain, csUpdateBackendRelease, csUpdateBackendToString, csUpdateBackendCompare,
   csUpdateBackendEquals */

typedef void CS_UPDATE_FUNC( CS_UPDATE **update, PB_OBJ *optionalContext );
/** Registers an update under its date, "2013-01-04" (aborts on another form). Updates run in date order. */
PB_API CS_UPDATE_BACKEND *csUpdateBackendCreateCstr(
    const char *date, PB_INT length, CS_UPDATE_FUNC *func, PB_OBJ *optionalContext );

/** The version of the module that wrote the configuration, a new reference, or null when it is not recorded. */
PB_API PB_MODULE_VERSION *csUpdateModuleVersion( CS_UPDATE *update, PB_MODULE *module );
PB_API void csUpdateSetModuleVersion( CS_UPDATE **update, PB_MODULE *module, PB_MODULE_VERSION *version );
/** All objects of a sort, by name in the order of the file. */
PB_API CS_UPDATE_OBJECTS *csUpdateObjectsBySort( CS_UPDATE *update, const PB_SORT *sort );
PB_API CS_UPDATE_OBJECTS *csUpdateObjectsBySortName( CS_UPDATE *update, PB_STRING *sortName );
/** One object, a new reference, or null. */
PB_API CS_UPDATE_OBJECT *csUpdateObject( CS_UPDATE *update, PB_STRING *name );
/** Puts an object under a name, in the place of the one that is there. */
PB_API void csUpdateSetObject( CS_UPDATE **update, PB_STRING *name, CS_UPDATE_OBJECT *object );

PB_API PB_INT csUpdateObjectsLength( CS_UPDATE_OBJECTS *objects );
PB_API PB_STRING *csUpdateObjectsNameAt( CS_UPDATE_OBJECTS *objects, PB_INT index );
PB_API CS_UPDATE_OBJECT *csUpdateObjectsObjectAt( CS_UPDATE_OBJECTS *objects, PB_INT index );

/** The configuration, a new reference, or null when the object has none. */
PB_API PB_STORE *csUpdateObjectConfig( CS_UPDATE_OBJECT *object );
PB_API void csUpdateObjectSetConfig( CS_UPDATE_OBJECT **object, PB_STORE *config );

/* ---- a configuration file as a value ---- */

PB_CLASS( CS_CONFIG, csConfig )
/* Names: csConfigSort, csConfigObj, csConfigFrom, csConfigRetain, csConfigRelease, csConfigToString, csConfigCompare,
   csConfigEquals */

/** An empty configuration. */
PB_API CS_CONFIG *csConfigCreate( void );
/**
 * A configuration from JSON (RFC 8259) in UTF-8. Null when it does not parse or is no configuration; then *error (null or
 * an owned string) is replaced by one line, "line 3, column 7: expected a comma". Nesting is limited to 64;
 * a byte order mark is skipped, a key that stands twice is an error.
 */
PB_API CS_CONFIG *csConfigTryDecode( PB_BUFFER *json, PB_STRING **error );
/** The same from a file; the error text begins with the path. */
PB_API CS_CONFIG *csConfigTryLoad( PB_STRING *path, PB_STRING **error );
/** As JSON, four blanks a level, a line feed at the end, a new buffer. */
PB_API PB_BUFFER *csConfigEncode( CS_CONFIG *config );
/**
 * Brings the configuration to the current form and writes the file whole (pbFileTryReplace), with the versions of the
 * registered modules. False and *error, with the file untouched, when it is refused, could not be loaded again (nested
 * too deeply) or cannot be written.
 */
PB_API PB_BOOL csConfigTrySave( CS_CONFIG *config, PB_STRING *path, PB_STRING **error );

/** The names of all objects, a new vector of strings, in the order of the file. */
PB_API PB_VECTOR *csConfigNames( CS_CONFIG *config );
PB_API PB_BOOL csConfigHasObject( CS_CONFIG *config, PB_STRING *name );
/** The sort name and the configuration of an object, new references; null when there is none. */
PB_API PB_STRING *csConfigObjectSort( CS_CONFIG *config, PB_STRING *name );
PB_API PB_STORE *csConfigObjectConfig( CS_CONFIG *config, PB_STRING *name );
/** Aborts on a name that is not csObjectRecordNameOk. */
PB_API void csConfigSetObject( CS_CONFIG **config, PB_STRING *name, PB_STRING *sortName, PB_STORE *optionalConfig );
PB_API void csConfigDelObject( CS_CONFIG **config, PB_STRING *name );
/** The version that a module's name is recorded with, or null. */
PB_API PB_MODULE_VERSION *csConfigModuleVersion( CS_CONFIG *config, PB_STRING *moduleName );

/**
 * Brings a configuration to the current form: refuses it (false, *error) when a registered module's recorded version is
 * newer than the module; otherwise runs the registered updates in date order and records the current versions.
 */
PB_API PB_BOOL csConfigTryUpdate( CS_CONFIG **config, PB_STRING **error );
/**
 * Checks the configuration of an object, a new store as from its sort's check function; null when there is no such object
 * or its sort has none.
 */
PB_API PB_STORE *csConfigCheckObject( CS_CONFIG *config, PB_STRING *name );
/**
 * Normalises the configuration of every object whose sort is registered; the others stay as they are. `full` is for
 * display: the defaults, written out, would count as chosen when the configuration is loaded again.
 */
PB_API void csConfigNormalize( CS_CONFIG **config, PB_BOOL full );

/* ---- the live store ---- */

/**
 * Makes the live objects those of the configuration (which is brought to the current form first): objects that are new
 * are created, those that are there with the same sort are reconfigured, the others are released. Objects of unknown sort
 * stay in the configuration only.
 *
 * False and *error, with nothing changed, when the configuration is refused. False and *error too when objects cannot be
 * created: the text names each with its sort and the reason, and everything else lives as the configuration says.
 */
PB_API PB_BOOL csStoreTrySetConfig( CS_CONFIG *config, PB_STRING **error );
/** The configuration with what the live objects say of themselves now. */
PB_API CS_CONFIG *csStoreConfig( void );
/** A live object by name, a new reference, or null. */
PB_API PB_OBJ *csStoreObject( PB_STRING *name );
/** Creates or reconfigures one object. False when the sort is unknown, or the object cannot be created. */
PB_API PB_BOOL csStoreTrySetObject( PB_STRING *name, PB_STRING *sortName, PB_STORE *optionalConfig );
PB_API void csStoreDelObject( PB_STRING *name );
/** The status of a live object, a new store: { "up": true, "items": { ... } }; null when it has none. */
PB_API PB_STORE *csStoreObjectStatus( PB_STRING *name );
/**
 * Fires at the next change of the set of live objects, on the thread that has changed the store, when the change is over;
 * register again after that.
 */
PB_API void csStoreUpdateAddSignalable( PB_SIGNALABLE *signalable );
PB_API void csStoreUpdateDelSignalable( PB_SIGNALABLE *signalable );

/* ---- observers and conditions ---- */

PB_CLASS( CS_OBJECT_OBSERVER, csObjectObserver )
/* Names: csObjectObserverSort, csObjectObserverObj, csObjectObserverFrom, csObjectObserverRetain,
   csObjectObserverRelease, csObjectObserverToString, csObjectObserverCompare, csObjectObserverEquals */

/** Follows the live object of a name and sort, or an object that is given directly. */
PB_API CS_OBJECT_OBSERVER *csObjectObserverCreate( const PB_SORT *sort, TR_ANCHOR *optionalAnchor );
PB_API void csObjectObserverConfigure( CS_OBJECT_OBSERVER *observer, PB_STRING *optionalName, PB_OBJ *optionalObject );
/** What it follows now, a new reference, or null. The object that is given directly goes before the name. */
PB_API PB_OBJ *csObjectObserverObject( CS_OBJECT_OBSERVER *observer );
/** Fires at the next change of that, on the thread that changes the store or configures; register again after that. */
PB_API void csObjectObserverUpdateAddSignalable( CS_OBJECT_OBSERVER *observer, PB_SIGNALABLE *signalable );
PB_API void csObjectObserverUpdateDelSignalable( CS_OBJECT_OBSERVER *observer, PB_SIGNALABLE *signalable );

/** A boolean with a name, itself a configurable object: { "sort": "CS_CONDITION", "config": { "value": true } }. */
PB_CLASS( CS_CONDITION, csCondition )
/* Names: csConditionSort, csConditionObj, csConditionFrom, csConditionRetain, csConditionRelease,
   csConditionToString, csConditionCompare, csConditionEquals */

PB_API CS_CONDITION *csConditionCreate( PB_BOOL value );
PB_API PB_BOOL csConditionValue( CS_CONDITION *condition );
PB_API void csConditionSetValue( CS_CONDITION *condition, PB_BOOL value );
/** Fires at the next change, on the thread that sets the value; register again after that. */
PB_API void csConditionUpdateAddSignalable( CS_CONDITION *condition, PB_SIGNALABLE *signalable );
PB_API void csConditionUpdateDelSignalable( CS_CONDITION *condition, PB_SIGNALABLE *signalable );

PB_CLASS( CS_CONDITION_OBSERVER, csConditionObserver )
/* Names: csConditionObserverSort, csConditionObserverObj, csConditionObserverFrom, csConditionObserverRetain,
   csConditionObserverRelease, csConditionObserverToString, csConditionObserverCompare, csConditionObserverEquals */

PB_API CS_CONDITION_OBSERVER *csConditionObserverCreate( TR_ANCHOR *optionalAnchor );
PB_API void csConditionObserverConfigure(
    CS_CONDITION_OBSERVER *observer, PB_STRING *optionalName, CS_CONDITION *optionalCondition );
/** The value of the condition, or `fallback` when there is none. */
PB_API PB_BOOL csConditionObserverConditionValueWithFallback( CS_CONDITION_OBSERVER *observer, PB_BOOL fallback );
/**
 * Fires at the next change of the value or of what is observed, on the thread that sets the value, changes the store or
 * configures; register again after that.
 */
PB_API void csConditionObserverUpdateAddSignalable( CS_CONDITION_OBSERVER *observer, PB_SIGNALABLE *signalable );
PB_API void csConditionObserverUpdateDelSignalable( CS_CONDITION_OBSERVER *observer, PB_SIGNALABLE *signalable );

/** This library's own descriptor. */
PB_API PB_MODULE *csModule( void );

#endif
