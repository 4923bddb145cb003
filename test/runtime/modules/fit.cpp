/* A module in order, as far as its record goes. The build gives name, requirements and behaviour by macros. */
#include <pb/pb_module.hpp>

#ifndef UNIT_REQUIRED
#define UNIT_REQUIRED ""
#endif
#ifndef UNIT_STARTS
#define UNIT_STARTS true
#endif
#ifndef UNIT_VERSION
#define UNIT_VERSION "1.0"
#endif

PB_API void runtimeTestTell( const char *name, const char *what );
PB_API PB_MODULE *unitModule( void );

static bool startup()
{
#ifdef UNIT_MEDDLES
    (void)pbRuntimeTryStart( "ground", -1 );
#endif
    runtimeTestTell( PB___TEXT( UNIT ), UNIT_STARTS ? "+" : "!" );
    return UNIT_STARTS;
}

static void shutdown()
{
    runtimeTestTell( PB___TEXT( UNIT ), "-" );
}

static void shutdownWait()
{
    runtimeTestTell( PB___TEXT( UNIT ), "--" );
}

#define DEFINE( name, ... ) PB_MODULE_DEFINE( name, unitModule, "Unit", UNIT_VERSION, UNIT_REQUIRED, __VA_ARGS__ )
#ifdef UNIT_IDLE
[[maybe_unused]] static void *const unused[] = { (void *)startup, (void *)shutdown, (void *)shutdownWait };
DEFINE( UNIT, nullptr, nullptr, nullptr );
#else
DEFINE( UNIT, startup, shutdown, shutdownWait );
#endif
