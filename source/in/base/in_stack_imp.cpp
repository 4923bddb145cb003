/*
 * What is behind a stack. The monitor guards all that changes; it changes in the process "in___StackImpProcessFunc" only,
 * options, blacklist and the halted mark aside. What the process replaces is released, and signals are asserted, outside
 * of it: in a Run.
 *
 * Following the host: each run adds the signalable to the interfaces' update signals before it looks at them, so a change
 * that comes after the look runs the process again. Halting takes the signalable out, and marks the stack so that a run
 * that goes on does not add it again; both happen under the monitor.
 */
#include <in/base/in_stack_private.h>
#include <in/base/in_update_signal_private.hpp>
#include <in/nw/in_nw_util_private.h>
#include <pb/pb_dict.h>
#include <pb/pb_maps.h>
#include <pb/pb_time.h>
#include <pr/pr.h>

namespace {

void in___StackImpProcessFunc( PB_OBJ *argument );

/** What a run of the process takes out of the stack, let go when the monitor has been left. */
struct Run {
    pb::Ref<IN_OPTIONS> activeOptions;
    pb::Ref<IN_ADDRESS> address;
    pb::Ref<IN_NW_INTERFACE> primaryInterface;
    pb::Ref<PB_VECTOR> interfaces;
    pb::Ref<PB_SIGNAL> updated;

    ~Run()
    {
        if ( updated )
            pbSignalAssert( updated.get() );
    }
};

} // namespace

struct IN___STACK_IMP : PB_OBJ {
    explicit IN___STACK_IMP( IN_OPTIONS *opt ) : options( pb::share( opt ) ) {}

    pb::Ref<TR_STREAM> stream = pb::adopt( trStreamCreateCstr( "IN_STACK", -1 ) );
    pb::Ref<CS_STATUS_REPORTER> status = pb::adopt( csStatusReporterCreate() );
    pb::Ref<PR_PROCESS> process = pb::adopt( prProcessCreateWithPriorityCstr(
        nullptr, PR_PRIORITY_DEFAULT, in___StackImpProcessFunc, this, "in___StackImpProcessFunc", -1 ) );
    pb::Ref<PB_SIGNALABLE> signalable = pb::adopt( prProcessCreateSignalable( process.get() ) );
    pb::Ref<PR_TIMER> timer = pb::adopt( prProcessCreateTimer( process.get() ) );

    pb::Monitor monitor;
    in::UpdateSignal updateSignal PB_GUARDED_BY( monitor );
    pb::Ref<IN_OPTIONS> options PB_GUARDED_BY( monitor );
    pb::Ref<IN_ADDRESS> address PB_GUARDED_BY( monitor );
    pb::Ref<IN_NW_INTERFACE> extPrimaryInterface PB_GUARDED_BY( monitor );
    pb::Ref<PB_VECTOR> interfaces PB_GUARDED_BY( monitor ) = pb::adopt( pbVectorCreate() );
    bool up PB_GUARDED_BY( monitor ) = false;
    pb::Ref<IN_OPTIONS> activeOptions PB_GUARDED_BY( monitor ); // those that the process goes by
    pb::Ref<PB_DICT> tcpBlacklist PB_GUARDED_BY( monitor ) = pb::adopt( pbDictCreate() ); // each address under itself
    pb::Ref<PB_PRIORITY_MAP> tcpBlacklistExpiries PB_GUARDED_BY( monitor ) = pb::adopt( pbPriorityMapCreate() );
    pb::Ref<TR_STREAM> interfacesStream PB_GUARDED_BY( monitor ); // made on first use
    bool halted PB_GUARDED_BY( monitor ) = false;

