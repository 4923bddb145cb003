/*
 * Following live objects by name: the inside of object and condition observers, and the object observer. A watch stands in
 * the state under its name, and under the condition that it follows, from Configure until its observer is freed; all under
 * the state's monitor, so that what a watch follows and what lives in the store never disagree.
 *
 * A signal of a watch is replaced in the same step that changes what it follows. Whoever adds a waiter and then reads
 * therefore misses nothing: either it reads the new state, or it waits on the signal of the next change.
 */
#include <cs/cs_private.h>

cs::Aftermath::~Aftermath()
{
    for ( pb::Ref<PB_SIGNAL> &signal : signals )
        pbSignalAssert( signal.get() );
    for ( Link &made : links ) {
        pb::Ref<TR_ANCHOR> anchor = pb::adopt( trAnchorCreate( made.stream.get(), TR_ANCHOR_KIND_USES ) );
        made.backend->traceCompleteAnchor( made.object.get(), anchor.get() );
    }
}

void cs::Aftermath::fire( pb::Ref<PB_SIGNAL> &signal )
{
    signals.push_back( std::exchange( signal, pb::adopt( pbSignalCreate() ) ) );
}

void cs::Aftermath::drop( pb::Ref<PB_OBJ> object )
{
    if ( object )
        objects.push_back( std::move( object ) );
}

void cs::Aftermath::link( pb::Ref<TR_STREAM> stream, pb::Ref<PB_OBJ> object, SortBackendPtr backend )
{
    if ( backend && backend->traceCompleteAnchor )
        links.push_back( { std::move( stream ), std::move( object ), std::move( backend ) } );
}

cs::Watch::Watch( const PB_SORT *watchedSort, bool watchesValue, const char *streamName, TR_ANCHOR *optionalAnchor )
    : sort( watchedSort ), ofValue( watchesValue ), stream( pb::adopt( trStreamCreateCstr( streamName, -1 ) ) )
{
    if ( optionalAnchor )
        trAnchorComplete( optionalAnchor, stream.get() );
}

namespace {

using cs::state;

template <class Index, class Key>
void eraseFrom( Index &index, const Key &key, cs::Watch *watch )
{
    auto place = index.find( key );
    if ( place == index.end() )
        return;
    place->second.erase( watch );
    if ( place->second.empty() )
        index.erase( place );
}

void followLocked( cs::Watch &watch, PB_OBJ *object, cs::Aftermath &after ) PB_REQUIRES( state->monitor )
{
    PB_OBJ *former = watch.current.get();
    if ( object == former )
        return;
    if ( watch.ofValue && former )
        eraseFrom( state->watchesByCondition, former, &watch );
    if ( watch.ofValue && object )
        state->watchesByCondition[object].insert( &watch );
    after.drop( std::exchange( watch.current, pb::share( object ) ) );
    after.fire( watch.signal );
    if ( object && trSystemActive() )
        after.link( watch.stream, watch.current, cs::sortBackendLocked( pbSortName( watch.sort ) ) );
}

/** What a watch is to follow: the object that it was given, else what lives under its name, if that is of its sort. */
void followNamedLocked( cs::Watch &watch, PB_OBJ *named, cs::Aftermath &after ) PB_REQUIRES( state->monitor )
{
    if ( watch.direct )
        followLocked( watch, watch.direct.get(), after );
    else
        followLocked( watch, named && pbObjSort( named ) == watch.sort ? named : nullptr, after );
}

void setNameLocked( cs::Watch &watch, PB_STRING *optionalName ) PB_REQUIRES( state->monitor )
{
    if ( watch.name )
        eraseFrom( state->watchesByName, pb::text( watch.name.get() ), &watch );
    if ( optionalName )
        state->watchesByName[pb::text( optionalName )].insert( &watch );
    watch.name = pb::share( optionalName );
}

PB_OBJ *namedLocked( PB_STRING *optionalName ) PB_REQUIRES( state->monitor )
{
    if ( !optionalName )
        return nullptr;
    auto place = state->live.find( pb::text( optionalName ) );
    return place == state->live.end() ? nullptr : place->second.object.get();
}

} // namespace

