/*
 * What stands behind a filter: its options, the stack that it follows, the active table, and the process that rebuilds it.
 *
 * The region guards what checks read: options, stack and table. Checks enter it shared. Only the process writes the stack
 * and the table, only setters write the options; what they replace is let go outside. A new table is whole before the
 * region is entered, so a check waits for a few pointers to change and no longer. The stack is asked for its address
 * outside of the region, so that no other lock is ever taken within.
 *
 * What the process alone uses is guarded by it never running twice at once.
 *
 * - Options that come during a rebuild schedule the process. It goes on with the rebuild that it has begun, with the
 *   entries that this began with, and begins the next one right after: the run that adopts them begins after the setter,
 *   or sees them.
 * - The last release of the filter halts the process and waits for it, so that afterwards nothing of the filter touches the
 *   configuration store or the modules, which may be stopped next. A rebuild sees that and gives up. Waiting cannot lock
 *   up: the process waits for nothing but short locks, and nobody drops a filter under one of those.
 */
#include <cs/cs.h>
#include <in/filter/in_filter_imp_private.h>
#include <in/filter/in_filter_table_private.hpp>
#include <pr/pr.h>

struct IN___FILTER_IMP : PB_OBJ {
    IN___FILTER_IMP( IN_FILTER_OPTIONS *initial, pb::Ref<TR_STREAM> itsStream );

    // set at creation
    const pb::Ref<TR_STREAM> stream;
    const pb::Ref<CS_OBJECT_OBSERVER> stackObserver;
    pb::Ref<PR_PROCESS> process;
    pb::Ref<PB_SIGNALABLE> signalable; // these two run the process
    pb::Ref<PR_TIMER> rebuildTimer;

    std::atomic<bool> halted = false;

    pb::Region region;
    pb::Ref<IN_FILTER_OPTIONS> options PB_GUARDED_BY( region );
    pb::Ref<IN_STACK> stack PB_GUARDED_BY( region );
    in::FilterTable table PB_GUARDED_BY( region );

    // from here on the process's own
    pb::Ref<IN_FILTER_OPTIONS> activeOptions; // those that it has adopted
    bool changed = false;                     // these or the stack, since the last rebuild began

    // set exactly while a rebuild runs
    pb::Ref<TR_STREAM> buildRebuilding; // its trace
    pb::Ref<PB_VECTOR> buildAddressesVector;
    pb::Ref<PB_VECTOR> buildMatchingBitsVector;
};

PB_CLASS_DEFINE( IN___FILTER_IMP, in___FilterImp, pb::destroy<IN___FILTER_IMP>, nullptr, nullptr );

static CS_OBJECT_OBSERVER *createStackObserver( TR_STREAM *stream )
{
    pb::Ref<TR_ANCHOR> anchor = pb::adopt( trAnchorCreate( stream, TR_ANCHOR_KIND_USES ) );
    return csObjectObserverCreate( inStackSort(), anchor.get() );
}

IN___FILTER_IMP::IN___FILTER_IMP( IN_FILTER_OPTIONS *initial, pb::Ref<TR_STREAM> itsStream )
    : stream( std::move( itsStream ) ), stackObserver( pb::adopt( createStackObserver( stream.get() ) ) ),
      options( pb::share( initial ) )
{}

/** Takes over options that were set since the last run. Whether there were any. */
static bool adoptOptions( IN___FILTER_IMP *imp )
{
    pb::Ref<IN_FILTER_OPTIONS> options = pb::adopt( in___FilterImpOptions( imp ) );
    if ( options.get() == imp->activeOptions.get() )
        return false;
    imp->activeOptions = options;
    pb::Ref<PB_STRING> name = pb::adopt( inFilterOptionsStackName( options.get() ) );
    pb::Ref<IN_STACK> stack = pb::adopt( inFilterOptionsStack( options.get() ) );
    csObjectObserverConfigure( imp->stackObserver.get(), name.get(), pb::obj( stack.get() ) );
    return true;
}

static void traceStack( IN___FILTER_IMP *imp, IN_STACK *stack )
{
    pb::Ref<TR_ANCHOR> anchor =
        pb::adopt( trAnchorCreateWithAnnotationCstr( imp->stream.get(), TR_ANCHOR_KIND_USES, "inFilterInStack", -1 ) );
    inStackTraceCompleteAnchor( stack, anchor.get() );
}

