/*
 * What modules register: their descriptors, the sorts that can be configured, dated updates. An object of these classes
 * is a registration; the registry is the state's, under its monitor.
 *
 * The registry must not hold the object itself, whose release ends the registration, and could not retain it safely: it
 * may be on its way out on another thread. So a call keeps the record behind it, which outlives the registration for
 * as long as the call takes.
 */
#include <cs/cs_private.h>

struct CS_MODULE_BACKEND : PB_OBJ {
    cs::ModuleBackendPtr backend;
};

struct CS_SORT_BACKEND : PB_OBJ {
    cs::SortBackendPtr backend;
};

struct CS_UPDATE_BACKEND : PB_OBJ {
    cs::UpdateBackendPtr backend;
};

static void cs___ModuleBackendFreeFunc( PB_OBJ *obj )
{
    auto *registration = static_cast<CS_MODULE_BACKEND *>( obj );
    {
        pb::Lock lock( cs::state->monitor );
        cs::state->modules.erase( pbModuleRecord( registration->backend->module )->name );
    }
    pb::destroy<CS_MODULE_BACKEND>( obj );
}

static void cs___SortBackendFreeFunc( PB_OBJ *obj )
{
    auto *registration = static_cast<CS_SORT_BACKEND *>( obj );
    {
        // Without their backend the live objects of the sort can no longer be asked or reconfigured.
        cs::Aftermath after;
        pb::Lock lock( cs::state->monitor );
        cs::state->sorts.erase( pbSortName( registration->backend->sort ) );
        cs::state->checks.erase( pbSortName( registration->backend->sort ) );
        cs::storeForgetBackendLocked( registration->backend.get(), after );
    }
    pb::destroy<CS_SORT_BACKEND>( obj );
}

static void cs___UpdateBackendFreeFunc( PB_OBJ *obj )
{
    auto *registration = static_cast<CS_UPDATE_BACKEND *>( obj );
    {
        pb::Lock lock( cs::state->monitor );
        std::erase_if( cs::state->updates, [&]( const auto &entry ) { return entry.second == registration->backend; } );
    }
    pb::destroy<CS_UPDATE_BACKEND>( obj );
}

PB_CLASS_DEFINE( CS_MODULE_BACKEND, csModuleBackend, cs___ModuleBackendFreeFunc, nullptr, nullptr );
PB_CLASS_DEFINE( CS_SORT_BACKEND, csSortBackend, cs___SortBackendFreeFunc, nullptr, nullptr );
PB_CLASS_DEFINE( CS_UPDATE_BACKEND, csUpdateBackend, cs___UpdateBackendFreeFunc, nullptr, nullptr );

CS_MODULE_BACKEND *csModuleBackendCreate(
    PB_MODULE *module, CS_MODULE_INFO_FUNC *optionalInfoFunc, PB_OBJ *optionalContext )
{
    PB_ASSERT( module );
    auto backend = std::make_shared<const cs::ModuleBackend>(
        cs::ModuleBackend{ module, optionalInfoFunc, pb::share( optionalContext ) } );
    bool moduleIsNew;
    {
        pb::Lock lock( cs::state->monitor );
        moduleIsNew = cs::state->modules.emplace( pbModuleRecord( module )->name, backend ).second;
    }
    PB_ASSERT( moduleIsNew );
    return pb::create<CS_MODULE_BACKEND>( std::move( backend ) );
}

PB_STORE *csModuleInfo( PB_MODULE *module )
{
    PB_ASSERT( module );
    cs::ModuleBackendPtr backend;
    {
        pb::Lock lock( cs::state->monitor );
        auto place = cs::state->modules.find( pbModuleRecord( module )->name );
        if ( place != cs::state->modules.end() )
            backend = place->second;
    }
    return backend && backend->info ? backend->info( backend->context.get() ) : nullptr;
}

std::vector<cs::ModuleBackendPtr> cs::moduleBackends()
{
    std::vector<ModuleBackendPtr> backends;
    pb::Lock lock( state->monitor );
    for ( const auto &[name, backend] : state->modules )
        backends.push_back( backend );
    return backends;
}

