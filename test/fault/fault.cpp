/* The ladder: runs a scenario with one call after the other failing. */
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fault/fault.h>
#include <fault/fault_plan.h>
#include <set>
#include <support/test_support.h>
#include <sys/wait.h>
#include <unistd.h>

using fault::plan;

fault::Armed::Armed()
{
    plan.armed = true;
}

fault::Armed::~Armed()
{
    plan.armed = false;
}

std::string_view fault::failedCall()
{
    const char *name = plan.name;
    return name ? name : "";
}

namespace {

constexpr int RUNG_LIMIT = 2000;
constexpr unsigned HANG_SECONDS = 60;

std::string describeRung()
{
    std::string text = "call " + std::to_string( plan.target );
    const char *name = plan.name;
    if ( !name )
        return text + " was not reached";
    int injected = plan.injected;
    text += std::string( " (" ) + name + ") ";
    if ( injected & fault::FEWER )
        return text + "moved fewer bytes";
    const char *error = strerrorname_np( injected & fault::ERROR_MASK );
    return text + "failed: " + ( error ? error : std::to_string( injected ) );
}

/** A scenario that hangs would only show as a time-out of the whole program; this tells which call it was. */
void reportHang( int )
{
    std::array<char, 200> text;
    const char *name = plan.name;
    int length = std::snprintf( text.data(), text.size(), "the scenario hangs after call %d (%s), error %#x\n",
        plan.target.load(), name ? name : "not reached", static_cast<unsigned>( plan.injected.load() ) );
    [[maybe_unused]] ssize_t written = write( STDERR_FILENO, text.data(), static_cast<size_t>( length ) );
    abort();
}

class HangWatch : test::Pinned {
public:
    HangWatch() : before( signal( SIGALRM, reportHang ) ) { alarm( HANG_SECONDS ); }
    ~HangWatch()
    {
        alarm( 0 );
        signal( SIGALRM, before );
    }

private:
    sighandler_t before;
};

/** Runs the scenario with one call failing, and looks at what is left over. */
std::string runRung( int target, int error, const std::function<std::string()> &scenario )
{
    plan.target = target;
    plan.error = error;
    plan.count = 0;
    plan.name = nullptr;
    plan.injected = 0;
    PB_INT objects = pbObjLiveCount();
    int descriptors = test::openDescriptors();

    HangWatch watch;
    std::string outcome = scenario();

    EXPECT_EQ( pbObjLiveCount(), objects ) << "objects are left over, or were released too often: " << describeRung();
    EXPECT_EQ( test::openDescriptors(), descriptors ) << "descriptors are left open: " << describeRung();
    EXPECT_EQ( waitpid( -1, nullptr, WNOHANG ), -1 ) << "a process is left: " << describeRung();
    return outcome;
}

} // namespace

void fault::ladder( std::initializer_list<std::string_view> outcomes, const std::function<std::string()> &scenario )
{
    const std::string usual( *outcomes.begin() );
    const std::set<std::string_view> allowed( outcomes );
    ASSERT_EQ( runRung( 0, 0, scenario ), usual ) << "with no call failing";
    ASSERT_GT( plan.count, 0 ) << "the scenario makes no call";

    int target = 1;
    int error = 0;
    for ( int rung = 0; rung < RUNG_LIMIT; ++rung ) {
        std::string outcome = runRung( target, error, scenario );
        if ( !plan.name ) {
            EXPECT_EQ( outcome, usual ) << "untouched, at the top of the ladder";
            return;
        }
        EXPECT_TRUE( allowed.contains( outcome ) ) << '"' << outcome << "\": " << describeRung();
        target += plan.lastError ? 1 : 0;
        error = plan.lastError ? 0 : error + 1;
    }
    FAIL() << "the ladder does not end";
}

void fault::deaths( const std::function<void()> &scenario, const std::function<void( int call )> &look )
{
    for ( int call = 1, status = 1; status != 0; ++call ) {
        pid_t child = fork();
        if ( child == 0 ) {
            plan.target = call;
            plan.error = DEATH;
            plan.count = 0;
            scenario();
            _exit( 0 );
        }
        ASSERT_EQ( waitpid( child, &status, 0 ), child );
        ASSERT_TRUE( WIFEXITED( status ) && call < RUNG_LIMIT );
        look( call );
    }
}
