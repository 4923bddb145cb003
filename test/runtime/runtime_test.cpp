/* The runtime: which libraries it takes, in which order it starts and stops them, and what it says of unfit ones. */
#include <mutex>
#include <support/test_support.h>

namespace {

std::mutex toldMutex;
std::string told; // what the modules said of themselves since the last takeTold

std::string takeTold()
{
    std::lock_guard lock( toldMutex );
    return std::exchange( told, {} );
}

std::string running()
{
    return test::textOf( pb::adopt( pbRuntimeModulesVector() ).get() );
}

bool start( std::string_view name )
{
    return pbRuntimeTryStart( name.data(), static_cast<PB_INT>( name.size() ) );
}

std::string versionOfLast()
{
    pb::Ref<PB_VECTOR> modules = pb::adopt( pbRuntimeModulesVector() );
    auto last = pb::adoptAs<PB_MODULE>( pbVectorObjAt( modules.get(), pbVectorLength( modules.get() ) - 1 ) );
    return pbModuleRecord( last.get() )->version;
}

class Runtime : public testing::Test {
protected:
    static void SetUpTestSuite() { pbRuntimeAddModulePathCstr( MODULE_FOLDER, -1 ); }
    void TearDown() override
    {
        pbRuntimeStop();
        takeTold();
        EXPECT_EQ( running(), "[pb]" );
    }
};
using RuntimeDeathTest = Runtime;

TEST_F( Runtime, StartsWhatIsRequiredFirstAndStopsInReverse )
{
    for ( int round = 0; round < 2; ++round ) { // a stopped module can be started again
        EXPECT_TRUE( start( "top" ) );
        EXPECT_EQ( takeTold(), "ground+1 left+2 right+3 top+4 " ); // and how many ran then, "pb" included
        EXPECT_TRUE( start( "left" ) );
        EXPECT_TRUE( start( "pb" ) );
        EXPECT_TRUE( start( "idle" ) );
        EXPECT_EQ( running(), "[pb, ground, left, right, top, idle]" );
        EXPECT_EQ( pbRuntimeErrorText(), nullptr );
        pbRuntimeStop();
        EXPECT_EQ( takeTold(), "top-6 right-6 left-6 ground-6 top--5 right--4 left--3 ground--2 " );
        pbRuntimeStop();
        EXPECT_EQ( takeTold(), "" );
    }
}

TEST_F( Runtime, StopsOnlyWhatTheFailingCallStarted )
{
    EXPECT_TRUE( start( "left" ) );
    takeTold();
    EXPECT_FALSE( start( "above_failing" ) );
    EXPECT_EQ( takeTold(), "right+3 failing!4 right-4 right--4 " );
    EXPECT_EQ( running(), "[pb, ground, left]" );
    EXPECT_TRUE( start( "left" ) );
    EXPECT_EQ( pbRuntimeErrorText(), nullptr ); // of the last call only
}

TEST_F( Runtime, TellsWhyAModuleDoesNotFit )
{
    const std::string folder = MODULE_FOLDER "/libquelvaris-";
    struct {
        std::string name;
        std::vector<std::string> parts;
    } const rows[] = {
        { "absent", { "module \"absent\"", "libquelvaris-absent.so: cannot open shared object file" } },
        { "garbage", { "module \"garbage\" (" + folder + "garbage.so): ", "invalid ELF header" } },
        { "bare", { "(" + folder + "bare.so): it has no module record" } },
        { "headless", { "(" + folder + "headless.so): it has no module descriptor" } },
        { "layout3", { "(" + folder + "layout3.so): its record has layout 3 instead of 2" } },
        { "foreign", { "it is of product \"other\"" } },
        { "alias", { "module \"alias\"", "its record is that of module \"ground\"" } },
        { "numberless", { "its version \"seventeen\"" } },
        { "wordless", { "its record lacks a text" } },
        { "strange_sort", { "its descriptor is none of this base library" } },
        { "strange_record", { "its descriptor belongs to another record" } },
        { "lacking", { "module \"absent\"", ", required by \"lacking\": ", "cannot open" } },
        { "ring_a", { "it requires itself: ring_a -> ring_b -> ring_a" } },
        { "failing", { "(" + folder + "failing.so): its start-up failed" } },
        { "climbing", { "module \"../modules/ground\", required by \"climbing\": the name" } },
        { "../modules/ground", { "module \"../modules/ground\": the name" } },
        { std::string( "gro\0und\n", 8 ), { "module \"gro und \": the name" } },
    };
    for ( const auto &row : rows ) {
        EXPECT_FALSE( start( row.name ) ) << row.name;
        EXPECT_EQ( running(), "[pb]" ) << row.name;
        std::string error = test::take( pbRuntimeErrorText() );
        EXPECT_EQ( error.find( '\n' ), error.npos ) << error;
        for ( const std::string &part : row.parts )
            EXPECT_NE( error.find( part ), error.npos ) << part << "\nis not in: " << error;
        if ( row.name != "failing" )
            EXPECT_EQ( takeTold(), "" ) << row.name << ": found unfit before anything was started";
        else
            EXPECT_EQ( takeTold(), "ground+1 left+2 failing!3 left-3 ground-3 left--3 ground--2 " );
    }
}

TEST_F( Runtime, LooksIntoTheLatestFolderFirstThenBesideItsLibrary )
{
    EXPECT_TRUE( start( "beside" ) );
    EXPECT_TRUE( start( "twin" ) );
    EXPECT_EQ( versionOfLast(), "1.0" );
    pbRuntimeStop();
    pbRuntimeAddModulePathCstr( MODULE_FOLDER "_later and more", sizeof MODULE_FOLDER "_later" - 1 );
    pbRuntimeAddModulePathCstr( "", -1 );
    EXPECT_TRUE( start( "twin" ) );
    EXPECT_EQ( versionOfLast(), "2.0" );
}

TEST_F( Runtime, SeveralThreadsMayStart )
{
    test::onThreads( 8, []( int index ) { EXPECT_TRUE( start( index % 2 ? "top" : "right" ) ); } );
    EXPECT_EQ( running(), "[pb, ground, left, right, top]" );
}

TEST_F( RuntimeDeathTest, ModulesMustNotStartOthers )
{
    EXPECT_DEATH( (void)start( "meddling" ), "monitor: enter|lock order: entering runtimeTurn" );
}

} // namespace

PB_API void runtimeTestTell( const char *name, const char *what );
void runtimeTestTell( const char *name, const char *what )
{
    // Asking the runtime here shows that it calls without holding what guards the list.
    PB_INT count = pbVectorLength( pb::adopt( pbRuntimeModulesVector() ).get() );
    std::lock_guard lock( toldMutex );
    told += std::string( name ) + what + std::to_string( count ) + " ";
}
