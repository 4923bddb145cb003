/*
 * What is behind a stack. The monitor guards all that changes. Options, blacklist and the halted mark change on any thread,
 * everything else in the process "in___StackImpProcessFunc" only.
 *
 * A run of the process looks at the host between two stays in the monitor: the first says what it goes by, the second
 * publishes what it found. So a getter waits for neither. What a run replaces is released, and waiters are told, when the
 * monitor has been left for good: see Run.
 *
 * Following the host: each run adds the signalable to the interfaces' update signals before it looks at them, so a change
 * that comes after the look runs the process again. Halting takes the signalable out, and marks the stack so that a run
 * that goes on does not add it again; both happen under the monitor.
 */
#include <in/base/in_stack_private.h>
#include <in/kit/in_expiring_map_private.hpp>
#include <in/nw/in_nw_util_private.h>
#include <pb/pb_time.h>
#include <pb/pb_update_signal.hpp>
#include <pr/pr.h>

namespace {

void in___StackImpProcessFunc( PB_OBJ *argument );

/** What a run of the process finds. */
struct Choice {
    pb::Ref<IN_ADDRESS> address;               // or null
    pb::Ref<IN_NW_INTERFACE> primaryInterface; // or null
    pb::Ref<PB_VECTOR> interfaces;
    bool up = false;
};

/**
 * What a run has changed. Declared before the lock, so that everything happens after the monitor has been left: the status
 * reporter's waiters and the stack's own may ask the stack anything.
 */
struct Run {
    explicit Run( IN___STACK_IMP &itsImp ) : imp( itsImp ) {}
    Run( const Run & ) = delete;
    Run &operator=( const Run & ) = delete;
    ~Run();

    IN___STACK_IMP &imp;
    Choice former; // what was replaced, let go last
    pb::Ref<IN_OPTIONS> formerOptions;
    std::vector<pb::Ref<PB_OBJ>> expired;
    pb::Ref<IN_ADDRESS> address; // the present one
    bool addressChanged = false;
    bool up = false;
    bool upChanged = false;
    pb::Ref<PB_SIGNAL> updated;
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
    pb::UpdateSignal updateSignal;

    pb::Monitor monitor{ pb::Rank::service };
    pb::Ref<IN_OPTIONS> options PB_GUARDED_BY( monitor );
    pb::Ref<IN_ADDRESS> address PB_GUARDED_BY( monitor );
    pb::Ref<IN_NW_INTERFACE> extPrimaryInterface PB_GUARDED_BY( monitor );
    pb::Ref<PB_VECTOR> interfaces PB_GUARDED_BY( monitor ) = pb::adopt( pbVectorCreate() );
    bool up PB_GUARDED_BY( monitor ) = false;
    pb::Ref<IN_OPTIONS> activeOptions PB_GUARDED_BY( monitor );   // those that the process goes by
    in::ExpiringMap tcpBlacklist PB_GUARDED_BY( monitor );        // each address under itself
    pb::Ref<TR_STREAM> interfacesStream PB_GUARDED_BY( monitor ); // made on first use
    bool halted PB_GUARDED_BY( monitor ) = false;

