/* Module versions and descriptors. The runtime, which needs real module libraries, is tested in the folder runtime. */
#include <support/test_support.h>

PB_API const PB_MODULE_RECORD pb___module_record;
PB_API const char *const pb___module_version_string;

namespace {

pb::Ref<PB_MODULE_VERSION> version( const char *text )
{
    return pb::adopt( pbModuleVersionTryCreateFromCstr( text, -1 ) );
}

TEST( ModuleVersion, TextsInOrder )
{
    const char *const ascending[] = { "0.0", "1.9", "1.10", "2.0", "17.1", "9223372036854775807.1" };
    for ( const char *const &a : ascending ) {
        ASSERT_TRUE( version( a ) ) << a;
        EXPECT_EQ( test::textOf( version( a ).get() ), a );
        for ( const char *const &b : ascending )
            EXPECT_EQ( pbModuleVersionCompare( version( a ).get(), version( b ).get() ), pb::order( &a, &b ) );
    }
    for ( const char *bad :
        { "", ".", "1", "1.", ".1", "1.2.3", "+1.2", "1.-2", " 1.2", "1.2 ", "a.b", "9223372036854775808.1" } )
        EXPECT_FALSE( version( bad ) ) << bad;
}

TEST( Module, OwnDescriptorIsStatic )
{
    EXPECT_EQ( pbModuleRecord( pbModule() ), &pb___module_record );
    EXPECT_EQ( std::string( pb___module_version_string ).rfind( "###XZ_VERSION### quelvaris-", 0 ), 0u );
    EXPECT_DEATH( pbModuleRelease( pbModule() ), "released too often" );
}

} // namespace
