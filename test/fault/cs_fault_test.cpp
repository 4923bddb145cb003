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

TEST_F( FaultConfig, SavesWholeOrLeavesTheOldOne )
{
    fault::ladder( { "saved", "refused" }, [&] {
        write( "config", stored );
        pb::Ref<CS_CONFIG> config = pb::adopt( csConfigCreate() );
        csConfigSetObject( config.handle(), pb::string( "new" ).get(), pb::string( "UNKNOWN" ).get(), nullptr );
        pb::Ref<PB_STRING> error;
        bool saved;
        {
            fault::Armed armed;
            saved = csConfigTrySave( config.get(), pb::string( file( "config" ) ).get(), error.handle() );
        }
        EXPECT_TRUE( holdsObject( file( "config" ), saved ? "new" : "stored" ) ) << "after " << fault::failedCall();
        EXPECT_EQ( names(), "config " ) << "another file is left after " << fault::failedCall();
        return saved ? "saved" : error ? "refused" : "no reason";
    } );
}

} // namespace
