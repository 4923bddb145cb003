/*
 * Who this library is, and its start and stop. Between the two phases of stopping there are no live objects any more, but
 * observers and registrations of modules that stop later still find the state.
 */
#include <cs/cs_private.h>
#include <pb/pb_module.hpp>

constinit pb::GlobalState<cs::State> cs::state;

PB_BOOL cs___ModuleStartup( void )
{
    cs::state.start();
    cs::conditionStartup();
    return true;
}

void cs___ModuleShutdown( void )
{
    cs::conditionShutdown();
    cs::storeClear();
}

void cs___ModuleShutdownWait( void )
{
    cs::state.stop();
}

PB_MODULE_DEFINE( cs, csModule, "Configuration store", "1.0", "pb pr tr", cs___ModuleStartup, cs___ModuleShutdown,
    cs___ModuleShutdownWait );
/* Names: cs___module_record, cs___module_version_string, cs___module */
