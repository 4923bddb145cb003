/*
 * A configuration file as a value, and the file itself. "modules" and "objects" are held apart from the rest of the
 * top-level store, so that changing one object does not copy all of them; in the rest they stand empty, which keeps their
 * place. Values, any thread.
 */
#include <algorithm>
#include <cerrno>
#include <cs/cs_json_private.h>
#include <cs/cs_private.h>
#include <cstring>
#include <optional>
#include <pb/pb_text.hpp>

struct CS_CONFIG : PB_OBJ {
    pb::Ref<PB_STORE> rest;
    pb::Ref<PB_STORE> modules;
    pb::Ref<PB_STORE> objects;
};

static void cs___PutBack( pb::Ref<PB_STORE> &top, const char *key, PB_STORE *store )
{
    if ( pbStoreLength( store ) > 0 )
        pbStoreSetStoreCstr( top.handle(), key, -1, store );
}

/** The top-level store as it stands in the file. */
static pb::Ref<PB_STORE> cs___ConfigWhole( CS_CONFIG *config )
{
    pb::Ref<PB_STORE> top = config->rest;
    cs___PutBack( top, "modules", config->modules.get() );
    cs___PutBack( top, "objects", config->objects.get() );
    return top;
}

static PB_INT cs___ConfigCompFunc( PB_OBJ *thisObj, PB_OBJ *thatObj )
{
    pb::Ref<PB_STORE> thisStore = cs___ConfigWhole( static_cast<CS_CONFIG *>( thisObj ) );
    pb::Ref<PB_STORE> thatStore = cs___ConfigWhole( static_cast<CS_CONFIG *>( thatObj ) );
    return pbStoreCompare( thisStore.get(), thatStore.get() );
}

PB_CLASS_DEFINE( CS_CONFIG, csConfig, pb::destroy<CS_CONFIG>, cs___ConfigCompFunc, nullptr );

static CS_CONFIG *cs___ConfigCreateFrom( CS_CONFIG *source )
{
    return pb::create<CS_CONFIG>( source->rest, source->modules, source->objects );
}