/** Follows the stack that the options name or hold. Whether it is another one now, or none. */
static bool adoptStack( IN___FILTER_IMP *imp )
{
    // in this order nothing is missed: a change fires the signalable, or is what is read
    csObjectObserverUpdateAddSignalable( imp->stackObserver.get(), imp->signalable.get() );
    pb::Ref<IN_STACK> stack = pb::adopt( inStackFrom( csObjectObserverObject( imp->stackObserver.get() ) ) );
    pb::Ref<IN_STACK> former = stack;
    {
        pb::ExclusiveLock lock( imp->region );
        std::swap( imp->stack, former );
    }
    if ( stack.get() == former.get() )
        return false;
    if ( stack )
        traceStack( imp, stack.get() );
    return true;
}

/** Adds a row to the table in the making, unless the entry takes addresses of the other version only. */
static void addRow( IN___FILTER_IMP *imp, IN_FILTER_ENTRY *entry, IN_ADDRESS *ina )
{
    if ( inFilterEntryHasAddressVersion( entry ) && inFilterEntryAddressVersion( entry ) != inAddressVersion( ina ) )
        return;
    pb::Ref<PB_BOXED_INT> bits = pb::adopt( pbBoxedIntCreate( inFilterEntryAddressMatchingBits( entry ) ) );
    pbVectorAppend( imp->buildAddressesVector.handle(), inAddressObj( ina ) );
    pbVectorAppend( imp->buildMatchingBitsVector.handle(), pbBoxedIntObj( bits.get() ) );
}

/** Adds what an entry permits by itself. */
static void addEntry( IN___FILTER_IMP *imp, IN_FILTER_ENTRY *entry )
{
    if ( !( inFilterEntryFlags( entry ) & IN_FILTER_ENTRY_FLAG_ADDRESS ) )
        return;
    pb::Ref<PB_STRING> host = pb::adopt( inFilterEntryHost( entry ) );
    if ( pb::Ref<IN_ADDRESS> ina = pb::adopt( inAddressTryCreateFromString( host.get() ) ) )
        addRow( imp, entry, ina.get() );
}

static void beginRebuild( IN___FILTER_IMP *imp )
{
    prTimerUnschedule( imp->rebuildTimer.get() );
    imp->changed = false;
    imp->buildRebuilding = pb::adopt( trStreamCreateCstr( "in___FilterImpRebuild()", -1 ) );
    pb::Ref<TR_ANCHOR> anchor = pb::adopt( trAnchorCreate( imp->buildRebuilding.get(), TR_ANCHOR_KIND_PARENT ) );
    trAnchorComplete( anchor.get(), imp->stream.get() );
    imp->buildAddressesVector = pb::adopt( pbVectorCreate() );
    imp->buildMatchingBitsVector = pb::adopt( pbVectorCreate() );

    pb::Ref<PB_VECTOR> entries = pb::adopt( inFilterOptionsEntriesVector( imp->activeOptions.get() ) );
    for ( PB_INT i = 0; i < pbVectorLength( entries.get() ) && !imp->halted; ++i )
        addEntry( imp, pb::adoptAs<IN_FILTER_ENTRY>( pbVectorObjAt( entries.get(), i ) ).get() );
}

/** Makes what was built the active table. */
static void installTable( IN___FILTER_IMP *imp )
{
    in::FilterTable table( imp->buildAddressesVector, imp->buildMatchingBitsVector );
    pb::ExclusiveLock lock( imp->region ); // left before the former table is let go
    std::swap( imp->table, table );
}

static void traceTable( IN___FILTER_IMP *imp )
{
    PB_VECTOR *addresses = imp->buildAddressesVector.get();
    PB_VECTOR *matchingBits = imp->buildMatchingBitsVector.get();
    pb::Ref<PB_STORE> rows = pb::adopt( pbStoreCreateArray() );
    for ( PB_INT i = 0; i < pbVectorLength( addresses ) && !imp->halted; ++i ) {
        pb::Ref<PB_OBJ> ina = pb::adopt( pbVectorObjAt( addresses, i ) );
        pb::Ref<PB_OBJ> bits = pb::adopt( pbVectorObjAt( matchingBits, i ) );
        pbStoreAppendValue( rows.handle(), pb::format( "%o/%o", ina, bits ).get() );
    }
    trStreamSetPropertyStoreCstr( imp->stream.get(), "inFilterAddresses", -1, rows.get() );
}