    void run() PB_EXCLUDES( monitor );
    void adoptOptionsLocked( Run &run ) PB_REQUIRES( monitor );
    void selectLocked( Run &run ) PB_REQUIRES( monitor );
    void setAddressLocked( pb::Ref<IN_ADDRESS> chosen, Run &run ) PB_REQUIRES( monitor );
    void setInterfacesLocked( pb::Ref<IN_NW_INTERFACE> primary, pb::Ref<PB_VECTOR> chosen, Run &run )
        PB_REQUIRES( monitor );
    void updateUpLocked() PB_REQUIRES( monitor );
    void expireBlacklistLocked( PB_INT now ) PB_REQUIRES( monitor );
    void scheduleTimerLocked( PB_INT now ) PB_REQUIRES( monitor );
};

namespace {

void in___StackImpFreeFunc( PB_OBJ *obj )
{
    pb::destroy<IN___STACK_IMP>( obj );
}

void in___StackImpProcessFunc( PB_OBJ *argument )
{
    in___StackImpFrom( argument )->run();
}

pb::Ref<IN_NW_INTERFACE> interfaceAt( PB_VECTOR *interfaces, PB_INT index )
{
    return pb::adoptAs<IN_NW_INTERFACE>( pbVectorObjAt( interfaces, index ) );
}

bool isUp( IN_NW_INTERFACE *iface )
{
    pb::Ref<IN_NW_INTERFACE_STATE> state = pb::adopt( inNwInterfaceState( iface ) );
    return inNwInterfaceStateHasStatus( state.get() ) &&
           inNwInterfaceStateStatus( state.get() ) == IN_NW_INTERFACE_STATUS_UP;
}

/** Hands a reference to an out argument that may be null; what was there is given back, to be let go outside of a lock. */
template <class T>
pb::Ref<T> putOut( T **optionalOut, const pb::Ref<T> &value )
{
    return optionalOut ? pb::adopt( std::exchange( *optionalOut, value.retained() ) ) : pb::Ref<T>();
}

} // namespace

PB_CLASS_DEFINE( IN___STACK_IMP, in___StackImp, in___StackImpFreeFunc, nullptr, nullptr );

/** Takes over options that were set since the last run; the same object is the same options. */
void IN___STACK_IMP::adoptOptionsLocked( Run &run )
{
    if ( options.get() == activeOptions.get() )
        return;
    run.activeOptions = std::exchange( activeOptions, options );
    trStreamSetConfiguration( stream.get(), pb::adopt( inOptionsStore( activeOptions.get(), false ) ).get() );
}

void IN___STACK_IMP::selectLocked( Run &run )
{
    pb::Ref<IN_ADDRESS> chosen;
    pb::Ref<IN_NW_INTERFACE> primary;
    pb::Ref<PB_VECTOR> chosenInterfaces;
    in___NwUtilFindAddressAndInterface( activeOptions.get(), address.get(), extPrimaryInterface.get(), chosen.handle(),
        primary.handle(), chosenInterfaces.handle() );
    setAddressLocked( std::move( chosen ), run );
    setInterfacesLocked( std::move( primary ), std::move( chosenInterfaces ), run );
}

void IN___STACK_IMP::setAddressLocked( pb::Ref<IN_ADDRESS> chosen, Run &run )
{
    bool changed = pb::compareOptional( pb::obj( chosen.get() ), pb::obj( address.get() ) ) != 0;
    run.address = std::exchange( address, std::move( chosen ) );
    if ( !changed )
        return;
    if ( address )
        csStatusReporterSetItemCstr(
            status.get(), "inStackAddress", -1, pb::adopt( inAddressToString( address.get() ) ).get() );
    else
        csStatusReporterDelItemCstr( status.get(), "inStackAddress", -1 );
}