    void run() PB_EXCLUDES( monitor );
    bool tryBegin( Run &run, pb::Ref<IN_OPTIONS> &active, Choice &previous ) PB_EXCLUDES( monitor );
    void adoptOptionsLocked( Run &run ) PB_REQUIRES( monitor );
    void publish( Choice choice, Run &run ) PB_EXCLUDES( monitor );
    void setAddressLocked( pb::Ref<IN_ADDRESS> chosen, Run &run ) PB_REQUIRES( monitor );
    void setInterfacesLocked( Choice choice, Run &run ) PB_REQUIRES( monitor );
    void expireBlacklistLocked( Run &run ) PB_REQUIRES( monitor );
};

namespace {

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

bool anyUp( PB_VECTOR *interfaces )
{
    for ( PB_INT i = 0; i < pbVectorLength( interfaces ); ++i )
        if ( isUp( interfaceAt( interfaces, i ).get() ) )
            return true;
    return false;
}

/** Hands a reference to an out argument that may be null; what was there is given back, to be let go outside of a lock. */
template <class T>
pb::Ref<T> putOut( T **optionalOut, const pb::Ref<T> &value )
{
    return optionalOut ? pb::adopt( std::exchange( *optionalOut, value.retained() ) ) : pb::Ref<T>();
}

Choice choose( IN_OPTIONS *options, const Choice &previous )
{
    Choice choice;
    in___NwUtilFindAddressAndInterface( options, previous.address.get(), previous.primaryInterface.get(),
        choice.address.handle(), choice.primaryInterface.handle(), choice.interfaces.handle() );
    choice.up = anyUp( choice.interfaces.get() );
    return choice;
}

void reportAddress( CS_STATUS_REPORTER *status, IN_ADDRESS *optionalAddress )
{
    if ( optionalAddress )
        csStatusReporterSetItemCstr(
            status, "inStackAddress", -1, pb::adopt( inAddressToString( optionalAddress ) ).get() );
    else
        csStatusReporterDelItemCstr( status, "inStackAddress", -1 );
}

Run::~Run()
{
    if ( addressChanged )
        reportAddress( imp.status.get(), address.get() );
    if ( upChanged )
        csStatusReporterSetUp( imp.status.get(), up );
    if ( updated )
        pbSignalAssert( updated.get() );
}

} // namespace

PB_CLASS_DEFINE( IN___STACK_IMP, in___StackImp, pb::destroy<IN___STACK_IMP>, nullptr, nullptr );

/** Takes over options that were set since the last run; the same object is the same options. */
void IN___STACK_IMP::adoptOptionsLocked( Run &run )
{
    if ( options.get() == activeOptions.get() )
        return;
    run.formerOptions = std::exchange( activeOptions, options );
    trStreamSetConfiguration( stream.get(), pb::adopt( inOptionsStore( activeOptions.get(), false ) ).get() );
}

/** The first stay in the monitor: what the run goes by. False when the stack was halted. */
bool IN___STACK_IMP::tryBegin( Run &run, pb::Ref<IN_OPTIONS> &active, Choice &previous )
{
    pb::Lock lock( monitor );
    if ( halted )
        return false;
    adoptOptionsLocked( run );
    in___NwUtilInterfacesUpdateAddSignalable( signalable.get() );
    active = activeOptions;
    previous.address = address;
    previous.primaryInterface = extPrimaryInterface;
    return true;
}

void IN___STACK_IMP::setAddressLocked( pb::Ref<IN_ADDRESS> chosen, Run &run )
{
    run.addressChanged = pb::compareOptional( pb::obj( chosen.get() ), pb::obj( address.get() ) ) != 0;
    run.address = chosen;
    run.former.address = std::exchange( address, std::move( chosen ) );
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

void IN___STACK_IMP::setInterfacesLocked( Choice choice, Run &run )
{
    bool changed = choice.primaryInterface.get() != extPrimaryInterface.get() ||
                   !pbVectorEquals( choice.interfaces.get(), interfaces.get() );
    run.former.primaryInterface = std::exchange( extPrimaryInterface, std::move( choice.primaryInterface ) );
    run.former.interfaces = std::exchange( interfaces, std::move( choice.interfaces ) );
    if ( changed )
        traceInterfacesLocked( this );
}

/** Also lets the process run again when the next entry ends. */
void IN___STACK_IMP::expireBlacklistLocked( Run &run )
{
    PB_INT now = pbTimestamp();
    run.expired = tcpBlacklist.takeExpired( now );
    if ( std::optional<PB_INT> next = tcpBlacklist.nextExpiry() )
        prTimerSchedule( timer.get(), *next - now );
}

/** The second stay in the monitor. */
void IN___STACK_IMP::publish( Choice choice, Run &run )
{
    pb::Lock lock( monitor );
    run.up = choice.up;
    run.upChanged = up != choice.up;
    up = choice.up;
    setAddressLocked( std::move( choice.address ), run );
    setInterfacesLocked( std::move( choice ), run );
    run.updated = updateSignal.replace();
    expireBlacklistLocked( run );
}

void IN___STACK_IMP::run()
{
    Run run( *this );
    pb::Ref<IN_OPTIONS> active;
    Choice previous;
    if ( tryBegin( run, active, previous ) )
        publish( choose( active.get(), previous ), run );
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
    Choice replaced; // what the out arguments held
    pb::Ref<IN_OPTIONS> replacedOptions;
    pb::Lock lock( imp->monitor );
    replacedOptions = putOut( optionalOptions, imp->options );
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

void in___StackImpUpdateAddSignalable( IN___STACK_IMP *imp, PB_SIGNALABLE *signalable )
{
    imp->updateSignal.add( signalable );
}

void in___StackImpUpdateDelSignalable( IN___STACK_IMP *imp, PB_SIGNALABLE *signalable )
{
    imp->updateSignal.del( signalable );
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
        imp->tcpBlacklist.set(
            address, address, pbIntAddSaturating( pbTimestamp(), inTcpOptionsBlacklistTimeout( tcpOptions.get() ) ) );
    }
    prProcessSchedule( imp->process.get() );
}

PB_BOOL in___StackImpTcpIsBlacklisted( IN___STACK_IMP *imp, IN_TCP_ADDRESS *ta )
{
    PB_ASSERT( imp );
    PB_ASSERT( ta );
    pb::Lock lock( imp->monitor );
    return imp->tcpBlacklist.has( inTcpAddressObj( ta ) );
}

PB_STORE *in___StackImpTcpBlacklistStore( IN___STACK_IMP *imp )
{
    std::vector<std::pair<pb::Ref<PB_OBJ>, PB_INT>> entries;
    {
        pb::Lock lock( imp->monitor );
        entries = imp->tcpBlacklist.entries();
    }
    PB_INT now = pbTimestamp();
    pb::Ref<PB_STORE> array = pb::adopt( pbStoreCreateArray() );
    for ( const auto &[address, expiry] : entries ) {
        pb::Ref<PB_STORE> entry = pb::adopt( pbStoreCreate() );
        pbStoreSetValueCstr( entry.handle(), "address", -1, pb::adopt( pbObjToString( address.get() ) ).get() );
        // the process takes it out a moment after its end
        pbStoreSetValueIntCstr( entry.handle(), "milliseconds", -1, std::max<PB_INT>( expiry - now, 0 ) );
        pbStoreAppendStore( array.handle(), entry.get() );
    }
    return array.give();
}
