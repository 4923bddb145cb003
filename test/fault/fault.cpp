/*
 * The wrapped calls, and the ladder that makes them fail. The plan is written by the test's thread while nothing is
 * armed, and read by any.
 */
#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <dlfcn.h>
#include <fault/fault.h>
#include <fcntl.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netdb.h>
#include <poll.h>
#include <pthread.h>
#include <set>
#include <spawn.h>
#include <support/test_support.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/ioctl.h>
#include <sys/random.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr int FEWER = 0x10000; // not an error: the call moves fewer bytes than it could
constexpr int DONE = 0x20000;  // added to an error: the call is made, then fails
constexpr int ERROR_MASK = 0xFFFF;

constexpr int done( int error )
{
    return error | DONE;
}

constexpr size_t half( size_t count )
{
    return count > 1 ? count / 2 : count;
}

/** Which call fails, and how; what came of it. */
struct Plan {
    std::atomic<bool> armed = false;
    std::atomic<int> target = 0;              // the call that fails: 1 for the first
    std::atomic<int> error = 0;               // which of its errors: 0 for the first
    std::atomic<int> count = 0;               // calls so far
    std::atomic<const char *> name = nullptr; // the call that was the target
    std::atomic<int> injected = 0;            // how it failed
    std::atomic<bool> lastError = false;      // whether it can fail in no other way
};
constinit Plan plan;

/** How the call that is being made is to fail: 0 when it is not. */
int nextError( const char *name, std::initializer_list<int> errors )
{
    if ( !plan.armed || ++plan.count != plan.target )
        return 0;
    auto index = static_cast<size_t>( plan.error.load() );
    plan.name = name;
    plan.lastError = index + 1 == errors.size();
    plan.injected = errors.begin()[index];
    return plan.injected;
}

} // namespace

// The calls under their own names, for the wrappers and for what is asked meanwhile: it must not count.
#define SYSTEM_CALL( name, result, parameters, ... ) extern "C" result __real_##name parameters;
#define SYSTEM_CODE( name, parameters, ... ) extern "C" int __real_##name parameters;
#define SYSTEM_TRANSFER( name, parameters, ... ) extern "C" ssize_t __real_##name parameters;
#define SYSTEM_INSTEAD( name, result, parameters, ... ) extern "C" result __real_##name parameters;
#define SYSTEM_SURE( name )
#include <fault/system_calls.inc>
#undef SYSTEM_CALL
#undef SYSTEM_CODE
#undef SYSTEM_TRANSFER
#undef SYSTEM_INSTEAD

/** Event counters and their kin always take and give their eight bytes whole, so nothing fails there. */
static bool movesStream( int fd )
{
    struct stat status;
    return __real_fstat( fd, &status ) == 0 && ( status.st_mode & S_IFMT ) != 0;
}

#define SYSTEM_CALL( name, result, parameters, arguments, failed, ... ) \
    extern "C" result __wrap_##name parameters;                         \
    result __wrap_##name parameters                                     \
    {                                                                   \
        int error = nextError( #name, { __VA_ARGS__ } );                \
        if ( !error )                                                   \
            return __real_##name arguments;                             \
        if ( error & DONE )                                             \
            (void)__real_##name arguments;                              \
        errno = error & ERROR_MASK;                                     \
        return failed;                                                  \
    }
#define SYSTEM_CODE( name, parameters, arguments, ... )  \
    extern "C" int __wrap_##name parameters;             \
    int __wrap_##name parameters                         \
    {                                                    \
        int error = nextError( #name, { __VA_ARGS__ } ); \
        return error ? error : __real_##name arguments;  \
    }
#define SYSTEM_TRANSFER( name, parameters, arguments, fewer, ... )                      \
    extern "C" ssize_t __wrap_##name parameters;                                        \
    ssize_t __wrap_##name parameters                                                    \
    {                                                                                   \
        int error = movesStream( fd ) ? nextError( #name, { FEWER, __VA_ARGS__ } ) : 0; \
        if ( !error )                                                                   \
            return __real_##name arguments;                                             \
        if ( error == FEWER )                                                           \
            return __real_##name fewer;                                                 \
        errno = error;                                                                  \
        return -1;                                                                      \
    }
#define SYSTEM_INSTEAD( name, result, parameters, arguments, instead )                      \
    extern "C" result __wrap_##name parameters;                                             \
    result __wrap_##name parameters                                                         \
    {                                                                                       \
        return nextError( #name, { 1 } ) ? __real_##name instead : __real_##name arguments; \
    }
#include <fault/system_calls.inc>

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
    if ( injected & FEWER )
        return text + "moved fewer bytes";
    const char *error = strerrorname_np( injected & ERROR_MASK );
    return text + "failed: " + ( error ? error : std::to_string( injected ) );
}

/** A scenario that hangs would only show as a time-out of the whole program; this tells which call it was. */
void reportHang( int )
{
    std::array<char, 200> text;
    const char *name = plan.name;
    int length = std::snprintf( text.data(), text.size(), "the scenario hangs after call %d (%s), error %#x\n",
        plan.target.load(), name ? name : "not reached", static_cast<unsigned>( plan.injected.load() ) );
    [[maybe_unused]] ssize_t written = __real_write( STDERR_FILENO, text.data(), static_cast<size_t>( length ) );
    abort();
}

class HangWatch {
public:
    HangWatch() : before( signal( SIGALRM, reportHang ) ) { alarm( HANG_SECONDS ); }
    ~HangWatch()
    {
        alarm( 0 );
        signal( SIGALRM, before );
    }
    HangWatch( const HangWatch & ) = delete;
    HangWatch &operator=( const HangWatch & ) = delete;

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