static void traceInterfacesLocked( IN___STACK_IMP *imp ) PB_REQUIRES( imp->monitor )
{
    if ( !imp->interfacesStream ) {
        imp->interfacesStream = pb::adopt( trStreamCreateCstr( "in___StackImpUpdateInterfaces()", -1 ) );
        pb::Ref<TR_ANCHOR> anchor = pb::adopt( trAnchorCreate( imp->stream.get(), TR_ANCHOR_KIND_USES ) );
        trAnchorComplete( anchor.get(), imp->interfacesStream.get() );
    }
    TR_STREAM *stream = imp->interfacesStream.get();
    PB_INT count = pbVectorLength( imp->interfaces.get() );
    if ( count == 0 )
        return;
    PB_ASSERT( imp->extPrimaryInterface );
    pb::Ref<TR_ANCHOR> primary =
        pb::adopt( trAnchorCreateWithAnnotationCstr( stream, TR_ANCHOR_KIND_USES, "inPrimaryInterface", -1 ) );
    inNwInterfaceTraceCompleteAnchor( imp->extPrimaryInterface.get(), primary.get() );
    for ( PB_INT i = 0; i < count; ++i ) {
        pb::Ref<TR_ANCHOR> anchor = pb::adopt( trAnchorCreate( stream, TR_ANCHOR_KIND_USES ) );
        inNwInterfaceTraceCompleteAnchor( interfaceAt( imp->interfaces.get(), i ).get(), anchor.get() );
    }
}

void IN___STACK_IMP::setInterfacesLocked( pb::Ref<IN_NW_INTERFACE> primary, pb::Ref<PB_VECTOR> chosen, Run &run )
{
    bool changed = primary.get() != extPrimaryInterface.get() || !pbVectorEquals( chosen.get(), interfaces.get() );
    run.primaryInterface = std::exchange( extPrimaryInterface, std::move( primary ) );
    run.interfaces = std::exchange( interfaces, std::move( chosen ) );
    if ( changed )
        traceInterfacesLocked( this );
}

void IN___STACK_IMP::updateUpLocked()
{
    bool anyUp = false;
    for ( PB_INT i = 0; !anyUp && i < pbVectorLength( interfaces.get() ); ++i )
        anyUp = isUp( interfaceAt( interfaces.get(), i ).get() );
    if ( anyUp == up )
        return;
    up = anyUp;
    csStatusReporterSetUp( status.get(), up );
}

void IN___STACK_IMP::expireBlacklistLocked( PB_INT now )
{
    while ( pbPriorityMapLength( tcpBlacklistExpiries.get() ) > 0 &&
            pbPriorityMapLowestPriority( tcpBlacklistExpiries.get() ) <= now ) {
        pb::Ref<PB_OBJ> expired = pb::adopt( pbPriorityMapLowestObj( tcpBlacklistExpiries.get() ) );
        pbPriorityMapDelLowest( tcpBlacklistExpiries.handle() );
        pbDictDel( tcpBlacklist.handle(), expired.get() );
    }
}

void IN___STACK_IMP::scheduleTimerLocked( PB_INT now )
{
    if ( pbPriorityMapLength( tcpBlacklistExpiries.get() ) > 0 )
        prTimerSchedule(
            timer.get(), std::max<PB_INT>( pbPriorityMapLowestPriority( tcpBlacklistExpiries.get() ) - now, 0 ) );
}

void IN___STACK_IMP::run()
{
    Run taken;
    pb::Lock lock( monitor );
    if ( halted )
        return;
    adoptOptionsLocked( taken );
    in___NwUtilInterfacesUpdateAddSignalable( signalable.get() );
    selectLocked( taken );
    updateUpLocked();
    taken.updated = updateSignal.replace();
    PB_INT now = pbTimestamp();
    expireBlacklistLocked( now );
    scheduleTimerLocked( now );
}

IN___STACK_IMP *in___StackImpCreate( IN_OPTIONS *opt, TR_ANCHOR *optionalTraceAnchor )
{
    PB_ASSERT( opt );
    IN___STACK_IMP *imp = pb::create<IN___STACK_IMP>( opt );
    if ( optionalTraceAnchor )
        trAnchorComplete( optionalTraceAnchor, imp->stream.get() );
    csStatusReporterSetUp( imp->status.get(), false );
    return imp;
}

