/* Module versions and descriptors. The runtime, which needs real module libraries, is tested in the folder runtime. */
#include <pb/pb.hpp>
#include <support/test_support.h>

PB_API const PB_MODULE_RECORD pb___module_record;
PB_API const char *const pb___module_version_string;

namespace {

pb::Ref<PB_MODULE_VERSION> version( const char *text )
{
    return pb::adopt( pbModuleVersionTryCreateFromCstr( text, -1 ) );
}

TEST( ModuleVersion, Texts )
{
    struct {
        const char *text;
        PB_INT major, minor;
    } const rows[] = {
        { "17.1", 17, 1 }, { "0.0", 0, 0 }, { "3.10", 3, 10 }, { "9223372036854775807.1", PB_INT_MAX, 1 } };
    for ( const auto &row : rows ) {
        auto made = version( row.text );
        ASSERT_TRUE( made ) << row.text;
        EXPECT_EQ( pbModuleVersionMajor( made.get() ), row.major );
        EXPECT_EQ( pbModuleVersionMinor( made.get() ), row.minor );
        EXPECT_EQ( test::textOf( made.get() ), row.text );
    }
    for ( const char *bad : { "", ".", "1", "1.", ".1", "1.2.3", "+1.2", "1.-2", "1.+2", " 1.2", "1.2 ", "a.b", "1,2",
              "9223372036854775808.1" } )
        EXPECT_FALSE( version( bad ) ) << bad;
    EXPECT_EQ( test::textOf( pb::adopt( pbModuleVersionTryCreateFromCstr( "17.12", 4 ) ).get() ), "17.1" );
}

TEST( ModuleVersion, OrderIsByNumber )
{
    const char *const ascending[] = { "1.9", "1.10", "2.0", "10.0" };
    for ( int a = 0; a < 4; ++a )
        for ( int b = 0; b < 4; ++b )
            EXPECT_EQ( pbModuleVersionCompare( version( ascending[a] ).get(), version( ascending[b] ).get() ),
                pb::order( a, b ) );
}

TEST( Module, OwnDescriptorIsStatic )
{
    EXPECT_EQ( pbModuleRecord( pbModule() ), &pb___module_record );
    EXPECT_EQ( std::string( pb___module_version_string ).rfind( "###XZ_VERSION### quelvaris-", 0 ), 0u );
    EXPECT_DEATH( pbModuleRelease( pbModule() ), "released too often" );
}

} // namespace
