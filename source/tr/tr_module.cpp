/* Start and stop of the library: the sink that the environment asks for. */
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <pb/pb_module.hpp>
#include <tr/tr_private.h>

static constexpr PB_INT QUEUE_LIMIT = 8192;

static constinit pb::Global<TR_SINK> environmentSink;

/** A trace that cannot be written is told once, and is no reason not to run. */
static TR_SINK *createEnvironmentSink()
{
    const char *path = std::getenv( "QUELVARIS_TRACE" );
    if ( !path || !*path )
        return nullptr;
    const char *highVolume = std::getenv( "QUELVARIS_TRACE_HIGH_VOLUME" );
    TR_SINK *sink =
        trSinkTryCreateJson( pb::string( path ).get(), QUEUE_LIMIT, highVolume && std::strcmp( highVolume, "1" ) == 0 );
    if ( !sink )
        std::fprintf( stderr, "QUELVARIS_TRACE: %s: %s\n", path, strerrordesc_np( errno ) );
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
