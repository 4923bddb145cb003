/*
 * The main function of every test program. After each test the numbers of living objects and of open descriptors must
 * be what they were before it. Work in the background may hold a few of either for a moment: what counts is what
 * several samples in a row agree on.
 */
#include <filesystem>
#include <support/test_support.h>

namespace {

std::multimap<int, test::Fixture> &fixtures()
{
    static std::multimap<int, test::Fixture> all;
    return all;
}

struct Balance {
    PB_INT objects;
    int descriptors;
    bool operator==( const Balance & ) const = default;

    static Balance now() { return { pbObjLiveCount(), test::openDescriptors() }; }

    /** What four samples agree on that lie a millisecond apart; the last sample when five seconds bring none such. */
    static Balance settled()
    {
        Balance last = now();
        for ( int alike = 1, samples = 1; alike < 4 && samples < 5'000; ++samples ) {
            std::this_thread::sleep_for( std::chrono::milliseconds( 1 ) );
            Balance next = now();
            alike = next == last ? alike + 1 : 1;
            last = next;
        }
        return last;
    }
};

class BalanceListener : public testing::EmptyTestEventListener {
    void OnTestStart( const testing::TestInfo & ) override { before = Balance::settled(); }

    void OnTestEnd( const testing::TestInfo &info ) override
    {
        if ( info.result()->Skipped() )
            return;
        auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds( 5 );
        Balance after = Balance::now();
        while ( after != before && std::chrono::steady_clock::now() < deadline )
            after = Balance::settled();
        EXPECT_EQ( after.objects, before.objects ) << "objects are left over, or were released too often";
        EXPECT_EQ( after.descriptors, before.descriptors ) << "descriptors are left open";
    }

    Balance before{};
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

int test::openDescriptors()
{
    return static_cast<int>( std::distance( std::filesystem::directory_iterator( "/proc/self/fd" ), {} ) ) -
           1; // its own
}

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