CS_SORT_BACKEND *csSortBackendCreate( const PB_SORT *sort, CS_SORT_TRY_CREATE_FUNC *tryCreateFunc,
    CS_SORT_CONFIG_FUNC *configFunc, CS_SORT_SET_CONFIG_FUNC *setConfigFunc,
    CS_SORT_NORMALIZE_CONFIG_FUNC *normalizeConfigFunc, CS_SORT_STATUS_FUNC *optionalStatusFunc,
    CS_SORT_TRACE_COMPLETE_ANCHOR_FUNC *optionalTraceCompleteAnchorFunc )
{
    PB_ASSERT( sort );
    PB_ASSERT( tryCreateFunc );
    PB_ASSERT( configFunc );
    PB_ASSERT( setConfigFunc );
    PB_ASSERT( normalizeConfigFunc );
    auto backend = std::make_shared<const cs::SortBackend>( cs::SortBackend{ sort, tryCreateFunc, configFunc,
        setConfigFunc, normalizeConfigFunc, optionalStatusFunc, optionalTraceCompleteAnchorFunc } );
    bool sortIsNew;
    {
        pb::Lock lock( cs::state->monitor );
        sortIsNew = cs::state->sorts.emplace( pbSortName( sort ), backend ).second;
    }
    PB_ASSERT( sortIsNew );
    return pb::create<CS_SORT_BACKEND>( std::move( backend ) );
}

void csSortBackendSetCheckFunc( CS_SORT_BACKEND *backend, CS_SORT_CHECK_FUNC *checkFunc )
{
    PB_ASSERT( backend );
    PB_ASSERT( checkFunc );
    pb::Lock lock( cs::state->monitor );
    cs::state->checks[pbSortName( backend->backend->sort )] = checkFunc;
}

pb::Ref<PB_STORE> cs::checkConfig( const std::string &sortName, PB_STORE *optionalConfig, CS_CONFIG *optionalFile )
{
    CS_SORT_CHECK_FUNC *check = nullptr;
    {
        pb::Lock lock( state->monitor );
        auto place = state->checks.find( sortName );
        if ( place != state->checks.end() )
            check = place->second;
    }
    if ( !check )
        return {};
    pb::Ref<PB_STORE> config = optionalConfig ? pb::share( optionalConfig ) : pb::adopt( pbStoreCreate() );
    return pb::adopt( check( config.get(), optionalFile ) );
}

cs::SortBackendPtr cs::sortBackendLocked( const std::string &sortName )
{
    auto place = state->sorts.find( sortName );
    return place == state->sorts.end() ? nullptr : place->second;
}

cs::SortBackendPtr cs::sortBackend( PB_STRING *sortName )
{
    std::string key = pb::text( sortName );
    pb::Lock lock( state->monitor );
    return sortBackendLocked( key );
}

PB_BOOL csSortRegistered( PB_STRING *sortName )
{
    PB_ASSERT( sortName );
    return cs::sortBackend( sortName ) != nullptr;
}

/** Whether a text is a day of the calendar, written 2013-01-04. */
static bool cs___DateOk( const std::string &date )
{
    pb::Ref<PB_STRING> str = pb::string( date );
    PB_INT year;
    PB_INT month;
    PB_INT day;
    if ( date.size() != 10 || date[4] != '-' || date[7] != '-' || date.find( '+' ) != std::string::npos )
        return false;
    auto scan = [&]( PB_INT offset, PB_INT end, PB_INT *value ) {
        PB_INT reached;
        return pbStringScanInt( str.get(), offset, 10, value, &reached ) && reached == end;
    };
    if ( !scan( 0, 4, &year ) || !scan( 5, 7, &month ) || !scan( 8, 10, &day ) )
        return false;
    return static_cast<bool>( pb::adopt( pbTimeTryCreate( year, month, day, 0, 0, 0 ) ) );
}

CS_UPDATE_BACKEND *csUpdateBackendCreateCstr(
    const char *date, PB_INT length, CS_UPDATE_FUNC *func, PB_OBJ *optionalContext )
{
    PB_ASSERT( date );
    PB_ASSERT( length >= -1 );
    PB_ASSERT( func );
    std::string day( pb::view( date, length ) );
    PB_ASSERT( cs___DateOk( day ) );
    auto backend = std::make_shared<const cs::UpdateBackend>( cs::UpdateBackend{ func, pb::share( optionalContext ) } );
    {
        pb::Lock lock( cs::state->monitor );
        cs::state->updates.emplace( day, backend );
    }
    return pb::create<CS_UPDATE_BACKEND>( std::move( backend ) );
}

std::vector<cs::UpdateBackendPtr> cs::updateBackends()
{
    std::vector<UpdateBackendPtr> backends;
    pb::Lock lock( state->monitor );
    for ( const auto &[date, backend] : state->updates )
        backends.push_back( backend );
    return backends;
}