namespace {

/** What makes a store no configuration, and the entry that is to blame. */
struct Fault {
    cs::JsonPath path;
    bool ofKey;
    std::string words;
};

/** A store under a key that holds an object: an empty one where there is none, null where something else stands. */
pb::Ref<PB_STORE> objectOrNone( PB_STORE *store, const char *key )
{
    pb::Ref<PB_STORE> inner = pb::adopt( pbStoreStoreCstr( store, key, -1 ) );
    if ( inner )
        return pbStoreIsArray( inner.get() ) ? nullptr : inner;
    return pbStoreHasValueCstr( store, key, -1 ) ? nullptr : pb::adopt( pbStoreCreate() );
}

std::optional<Fault> moduleFault( PB_STORE *modules, PB_INT index )
{
    pb::Ref<PB_STRING> name = pb::adopt( pbStoreKeyAt( modules, index ) );
    pb::Ref<PB_STRING> version = pb::adopt( pbStoreValueAt( modules, index ) );
    bool ok = version && !pbStoreIsBareAt( modules, index ) && pb::adopt( pbModuleVersionTryCreate( version.get() ) );
    if ( ok )
        return {};
    std::string words = "the version of module " + cs::jsonQuote( name.get() ) + " must be a string like \"17.1\"";
    return Fault{ { "modules", pb::text( name.get() ) }, false, words };
}

/** Whether a record has a sort that is a text; what holds when there is none at all is for the caller to say. */
bool sortOk( PB_STORE *record )
{
    for ( PB_INT i = 0; i < pbStoreLength( record ); ++i ) {
        pb::Ref<PB_STRING> key = pb::adopt( pbStoreKeyAt( record, i ) );
        if ( !pbStringEqualsCstr( key.get(), "sort", -1 ) )
            continue;
        pb::Ref<PB_STRING> sort = pb::adopt( pbStoreValueAt( record, i ) );
        return sort && !pbStoreIsBareAt( record, i ) && pbStringLength( sort.get() ) > 0;
    }
    return false;
}

std::optional<Fault> objectFault( PB_STORE *objects, PB_INT index )
{
    pb::Ref<PB_STRING> name = pb::adopt( pbStoreKeyAt( objects, index ) );
    cs::JsonPath path{ "objects", pb::text( name.get() ) };
    std::string object = "object " + cs::jsonQuote( name.get() );
    auto inner = [&path]( const char *key ) { return cs::JsonPath{ path[0], path[1], key }; };

    if ( !csObjectRecordNameOk( name.get() ) )
        return Fault{ path, true, cs::jsonQuote( name.get() ) + " cannot name an object" };
    pb::Ref<PB_STORE> record = pb::adopt( pbStoreStoreAt( objects, index ) );
    if ( !record || pbStoreIsArray( record.get() ) )
        return Fault{ path, false, object + " must be an object with \"sort\" and \"config\"" };
    if ( !pbStoreHasValueCstr( record.get(), "sort", -1 ) && !pbStoreHasStoreCstr( record.get(), "sort", -1 ) )
        return Fault{ path, false, object + " has no \"sort\"" };
    if ( !sortOk( record.get() ) )
        return Fault{ inner( "sort" ), false, "the sort of " + object + " must be a string, not an empty one" };
    if ( !objectOrNone( record.get(), "config" ) )
        return Fault{ inner( "config" ), false, "the configuration of " + object + " must be an object" };
    return {};
}

/** Applies a check to the entries of a top-level store. */
template <class Check>
std::optional<Fault> firstFault( PB_STORE *top, const char *key, Check check )
{
    pb::Ref<PB_STORE> store = objectOrNone( top, key );
    if ( !store )
        return Fault{ { key }, false, "\"" + std::string( key ) + "\" must be an object" };
    for ( PB_INT i = 0; i < pbStoreLength( store.get() ); ++i ) {
        if ( std::optional<Fault> fault = check( store.get(), i ) )
            return fault;
    }
    return {};
}

/** Takes a store out of the top-level one, and leaves an empty one in its place. */
pb::Ref<PB_STORE> takeOut( pb::Ref<PB_STORE> &top, const char *key )
{
    pb::Ref<PB_STORE> store = objectOrNone( top.get(), key );
    if ( pbStoreHasStoreCstr( top.get(), key, -1 ) )
        pbStoreSetStoreCstr( top.handle(), key, -1, pb::adopt( pbStoreCreate() ).get() );
    return store;
}

std::string_view bytes( PB_BUFFER *buf )
{
    return {
        reinterpret_cast<const char *>( pbBufferBacking( buf ) ), static_cast<std::size_t>( pbBufferLength( buf ) ) };
}

/** The first key of an object record beside "sort", or null. Others are kept; without a "config" one may be meant as it. */
pb::Ref<PB_STRING> otherKey( PB_STORE *record )
{
    for ( PB_INT i = 0; i < pbStoreLength( record ); ++i ) {
        pb::Ref<PB_STRING> key = pb::adopt( pbStoreKeyAt( record, i ) );
        if ( !pbStringEqualsCstr( key.get(), "sort", -1 ) )
            return key;
    }
    return {};
}

/** Puts "path: what is wrong" into an error argument. */
void setPathError( PB_STRING **error, PB_STRING *path, PB_STRING *words )
{
    cs::setError( error, pb::format( "%s: %s", path, words ) );
}

/** The same in English whatever the locale, and with what those errors mean that the file functions give themselves. */
void setPathErrno( PB_STRING **error, PB_STRING *path, int reason )
{
    const char *words = reason == EINVAL  ? "not a regular file"
                        : reason == EPERM ? "replacing it is not permitted, or would change its owner or its rights"
                                          : strerrordesc_np( reason );
    setPathError( error, path, pb::string( words ? words : "unknown error" ).get() );
}

} // namespace

void cs::setError( PB_STRING **error, pb::Ref<PB_STRING> text )
{
    pb::Ref<PB_STRING> replaced = pb::adopt( std::exchange( *error, text.give() ) );
}

PB_BOOL csObjectRecordNameOk( PB_STRING *name )
{
    PB_ASSERT( name );
    auto wrong = []( PB_CHAR ch ) {
        bool control = ch < 0x20 || ( ch >= 0x7F && ch < 0xA0 );
        bool surrogate = ch >= 0xD800 && ch <= 0xDFFF; // not in any file
        return control || surrogate || ch == '/' || ch == '\\' || ch == '"';
    };
    pb::Chars chars = pb::chars( name );
    return !chars.empty() && chars.size() <= 255 && !pb::isWhiteSpace( chars.front() ) &&
           !pb::isWhiteSpace( chars.back() ) && std::none_of( chars.begin(), chars.end(), wrong );
}

CS_CONFIG *csConfigCreate( void )
{
    auto empty = [] { return pb::adopt( pbStoreCreate() ); };
    pb::Ref<CS_CONFIG> config = pb::adopt( pb::create<CS_CONFIG>( empty(), empty(), empty() ) );
    pbStoreSetStoreCstr( config->rest.handle(), "modules", -1, config->modules.get() );
    pbStoreSetStoreCstr( config->rest.handle(), "objects", -1, config->objects.get() );
    return config.give();
}

