/*
 * What an object tells of itself. Any thread; the reporter's monitor guards it, and a change is told after leaving it.
 */
#include <cs/cs.h>
#include <pb/pb_update_signal.hpp>

struct CS_STATUS_REPORTER : PB_OBJ {
    pb::Monitor monitor{ pb::Rank::statusReporter };
    PB_BOOL up PB_GUARDED_BY( monitor ) = false;
    pb::Ref<PB_STORE> items PB_GUARDED_BY( monitor ) = pb::adopt( pbStoreCreate() );
    pb::UpdateSignal update;
};

PB_CLASS_DEFINE( CS_STATUS_REPORTER, csStatusReporter, pb::destroy<CS_STATUS_REPORTER>, nullptr, nullptr );

CS_STATUS_REPORTER *csStatusReporterCreate( void )
{
    return pb::create<CS_STATUS_REPORTER>();
}

PB_BOOL csStatusReporterUp( CS_STATUS_REPORTER *reporter )
{
    PB_ASSERT( reporter );
    pb::Lock lock( reporter->monitor );
    return reporter->up;
}

void csStatusReporterSetUp( CS_STATUS_REPORTER *reporter, PB_BOOL up )
{
    PB_ASSERT( reporter );
    pb::Ref<PB_SIGNAL> changed;
    {
        pb::Lock lock( reporter->monitor );
        if ( reporter->up == up )
            return;
        reporter->up = up;
        changed = reporter->update.replace();
    }
    pbSignalAssert( changed.get() );
}

void csStatusReporterSetItemCstr( CS_STATUS_REPORTER *reporter, const char *key, PB_INT length, PB_STRING *value )
{
    PB_ASSERT( reporter );
    PB_ASSERT( key );
    PB_ASSERT( length >= -1 );
    PB_ASSERT( value );
    pb::Ref<PB_SIGNAL> changed;
    {
        pb::Lock lock( reporter->monitor );
        pb::Ref<PB_STRING> former = pb::adopt( pbStoreValueCstr( reporter->items.get(), key, length ) );
        if ( former && pbStringEquals( former.get(), value ) )
            return;
        pbStoreSetValueCstr( reporter->items.handle(), key, length, value );
        changed = reporter->update.replace();
    }
    pbSignalAssert( changed.get() );
}

void csStatusReporterDelItemCstr( CS_STATUS_REPORTER *reporter, const char *key, PB_INT length )
{
    PB_ASSERT( reporter );
    PB_ASSERT( key );
    PB_ASSERT( length >= -1 );
    pb::Ref<PB_SIGNAL> changed;
    {
        pb::Lock lock( reporter->monitor );
        if ( !pbStoreHasValueCstr( reporter->items.get(), key, length ) )
            return;
        pbStoreDelCstr( reporter->items.handle(), key, length );
        changed = reporter->update.replace();
    }
    pbSignalAssert( changed.get() );
}

PB_STORE *csStatusReporterItems( CS_STATUS_REPORTER *reporter )
{
    PB_ASSERT( reporter );
    pb::Lock lock( reporter->monitor );
    return reporter->items.retained();
}

void csStatusReporterUpdateAddSignalable( CS_STATUS_REPORTER *reporter, PB_SIGNALABLE *signalable )
{
    PB_ASSERT( reporter );
    PB_ASSERT( signalable );
    reporter->update.add( signalable );
}

void csStatusReporterUpdateDelSignalable( CS_STATUS_REPORTER *reporter, PB_SIGNALABLE *signalable )
{
    PB_ASSERT( reporter );
    PB_ASSERT( signalable );
    reporter->update.del( signalable );
}
