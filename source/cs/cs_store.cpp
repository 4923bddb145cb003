/*
 * The live store: the objects that live under their names, and the configuration that says what shall live.
 *
 * Changes go one after the other: the thread that changes the store has the turn. It keeps the turn while it calls
 * functions of backends, so that two changes never reconfigure one object at once, or leave an object of one beside
 * the configuration of the other. A function of a backend may itself change the store: its thread has the turn, so the
 * inner change is made at once, within the outer one. It must not wait for another thread that wants the turn.
 *
 * What is wanted is always state->config; a change first writes there what it wants, then makes names agree with it, one
 * at a time. Inner changes write there too, so whatever the outer one does after them takes them into account.
 *
 * The state's monitor guards every single step, and readers need only that. Objects that leave are released, and signals
 * asserted, after the turn: freeing an object may wait for its threads, and those may want the turn.
 */
#include <cs/cs_json_private.h>
#include <cs/cs_private.h>

namespace {

using cs::Aftermath;
using cs::LiveObject;
using cs::SortBackend;
using cs::SortBackendPtr;
using cs::state;

/** The right to change the store, to the end of the scope; a thread that has it may take it again. */
class Turn {
public:
    // The analysis cannot know that the thread's outer turn holds the lock.
    Turn() PB_NO_THREAD_SAFETY_ANALYSIS
    {
        if ( outermost )
            return;
        state->changes.enter();
        outermost = this;
    }
    ~Turn() PB_NO_THREAD_SAFETY_ANALYSIS
    {
        if ( outermost != this )
            return;
        outermost = nullptr;
        state->changes.leave();
        // only now, as a member, ends the aftermath
    }
    Turn( const Turn & ) = delete;
    Turn &operator=( const Turn & ) = delete;

    Aftermath &after() { return outermost->aftermath; }

private:
    static thread_local Turn *outermost;
    Aftermath aftermath;
};

thread_local Turn *Turn::outermost = nullptr;

/** Takes what a try-create function says of why it gives null, to the end of the scope; creations may nest. */
class Reason {
public:
    Reason() : outer( std::exchange( innermost, this ) ) {}
    ~Reason() { innermost = outer; }
    Reason( const Reason & ) = delete;
    Reason &operator=( const Reason & ) = delete;

