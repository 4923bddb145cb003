/*
 * Conditions, the one sort that this library makes configurable itself, and their observers. The value of a condition
 * is guarded by the state's monitor, so its change and the collecting of its observers are one step.
 */
#include <cs/cs_private.h>

struct CS_CONDITION : PB_OBJ {
    explicit CS_CONDITION( PB_BOOL first ) : value( first )
    {
        trStreamSetPropertyBoolCstr( stream.get(), "value", -1, first );
    }

    const pb::Ref<TR_STREAM> stream = pb::adopt( trStreamCreateCstr( "CS_CONDITION", -1 ) );
    PB_BOOL value PB_GUARDED_BY( cs::state->monitor );
    pb::Ref<PB_SIGNAL> signal PB_GUARDED_BY( cs::state->monitor ) = pb::adopt( pbSignalCreate() );
};

struct CS_CONDITION_OBSERVER : PB_OBJ {
    explicit CS_CONDITION_OBSERVER( TR_ANCHOR *optionalAnchor )
        : watch( csConditionSort(), true, "CS_CONDITION_OBSERVER", optionalAnchor )
    {}
    ~CS_CONDITION_OBSERVER() { cs::watchEnd( watch ); }
    cs::Watch watch;
};

PB_CLASS_DEFINE( CS_CONDITION, csCondition, pb::destroy<CS_CONDITION>, nullptr, nullptr );
PB_CLASS_DEFINE( CS_CONDITION_OBSERVER, csConditionObserver, pb::destroy<CS_CONDITION_OBSERVER>, nullptr, nullptr );

CS_CONDITION *csConditionCreate( PB_BOOL value )
{
    return pb::create<CS_CONDITION>( value );
}

PB_BOOL csConditionValue( CS_CONDITION *condition )
{
    PB_ASSERT( condition );
    pb::Lock lock( cs::state->monitor );
    return condition->value;
}

void csConditionSetValue( CS_CONDITION *condition, PB_BOOL value )
{
    PB_ASSERT( condition );
    trStreamSetPropertyBoolCstr( condition->stream.get(), "value", -1, value );
    cs::Aftermath after;
    pb::Lock lock( cs::state->monitor );
    if ( condition->value == value )
        return;
    condition->value = value;
    after.fire( condition->signal );
    cs::watchesValueChangedLocked( condition, after );
}

static pb::Ref<PB_SIGNAL> cs___ConditionSignal( CS_CONDITION *condition )
{
    pb::Lock lock( cs::state->monitor );
    return condition->signal;
}

void csConditionUpdateAddSignalable( CS_CONDITION *condition, PB_SIGNALABLE *signalable )
{
    PB_ASSERT( condition );
    PB_ASSERT( signalable );
    pbSignalAddSignalable( cs___ConditionSignal( condition ).get(), signalable );
}

void csConditionUpdateDelSignalable( CS_CONDITION *condition, PB_SIGNALABLE *signalable )
{
    PB_ASSERT( condition );
    PB_ASSERT( signalable );
    pbSignalDelSignalable( cs___ConditionSignal( condition ).get(), signalable );
}

CS_CONDITION_OBSERVER *csConditionObserverCreate( TR_ANCHOR *optionalAnchor )
{
    return pb::create<CS_CONDITION_OBSERVER>( optionalAnchor );
}

void csConditionObserverConfigure(
    CS_CONDITION_OBSERVER *observer, PB_STRING *optionalName, CS_CONDITION *optionalCondition )
{
    PB_ASSERT( observer );
    PB_ASSERT( !optionalName || csObjectRecordNameOk( optionalName ) );
    cs::watchConfigure( observer->watch, optionalName, optionalCondition );
}

PB_BOOL csConditionObserverConditionValueWithFallback( CS_CONDITION_OBSERVER *observer, PB_BOOL fallback )
{
    PB_ASSERT( observer );
    pb::Lock lock( cs::state->monitor );
    auto *condition = static_cast<CS_CONDITION *>( observer->watch.current.get() );
    return condition ? condition->value : fallback;
}

