/*
 * Bringing configurations to the current form: the registered updates, in date order, see the configuration through a
 * CS_UPDATE, and what they leave is the result. Values, any thread; the functions are called outside every lock.
 */
#include <cs/cs_private.h>

struct CS_UPDATE : PB_OBJ {
    pb::Ref<CS_CONFIG> config;
};

/** One object record as it stands in the file, so that what nobody knows in it stays. */
struct CS_UPDATE_OBJECT : PB_OBJ {
    pb::Ref<PB_STORE> record;
};

struct CS_UPDATE_OBJECTS : PB_OBJ {
    struct Entry {
        pb::Ref<PB_STRING> name;
        pb::Ref<PB_STORE> record;
    };
    std::vector<Entry> entries;
};

PB_CLASS_DEFINE( CS_UPDATE, csUpdate, pb::destroy<CS_UPDATE>, nullptr, nullptr );
PB_CLASS_DEFINE( CS_UPDATE_OBJECT, csUpdateObject, pb::destroy<CS_UPDATE_OBJECT>, nullptr, nullptr );
PB_CLASS_DEFINE( CS_UPDATE_OBJECTS, csUpdateObjects, pb::destroy<CS_UPDATE_OBJECTS>, nullptr, nullptr );

static CS_UPDATE *cs___UpdateCreateFrom( CS_UPDATE *source )
{
    return pb::create<CS_UPDATE>( source->config );
}

static CS_UPDATE_OBJECT *cs___UpdateObjectCreateFrom( CS_UPDATE_OBJECT *source )
{
    return pb::create<CS_UPDATE_OBJECT>( source->record );
}

PB_MODULE_VERSION *csUpdateModuleVersion( CS_UPDATE *update, PB_MODULE *module )
{
    PB_ASSERT( update );
    PB_ASSERT( module );
    return csConfigModuleVersion( update->config.get(), pb::string( pbModuleRecord( module )->name ).get() );
}

void csUpdateSetModuleVersion( CS_UPDATE **update, PB_MODULE *module, PB_MODULE_VERSION *version )
{
    PB_ASSERT( update );
    PB_ASSERT( *update );
    PB_ASSERT( module );
    PB_ASSERT( version );
    CS_UPDATE &unshared = PB_UNSHARE( update, cs___UpdateCreateFrom );
    cs::configSetModuleVersion( unshared.config.handle(), module, version );
}

CS_UPDATE_OBJECTS *csUpdateObjectsBySort( CS_UPDATE *update, const PB_SORT *sort )
{
    PB_ASSERT( update );
    PB_ASSERT( sort );
    return csUpdateObjectsBySortName( update, pb::string( pbSortName( sort ) ).get() );
}

CS_UPDATE_OBJECTS *csUpdateObjectsBySortName( CS_UPDATE *update, PB_STRING *sortName )
{
    PB_ASSERT( update );
    PB_ASSERT( sortName );
    std::vector<CS_UPDATE_OBJECTS::Entry> entries;
    pb::Ref<PB_STORE> objects = cs::configObjects( update->config.get() );
    for ( PB_INT i = 0; i < pbStoreLength( objects.get() ); ++i ) {
        pb::Ref<PB_STORE> record = pb::adopt( pbStoreStoreAt( objects.get(), i ) );
        pb::Ref<PB_STRING> sort = pb::adopt( pbStoreValueCstr( record.get(), "sort", -1 ) );
        if ( pbStringEquals( sort.get(), sortName ) )
            entries.push_back( { pb::adopt( pbStoreKeyAt( objects.get(), i ) ), std::move( record ) } );
    }
    return pb::create<CS_UPDATE_OBJECTS>( std::move( entries ) );
}

CS_UPDATE_OBJECT *csUpdateObject( CS_UPDATE *update, PB_STRING *name )
{
    PB_ASSERT( update );
    PB_ASSERT( name );
    pb::Ref<PB_STORE> record = cs::configRecord( update->config.get(), name );
    return record ? pb::create<CS_UPDATE_OBJECT>( std::move( record ) ) : nullptr;
}