    pb::Ref<PB_STRING> text;
    static thread_local Reason *innermost;

private:
    Reason *outer;
};

thread_local Reason *Reason::innermost = nullptr;

/** What the configuration wants under a name, and what lives there if it is of the wanted sort. */
struct Slot {
    SortBackendPtr backend; /* null when nothing can live there */
    pb::Ref<PB_STORE> config;
    pb::Ref<PB_OBJ> live;
};

pb::Ref<PB_OBJ> liveLocked( const std::string &name, const SortBackendPtr &backend ) PB_REQUIRES( state->monitor )
{
    auto place = state->live.find( name );
    return place != state->live.end() && place->second.backend == backend ? place->second.object : nullptr;
}

SortBackendPtr wantedBackendLocked( PB_STRING *name ) PB_REQUIRES( state->monitor )
{
    pb::Ref<PB_STRING> sortName = pb::adopt( csConfigObjectSort( state->config.get(), name ) );
    return sortName ? cs::sortBackendLocked( pb::text( sortName.get() ) ) : nullptr;
}

Slot slotOf( PB_STRING *name )
{
    pb::Lock lock( state->monitor );
    SortBackendPtr backend = wantedBackendLocked( name );
    if ( !backend )
        return {};
    return { backend, pb::adopt( csConfigObjectConfig( state->config.get(), name ) ),
        liveLocked( pb::text( name ), backend ) };
}

/** Puts an object under a name, null to leave none there. */
void putLocked( const std::string &name, pb::Ref<PB_OBJ> object, const SortBackendPtr &backend, Aftermath &after )
    PB_REQUIRES( state->monitor )
{
    auto place = state->live.find( name );
    if ( place == state->live.end() && !object )
        return;
    cs::watchesNameChangedLocked( name, object.get(), after );
    after.fire( state->liveSignal );
    if ( place != state->live.end() ) {
        after.drop( std::move( place->second.object ) );
        state->live.erase( place );
    }
    if ( object )
        state->live.emplace( name, LiveObject{ std::move( object ), backend } );
}

/** The first thing that its sort's check says of a configuration, "" for nothing. */
std::string firstComplaint( const SortBackend &backend, PB_STORE *optionalConfig )
{
    pb::Ref<PB_STORE> report = cs::checkConfig( pbSortName( backend.sort ), optionalConfig, nullptr );
    if ( !report || pbStoreLength( report.get() ) == 0 )
        return {};
    return pb::text( pb::adopt( pbStoreKeyAt( report.get(), 0 ) ).get() ) + ": " +
           pb::text( pb::adopt( pbStoreValueAt( report.get(), 0 ) ).get() );
}

/** A new object, or null; then `problem` says which could not be created, and why. */
pb::Ref<PB_OBJ> tryCreate( const SortBackend &backend, PB_STRING *name, PB_STORE *optionalConfig, std::string &problem )
{
    std::string annotation = pb::text( name );
    pb::Ref<TR_ANCHOR> anchor = pb::adopt( trAnchorCreateWithAnnotationCstr(
        state->stream.get(), TR_ANCHOR_KIND_USES, annotation.data(), PB_INT_FROM( annotation.size() ) ) );
    Reason reason;
    pb::Ref<PB_OBJ> object = pb::adopt( backend.tryCreate( optionalConfig, anchor.get() ) );
    PB_ASSERT( !object || pbObjSort( object.get() ) == backend.sort );
    if ( object )
        return object;
    std::string why = reason.text ? pb::text( reason.text.get() ) : firstComplaint( backend, optionalConfig );
    problem = "object " + cs::jsonQuote( name ) + " (" + pbSortName( backend.sort ) +
              ") cannot be created: " + ( why.empty() ? "its module gives no reason" : why );
    trStreamTextFormatCstr( state->stream.get(), "[csStore] %s", -1, pb::string( problem ).get() );
    return {};
}

void setConfig( Turn &turn, const SortBackend &backend, pb::Ref<PB_OBJ> object, PB_STORE *optionalConfig )
{
    pb::Ref<PB_STORE> config = optionalConfig ? pb::share( optionalConfig ) : pb::adopt( pbStoreCreate() );
    backend.setConfig( object.get(), config.get() );
    turn.after().drop( std::move( object ) );
}

/** Makes what lives under a name what the configuration wants there; why it cannot, "" when it can. */
std::string reconcile( Turn &turn, PB_STRING *name )
{
    std::string problem;
    Slot slot = slotOf( name );
    if ( slot.live ) {
        setConfig( turn, *slot.backend, std::move( slot.live ), slot.config.get() );
        return problem;
    }
    pb::Ref<PB_OBJ> made = slot.backend ? tryCreate( *slot.backend, name, slot.config.get(), problem ) : nullptr;
    pb::Lock lock( state->monitor );
    // While it was made, an inner change may have wanted another sort here, or the backend may have gone.
    if ( wantedBackendLocked( name ) == slot.backend ) {
        putLocked( pb::text( name ), std::move( made ), slot.backend, turn.after() );
        return problem;
    }
    turn.after().drop( std::move( made ) );
    return {};
}

std::vector<std::string> unwantedNames()
{
    std::vector<std::string> names;
    pb::Lock lock( state->monitor );
    for ( const auto &[name, live] : state->live ) {
        if ( !csConfigHasObject( state->config.get(), pb::string( name ).get() ) )
            names.push_back( name );
    }
    return names;
}

struct NamedObject {
    pb::Ref<PB_STRING> name;
    LiveObject live;
};

/** The configuration that is wanted, and the live objects that agree with it. */
pb::Ref<CS_CONFIG> snapshot( std::vector<NamedObject> &objects )
{
    pb::Lock lock( state->monitor );
    for ( const auto &[key, live] : state->live ) {
        pb::Ref<PB_STRING> name = pb::string( key );
        if ( wantedBackendLocked( name.get() ) == live.backend )
            objects.push_back( { std::move( name ), live } );
    }
    return state->config;
}

LiveObject liveObject( PB_STRING *name )
{
    pb::Lock lock( state->monitor );
    auto place = state->live.find( pb::text( name ) );
    return place == state->live.end() ? LiveObject{} : place->second;
}

pb::Ref<PB_SIGNAL> liveSignal()
{
    pb::Lock lock( state->monitor );
    return state->liveSignal;
}

} // namespace

PB_BOOL csStoreTrySetConfig( CS_CONFIG *config, PB_STRING **error )
{
    PB_ASSERT( config );
    PB_ASSERT( error );
    pb::Ref<CS_CONFIG> wanted = pb::share( config );
    if ( !csConfigTryUpdate( wanted.handle(), error ) )
        return false;
    Turn turn;
    pb::Ref<PB_VECTOR> names = pb::adopt( csConfigNames( wanted.get() ) );
    {
        pb::Lock lock( state->monitor );
        std::swap( state->config, wanted );
    }
    std::string problems;
    for ( PB_INT i = 0; i < pbVectorLength( names.get() ); ++i ) {
        std::string problem = reconcile( turn, pb::adoptAs<PB_STRING>( pbVectorObjAt( names.get(), i ) ).get() );
        problems += ( problems.empty() || problem.empty() ? "" : "; " ) + problem;
    }
    for ( const std::string &name : unwantedNames() )
        reconcile( turn, pb::string( name ).get() );
    if ( !problems.empty() )
        cs::setError( error, pb::string( problems ) );
    return problems.empty();
}

