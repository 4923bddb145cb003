/* The public handle of an interface: everything is its implementation's. */
#include <in/nw/in_nw_interface_private.h>
#include <pb/pb.hpp>

struct IN_NW_INTERFACE : PB_OBJ {
    pb::Ref<IN___NW_INTERFACE_IMP> imp; // never null
};

static void in___NwInterfaceFreeFunc( PB_OBJ *obj )
{
    in___NwInterfaceImpHalt( inNwInterfaceFrom( obj )->imp.get() );
    pb::destroy<IN_NW_INTERFACE>( obj );
}

PB_CLASS_DEFINE( IN_NW_INTERFACE, inNwInterface, in___NwInterfaceFreeFunc, nullptr, nullptr );

static IN___NW_INTERFACE_IMP *impOf( IN_NW_INTERFACE *iface )
{
    PB_ASSERT( iface );
    return iface->imp.get();
}

IN_NW_INTERFACE *in___NwInterfaceCreate( IN___NW_INTERFACE_IMP *imp )
{
    PB_ASSERT( imp );
    return pb::create<IN_NW_INTERFACE>( pb::share( imp ) );
}

IN___NW_INTERFACE_IMP *in___NwInterfaceImp( IN_NW_INTERFACE *iface )
{
    return in___NwInterfaceImpRetain( impOf( iface ) );
}

PB_STRING *inNwInterfaceIdentifier( IN_NW_INTERFACE *iface )
{
    return in___NwInterfaceImpIdentifier( impOf( iface ) );
}

IN_NW_INTERFACE_STATE *inNwInterfaceState( IN_NW_INTERFACE *iface )
{
    return in___NwInterfaceImpState( impOf( iface ) );
}

void inNwInterfaceUpdateAddSignalable( IN_NW_INTERFACE *iface, PB_SIGNALABLE *signalable )
{
    in___NwInterfaceImpUpdateAddSignalable( impOf( iface ), signalable );
}

void inNwInterfaceUpdateDelSignalable( IN_NW_INTERFACE *iface, PB_SIGNALABLE *signalable )
{
    in___NwInterfaceImpUpdateDelSignalable( impOf( iface ), signalable );
}

void inNwInterfaceTraceCompleteAnchor( IN_NW_INTERFACE *iface, TR_ANCHOR *anchor )
{
    in___NwInterfaceImpTraceCompleteAnchor( impOf( iface ), anchor );
}

PB_BOOL in___NwInterfaceTrySetStatus( IN_NW_INTERFACE *iface, PB_INT status )
{
    return in___NwInterfaceImpTrySetStatus( impOf( iface ), status );
}

PB_BOOL in___NwInterfaceTrySetLayer3UnicastAddress(
    IN_NW_INTERFACE *iface, IN_ADDRESS *inAddress, IN_NETWORK *optionalInNetwork )
{
    return in___NwInterfaceImpTrySetLayer3UnicastAddress( impOf( iface ), inAddress, optionalInNetwork );
}

PB_BOOL in___NwInterfaceTryDelLayer3UnicastAddress( IN_NW_INTERFACE *iface, IN_ADDRESS *inAddress )
{
    return in___NwInterfaceImpTryDelLayer3UnicastAddress( impOf( iface ), inAddress );
}
