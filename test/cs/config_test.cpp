/* Configurations as values and as files: updates by date and version, normalising. */
#include "box.hpp"
#include <pb/pb_module.hpp>
#include <support/folder.hpp>

using namespace test;

namespace {

/** Two modules with versions of their own, as the loader would know them. */
constinit PB_MODULE_RECORD depotRecord = {
    PB_MODULE_RECORD_LAYOUT, "", "", 0, 0, 0, "", "", "", "depot", "", "17.1", "", "" };
constinit PB_MODULE_RECORD yardRecord = {
    PB_MODULE_RECORD_LAYOUT, "", "", 0, 0, 0, "", "", "", "yard", "", "3.0", "", "" };
constinit PB_MODULE depot = { { &pb___sort_PB_MODULE, {} }, nullptr, nullptr, nullptr, nullptr, &depotRecord };
constinit PB_MODULE yard = { { &pb___sort_PB_MODULE, {} }, nullptr, nullptr, nullptr, nullptr, &yardRecord };

struct Modules {
    pb::Ref<CS_MODULE_BACKEND> first = pb::adopt( csModuleBackendCreate( &depot, nullptr, nullptr ) );
    pb::Ref<CS_MODULE_BACKEND> second = pb::adopt( csModuleBackendCreate( &yard, nullptr, nullptr ) );
};

/** Updates in which each step leaves its mark: `below` is the major version up to which one of depot's runs. */
struct Step : PB_OBJ {
    const char *mark;
    PB_INT below;
};
const PB_SORT stepSort = { "STEP", nullptr, nullptr, nullptr };

} // namespace

template <>
struct pb::Class<Step> {
    static const PB_SORT *sort() { return &stepSort; }
};

namespace {

void runStep( CS_UPDATE **update, PB_OBJ *context )
{
    Step &step = *static_cast<Step *>( context );
    pb::Ref<PB_MODULE_VERSION> version = pb::adopt( csUpdateModuleVersion( *update, &depot ) );
    if ( version && pbModuleVersionMajor( version.get() ) > step.below )
        return;
    pb::Ref<CS_UPDATE_OBJECTS> boxes = pb::adopt( csUpdateObjectsBySort( *update, &test::boxSort ) );
    for ( PB_INT i = 0; i < csUpdateObjectsLength( boxes.get() ); ++i ) {
        pb::Ref<PB_STRING> name = pb::adopt( csUpdateObjectsNameAt( boxes.get(), i ) );
        pb::Ref<CS_UPDATE_OBJECT> box = pb::adopt( csUpdateObjectsObjectAt( boxes.get(), i ) );
        Store config = pb::adopt( csUpdateObjectConfig( box.get() ) );
        pb::Ref<PB_STRING> trail = pb::adopt( pbStoreValueCstr( config.get(), "trail", -1 ) );
        std::string longer = ( trail ? pb::text( trail.get() ) : "" ) + step.mark;
        pbStoreSetValueCstr( config.handle(), "trail", -1, test::str( longer ).get() );
        csUpdateObjectSetConfig( box.handle(), config.get() );
        csUpdateSetObject( update, name.get(), box.get() );
    }
    auto next = pb::format( "%i.0", step.below + 1 );
    csUpdateSetModuleVersion( update, &depot, pb::adopt( pbModuleVersionTryCreate( next.get() ) ).get() );
}

pb::Ref<CS_UPDATE_BACKEND> step( const char *date, const char *mark, PB_INT below )
{
    pb::Ref<Step> context = pb::adopt( pb::create<Step>() );
    context->mark = mark;
    context->below = below;
    return pb::adopt( csUpdateBackendCreateCstr( date, -1, runStep, pb::obj( context.get() ) ) );
}

std::string save( CS_CONFIG *config, const std::string &path )
{
    pb::Ref<PB_STRING> error;
    return csConfigTrySave( config, test::str( path ).get(), error.handle() ) ? "" : pb::text( error.get() );
}
Config load( const std::string &path, std::string *text = nullptr )
{
    pb::Ref<PB_STRING> error;
    Config config = pb::adopt( csConfigTryLoad( test::str( path ).get(), error.handle() ) );
    if ( text )
        *text = error ? pb::text( error.get() ) : "";
    return config;
}

} // namespace

