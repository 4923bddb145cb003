/*
 * Who the module is, and the order in which its sub-parts start and stop. Runs on the thread of the runtime, without
 * locks. The lists are the contract: shut-down is not the mirror image of start-up, and must stay as it stands.
 */
#include <cs/cs.h>
#include <in/base/in_address_version_private.h>
#include <in/base/in_flags_private.h>
#include <in/base/in_module_private.h>
#include <in/base/in_stack_private.h>
#include <in/filter/in_filter_entry_flags_private.h>
#include <in/filter/in_filter_private.h>
#include <in/imp/in_imp_qos_private.h>
#include <in/imp/in_imp_tcp_private.h>
#include <in/imp/in_imp_udp_private.h>
#include <in/nw/in_nw_interfaces_private.h>
#include <in/nw/in_nw_vocabulary_private.h>
#include <in/qos/in_qos_stack_private.h>
#include <in/qos/in_qos_vocabulary_private.h>
#include <in/tcp/in_tcp_flags_private.h>
#include <in/udp/in_udp_flags_private.h>
#include <pb/pb_module.hpp>

PB_MODULE_DEFINE( in, inModule, "Internetworking", "17.1", "cs iri pb pr rfc tr unix", in___ModuleStartup,
    in___ModuleShutdown, in___ModuleShutdownWait );
/* Names: in___module_record, in___module_version_string, in___module */

namespace {

pb::Global<CS_MODULE_BACKEND> in___CsModuleBackend;

using Step = void ( * )();

void moduleBackendStartup()
{
    in___CsModuleBackend.set( csModuleBackendCreate( &in___module, in___CsModuleInfoFunc, nullptr ) );
}

void moduleBackendShutdown()
{
    in___CsModuleBackend.drop();
}

constexpr Step startups[] = {
    in___AddressVersionStartup,
    in___FlagsStartup,
    in___StackCsStartup,
    in___FilterCsStartup,
    in___FilterEntryFlagsStartup,
    in___ImpQosStartup,
    in___ImpTcpStartup,
    in___ImpTcpChannelAndListenerStartup,
    in___ImpUdpStartup,
    in___ImpUdpChannelStartup,
    in___NwAddressTypeStartup,
    in___NwInterfaceStatusStartup,
    in___NwInterfaceFlagsStartup,
    in___NwInterfacesStartup,
    in___QosDefaultsStartup,
    in___QosLayer2PcpStartup,
    in___QosStackCsStartup,
    in___QosWindowsTrafficTypeStartup,
    in___TcpFlagsStartup,
    in___UdpFlagsStartup,
    moduleBackendStartup,
};

constexpr Step shutdowns[] = {
    moduleBackendShutdown, // first: no more requests for the module's info
    in___QosStackCsShutdown,
    in___NwInterfacesShutdown,
    in___FilterCsShutdown,
    in___StackCsShutdown,
};

constexpr Step shutdownWaits[] = {
    in___FilterShutdownWait, // these two only look, and name what is still held
    in___StackShutdownWait,
    in___UdpFlagsShutdown,
    in___TcpFlagsShutdown,
    in___QosWindowsTrafficTypeShutdown,
    in___QosLayer2PcpShutdown,
    in___QosDefaultsShutdown,
    in___NwInterfacesShutdownWait,
    in___NwInterfaceFlagsShutdown,
    in___NwInterfaceStatusShutdown,
    in___NwAddressTypeShutdown,
    in___ImpUdpChannelShutdown,
    in___ImpUdpShutdown,
    in___ImpTcpChannelAndListenerShutdown,
    in___ImpTcpShutdown,
    in___ImpQosShutdown,
    in___FilterEntryFlagsShutdown,
    in___FlagsShutdown,
    in___AddressVersionShutdown,
};

} // namespace

PB_BOOL in___ModuleStartup( void )
{
    for ( Step step : startups )
        step();
    return true;
}

void in___ModuleShutdown( void )
{
    for ( Step step : shutdowns )
        step();
}

void in___ModuleShutdownWait( void )
{
    for ( Step step : shutdownWaits )
        step();
}

/** What the module's info says of an interface, a new store. */
static PB_STORE *storeInterface( IN_NW_INTERFACE *iface )
{
    pb::Ref<PB_STORE> store = pb::adopt( pbStoreCreate() );
    pb::Ref<PB_STRING> identifier = pb::adopt( inNwInterfaceIdentifier( iface ) );
    pb::Ref<IN_NW_INTERFACE_STATE> state = pb::adopt( inNwInterfaceState( iface ) );
    pbStoreSetValueCstr( store.handle(), "identifier", -1, identifier.get() );
    pbStoreSetStoreCstr( store.handle(), "state", -1, pb::adopt( inNwInterfaceStateStore( state.get() ) ).get() );
    return store.give();
}

PB_STORE *in___CsModuleInfoFunc( PB_OBJ * )
{
    pb::Ref<PB_STORE> info = pb::adopt( pbStoreCreate() );
    pb::Ref<PB_STORE> interfaces = pb::adopt( pbStoreCreateArray() );
    pb::Ref<PB_VECTOR> all = pb::adopt( inNwInterfacesVector() );
    for ( PB_INT i = 0; i < pbVectorLength( all.get() ); ++i ) {
        pb::Ref<IN_NW_INTERFACE> iface = pb::adoptAs<IN_NW_INTERFACE>( pbVectorObjAt( all.get(), i ) );
        pbStoreAppendStore( interfaces.handle(), pb::adopt( storeInterface( iface.get() ) ).get() );
    }
    pbStoreSetStoreCstr( info.handle(), "interfaces", -1, interfaces.get() );
    return info.give();
}