void csConditionObserverUpdateAddSignalable( CS_CONDITION_OBSERVER *observer, PB_SIGNALABLE *signalable )
{
    PB_ASSERT( observer );
    PB_ASSERT( signalable );
    pbSignalAddSignalable( cs::watchSignal( observer->watch ).get(), signalable );
}

void csConditionObserverUpdateDelSignalable( CS_CONDITION_OBSERVER *observer, PB_SIGNALABLE *signalable )
{
    PB_ASSERT( observer );
    PB_ASSERT( signalable );
    pbSignalDelSignalable( cs::watchSignal( observer->watch ).get(), signalable );
}

/* ---- conditions in the store ---- */

static pb::Global<CS_SORT_BACKEND> cs___ConditionBackend;

static PB_BOOL cs___ConditionRestore( PB_STORE *optionalConfig )
{
    PB_BOOL value = false;
    if ( optionalConfig )
        pbStoreValueBoolCstr( optionalConfig, &value, "value", -1 );
    return value;
}

static PB_STORE *cs___ConditionStore( PB_BOOL value, PB_BOOL full )
{
    pb::Ref<PB_STORE> config = pb::adopt( pbStoreCreate() );
    if ( full || value )
        pbStoreSetValueBoolCstr( config.handle(), "value", -1, value );
    return config.give();
}

static void cs___ConditionTraceCompleteAnchorFunc( PB_OBJ *obj, TR_ANCHOR *anchor )
{
    trAnchorComplete( anchor, csConditionFrom( obj )->stream.get() );
}

static PB_OBJ *cs___ConditionTryCreateFunc( PB_STORE *optionalConfig, TR_ANCHOR *optionalAnchor )
{
    CS_CONDITION *condition = csConditionCreate( cs___ConditionRestore( optionalConfig ) );
    if ( optionalAnchor )
        trAnchorComplete( optionalAnchor, condition->stream.get() );
    return condition;
}

static PB_STORE *cs___ConditionConfigFunc( PB_OBJ *obj, PB_BOOL full )
{
    return cs___ConditionStore( csConditionValue( csConditionFrom( obj ) ), full );
}

static void cs___ConditionSetConfigFunc( PB_OBJ *obj, PB_STORE *config )
{
    csConditionSetValue( csConditionFrom( obj ), cs___ConditionRestore( config ) );
}

static PB_STORE *cs___ConditionNormalizeConfigFunc( PB_STORE *config, PB_BOOL full )
{
    return cs___ConditionStore( cs___ConditionRestore( config ), full );
}

static PB_STORE *cs___ConditionCheckFunc( PB_STORE *config, CS_CONFIG * )
{
    pb::Ref<PB_STORE> report = pb::adopt( pbStoreCreate() );
    for ( PB_INT i = 0; i < pbStoreLength( config ); ++i ) {
        pb::Ref<PB_STRING> key = pb::adopt( pbStoreKeyAt( config, i ) );
        bool known = pbStringEqualsCstr( key.get(), "value", -1 );
        PB_BOOL value;
        if ( !known || !pbStoreValueBoolCstr( config, &value, "value", -1 ) )
            pbStoreSetValue(
                report.handle(), key.get(), pb::string( known ? "must be true or false" : "unknown key" ).get() );
    }
    return report.give();
}

void cs::conditionStartup()
{
    cs___ConditionBackend.set( csSortBackendCreate( csConditionSort(), cs___ConditionTryCreateFunc,
        cs___ConditionConfigFunc, cs___ConditionSetConfigFunc, cs___ConditionNormalizeConfigFunc, nullptr,
        cs___ConditionTraceCompleteAnchorFunc ) );
    csSortBackendSetCheckFunc( cs___ConditionBackend.get(), cs___ConditionCheckFunc );
}

void cs::conditionShutdown()
{
    cs___ConditionBackend.drop();
}