TEST( Update, RunsByDateFromTheRecordedVersionOn )
{
    Modules modules;
    // registered out of order; two of one day run as they were registered
    auto late = step( "2020-02-19", "e", 13 ), first = step( "2013-01-04", "a", 2 ),
         leap = step( "2020-02-29", "f", 16 ), middle = step( "2017-10-13", "b", 7 ),
         same = step( "2017-10-13", "c", 8 ), next = step( "2018-07-03", "d", 10 );
    struct {
        const char *recorded, *trail;
    } rows[] = { { "", "abcdef" }, { "\"depot\": \"3.0\"", "bcdef" },
        { "\"depot\": \"13.5\", \"yard\": \"1.0\"", "ef" }, { "\"other\": \"99.0\", \"depot\": \"17.1\"", "" } };
    for ( const auto &row : rows ) {
        std::string json =
            std::string( "{\"modules\": {" ) + row.recorded +
            R"(}, "objects": {"x": {"config": {}, "sort": "TEST_BOX"}, "y": {"sort": "OTHER", "config": {}},
                              "z": {"sort": "TEST_BOX", "extra": 1, "config": {"size": 2}}}})";
        Config before = test::config( json ), after = before;
        pb::Ref<PB_STRING> error;
        ASSERT_TRUE( csConfigTryUpdate( after.handle(), error.handle() ) );
        std::string trail = *row.trail ? std::string( "\"trail\":\"" ) + row.trail + "\"" : "";
        EXPECT_EQ( test::objects( after.get() ), "x TEST_BOX {" + trail + "}; y OTHER {}; z TEST_BOX {\"size\":2" +
                                                     ( trail.empty() ? "" : "," ) + trail + "}" );
        EXPECT_EQ( test::encoded( before.get() ), test::encoded( test::config( json ).get() ) );
        for ( auto [name, version] : { std::pair( "depot", "17.1" ), std::pair( "yard", "3.0" ) } ) {
            auto now = pb::adopt( csConfigModuleVersion( after.get(), test::str( name ).get() ) );
            EXPECT_EQ( test::textOf( now.get() ), version );
        }
        EXPECT_NE( test::encoded( after.get() ).find( "\"extra\": 1" ), std::string::npos );
    }
    first = nullptr; // a registration ends with its object
    Config after = test::config( R"({"objects": {"x": {"sort": "TEST_BOX", "config": {}}}})" );
    pb::Ref<PB_STRING> error;
    ASSERT_TRUE( csConfigTryUpdate( after.handle(), error.handle() ) );
    EXPECT_EQ( test::objects( after.get() ), "x TEST_BOX {\"trail\":\"bcdef\"}" );

    // what a newer module wrote is refused, and neither set nor saved
    Config newer = test::config( R"({"modules": {"depot": "17.1", "yard": "3.10"}})" );
    const char *expected = "module yard: configuration was written by version 3.10, this is 3.0";
    EXPECT_FALSE( csConfigTryUpdate( newer.handle(), error.handle() ) );
    EXPECT_EQ( pb::text( error.get() ), expected );
    EXPECT_FALSE( csStoreTrySetConfig( newer.get(), error.handle() ) );
    test::Folder folder;
    EXPECT_EQ( save( newer.get(), folder.file( "config.json" ) ), folder.file( "config.json" ) + ": " + expected );
    EXPECT_EQ( folder.names(), "" );
}

