/*
 * The set of the host's interfaces. Its process looks for names every five seconds, on a worker thread of `pr` and once on
 * the thread that starts the module. `turn` is held during a run, as long as the host takes; an interface's own turn may be
 * entered within it. What a run makes of the dictionary it works out on its own copy, beside the readers. The monitor guards
 * the dictionary that readers see, and is held for moments only. Interfaces that have left are halted and let go, and the
 * update signal is asserted, outside of both.
 */
#include <in/nw/in_nw_host_private.hpp>
#include <in/nw/in_nw_interface_private.h>
#include <in/nw/in_nw_interfaces_private.h>
#include <in/nw/in_nw_socket_private.hpp>
#include <pb/pb_dict.h>
#include <pb/pb_file.h>
#include <pb/pb_text.hpp>
#include <pb/pb_update_signal.hpp>
#include <pr/pr.h>

PB_CLASS( IN___NW_INTERFACES, in___NwInterfaces )

struct IN___NW_INTERFACES : PB_OBJ {
    const pb::Ref<TR_STREAM> stream = pb::adopt( trStreamCreateCstr( "IN_NW_INTERFACES", -1 ) );
    /** These are set while the set is created. */
    pb::Ref<PR_PROCESS> process;
    pb::Ref<PB_SIGNALABLE> signalable;
    pb::Ref<PR_TIMER> timer;

    pb::Monitor turn{ pb::Rank::interfacesTurn };
    pb::Monitor monitor{ pb::Rank::interfaces };
    pb::UpdateSignal update; // replaced in the same stay in the monitor as what it tells of
    /** By identifier. Replaced only by the thread that holds `turn`. */
    pb::Ref<PB_DICT> interfaces PB_GUARDED_BY( monitor ) = pb::adopt( pbDictCreate() );
};

PB_CLASS_DEFINE( IN___NW_INTERFACES, in___NwInterfaces, pb::destroy<IN___NW_INTERFACES>, nullptr, nullptr );