CS_CONFIG *csConfigTryDecode( PB_BUFFER *json, PB_STRING **error )
{
    PB_ASSERT( json );
    PB_ASSERT( error );
    std::string problem;
    pb::Ref<PB_STORE> top = cs::jsonTryDecode( bytes( json ), problem );
    if ( !top ) {
        cs::setError( error, pb::string( problem ) );
        return nullptr;
    }
    std::optional<Fault> fault = firstFault( top.get(), "modules", moduleFault );
    if ( !fault )
        fault = firstFault( top.get(), "objects", objectFault );
    if ( fault ) {
        std::string place = cs::jsonPlace( bytes( json ), fault->path, fault->ofKey );
        cs::setError( error, pb::string( place + ": " + fault->words ) );
        return nullptr;
    }
    pb::Ref<PB_STORE> modules = takeOut( top, "modules" );
    pb::Ref<PB_STORE> objects = takeOut( top, "objects" );
    return pb::create<CS_CONFIG>( std::move( top ), std::move( modules ), std::move( objects ) );
}

CS_CONFIG *csConfigTryLoad( PB_STRING *path, PB_STRING **error )
{
    PB_ASSERT( path );
    PB_ASSERT( error );
    errno = 0;
    pb::Ref<PB_BUFFER> json = pb::adopt( pbFileReadBuffer( path ) );
    if ( !json ) {
        setPathErrno( error, path, errno );
        return nullptr;
    }
    pb::Ref<PB_STRING> words;
    pb::Ref<CS_CONFIG> config = pb::adopt( csConfigTryDecode( json.get(), words.handle() ) );
    if ( !config )
        setPathError( error, path, words.get() );
    return config.give();
}

PB_BUFFER *csConfigEncode( CS_CONFIG *config )
{
    PB_ASSERT( config );
    std::string json = cs::jsonEncode( cs___ConfigWhole( config ).get() );
    return pbBufferCreateFromBytesCopy( json.data(), PB_INT_FROM( json.size() ) );
}

PB_BOOL csConfigTrySave( CS_CONFIG *config, PB_STRING *path, PB_STRING **error )
{
    PB_ASSERT( config );
    PB_ASSERT( path );
    PB_ASSERT( error );
    // The versions that are written must be true of the objects, so they are brought to the current form first; and
    // what could not be loaded again (nested too deeply, for one) is not written over what can.
    pb::Ref<PB_STRING> words;
    pb::Ref<CS_CONFIG> current = pb::share( config );
    pb::Ref<PB_BUFFER> json;
    bool ok = csConfigTryUpdate( current.handle(), words.handle() );
    if ( ok ) {
        json = pb::adopt( csConfigEncode( current.get() ) );
        ok = static_cast<bool>( pb::adopt( csConfigTryDecode( json.get(), words.handle() ) ) );
    }
    if ( !ok ) {
        setPathError( error, path, words.get() );
        return false;
    }
    ok = pbFileTryReplace( path, json.get() );
    if ( !ok )
        setPathErrno( error, path, errno );
    return ok;
}

PB_VECTOR *csConfigNames( CS_CONFIG *config )
{
    PB_ASSERT( config );
    pb::Ref<PB_VECTOR> names = pb::adopt( pbVectorCreate() );
    for ( PB_INT i = 0; i < pbStoreLength( config->objects.get() ); ++i )
        pbVectorAppend( names.handle(), pb::obj( pb::adopt( pbStoreKeyAt( config->objects.get(), i ) ).get() ) );
    return names.give();
}

PB_BOOL csConfigHasObject( CS_CONFIG *config, PB_STRING *name )
{
    PB_ASSERT( config );
    PB_ASSERT( name );
    return static_cast<bool>( cs::configRecord( config, name ) );
}

PB_STRING *csConfigObjectSort( CS_CONFIG *config, PB_STRING *name )
{
    PB_ASSERT( config );
    PB_ASSERT( name );
    pb::Ref<PB_STORE> record = cs::configRecord( config, name );
    return record ? pbStoreValueCstr( record.get(), "sort", -1 ) : nullptr;
}

PB_STORE *csConfigObjectConfig( CS_CONFIG *config, PB_STRING *name )
{
    PB_ASSERT( config );
    PB_ASSERT( name );
    pb::Ref<PB_STORE> record = cs::configRecord( config, name );
    return record ? pbStoreStoreCstr( record.get(), "config", -1 ) : nullptr;
}