TEST( Config, NormalizesWhatItKnows )
{
    auto backend = test::boxBackend();
    Config config = test::config( R"({"objects": {
        "a": {"sort": "TEST_BOX", "config": {"size": 3, "color": "red"}}, "c": {"sort": "TEST_BOX"},
        "d": {"sort": "OTHER", "config": {"size": "x"}}, "e": {"sort": "CS_CONDITION", "config": {"value": false}}}})" );
    Config brief = config, full = config;
    csConfigNormalize( brief.handle(), false );
    csConfigNormalize( full.handle(), true );
    EXPECT_EQ( test::objects( brief.get() ),
        "a TEST_BOX {\"size\":3}; c TEST_BOX {}; d OTHER {\"size\":\"x\"}; e CS_CONDITION {}" );
    EXPECT_EQ( test::objects( full.get() ), "a TEST_BOX {\"size\":3}; c TEST_BOX {\"size\":1}; "
                                            "d OTHER {\"size\":\"x\"}; e CS_CONDITION {\"value\":false}" );
    csConfigDelObject( full.handle(), test::str( "d" ).get() );
    EXPECT_FALSE( csConfigHasObject( full.get(), test::str( "d" ).get() ) );
    EXPECT_TRUE( csConfigHasObject( config.get(), test::str( "d" ).get() ) );
}

TEST( Config, ChecksConditionsAndRecords )
{
    auto check = []( const char *record ) {
        Config config = test::config( std::string( R"({"objects": {"a": )" ) + record + "}}" );
        Store report = pb::adopt( csConfigCheckObject( config.get(), test::str( "a" ).get() ) );
        return report ? test::textOf( report.get() ) : "(null)";
    };
    const std::pair<const char *, const char *> rows[] = {
        { R"({"sort": "OTHER", "confg": {}})", "(null)" },
        { R"({"sort": "CS_CONDITION"})", "{}" },
        { R"({"sort": "CS_CONDITION", "note": 1, "config": {"value": true}})", "{}" },
        { R"({"sort": "CS_CONDITION", "config": {"value": 1, "valeu": true}})",
            R"({"value":"must be true or false","valeu":"unknown key"})" },
        { R"({"sort": "CS_CONDITION", "confg": {"value": true}})", R"({"config":"missing; \"confg\" may be meant"})" },
    };
    for ( auto [record, report] : rows )
        EXPECT_EQ( check( record ), report ) << record;
}

TEST( ConfigDeathTest, Misuse )
{
    auto backend = test::boxBackend();
    EXPECT_DEATH( test::boxBackend(), "sortIsNew" );
    EXPECT_DEATH( step( "2019-02-29", "", 0 ), "cs___DateOk" );
}

TEST( File, FailuresNameThePathAndLeaveTheFileAlone )
{
    test::Folder folder;
    std::string error, path = folder.write( "config.json", "{\n  \"objects\": }" );
    EXPECT_FALSE( load( path, &error ) );
    EXPECT_EQ( error, path + ": line 2, column 14: expected a value, found \"}\"" );
    EXPECT_FALSE( load( path + "/x", &error ) );
    EXPECT_EQ( error, path + "/x: Not a directory" );
    EXPECT_FALSE( load( "/dev/full", &error ) );
    EXPECT_EQ( error, "/dev/full: not a regular file" );
    Config config = test::config( R"({"objects": {"a": {"sort": "S"}}})" );
    EXPECT_EQ( save( config.get(), path + "/x" ), path + "/x: Not a directory" );
    // What could not be loaded again is not written.
    Config tooDeep = config;
    Store deep = pb::adopt( pbStoreCreate() );
    for ( int i = 0; i < 64; ++i ) {
        Store outer = pb::adopt( pbStoreCreate() );
        pbStoreSetStoreCstr( outer.handle(), "inner", -1, deep.get() );
        deep = outer;
    }
    csConfigSetObject( tooDeep.handle(), test::str( "a" ).get(), test::str( "S" ).get(), deep.get() );
    EXPECT_EQ( save( tooDeep.get(), path ).substr( path.size(), 7 ), ": line " );
    EXPECT_EQ( folder.read( "config.json" ), "{\n  \"objects\": }" );
    Modules modules;
    EXPECT_EQ( save( config.get(), path ), "" );
    EXPECT_EQ( test::encoded( load( path ).get() ), folder.read( "config.json" ) );
}
