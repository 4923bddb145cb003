/*
 * The wrapped calls. A sanitizer's runtime makes some of them too, before it is ready itself, so this file is compiled
 * without any, and has nothing that needs to be constructed.
 */
#include <cerrno>
#include <dirent.h>
#include <dlfcn.h>
#include <fault/fault_plan.h>
#include <fcntl.h>
#include <ifaddrs.h>
#include <initializer_list>
#include <net/if.h>
#include <netdb.h>
#include <poll.h>
#include <pthread.h>
#include <spawn.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/random.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <sys/xattr.h>
#include <unistd.h>

extern "C" { // the header of glibc 2.36 forgets it
#include <sys/pidfd.h>
}

constinit fault::Plan fault::plan;

namespace {

using fault::DONE;
using fault::ERROR_MASK;
using fault::FEWER;

constexpr int done( int error )
{
    return error | DONE;
}

constexpr size_t half( size_t count )
{
    return count > 1 ? count / 2 : count;
}

/** How the call that is being made is to fail: 0 when it is not. */
int nextError( const char *name, std::initializer_list<int> errors )
{
    if ( !fault::plan.armed || ++fault::plan.count != fault::plan.target )
        return 0;
    if ( fault::plan.error == fault::DEATH )
        _exit( 1 );
    // Threads may make their calls in another order than last time: what was the turn of one is that of another then.
    size_t index = static_cast<size_t>( fault::plan.error.load() );
    index = index < errors.size() ? index : errors.size() - 1;
    fault::plan.name = name;
    fault::plan.lastError = index + 1 == errors.size();
    fault::plan.injected = errors.begin()[index];
    return fault::plan.injected;
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