void csConfigSetObject( CS_CONFIG **config, PB_STRING *name, PB_STRING *sortName, PB_STORE *optionalConfig )
{
    PB_ASSERT( config );
    PB_ASSERT( *config );
    PB_ASSERT( name );
    PB_ASSERT( csObjectRecordNameOk( name ) );
    PB_ASSERT( sortName );
    PB_ASSERT( pbStringLength( sortName ) > 0 );
    PB_ASSERT( !optionalConfig || !pbStoreIsArray( optionalConfig ) );
    pb::Ref<PB_STORE> record = cs::configRecord( *config, name );
    if ( !record )
        record = pb::adopt( pbStoreCreate() );
    pbStoreSetValueCstr( record.handle(), "sort", -1, sortName );
    if ( optionalConfig )
        pbStoreSetStoreCstr( record.handle(), "config", -1, optionalConfig );
    else
        pbStoreDelCstr( record.handle(), "config", -1 );
    cs::configSetRecord( config, name, record.get() );
}

void csConfigDelObject( CS_CONFIG **config, PB_STRING *name )
{
    PB_ASSERT( config );
    PB_ASSERT( *config );
    PB_ASSERT( name );
    CS_CONFIG &unshared = PB_UNSHARE( config, cs___ConfigCreateFrom );
    pbStoreDel( unshared.objects.handle(), name );
}

PB_MODULE_VERSION *csConfigModuleVersion( CS_CONFIG *config, PB_STRING *moduleName )
{
    PB_ASSERT( config );
    PB_ASSERT( moduleName );
    pb::Ref<PB_STRING> version = pb::adopt( pbStoreValue( config->modules.get(), moduleName ) );
    return version ? pbModuleVersionTryCreate( version.get() ) : nullptr;
}

PB_STORE *csConfigCheckObject( CS_CONFIG *config, PB_STRING *name )
{
    PB_ASSERT( config );
    PB_ASSERT( name );
    pb::Ref<PB_STRING> sortName = pb::adopt( csConfigObjectSort( config, name ) );
    if ( !sortName )
        return nullptr;
    pb::Ref<PB_STORE> stored = pb::adopt( csConfigObjectConfig( config, name ) );
    pb::Ref<PB_STORE> report = cs::checkConfig( pb::text( sortName.get() ), stored.get(), config );
    pb::Ref<PB_STRING> other = stored ? nullptr : otherKey( cs::configRecord( config, name ).get() );
    if ( report && other ) {
        pb::Ref<PB_STRING> words = pb::string( "missing; " + cs::jsonQuote( other.get() ) + " may be meant" );
        pbStoreSetValueCstr( report.handle(), "config", -1, words.get() );
    }
    return report.give();
}

void csConfigNormalize( CS_CONFIG **config, PB_BOOL full )
{
    PB_ASSERT( config );
    PB_ASSERT( *config );
    pb::Ref<PB_STORE> objects = ( *config )->objects;
    for ( PB_INT i = 0; i < pbStoreLength( objects.get() ); ++i ) {
        pb::Ref<PB_STORE> record = pb::adopt( pbStoreStoreAt( objects.get(), i ) );
        pb::Ref<PB_STRING> sortName = pb::adopt( pbStoreValueCstr( record.get(), "sort", -1 ) );
        cs::SortBackendPtr backend = cs::sortBackend( sortName.get() );
        if ( !backend )
            continue;
        pb::Ref<PB_STORE> stored = objectOrNone( record.get(), "config" );
        pb::Ref<PB_STORE> normal = pb::adopt( backend->normalizeConfig( stored.get(), full ) );
        PB_ASSERT( normal );
        pbStoreSetStoreCstr( record.handle(), "config", -1, normal.get() );
        cs::configSetRecord( config, pb::adopt( pbStoreKeyAt( objects.get(), i ) ).get(), record.get() );
    }
}

pb::Ref<PB_STORE> cs::configObjects( CS_CONFIG *config )
{
    return config->objects;
}

pb::Ref<PB_STORE> cs::configRecord( CS_CONFIG *config, PB_STRING *name )
{
    return pb::adopt( pbStoreStore( config->objects.get(), name ) );
}

void cs::configSetRecord( CS_CONFIG **config, PB_STRING *name, PB_STORE *record )
{
    CS_CONFIG &unshared = PB_UNSHARE( config, cs___ConfigCreateFrom );
    pbStoreSetStore( unshared.objects.handle(), name, record );
}

void cs::configSetModuleVersion( CS_CONFIG **config, PB_MODULE *module, PB_MODULE_VERSION *version )
{
    CS_CONFIG &unshared = PB_UNSHARE( config, cs___ConfigCreateFrom );
    pb::Ref<PB_STRING> text = pb::adopt( pbModuleVersionToString( version ) );
    pbStoreSetValueCstr( unshared.modules.handle(), pbModuleRecord( module )->name, -1, text.get() );
}
