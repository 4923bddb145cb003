/* The ladder under configurations on their way to a file and back. */
#include <cs/cs_private.h>
#include <fault/fault.h>
#include <fault/fault_files.h>

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
    put( path( "config" ), stored );
    fault::ladder( { "loaded", "refused" }, [&] {
        fault::Armed armed;
        pb::Ref<PB_STRING> error;
        pb::Ref<CS_CONFIG> config =
            pb::adopt( csConfigTryLoad( pb::string( path( "config" ) ).get(), error.handle() ) );
        if ( config )
            return csConfigHasObject( config.get(), pb::string( "stored" ).get() ) ? "loaded" : "cut short";
        return error && pb::text( error.get() ).starts_with( path( "config" ) ) ? "refused" : "no reason";
    } );
}

TEST_F( FaultConfig, SavesWholeOrLeavesTheOldOne )
{
    fault::ladder( { "saved", "refused" }, [&] {
        put( path( "config" ), stored );
        pb::Ref<CS_CONFIG> config = pb::adopt( csConfigCreate() );
        csConfigSetObject( config.handle(), pb::string( "new" ).get(), pb::string( "UNKNOWN" ).get(), nullptr );
        pb::Ref<PB_STRING> error;
        bool saved;
        {
            fault::Armed armed;
            saved = csConfigTrySave( config.get(), pb::string( path( "config" ) ).get(), error.handle() );
        }
        EXPECT_TRUE( holdsObject( path( "config" ), saved ? "new" : "stored" ) ) << "after " << fault::failedCall();
        EXPECT_EQ( entries(), 1 ) << "another file is left after " << fault::failedCall();
        return saved ? "saved" : error ? "refused" : "no reason";
    } );
}

} // namespace
