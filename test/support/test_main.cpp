/*
 * The main function of every test program. After each test the numbers of living objects and of open descriptors must
 * be what they were before it.
 */
#include <map>
#include <support/test_support.h>

namespace {

std::multimap<int, test::Fixture> &fixtures()
{
    static std::multimap<int, test::Fixture> all;
    return all;
}

class BalanceListener : public testing::EmptyTestEventListener {
    void OnTestStart( const testing::TestInfo & ) override
    {
        objects = pbObjLiveCount();
        descriptors = test::openDescriptors();
    }
    void OnTestEnd( const testing::TestInfo &info ) override
    {
        if ( info.result()->Skipped() )
            return;
        EXPECT_EQ( pbObjLiveCount(), objects ) << "objects are left over, or were released too often";
        EXPECT_EQ( test::openDescriptors(), descriptors ) << "descriptors are left open";
    }
    PB_INT objects = 0;
    int descriptors = 0;
};

class FixtureEnvironment : public testing::Environment {
    void SetUp() override
    {
        for ( auto &[priority, fixture] : fixtures() )
            fixture.start();
    }
    void TearDown() override
    {
        for ( auto fixture = fixtures().rbegin(); fixture != fixtures().rend(); ++fixture )
            fixture->second.stop();
    }
};

} // namespace

int test::addFixture( int priority, Fixture fixture )
{
    fixtures().emplace( priority, fixture );
    return priority;
}

int test::addModules( std::vector<PB_MODULE *> modules )
{
    auto start = [modules] {
        for ( PB_MODULE *module : modules )
            ASSERT_TRUE( !module->startup || module->startup() ) << module->record->name;
    };
    auto stop = [modules] {
        for ( auto phase : { &PB_MODULE::shutdown, &PB_MODULE::shutdownWait } )
            for ( auto module = modules.rbegin(); module != modules.rend(); ++module )
                if ( ( *module )->*phase )
                    ( ( *module )->*phase )();
    };
    return addFixture( 0, { start, stop } );
}

int main( int argc, char **argv )
{
    testing::InitGoogleTest( &argc, argv );
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    testing::AddGlobalTestEnvironment( new FixtureEnvironment );
    testing::UnitTest::GetInstance()->listeners().Append( new BalanceListener );
    return RUN_ALL_TESTS();
}
