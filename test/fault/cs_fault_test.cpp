/* The ladder under configurations on their way to a file and back. */
#include <cs/cs_private.h>
#include <fault/fault.h>

namespace {

using FaultConfig = fault::Files;

const int fixture = test::addFixture( 10, { [] { PB_ASSERT( cs___ModuleStartup() ); },
                                              [] {
                                                  cs___ModuleShutdown();
                                                  cs___ModuleShutdownWait();
                                              } } );

const char *const stored = R"({ "modules": {}, "objects": { "stored": { "sort": "UNKNOWN", "config": {} } } })";

bool holdsObject( const std::string &path, const char *name )
{
    pb::Ref<PB_STRING> error;
    pb::Ref<CS_CONFIG> config = pb::adopt( csConfigTryLoad( pb::string( path ).get(), error.handle() ) );
    return config && csConfigHasObject( config.get(), pb::string( name ).get() );
}

TEST_F( FaultConfig, LoadsOrSaysWhyNot )
{
    write( "config", stored );
    fault::ladder( { "loaded", "refused" }, [&] {
        fault::Armed armed;
        pb::Ref<PB_STRING> error;
        pb::Ref<CS_CONFIG> config =
            pb::adopt( csConfigTryLoad( pb::string( file( "config" ) ).get(), error.handle() ) );
        if ( config )
            return csConfigHasObject( config.get(), pb::string( "stored" ).get() ) ? "loaded" : "cut short";
        return error && pb::text( error.get() ).starts_with( file( "config" ) ) ? "refused" : "no reason";
    } );
}

bool save( const std::string &path, const char *name, pb::Ref<PB_STRING> &error )
{
    pb::Ref<CS_CONFIG> config = pb::adopt( csConfigCreate() );
    csConfigSetObject( config.handle(), pb::string( name ).get(), pb::string( "UNKNOWN" ).get(), nullptr );
    fault::Armed armed;
    return csConfigTrySave( config.get(), pb::string( path ).get(), error.handle() );
}

TEST_F( FaultConfig, SavesWholeOrLeavesTheOldOne )
{
    fault::ladder( { "saved", "refused" }, [&] {
        write( "config", stored );
        pb::Ref<PB_STRING> error;
        bool saved = save( file( "config" ), "new", error );
        EXPECT_TRUE( holdsObject( file( "config" ), saved ? "new" : "stored" ) ) << "after " << fault::failedCall();
        EXPECT_EQ( names(), "config " ) << "another file is left after " << fault::failedCall();
        return saved ? "saved" : error ? "refused" : "no reason";
    } );
}

/** What a saver that died leaves beside the file, the next one removes. */
TEST_F( FaultConfig, IsWholeThoughItsSaverDies )
{
    pb::Ref<PB_STRING> error;
    write( "config", stored );
    fault::deaths( [&] { save( file( "config" ), "new", error ); },
        [&]( int call ) {
            EXPECT_TRUE( holdsObject( file( "config" ), "stored" ) || holdsObject( file( "config" ), "new" ) ) << call;
            EXPECT_LE( std::distance( std::filesystem::directory_iterator( path ), {} ), 2 ) << call;
        } );
    EXPECT_TRUE( holdsObject( file( "config" ), "new" ) );
    EXPECT_EQ( names(), "config " );
}

} // namespace