void csUpdateSetObject( CS_UPDATE **update, PB_STRING *name, CS_UPDATE_OBJECT *object )
{
    PB_ASSERT( update );
    PB_ASSERT( *update );
    PB_ASSERT( name );
    PB_ASSERT( csObjectRecordNameOk( name ) );
    PB_ASSERT( object );
    CS_UPDATE &unshared = PB_UNSHARE( update, cs___UpdateCreateFrom );
    cs::configSetRecord( unshared.config.handle(), name, object->record.get() );
}

PB_INT csUpdateObjectsLength( CS_UPDATE_OBJECTS *objects )
{
    PB_ASSERT( objects );
    return PB_INT_FROM( objects->entries.size() );
}

PB_STRING *csUpdateObjectsNameAt( CS_UPDATE_OBJECTS *objects, PB_INT index )
{
    PB_ASSERT( objects );
    PB_ASSERT( index >= 0 );
    PB_ASSERT( index < csUpdateObjectsLength( objects ) );
    return objects->entries[static_cast<std::size_t>( index )].name.retained();
}

CS_UPDATE_OBJECT *csUpdateObjectsObjectAt( CS_UPDATE_OBJECTS *objects, PB_INT index )
{
    PB_ASSERT( objects );
    PB_ASSERT( index >= 0 );
    PB_ASSERT( index < csUpdateObjectsLength( objects ) );
    return pb::create<CS_UPDATE_OBJECT>( objects->entries[static_cast<std::size_t>( index )].record );
}

PB_STORE *csUpdateObjectConfig( CS_UPDATE_OBJECT *object )
{
    PB_ASSERT( object );
    return pbStoreStoreCstr( object->record.get(), "config", -1 );
}

void csUpdateObjectSetConfig( CS_UPDATE_OBJECT **object, PB_STORE *config )
{
    PB_ASSERT( object );
    PB_ASSERT( *object );
    PB_ASSERT( config );
    PB_ASSERT( !pbStoreIsArray( config ) );
    CS_UPDATE_OBJECT &unshared = PB_UNSHARE( object, cs___UpdateObjectCreateFrom );
    pbStoreSetStoreCstr( unshared.record.handle(), "config", -1, config );
}

static pb::Ref<PB_MODULE_VERSION> cs___ModuleVersion( PB_MODULE *module )
{
    return pb::adopt( pbModuleVersionTryCreateFromCstr( pbModuleRecord( module )->version, -1 ) );
}

/** Whether every recorded version of a registered module is one that the module knows; else puts the error. */
static bool cs___VersionsOk( CS_CONFIG *config, PB_STRING **error )
{
    for ( const cs::ModuleBackendPtr &backend : cs::moduleBackends() ) {
        pb::Ref<PB_STRING> name = pb::string( pbModuleRecord( backend->module )->name );
        pb::Ref<PB_MODULE_VERSION> recorded = pb::adopt( csConfigModuleVersion( config, name.get() ) );
        pb::Ref<PB_MODULE_VERSION> own = cs___ModuleVersion( backend->module );
        if ( !recorded || pbModuleVersionCompare( recorded.get(), own.get() ) <= 0 )
            continue;
        cs::setError( error,
            pb::format( "module %s: configuration was written by version %o, this is %o", name, recorded, own ) );
        return false;
    }
    return true;
}

PB_BOOL csConfigTryUpdate( CS_CONFIG **config, PB_STRING **error )
{
    PB_ASSERT( config );
    PB_ASSERT( *config );
    PB_ASSERT( error );
    if ( !cs___VersionsOk( *config, error ) )
        return false;
    pb::Ref<CS_UPDATE> update = pb::adopt( pb::create<CS_UPDATE>( pb::share( *config ) ) );
    for ( const cs::UpdateBackendPtr &backend : cs::updateBackends() ) {
        backend->update( update.handle(), backend->context.get() );
        PB_ASSERT( update );
    }
    pb::Ref<CS_CONFIG> updated = update->config;
    cs::configSetCurrentVersions( updated.handle() );
    pb::Ref<CS_CONFIG> replaced = pb::adopt( std::exchange( *config, updated.give() ) );
    return true;
}

void cs::configSetCurrentVersions( CS_CONFIG **config )
{
    for ( const ModuleBackendPtr &backend : moduleBackends() )
        configSetModuleVersion( config, backend->module, cs___ModuleVersion( backend->module ).get() );
}
