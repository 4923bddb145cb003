/* Start and stop of the library: the sink that the environment asks for. */
#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <pb/pb_module.hpp>
#include <poll.h>
#include <tr/tr_private.h>

static constexpr PB_INT QUEUE_LIMIT = 8192;

static constinit pb::Global<TR_SINK> environmentSink;

/**
 * Writes to standard error what it takes at once: a pipe that nobody reads must not hold up the start. What fits after
 * poll has found room is at most PIPE_BUF bytes.
 */
static void tell( std::string_view line )
{
    pollfd room{ STDERR_FILENO, POLLOUT, 0 };
    if ( poll( &room, 1, 0 ) > 0 && room.revents == POLLOUT ) [[maybe_unused]]
        ssize_t written = write( STDERR_FILENO, line.data(), std::min<size_t>( line.size(), PIPE_BUF ) );
}

/**
 * A trace that cannot be written is told once, and is no reason not to run. In a set-user-ID program the environment is
 * that of somebody with fewer rights, who must not have files written.
 */
static TR_SINK *createEnvironmentSink()
{
    const char *path = secure_getenv( "QUELVARIS_TRACE" );
    if ( !path || !*path )
        return nullptr;
    const char *highVolume = secure_getenv( "QUELVARIS_TRACE_HIGH_VOLUME" );
    TR_SINK *sink =
        trSinkTryCreateJson( pb::string( path ).get(), QUEUE_LIMIT, highVolume && std::strcmp( highVolume, "1" ) == 0 );
    if ( !sink )
        tell( std::string( "QUELVARIS_TRACE: " ) + path + ": " + strerrordesc_np( errno ) + "\n" );
    return sink;
}

PB_BOOL tr___ModuleStartup( void )
{
    environmentSink.set( createEnvironmentSink() );
    if ( environmentSink.optional() )
        trSystemAddSink( environmentSink.get() );
    return true;
}

void tr___ModuleShutdown( void )
{
    if ( environmentSink.optional() )
        trSystemDelSink( environmentSink.get() );
    environmentSink.drop();
}

PB_MODULE_DEFINE( tr, trModule, "Tracing", "1.0", "pb", tr___ModuleStartup, nullptr, tr___ModuleShutdown );
/* Names: tr___module_record, tr___module_version_string, tr___module */