/** Ends the rebuild if nothing of it is outstanding; false when it goes on, or is given up. */
static bool tryEndRebuild( IN___FILTER_IMP *imp )
{
    if ( imp->halted )
        return false;
    installTable( imp );
    traceTable( imp );
    imp->buildRebuilding = nullptr;
    imp->buildAddressesVector = nullptr;
    imp->buildMatchingBitsVector = nullptr;
    prTimerSchedule( imp->rebuildTimer.get(), inFilterOptionsRebuildInterval( imp->activeOptions.get() ) );
    return true;
}

static bool rebuildDue( IN___FILTER_IMP *imp )
{
    return imp->changed || !prTimerScheduled( imp->rebuildTimer.get() );
}

static void in___FilterImpProcessFunc( PB_OBJ *argument )
{
    IN___FILTER_IMP *imp = in___FilterImpFrom( argument );
    PB_ASSERT( PB_BOOL_FROM( imp->buildRebuilding ) == PB_BOOL_FROM( imp->buildAddressesVector ) );
    PB_ASSERT( PB_BOOL_FROM( imp->buildRebuilding ) == PB_BOOL_FROM( imp->buildMatchingBitsVector ) );
    bool otherOptions = adoptOptions( imp );
    bool otherStack = adoptStack( imp );
    imp->changed = imp->changed || otherOptions || otherStack;
    while ( imp->buildRebuilding || rebuildDue( imp ) ) {
        if ( !imp->buildRebuilding )
            beginRebuild( imp );
        if ( !tryEndRebuild( imp ) )
            return;
    }
}

IN___FILTER_IMP *in___FilterImpCreate( IN_FILTER_OPTIONS *options, TR_ANCHOR *optionalTraceAnchor )
{
    PB_ASSERT( options );
    pb::Ref<TR_STREAM> stream = pb::adopt( trStreamCreateCstr( "IN_FILTER", -1 ) );
    if ( optionalTraceAnchor )
        trAnchorComplete( optionalTraceAnchor, stream.get() );
    IN___FILTER_IMP *imp = pb::create<IN___FILTER_IMP>( options, std::move( stream ) );
    imp->process = pb::adopt( prProcessCreateWithPriorityCstr(
        nullptr, 1, in___FilterImpProcessFunc, in___FilterImpObj( imp ), "in___FilterImpProcessFunc", -1 ) );
    imp->signalable = pb::adopt( prProcessCreateSignalable( imp->process.get() ) );
    imp->rebuildTimer = pb::adopt( prProcessCreateTimer( imp->process.get() ) );
    prProcessSchedule( imp->process.get() );
    return imp;
}

void in___FilterImpHalt( IN___FILTER_IMP *imp )
{
    PB_ASSERT( imp );
    trStreamTextCstr( imp->stream.get(), "[in___FilterImpHalt()]", -1 );
    imp->halted = true;
    prProcessHalt( imp->process.get() );
    prProcessHaltWait( imp->process.get() );
}

IN_FILTER_OPTIONS *in___FilterImpOptions( IN___FILTER_IMP *imp )
{
    PB_ASSERT( imp );
    pb::SharedLock lock( imp->region );
    return imp->options.retained();
}

void in___FilterImpSetOptions( IN___FILTER_IMP *imp, IN_FILTER_OPTIONS *options )
{
    PB_ASSERT( imp );
    PB_ASSERT( options );
    pb::Ref<IN_FILTER_OPTIONS> replaced = pb::share( options );
    {
        pb::ExclusiveLock lock( imp->region );
        std::swap( imp->options, replaced );
    }
    prProcessSchedule( imp->process.get() );
}

PB_BOOL in___FilterImpCheck( IN___FILTER_IMP *imp, IN_ADDRESS *ina )
{
    PB_ASSERT( imp );
    PB_ASSERT( ina );
    pb::Ref<IN_STACK> stack; // whose own address may be permitted too
    {
        pb::SharedLock lock( imp->region );
        if ( imp->table.permits( ina ) )
            return true;
        if ( inFilterOptionsStackAddressPermitted( imp->options.get() ) )
            stack = imp->stack;
    }
    pb::Ref<IN_ADDRESS> own = pb::adopt( stack ? inStackAddress( stack.get() ) : nullptr );
    return own && inAddressEquals( own.get(), ina );
}

void in___FilterImpTraceCompleteAnchor( IN___FILTER_IMP *imp, TR_ANCHOR *anchor )
{
    PB_ASSERT( imp );
    PB_ASSERT( anchor );
    trAnchorComplete( anchor, imp->stream.get() );
}