namespace {

using Set = IN___NW_INTERFACES;

constexpr PB_INT pollPeriod = 5000; // ms

constinit pb::Global<Set> in___NwInterfacesSet;

pb::Ref<IN_NW_INTERFACE> interfaceAt( PB_VECTOR *interfaces, PB_INT index )
{
    return pb::adoptAs<IN_NW_INTERFACE>( pbVectorObjAt( interfaces, index ) );
}

pb::Ref<IN___NW_INTERFACE_IMP> impOf( const pb::Ref<IN_NW_INTERFACE> &iface )
{
    return pb::adopt( in___NwInterfaceImp( iface.get() ) );
}

bool hasEnded( IN_NW_INTERFACE *iface )
{
    return inNwInterfaceStateEnd( pb::adopt( inNwInterfaceState( iface ) ).get() );
}

void enter( pb::Ref<PB_DICT> &names, const pb::Ref<PB_STRING> &name )
{
    pbDictSet( names.handle(), pb::obj( name.get() ), pb::obj( name.get() ) );
}

/** What a run makes of the set. */
struct Run {
    pb::Ref<PB_DICT> interfaces; // by identifier
    std::vector<pb::Ref<IN_NW_INTERFACE>> ended;
    bool added = false;
};

/** Names from the host's list of addresses. */
void gatherFromHost( pb::Ref<PB_DICT> &names )
{
    pb::Ref<IN___NW_HOST> host = in::hostSnapshot();
    if ( !host )
        return;
    std::string_view previous;
    for ( const in::HostEntry &found : in::hostEntries( *host ) ) {
        if ( found.name != previous )
            enter( names, pb::string( found.name ) );
        previous = found.name;
    }
}

/** A name without the blanks before it. Other white space may be part of it, as the ideographic one may. */
pb::Chars withoutBlanks( pb::Chars name )
{
    while ( !name.empty() && name.front() == ' ' )
        name = name.subspan( 1 );
    return name;
}

/** Names from the kernel's table of devices, after two lines of heading: also those of interfaces without any address. */
void gatherFromDevices( pb::Ref<PB_DICT> &names )
{
    pb::Ref<PB_LINE_SOURCE> lines = pb::adopt( pbLineSourceTryCreateFromFileCstr( "/proc/net/dev", -1 ) );
    if ( !lines )
        return;
    PB_INT number = 0;
    while ( pb::Ref<PB_STRING> line = pb::adopt( pbLineSourceTryReadLine( lines.get() ) ) ) {
        auto pieces = pb::split<3>( pb::chars( line.get() ), ':' );
        if ( ++number <= 2 || pieces.count != 2 )
            continue;
        pb::Chars name = withoutBlanks( pieces.at[0] );
        enter( names, pb::adopt( pbStringCreateFromCharsCopy( name.data(), PB_INT_FROM( name.size() ) ) ) );
    }
}

/**
 * The names of the host's interfaces. Null when neither source gives any, as in a process that has no descriptors left:
 * then nothing is known, which does not mean that every interface has gone. The loopback interface is always there.
 */
pb::Ref<PB_DICT> tryGatherNames()
{
    pb::Ref<PB_DICT> names = pb::adopt( pbDictCreate() );
    gatherFromHost( names );
    gatherFromDevices( names );
    return pbDictLength( names.get() ) > 0 ? names : nullptr;
}

/** Follows every interface, and takes those out that have ended. */
void removeEnded( Set &set, Run &run )
{
    pb::Ref<PB_VECTOR> known = pb::adopt( pbDictValuesVector( run.interfaces.get() ) );
    for ( PB_INT i = 0; i < pbVectorLength( known.get() ); ++i ) {
        pb::Ref<IN_NW_INTERFACE> iface = interfaceAt( known.get(), i );
        inNwInterfaceUpdateAddSignalable( iface.get(), set.signalable.get() ); // first, so that no end is missed
        if ( !hasEnded( iface.get() ) )
            continue;
        pb::Ref<PB_STRING> identifier = pb::adopt( inNwInterfaceIdentifier( iface.get() ) );
        pbDictDel( run.interfaces.handle(), pb::obj( identifier.get() ) );
        run.ended.push_back( std::move( iface ) );
    }
}

/** Has the interfaces end whose names have gone; they come out when they have. */
void endVanished( const Run &run, PB_DICT *names )
{
    pb::Ref<PB_VECTOR> known = pb::adopt( pbDictValuesVector( run.interfaces.get() ) );
    for ( PB_INT i = 0; i < pbVectorLength( known.get() ); ++i ) {
        pb::Ref<IN_NW_INTERFACE> iface = interfaceAt( known.get(), i );
        pb::Ref<PB_STRING> identifier = pb::adopt( inNwInterfaceIdentifier( iface.get() ) );
        if ( !pbDictHas( names, pb::obj( identifier.get() ) ) )
            in___NwInterfaceImpSetEnd( impOf( iface ).get() );
    }
}

/** An interface that is followed from now on. */
pb::Ref<IN_NW_INTERFACE> createInterface( const Set &set, PB_STRING *name )
{
    pb::Ref<TR_ANCHOR> anchor = pb::adopt( trAnchorCreate( set.stream.get(), TR_ANCHOR_KIND_USES ) );
    pb::Ref<IN___NW_INTERFACE_IMP> imp = pb::adopt( in___NwInterfaceImpCreate( name, true, anchor.get() ) );
    pb::Ref<IN_NW_INTERFACE> iface = pb::adopt( in___NwInterfaceCreate( imp.get() ) );
    inNwInterfaceUpdateAddSignalable( iface.get(), set.signalable.get() );
    return iface;
}

/** Those of the names that the set does not have. */
std::vector<pb::Ref<PB_STRING>> newNames( const Run &run, PB_DICT *names )
{
    std::vector<pb::Ref<PB_STRING>> found;
    pb::Ref<PB_VECTOR> all = pb::adopt( pbDictKeysVector( names ) );
    for ( PB_INT i = 0; i < pbVectorLength( all.get() ); ++i ) {
        pb::Ref<PB_STRING> name = pb::adoptAs<PB_STRING>( pbVectorObjAt( all.get(), i ) );
        if ( !pbDictHas( run.interfaces.get(), pb::obj( name.get() ) ) )
            found.push_back( std::move( name ) );
    }
    return found;
}

/**
 * Takes in the interfaces whose names are new. The snapshot that is kept may be older than they are, and lack their
 * addresses, so their first states must not come from it.
 */
void addNew( const Set &set, Run &run, PB_DICT *names )
{
    std::vector<pb::Ref<PB_STRING>> found = newNames( run, names );
    if ( !found.empty() )
        in::hostChanged();
    for ( const pb::Ref<PB_STRING> &name : found ) {
        pb::Ref<IN_NW_INTERFACE> iface = createInterface( set, name.get() );
        if ( hasEnded( iface.get() ) )
            continue;
        pbDictSet( run.interfaces.handle(), pb::obj( name.get() ), pb::obj( iface.get() ) );
        run.added = true;
    }
}

/** Looks for names and follows what they say. */
void lookForNames( const Set &set, Run &run )
{
    if ( pb::Ref<PB_DICT> names = tryGatherNames() ) {
        endVanished( run, names.get() );
        addNew( set, run, names.get() );
    }
    prTimerSchedule( set.timer.get(), pollPeriod );
}

pb::Ref<PB_DICT> currentInterfaces( Set &set )
{
    pb::Lock lock( set.monitor );
    return set.interfaces;
}

/** Shows what has come and gone; the signal that is to be asserted out of turn. */
pb::Ref<PB_SIGNAL> publish( Set &set, pb::Ref<PB_DICT> interfaces ) PB_REQUIRES( set.turn )
{
    pb::Lock lock( set.monitor );
    std::swap( set.interfaces, interfaces ); // the old one goes with the parameter, outside the monitor
    return set.update.replace();
}

/** A run of the process; the signal that is to be asserted out of turn, if interfaces have come or gone. */
pb::Ref<PB_SIGNAL> runInTurn( Set &set, Run &run ) PB_REQUIRES( set.turn )
{
    run.interfaces = currentInterfaces( set );
    removeEnded( set, run );
    // Woken by an interface that is still there: its own affair.
    if ( !run.ended.empty() || !prTimerScheduled( set.timer.get() ) )
        lookForNames( set, run );
    return run.ended.empty() && !run.added ? nullptr : publish( set, run.interfaces );
}

void in___NwInterfacesProcessFunc( PB_OBJ *argument )
{
    Set &set = *in___NwInterfacesFrom( argument );
    Run run;
    pb::Ref<PB_SIGNAL> changed;
    {
        pb::Lock lock( set.turn );
        changed = runInTurn( set, run );
    }
    // Somebody may hold them to the end of the module, which no process of theirs may see.
    for ( const pb::Ref<IN_NW_INTERFACE> &iface : run.ended )
        in___NwInterfaceImpHalt( impOf( iface ).get() );
    if ( changed )
        pbSignalAssert( changed.get() );
}

/** Empties the dictionary; what was in it. */
pb::Ref<PB_VECTOR> takeInterfaces( Set &set )
{
    pb::Ref<PB_DICT> taken = pb::adopt( pbDictCreate() );
    {
        pb::Lock lock( set.monitor );
        std::swap( set.interfaces, taken );
    }
    return pb::adopt( pbDictValuesVector( taken.get() ) );
}

} // namespace

