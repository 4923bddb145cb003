/*
 * Configuration files. What decodes must come back the same, byte for byte, and can be updated and normalised; what does
 * not decode must say where.
 */
#include <cs/cs_private.h>
#include <cstdint>
#include <tr/tr_private.h>

namespace {

using Config = pb::Ref<CS_CONFIG>;
using Buffer = pb::Ref<PB_BUFFER>;

/** Turns the conditions around, so that updating changes something. */
void update( CS_UPDATE **update, PB_OBJ * )
{
    pb::Ref<CS_UPDATE_OBJECTS> objects = pb::adopt( csUpdateObjectsBySort( *update, csConditionSort() ) );
    for ( PB_INT i = 0; i < csUpdateObjectsLength( objects.get() ); ++i ) {
        pb::Ref<CS_UPDATE_OBJECT> object = pb::adopt( csUpdateObjectsObjectAt( objects.get(), i ) );
        pb::Ref<PB_STORE> config = pb::adopt( csUpdateObjectConfig( object.get() ) );
        PB_BOOL value;
        if ( !config || !pbStoreValueBoolCstr( config.get(), &value, "value", -1 ) )
            continue;
        pbStoreSetValueBoolCstr( config.handle(), "value", -1, !value );
        csUpdateObjectSetConfig( object.handle(), config.get() );
        csUpdateSetObject( update, pb::adopt( csUpdateObjectsNameAt( objects.get(), i ) ).get(), object.get() );
    }
}

void start()
{
    static pb::Global<CS_MODULE_BACKEND> module;
    static pb::Global<CS_UPDATE_BACKEND> backend;
    PB_ASSERT( tr___ModuleStartup() );
    PB_ASSERT( cs___ModuleStartup() );
    module.set( csModuleBackendCreate( csModule(), nullptr, nullptr ) );
    backend.set( csUpdateBackendCreateCstr( "2013-01-04", -1, update, nullptr ) );
}

/** Encodes, and decodes that again: the same configuration, and the same bytes from then on. */
void checkRoundTrip( CS_CONFIG *config )
{
    pb::Ref<PB_STRING> error;
    Buffer encoded = pb::adopt( csConfigEncode( config ) );
    Config again = pb::adopt( csConfigTryDecode( encoded.get(), error.handle() ) );
    PB_ASSERT( again );
    PB_ASSERT( csConfigEquals( config, again.get() ) );
    Buffer encodedAgain = pb::adopt( csConfigEncode( again.get() ) );
    PB_ASSERT( pbBufferEquals( encoded.get(), encodedAgain.get() ) );
}

void checkError( PB_STRING *error )
{
    PB_ASSERT( error );
    PB_ASSERT( pbStringBeginsWithCstr( error, "line ", -1 ) );
    PB_ASSERT( pbStringFindCstr( error, 0, ", column ", -1 ) > 0 );
    PB_ASSERT( pbStringFindChar( error, 0, '\n' ) < 0 );
}

/** An update is refused exactly when a newer version is recorded. */
void checkUpdate( Config config )
{
    pb::Ref<PB_MODULE_VERSION> recorded = pb::adopt( csConfigModuleVersion( config.get(), pb::string( "cs" ).get() ) );
    pb::Ref<PB_MODULE_VERSION> own =
        pb::adopt( pbModuleVersionTryCreateFromCstr( pbModuleRecord( csModule() )->version, -1 ) );
    bool newer = recorded && pbModuleVersionCompare( recorded.get(), own.get() ) > 0;
    pb::Ref<PB_STRING> error;
    PB_ASSERT( csConfigTryUpdate( config.handle(), error.handle() ) != newer );
    if ( newer )
        return;
    checkRoundTrip( config.get() );
    for ( bool full : { false, true } ) {
        csConfigNormalize( config.handle(), full );
        checkRoundTrip( config.get() );
    }
    PB_ASSERT( csStoreTrySetConfig( config.get(), error.handle() ) );
    checkRoundTrip( pb::adopt( csStoreConfig() ).get() );
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput( const uint8_t *data, size_t size );

extern "C" int LLVMFuzzerTestOneInput( const uint8_t *data, size_t size )
{
    static bool started = ( start(), true );
    PB_ASSERT( started );
    pb::Ref<PB_STRING> error;
    Buffer json = pb::adopt( pbBufferCreateFromBytesCopy( data, PB_INT_FROM( size ) ) );
    Config config = pb::adopt( csConfigTryDecode( json.get(), error.handle() ) );
    if ( !config ) {
        checkError( error.get() );
        return 0;
    }
    checkRoundTrip( config.get() );
    checkUpdate( std::move( config ) );
    return 0;
}