void csSortTellReason( PB_STRING *reason )
{
    PB_ASSERT( reason );
    if ( Reason::innermost )
        Reason::innermost->text = pb::share( reason );
}

CS_CONFIG *csStoreConfig( void )
{
    std::vector<NamedObject> objects;
    Turn turn;
    pb::Ref<CS_CONFIG> config = snapshot( objects );
    for ( const NamedObject &object : objects ) {
        pb::Ref<PB_STORE> stored = pb::adopt( object.live.backend->config( object.live.object.get(), false ) );
        pb::Ref<PB_STRING> sortName = pb::string( pbSortName( object.live.backend->sort ) );
        csConfigSetObject( config.handle(), object.name.get(), sortName.get(), stored.get() );
    }
    // Live objects speak the current form. What is not live was brought to it only if its module was there in time.
    if ( PB_INT_FROM( objects.size() ) == pbStoreLength( cs::configObjects( config.get() ).get() ) )
        cs::configSetCurrentVersions( config.handle() );
    return config.give();
}

PB_OBJ *csStoreObject( PB_STRING *name )
{
    PB_ASSERT( name );
    return liveObject( name ).object.give();
}

PB_BOOL csStoreTrySetObject( PB_STRING *name, PB_STRING *sortName, PB_STORE *optionalConfig )
{
    PB_ASSERT( name );
    PB_ASSERT( csObjectRecordNameOk( name ) );
    PB_ASSERT( sortName );
    PB_ASSERT( !optionalConfig || !pbStoreIsArray( optionalConfig ) );
    Turn turn;
    std::string key = pb::text( name );
    SortBackendPtr backend = cs::sortBackend( sortName );
    if ( !backend )
        return false;
    pb::Ref<PB_OBJ> live;
    {
        pb::Lock lock( state->monitor );
        live = liveLocked( key, backend );
    }
    std::string problem;
    pb::Ref<PB_OBJ> made = live ? nullptr : tryCreate( *backend, name, optionalConfig, problem );
    if ( !live && !made )
        return false;
    {
        pb::Lock lock( state->monitor );
        if ( cs::sortBackendLocked( pb::text( sortName ) ) != backend ) {
            turn.after().drop( std::move( live ) );
            turn.after().drop( std::move( made ) );
            return false;
        }
        csConfigSetObject( state->config.handle(), name, sortName, optionalConfig );
        if ( made )
            putLocked( key, std::move( made ), backend, turn.after() );
    }
    if ( live )
        setConfig( turn, *backend, std::move( live ), optionalConfig );
    return true;
}

void csStoreDelObject( PB_STRING *name )
{
    PB_ASSERT( name );
    Turn turn;
    {
        pb::Lock lock( state->monitor );
        csConfigDelObject( state->config.handle(), name );
    }
    reconcile( turn, name );
}

PB_STORE *csStoreObjectStatus( PB_STRING *name )
{
    PB_ASSERT( name );
    LiveObject live = liveObject( name );
    if ( !live.object || !live.backend->status )
        return nullptr;
    pb::Ref<CS_STATUS_REPORTER> reporter = pb::adopt( live.backend->status( live.object.get() ) );
    if ( !reporter )
        return nullptr;
    pb::Ref<PB_STORE> items = pb::adopt( csStatusReporterItems( reporter.get() ) );
    pb::Ref<PB_STORE> status = pb::adopt( pbStoreCreate() );
    pbStoreSetValueBoolCstr( status.handle(), "up", -1, csStatusReporterUp( reporter.get() ) );
    pbStoreSetStoreCstr( status.handle(), "items", -1, items.get() );
    return status.give();
}

void csStoreUpdateAddSignalable( PB_SIGNALABLE *signalable )
{
    PB_ASSERT( signalable );
    pbSignalAddSignalable( liveSignal().get(), signalable );
}

void csStoreUpdateDelSignalable( PB_SIGNALABLE *signalable )
{
    PB_ASSERT( signalable );
    pbSignalDelSignalable( liveSignal().get(), signalable );
}

void cs::storeForgetBackendLocked( const SortBackend *backend, Aftermath &after )
{
    std::vector<std::string> names;
    for ( const auto &[name, live] : state->live ) {
        if ( live.backend.get() == backend )
            names.push_back( name );
    }
    for ( const std::string &name : names )
        putLocked( name, {}, {}, after );
}

void cs::storeClear()
{
    pb::Ref<CS_CONFIG> config = pb::adopt( csConfigCreate() );
    Turn turn;
    {
        pb::Lock lock( state->monitor );
        std::swap( state->config, config );
    }
    for ( const std::string &name : unwantedNames() )
        reconcile( turn, pb::string( name ).get() );
}