void cs::watchConfigure( Watch &watch, PB_STRING *optionalName, PB_OBJ *optionalObject )
{
    Aftermath after;
    pb::Lock lock( state->monitor );
    setNameLocked( watch, optionalName );
    after.drop( std::exchange( watch.direct, pb::share( optionalObject ) ) );
    followNamedLocked( watch, namedLocked( optionalName ), after );
}

void cs::watchEnd( Watch &watch )
{
    Aftermath after;
    pb::Lock lock( state->monitor );
    setNameLocked( watch, nullptr );
    after.drop( std::move( watch.direct ) );
    followLocked( watch, nullptr, after );
}

pb::Ref<PB_OBJ> cs::watchObject( Watch &watch )
{
    pb::Lock lock( state->monitor );
    return watch.current;
}

pb::Ref<PB_SIGNAL> cs::watchSignal( Watch &watch )
{
    pb::Lock lock( state->monitor );
    return watch.signal;
}

void cs::watchesNameChangedLocked( const std::string &name, PB_OBJ *object, Aftermath &after )
{
    auto place = state->watchesByName.find( name );
    if ( place == state->watchesByName.end() )
        return;
    for ( Watch *watch : place->second )
        followNamedLocked( *watch, object, after );
}

void cs::watchesValueChangedLocked( PB_OBJ *condition, Aftermath &after )
{
    auto place = state->watchesByCondition.find( condition );
    if ( place == state->watchesByCondition.end() )
        return;
    for ( Watch *watch : place->second )
        after.fire( watch->signal );
}

struct CS_OBJECT_OBSERVER : PB_OBJ {
    CS_OBJECT_OBSERVER( const PB_SORT *watchedSort, TR_ANCHOR *optionalAnchor )
        : watch( watchedSort, false, "CS_OBJECT_OBSERVER", optionalAnchor )
    {}
    ~CS_OBJECT_OBSERVER() { cs::watchEnd( watch ); }
    cs::Watch watch;
};

PB_CLASS_DEFINE( CS_OBJECT_OBSERVER, csObjectObserver, pb::destroy<CS_OBJECT_OBSERVER>, nullptr, nullptr );

CS_OBJECT_OBSERVER *csObjectObserverCreate( const PB_SORT *sort, TR_ANCHOR *optionalAnchor )
{
    PB_ASSERT( sort );
    return pb::create<CS_OBJECT_OBSERVER>( sort, optionalAnchor );
}

void csObjectObserverConfigure( CS_OBJECT_OBSERVER *observer, PB_STRING *optionalName, PB_OBJ *optionalObject )
{
    PB_ASSERT( observer );
    PB_ASSERT( !optionalName || csObjectRecordNameOk( optionalName ) );
    PB_ASSERT( !optionalObject || pbObjSort( optionalObject ) == observer->watch.sort );
    cs::watchConfigure( observer->watch, optionalName, optionalObject );
}

PB_OBJ *csObjectObserverObject( CS_OBJECT_OBSERVER *observer )
{
    PB_ASSERT( observer );
    return cs::watchObject( observer->watch ).give();
}

void csObjectObserverUpdateAddSignalable( CS_OBJECT_OBSERVER *observer, PB_SIGNALABLE *signalable )
{
    PB_ASSERT( observer );
    PB_ASSERT( signalable );
    pbSignalAddSignalable( cs::watchSignal( observer->watch ).get(), signalable );
}

void csObjectObserverUpdateDelSignalable( CS_OBJECT_OBSERVER *observer, PB_SIGNALABLE *signalable )
{
    PB_ASSERT( observer );
    PB_ASSERT( signalable );
    pbSignalDelSignalable( cs::watchSignal( observer->watch ).get(), signalable );
}