void in___NwInterfacesStartup()
{
    Set *set = pb::create<Set>();
    set->process = pb::adopt( prProcessCreateWithPriorityCstr(
        nullptr, PR_PRIORITY_DEFAULT, in___NwInterfacesProcessFunc, set, "in___NwInterfacesProcessFunc", -1 ) );
    set->signalable = pb::adopt( prProcessCreateSignalable( set->process.get() ) );
    set->timer = pb::adopt( prProcessCreateTimer( set->process.get() ) );
    in___NwInterfacesSet.set( set );
    in___NwInterfacesProcessFunc( set );
}

void in___NwInterfacesShutdown()
{
    Set &set = *in___NwInterfacesSet.get();
    prProcessHalt( set.process.get() );
    prProcessHaltWait( set.process.get() );
    // Somebody may hold an interface for longer; its polls must end before the vocabularies that they write with do.
    pb::Ref<PB_VECTOR> taken = takeInterfaces( set );
    for ( PB_INT i = 0; i < pbVectorLength( taken.get() ); ++i )
        in___NwInterfaceImpHaltWait( impOf( interfaceAt( taken.get(), i ) ).get() );
    in::hostShutdown();
    in::hostSocketShutdown();
}

void in___NwInterfacesShutdownWait()
{
    in___NwInterfacesSet.drop();
}

PB_VECTOR *inNwInterfacesVector( void )
{
    return pbDictValuesVector( currentInterfaces( *in___NwInterfacesSet.get() ).get() );
}

IN_NW_INTERFACE *inNwInterfacesInterfaceByIdentifier( PB_STRING *identifier )
{
    PB_ASSERT( identifier );
    pb::Ref<PB_DICT> interfaces = currentInterfaces( *in___NwInterfacesSet.get() );
    return pb::adoptAs<IN_NW_INTERFACE>( pbDictValue( interfaces.get(), pb::obj( identifier ) ) ).give();
}

void inNwInterfacesUpdateAddSignalable( PB_SIGNALABLE *signalable )
{
    in___NwInterfacesSet.get()->update.add( signalable );
}

void inNwInterfacesUpdateDelSignalable( PB_SIGNALABLE *signalable )
{
    in___NwInterfacesSet.get()->update.del( signalable );
}
