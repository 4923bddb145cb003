/*
 * What options do with their rows: creating, storing, restoring, comparing and checking are loops over them. What a kind of
 * row leaves open stands here once.
 */
#ifndef IN_RESTORING_PRIVATE_HPP
#define IN_RESTORING_PRIVATE_HPP

#include <in/kit/in_array_rows_private.hpp>

namespace in {

/** Whether a member is written: what was chosen and what is there, or with `full` everything that has a default. */
template <class T>
bool isStored( const Setting<T> &member, bool full )
{
    return full || !member.isDefault;
}
template <class T>
bool isStored( const pb::Ref<T> &member, bool )
{
    return bool( member );
}

template <StoredRow Row, class Owner>
void storeRow( const Row &row, const Owner &owner, PB_STORE **store, bool full )
{
    const auto &member = owner.*row.member;
    bool stored;
    if constexpr ( ChoosingRow<Row, Owner> )
        stored = row.stored( member, full );
    else
        stored = isStored( member, full );
    if ( stored )
        row.write( store, valueOf( member ), full );
}

template <StoredRow Row, class Owner>
Ignored restoreRow( const Row &row, Owner &owner, PB_STORE *store )
{
    auto value = std::remove_cvref_t<decltype( valueOf( owner.*row.member ) )>();
    if ( Ignored reason = row.read( store, value ) )
        return reason;
    if constexpr ( DivertedRow<Row, Owner> )
        changed( owner.*row.restoredInto ) = value;
    else
        changed( owner.*row.member ) = std::move( value );
    return {};
}

/** Calls `visit` for each row of an options class, in order, until it gives a value that is not zero; that value. */
template <class Owner, class Visit>
auto eachRow( Visit visit )
{
    decltype( visit( std::get<0>( Owner::options() ) ) ) result{};
    std::apply( [&]( const auto &...row ) { ( ( result = visit( row ) ) || ... ); }, Owner::options() );
    return result;
}

/** The same for the rows that are stored, whose visits say nothing. */
template <class Owner, class Visit>
void eachStoredRow( Visit visit )
{
    eachRow<Owner>( [&]( const auto &row ) {
        if constexpr ( StoredRow<decltype( row )> )
            visit( row );
        return false;
    } );
}

/** New options, every row at its default. */
template <OptionsClass Owner>
Owner *createOptions()
{
    Owner *options = pb::create<Owner>();
    eachStoredRow<Owner>( [&]( const auto &row ) {
        if constexpr ( ResettingRow<decltype( row ), Owner> )
            row.reset( *options );
    } );
    return options;
}

/** A new store with what was chosen, or with `full` everything. */
template <OptionsClass Owner>
PB_STORE *storeOptions( Owner &options, bool full )
{
    pb::Ref<PB_STORE> store = pb::adopt( pbStoreCreate() );
    eachStoredRow<Owner>( [&]( const auto &row ) { storeRow( row, options, store.handle(), full ); } );
    return store.give();
}

/** New options from a store; what is absent or bad leaves the default. */
template <OptionsClass Owner>
Owner *restoreOptions( PB_STORE *store )
{
    Owner *options = createOptions<Owner>();
    eachStoredRow<Owner>( [&]( const auto &row ) {
        if ( hasEntry( store, row.key ) )
            restoreRow( row, *options, store );
    } );
    if constexpr ( requires { options->settle(); } )
        options->settle(); // what follows another row
    return options;
}

template <OptionsClass Owner>
PB_INT compareOptions( Owner &a, Owner &b )
{
    return eachRow<Owner>( [&]( const auto &row ) { return compareValues( a.*row.member, b.*row.member ); } );
}

/** The key of the row of a member. */
template <class Owner, class Member>
const char *keyOf( Member Owner::*member )
{
    const char *key = nullptr;
    eachStoredRow<Owner>( [&]( const auto &row ) {
        if constexpr ( std::is_same_v<std::remove_cvref_t<decltype( row.member )>, Member Owner::*> )
            key = row.member == member ? row.key : key;
    } );
    return key;
}

/** Reports on what stands within an entry. */
template <StoredRow Row>
void checkWithin( const Row &row, PB_STORE *store, Report &report )
{
    if constexpr ( CheckingRow<Row> )
        row.check( store, report );
    else if constexpr ( StoreCheckingRow<Row> )
        if ( pb::Ref<PB_STORE> inner = pb::adopt( pbStoreStoreCstr( store, row.key, -1 ) ) )
            report.addAll( row.key, pb::adopt( row.checkStore( inner.get() ) ).get() );
}

/** Whether an array stands where a row wants keys; restoring finds none in it. */
template <StoredRow Row>
bool holdsArray( const Row &row, PB_STORE *store )
{
    if constexpr ( StoreCheckingRow<Row> ) {
        pb::Ref<PB_STORE> inner = pb::adopt( pbStoreStoreCstr( store, row.key, -1 ) );
        return inner && pbStoreIsArray( inner.get() );
    }
    return false;
}

/** Reports on the entry of a store under the row's key. */
template <StoredRow Row, class Owner>
void checkRow( const Row &row, PB_STORE *store, Owner &scratch, Report &report )
{
    if ( holdsArray( row, store ) )
        return report.add( row.key, wrongType );
    Ignored reason = restoreRow( row, scratch, store );
    if ( reason )
        report.add( row.key, reason.words );
    if constexpr ( DivertedRow<Row, Owner> )
        if ( !reason && row.restoredInto != row.member )
            report.add( row.key, std::string( "applied to " ) + keyOf( row.restoredInto ) );
    checkWithin( row, store, report );
}

/** Reports on the key of one entry, known or not. */
template <OptionsClass Owner>
void checkKey( PB_STRING *key, PB_STORE *store, Owner &scratch, Report &report )
{
    bool known = false;
    eachStoredRow<Owner>( [&]( const auto &row ) {
        if ( !pbStringEqualsCstr( key, row.key, -1 ) )
            return;
        known = true;
        checkRow( row, store, scratch, report );
    } );
    if ( !known )
        report.add( key, "unknown key" );
}

/** What restoring ignores of a store or takes without an effect, and why: a new store, paths of keys to reasons. */
template <OptionsClass Owner>
PB_STORE *checkOptions( PB_STORE *store, CS_CONFIG *optionalFile = nullptr )
{
    pb::Ref<Owner> scratch = pb::adopt( createOptions<Owner>() );
    Report report( optionalFile );
    for ( PB_INT i = 0; i < pbStoreLength( store ); ++i ) {
        pb::Ref<PB_STRING> key = pb::adopt( pbStoreKeyAt( store, i ) );
        if ( !key )
            break;
        checkKey( key.get(), store, *scratch, report );
    }
    eachStoredRow<Owner>( [&]( const auto &row ) {
        if constexpr ( WantedRow<decltype( row )> )
            if ( row.whenMissing && !hasEntry( store, row.key ) )
                report.add( row.key, row.whenMissing );
    } );
    if constexpr ( requires { scratch->checkWhole( report ); } )
        scratch->checkWhole( report ); // what the rows mean for one another
    return report.give();
}

/** Resets the row when it is the one of that member; whether it is. */
template <class Row, class Owner, class Member>
bool resetIf( const Row &row, Owner &owner, Member Owner::*member )
{
    if constexpr ( std::is_same_v<decltype( row.member ), Member Owner::*const> ||
                   std::is_same_v<std::remove_cv_t<decltype( row.member )>, Member Owner::*> ) {
        if ( row.member == member ) {
            row.reset( owner );
            return true;
        }
    }
    return false;
}

} // namespace in

#endif