void in___StackImpStart( IN___STACK_IMP *imp )
{
    prProcessSchedule( imp->process.get() );
}

void in___StackImpHalt( IN___STACK_IMP *imp )
{
    trStreamTextCstr( imp->stream.get(), "[in___StackImpHalt()]", -1 );
    {
        pb::Lock lock( imp->monitor );
        imp->halted = true;
        in___NwUtilInterfacesUpdateDelSignalable( imp->signalable.get() );
    }
    prProcessHalt( imp->process.get() );
}

void in___StackImpSetOptions( IN___STACK_IMP *imp, IN_OPTIONS *opt )
{
    PB_ASSERT( opt );
    pb::Ref<IN_OPTIONS> replaced = pb::share( opt );
    {
        pb::Lock lock( imp->monitor );
        std::swap( imp->options, replaced );
    }
    prProcessSchedule( imp->process.get() );
}

void in___StackImpConfiguration( IN___STACK_IMP *imp, IN_OPTIONS **optionalOptions, IN_ADDRESS **optionalAddress,
    IN_NW_INTERFACE **optionalPrimaryInterface, PB_VECTOR **optionalInterfaces, PB_BOOL *optionalUp )
{
    Run replaced; // what the out arguments held
    pb::Lock lock( imp->monitor );
    replaced.activeOptions = putOut( optionalOptions, imp->options );
    replaced.address = putOut( optionalAddress, imp->address );
    replaced.primaryInterface = putOut( optionalPrimaryInterface, imp->extPrimaryInterface );
    replaced.interfaces = putOut( optionalInterfaces, imp->interfaces );
    if ( optionalUp )
        *optionalUp = imp->up;
}

CS_STATUS_REPORTER *in___StackImpCsStatus( IN___STACK_IMP *imp )
{
    return imp->status.retained();
}

void in___StackImpTraceCompleteAnchor( IN___STACK_IMP *imp, TR_ANCHOR *anchor )
{
    trAnchorComplete( anchor, imp->stream.get() );
}

static pb::Ref<PB_SIGNAL> currentUpdateSignal( IN___STACK_IMP *imp )
{
    pb::Lock lock( imp->monitor );
    return imp->updateSignal.current();
}

void in___StackImpUpdateAddSignalable( IN___STACK_IMP *imp, PB_SIGNALABLE *signalable )
{
    pbSignalAddSignalable( currentUpdateSignal( imp ).get(), signalable );
}

void in___StackImpUpdateDelSignalable( IN___STACK_IMP *imp, PB_SIGNALABLE *signalable )
{
    pbSignalDelSignalable( currentUpdateSignal( imp ).get(), signalable );
}

void in___StackImpTcpBlacklist( IN___STACK_IMP *imp, IN_TCP_ADDRESS *ta )
{
    PB_ASSERT( imp );
    PB_ASSERT( ta );
    {
        pb::Lock lock( imp->monitor );
        pb::Ref<IN_TCP_OPTIONS> tcpOptions = pb::adopt( inOptionsTcpOptions( imp->options.get() ) );
        if ( !inTcpOptionsBlacklistEnabled( tcpOptions.get() ) )
            return;
        PB_OBJ *address = inTcpAddressObj( ta );
        pbDictSet( imp->tcpBlacklist.handle(), address, address );
        pbPriorityMapSet( imp->tcpBlacklistExpiries.handle(), address,
            pbIntAddSaturating( pbTimestamp(), inTcpOptionsBlacklistTimeout( tcpOptions.get() ) ) );
    }
    prProcessSchedule( imp->process.get() );
}

PB_BOOL in___StackImpTcpIsBlacklisted( IN___STACK_IMP *imp, IN_TCP_ADDRESS *ta )
{
    PB_ASSERT( imp );
    PB_ASSERT( ta );
    pb::Lock lock( imp->monitor );
    return pbDictHas( imp->tcpBlacklist.get(), inTcpAddressObj( ta ) );
}
