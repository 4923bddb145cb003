/*
 * Options, written once. An options class derives from PB_OBJ, has its members, and gives one tuple of rows, options(), in
 * the order of its fields; creating, storing, restoring, comparing and checking are loops over the rows. The accessors of a
 * row come from one macro each. A quirk that sets one row apart is visible in its row.
 */
#ifndef IN_SETTINGS_PRIVATE_HPP
#define IN_SETTINGS_PRIVATE_HPP

#include <pb/pb.hpp>
#include <tuple>

namespace in {

/** A value and whether it was left at its default, rather than chosen. A chosen value may equal the default. */
template <class T>
struct Setting {
    T value{};
    bool isDefault = true;
};

/** Why a stored entry is passed over by restoring; null when it is taken. */
using Ignored = const char *;
constexpr Ignored wrongType = "wrong type";
constexpr Ignored notParsed = "does not parse";
constexpr Ignored outOfRange = "out of range";

/** The report of a check: the path of each ignored key leads to the reason. */
class Report {
public:
    void add( PB_STRING *key, Ignored reason ) { pbStoreSetValue( entries.handle(), key, pb::string( reason ).get() ); }
    /** Adds what a report on the sub-store under `key` holds. */
    void addAll( const char *key, PB_STORE *inner )
    {
        for ( PB_INT i = 0; i < pbStoreLength( inner ); ++i ) {
            pb::Ref<PB_STRING> path = pb::format( "%~s.%~s", pb::string( key ).give(), pbStoreKeyAt( inner, i ) );
            pbStoreSetValue( entries.handle(), path.get(), pb::adopt( pbStoreValueAt( inner, i ) ).get() );
        }
    }
    PB_STORE *give() { return entries.give(); }

private:
    pb::Ref<PB_STORE> entries = pb::adopt( pbStoreCreate() );
};

inline PB_INT compareValues( bool a, bool b )
{
    return pb::order( a, b );
}
inline PB_INT compareValues( PB_INT a, PB_INT b )
{
    return pb::order( a, b );
}
template <class T>
PB_INT compareValues( const pb::Ref<T> &a, const pb::Ref<T> &b )
{
    return pb::compareOptional( pb::obj( a.get() ), pb::obj( b.get() ) );
}

/** Default before chosen, then by value. */
template <class T>
PB_INT compareValues( const Setting<T> &a, const Setting<T> &b )
{
    if ( a.isDefault != b.isDefault )
        return a.isDefault ? -1 : 1;
    return compareValues( a.value, b.value );
}

inline Ignored readValue( PB_STORE *store, const char *key, bool &value )
{
    PB_BOOL read;
    if ( !pbStoreValueBoolCstr( store, &read, key, -1 ) )
        return pbStoreHasValueCstr( store, key, -1 ) ? notParsed : wrongType;
    value = read;
    return nullptr;
}
inline Ignored readValue( PB_STORE *store, const char *key, PB_INT &value )
{
    if ( pbStoreValueIntCstr( store, &value, key, -1 ) )
        return nullptr;
    return pbStoreHasValueCstr( store, key, -1 ) ? notParsed : wrongType;
}
inline void writeValue( PB_STORE **store, const char *key, bool value )
{
    pbStoreSetValueBoolCstr( store, key, -1, value );
}
inline void writeValue( PB_STORE **store, const char *key, PB_INT value )
{
    pbStoreSetValueIntCstr( store, key, -1, value );
}
/** Writes a text that is handed over. */
inline void writeText( PB_STORE **store, const char *key, PB_STRING *owned )
{
    pbStoreSetValueCstr( store, key, -1, pb::adopt( owned ).get() );
}
inline void writeStore( PB_STORE **store, const char *key, PB_STORE *owned )
{
    pbStoreSetStoreCstr( store, key, -1, pb::adopt( owned ).get() );
}

/** A boolean or integer with a default. `lowest` bounds integers; what is below is ignored by restoring. */
template <class Owner, class T>
struct ValueRow {
    const char *key;
    Setting<T> Owner::*member;
    T initial;
    T lowest = {};
    Setting<T> Owner::*restoredInto = member; // other than `member` only where that is meant

    void reset( Owner &owner ) const { owner.*member = { initial, true }; }
    void store( Owner &owner, PB_STORE **store, bool full ) const
    {
        if ( full || !( owner.*member ).isDefault )
            writeValue( store, key, ( owner.*member ).value );
    }
    Ignored restore( Owner &owner, PB_STORE *store ) const
    {
        T value{};
        if ( Ignored reason = readValue( store, key, value ) )
            return reason;
        if ( value < lowest )
            return outOfRange;
        owner.*restoredInto = { value, false };
        return nullptr;
    }
    PB_INT compare( Owner &a, Owner &b ) const { return compareValues( a.*member, b.*member ); }
    void check( PB_STORE *, Report & ) const {}
};

/** An optional object that is stored as text. */
template <class Owner, class T>
struct TextRow {
    const char *key;
    pb::Ref<T> Owner::*member;
    PB_STRING *( *toText )( T *object );
    T *( *tryFromText )( PB_STRING *text );

    void reset( Owner & ) const {}
    void store( Owner &owner, PB_STORE **store, bool ) const
    {
        if ( owner.*member )
            writeText( store, key, toText( ( owner.*member ).get() ) );
    }
    Ignored restore( Owner &owner, PB_STORE *store ) const
    {
        pb::Ref<PB_STRING> text = pb::adopt( pbStoreValueCstr( store, key, -1 ) );
        if ( !text )
            return wrongType;
        pb::Ref<T> object = pb::adopt( tryFromText( text.get() ) );
        if ( !object )
            return notParsed;
        owner.*member = object;
        return nullptr;
    }
    PB_INT compare( Owner &a, Owner &b ) const { return compareValues( a.*member, b.*member ); }
    void check( PB_STORE *, Report & ) const {}
};

/** An integer that is stored as a name; written always, or only while it is `valid`. */
template <class Owner>
struct NameRow {
    const char *key;
    PB_INT Owner::*member;
    PB_INT initial;
    PB_STRING *( *toText )( PB_INT value );
    PB_INT ( *fromText )( PB_STRING *text );
    bool ( *valid )( PB_INT value );

    void reset( Owner &owner ) const { owner.*member = initial; }
    void store( Owner &owner, PB_STORE **store, bool ) const
    {
        if ( valid( owner.*member ) )
            writeText( store, key, toText( owner.*member ) );
    }
    Ignored restore( Owner &owner, PB_STORE *store ) const
    {
        pb::Ref<PB_STRING> text = pb::adopt( pbStoreValueCstr( store, key, -1 ) );
        if ( !text )
            return wrongType;
        PB_INT value = fromText( text.get() );
        if ( !valid( value ) )
            return notParsed;
        owner.*member = value;
        return nullptr;
    }
    PB_INT compare( Owner &a, Owner &b ) const { return compareValues( a.*member, b.*member ); }
    void check( PB_STORE *, Report & ) const {}
};

/** An optional integer from 0 on, -1 when absent. */
template <class Owner>
struct OptionalIntRow {
    const char *key;
    PB_INT Owner::*member;

    void reset( Owner &owner ) const { owner.*member = -1; }
    void store( Owner &owner, PB_STORE **store, bool ) const
    {
        if ( owner.*member >= 0 )
            writeValue( store, key, owner.*member );
    }
    Ignored restore( Owner &owner, PB_STORE *store ) const
    {
        PB_INT value = 0;
        if ( Ignored reason = readValue( store, key, value ) )
            return reason;
        if ( value < 0 )
            return outOfRange;
        owner.*member = value;
        return nullptr;
    }
    PB_INT compare( Owner &a, Owner &b ) const { return compareValues( a.*member, b.*member ); }
    void check( PB_STORE *, Report & ) const {}
};

/** An optional object that is stored as a sub-store. */
template <class Owner, class T>
struct StoreRow {
    const char *key;
    pb::Ref<T> Owner::*member;
    PB_STORE *( *toStore )( T *object );
    T *( *tryFromStore )( PB_STORE *store );
    PB_STORE *( *checkStore )( PB_STORE *store );

    void reset( Owner & ) const {}
    void store( Owner &owner, PB_STORE **store, bool ) const
    {
        if ( owner.*member )
            writeStore( store, key, toStore( ( owner.*member ).get() ) );
    }
    Ignored restore( Owner &owner, PB_STORE *store ) const
    {
        pb::Ref<PB_STORE> inner = pb::adopt( pbStoreStoreCstr( store, key, -1 ) );
        if ( !inner )
            return wrongType;
        pb::Ref<T> object = pb::adopt( tryFromStore( inner.get() ) );
        if ( !object )
            return notParsed;
        owner.*member = object;
        return nullptr;
    }
    PB_INT compare( Owner &a, Owner &b ) const { return compareValues( a.*member, b.*member ); }
    void check( PB_STORE *store, Report &report ) const
    {
        if ( pb::Ref<PB_STORE> inner = pb::adopt( pbStoreStoreCstr( store, key, -1 ) ) )
            report.addAll( key, pb::adopt( checkStore( inner.get() ) ).get() );
    }
};

/** Options within options, with a default; never null. */
template <class Owner, class T>
struct OptionsRow {
    const char *key;
    Setting<pb::Ref<T>> Owner::*member;
    T *( *createDefault )();
    PB_STORE *( *toStore )( T *options, PB_BOOL full );
    T *( *fromStore )( PB_STORE *store );
    PB_STORE *( *checkStore )( PB_STORE *store );

    void reset( Owner &owner ) const { owner.*member = { pb::adopt( createDefault() ), true }; }
    void store( Owner &owner, PB_STORE **store, bool full ) const
    {
        if ( full || !( owner.*member ).isDefault )
            writeStore( store, key, toStore( ( owner.*member ).value.get(), full ) );
    }
    Ignored restore( Owner &owner, PB_STORE *store ) const
    {
        pb::Ref<PB_STORE> inner = pb::adopt( pbStoreStoreCstr( store, key, -1 ) );
        if ( !inner )
            return wrongType;
        owner.*member = { pb::adopt( fromStore( inner.get() ) ), false };
        return nullptr;
    }
    PB_INT compare( Owner &a, Owner &b ) const { return compareValues( a.*member, b.*member ); }
    void check( PB_STORE *store, Report &report ) const
    {
        if ( pb::Ref<PB_STORE> inner = pb::adopt( pbStoreStoreCstr( store, key, -1 ) ) )
            report.addAll( key, pb::adopt( checkStore( inner.get() ) ).get() );
    }
};

/** The entries of a VectorRow as texts. */
struct TextItem {
    bool ( *valid )( PB_STRING *text );

    void append( PB_STORE **array, PB_OBJ *item ) const { pbStoreAppendValue( array, pbStringFrom( item ) ); }
    Ignored read( PB_STORE *array, PB_INT index, pb::Ref<PB_OBJ> &item ) const
    {
        pb::Ref<PB_STRING> text = pb::adopt( pbStoreValueAt( array, index ) );
        if ( !text )
            return wrongType;
        if ( !valid( text.get() ) )
            return notParsed;
        item = pb::adopt( pbStringObj( text.give() ) );
        return nullptr;
    }
    void check( PB_STORE *, PB_INT, Report &, const char * ) const {}
};

/** The entries of a VectorRow as sub-stores. */
template <class T>
struct StoreItem {
    PB_STORE *( *toStore )( T *object );
    T *( *tryFromStore )( PB_STORE *store );
    PB_STORE *( *checkStore )( PB_STORE *store );

    void append( PB_STORE **array, PB_OBJ *item ) const
    {
        pbStoreAppendStore( array, pb::adopt( toStore( reinterpret_cast<T *>( item ) ) ).get() );
    }
    Ignored read( PB_STORE *array, PB_INT index, pb::Ref<PB_OBJ> &item ) const
    {
        pb::Ref<PB_STORE> inner = pb::adopt( pbStoreStoreAt( array, index ) );
        if ( !inner )
            return wrongType;
        item = pb::adopt( pb::obj( tryFromStore( inner.get() ) ) );
        return item ? nullptr : notParsed;
    }
    void check( PB_STORE *array, PB_INT index, Report &report, const char *path ) const
    {
        if ( pb::Ref<PB_STORE> inner = pb::adopt( pbStoreStoreAt( array, index ) ) )
            report.addAll( path, pb::adopt( checkStore( inner.get() ) ).get() );
    }
};

/** A vector of objects, at first empty, that is stored as an array; entries that are bad are left out, one by one. */
template <class Owner, class Item>
struct VectorRow {
    const char *key;
    pb::Ref<PB_VECTOR> Owner::*member;
    Item item;

    void reset( Owner &owner ) const { owner.*member = pb::adopt( pbVectorCreate() ); }
    void store( Owner &owner, PB_STORE **store, bool full ) const
    {
        PB_VECTOR *objects = ( owner.*member ).get();
        if ( !full && pbVectorLength( objects ) == 0 )
            return;
        pb::Ref<PB_STORE> array = pb::adopt( pbStoreCreateArray() );
        for ( PB_INT i = 0; i < pbVectorLength( objects ); ++i )
            item.append( array.handle(), pb::adopt( pbVectorObjAt( objects, i ) ).get() );
        pbStoreSetStoreCstr( store, key, -1, array.get() );
    }
    Ignored restore( Owner &owner, PB_STORE *store ) const
    {
        pb::Ref<PB_STORE> array = storedArray( store );
        if ( !array )
            return wrongType;
        reset( owner );
        pb::Ref<PB_OBJ> object;
        for ( PB_INT i = 0; i < pbStoreLength( array.get() ); ++i )
            if ( !item.read( array.get(), i, object ) )
                pbVectorAppend( ( owner.*member ).handle(), object.get() );
        return nullptr;
    }
    PB_INT compare( Owner &a, Owner &b ) const { return compareValues( a.*member, b.*member ); }
    void check( PB_STORE *store, Report &report ) const
    {
        pb::Ref<PB_STORE> array = storedArray( store );
        pb::Ref<PB_OBJ> object;
        for ( PB_INT i = 0; array && i < pbStoreLength( array.get() ); ++i ) {
            pb::Ref<PB_STRING> path = pb::format( "%~s.%i", pb::string( key ).give(), i );
            if ( Ignored reason = item.read( array.get(), i, object ) )
                report.add( path.get(), reason );
            item.check( array.get(), i, report, pb::text( path.get() ).c_str() );
        }
    }

private:
    pb::Ref<PB_STORE> storedArray( PB_STORE *store ) const
    {
        pb::Ref<PB_STORE> array = pb::adopt( pbStoreStoreCstr( store, key, -1 ) );
        return array && pbStoreIsArray( array.get() ) ? array : nullptr;
    }
};

/** An optional object that is not stored: it has no key. */
template <class Owner, class T>
struct UnstoredRow {
    pb::Ref<T> Owner::*member;

    void reset( Owner & ) const {}
    void store( Owner &, PB_STORE **, bool ) const {}
    PB_INT compare( Owner &a, Owner &b ) const { return compareValues( a.*member, b.*member ); }
};

template <class Row>
concept StoredRow = requires( const Row &row )
{
    row.key;
};

/** Calls `visit` for each row of an options class, in order, until it gives a value that is not zero; that value. */
template <class Owner, class Visit>
auto eachRow( Visit visit )
{
    decltype( visit( std::get<0>( Owner::options() ) ) ) result{};
    std::apply( [&]( const auto &...row ) { ( ( result = visit( row ) ) || ... ); }, Owner::options() );
    return result;
}

inline bool hasEntry( PB_STORE *store, const char *key )
{
    return pbStoreHasValueCstr( store, key, -1 ) || pbStoreHasStoreCstr( store, key, -1 );
}

/** New options, every row at its default. */
template <class Owner>
Owner *createOptions()
{
    Owner *options = pb::create<Owner>();
    eachRow<Owner>( [&]( const auto &row ) {
        row.reset( *options );
        return false;
    } );
    return options;
}

/** A new store with what was chosen, or with `full` everything. */
template <class Owner>
PB_STORE *storeOptions( Owner &options, bool full )
{
    pb::Ref<PB_STORE> store = pb::adopt( pbStoreCreate() );
    eachRow<Owner>( [&]( const auto &row ) {
        row.store( options, store.handle(), full );
        return false;
    } );
    return store.give();
}

/** New options from a store; what is absent or bad leaves the default. */
template <class Owner>
Owner *restoreOptions( PB_STORE *store )
{
    Owner *options = createOptions<Owner>();
    eachRow<Owner>( [&]( const auto &row ) {
        if constexpr ( StoredRow<decltype( row )> )
            if ( hasEntry( store, row.key ) )
                row.restore( *options, store );
        return false;
    } );
    if constexpr ( requires { options->settle(); } )
        options->settle(); // what follows another row
    return options;
}

template <class Owner>
PB_INT compareOptions( Owner &a, Owner &b )
{
    return eachRow<Owner>( [&]( const auto &row ) { return row.compare( a, b ); } );
}

/** Reports on the entry of a store under the key when it is the row's; whether it is. */
template <class Row, class Owner>
bool checkRow( const Row &row, PB_STRING *key, PB_STORE *store, Owner &scratch, Report &report )
{
    if constexpr ( StoredRow<Row> ) {
        if ( !pbStringEqualsCstr( key, row.key, -1 ) )
            return false;
        if ( Ignored reason = row.restore( scratch, store ) )
            report.add( key, reason );
        row.check( store, report );
        return true;
    }
    return false;
}

/** What restoring ignores of a store, and why: a new store, paths of keys to reasons. */
template <class Owner>
PB_STORE *checkOptions( PB_STORE *store )
{
    pb::Ref<Owner> scratch = pb::adopt( createOptions<Owner>() );
    Report report;
    for ( PB_INT i = 0; i < pbStoreLength( store ); ++i ) {
        pb::Ref<PB_STRING> key = pb::adopt( pbStoreKeyAt( store, i ) );
        if ( !key )
            break;
        bool known =
            eachRow<Owner>( [&]( const auto &row ) { return checkRow( row, key.get(), store, *scratch, report ); } );
        if ( !known )
            report.add( key.get(), "unknown key" );
    }
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

/** Starts a setter: asserts the handle and its object. */
#define IN_ASSERT_HANDLE( handle ) \
    PB_ASSERT( handle );           \
    PB_ASSERT( *handle )

/** Aborts unless the precondition holds, whose text, as it was handed to the macro, is that of the abort. */
#define IN_ASSERT_TEXT( precondition, text ) \
    ( ( precondition ) ? (void)0 : pb___Abort( nullptr, __FILE__, __LINE__, text ) )

/** What every options class has: its sort and standard functions, Create, CreateFrom, Store, Restore, Check. */
#define IN_OPTIONS_DEFINE( CLASS, prefix, internalPrefix )                                         \
    static void internalPrefix##FreeFunc( PB_OBJ *obj )                                            \
    {                                                                                              \
        pb::destroy<CLASS>( obj );                                                                 \
    }                                                                                              \
    static PB_INT internalPrefix##CompFunc( PB_OBJ *thisObj, PB_OBJ *thatObj )                     \
    {                                                                                              \
        PB_ASSERT( thisObj );                                                                      \
        PB_ASSERT( thatObj );                                                                      \
        return in::compareOptions( *prefix##From( thisObj ), *prefix##From( thatObj ) );           \
    }                                                                                              \
    PB_CLASS_DEFINE( CLASS, prefix, internalPrefix##FreeFunc, internalPrefix##CompFunc, nullptr ); \
    CLASS *prefix##Create( void )                                                                  \
    {                                                                                              \
        return in::createOptions<CLASS>();                                                         \
    }                                                                                              \
    CLASS *prefix##CreateFrom( CLASS *source )                                                     \
    {                                                                                              \
        PB_ASSERT( source );                                                                       \
        return pb::copy( *source );                                                                \
    }                                                                                              \
    PB_STORE *prefix##Store( CLASS *opt, PB_BOOL full )                                            \
    {                                                                                              \
        PB_ASSERT( opt );                                                                          \
        return in::storeOptions( *opt, full );                                                     \
    }                                                                                              \
    CLASS *prefix##Restore( PB_STORE *store )                                                      \
    {                                                                                              \
        PB_ASSERT( store );                                                                        \
        return in::restoreOptions<CLASS>( store );                                                 \
    }                                                                                              \
    PB_STORE *prefix##Check( PB_STORE *store )                                                     \
    {                                                                                              \
        PB_ASSERT( store );                                                                        \
        return in::checkOptions<CLASS>( store );                                                   \
    }                                                                                              \
    static_assert( true )

/**
 * The four accessors of a ValueRow: get, Set, ...Default (is it), Set...Default. `parameter` names the value in the setter
 * and in `precondition`, whose text is that of the abort.
 */
#define IN_SETTING_DEFINE( CLASS, prefix, Name, member, TYPE, parameter, precondition )                        \
    TYPE prefix##Name( CLASS *opt )                                                                            \
    {                                                                                                          \
        PB_ASSERT( opt );                                                                                      \
        return opt->member.value;                                                                              \
    }                                                                                                          \
    void prefix##Set##Name( CLASS **opt, TYPE parameter )                                                      \
    {                                                                                                          \
        IN_ASSERT_HANDLE( opt );                                                                               \
        IN_ASSERT_TEXT( precondition, #precondition );                                                         \
        PB_UNSHARE( opt, prefix##CreateFrom ).member = { parameter, false };                                   \
    }                                                                                                          \
    PB_BOOL prefix##Name##Default( CLASS *opt )                                                                \
    {                                                                                                          \
        PB_ASSERT( opt );                                                                                      \
        return opt->member.isDefault;                                                                          \
    }                                                                                                          \
    void prefix##Set##Name##Default( CLASS **opt )                                                             \
    {                                                                                                          \
        IN_ASSERT_HANDLE( opt );                                                                               \
        CLASS &unshared = PB_UNSHARE( opt, prefix##CreateFrom );                                               \
        in::eachRow<CLASS>( [&]( const auto &row ) { return in::resetIf( row, unshared, &CLASS::member ); } ); \
    }                                                                                                          \
    static_assert( true )

/** The accessors of an optional object: get (a new reference or null), Has, Set, Del. */
#define IN_OPTIONAL_DEFINE( CLASS, prefix, Name, member, TYPE, handle, parameter ) \
    IN_OPTIONAL_CHECKED_DEFINE( CLASS, prefix, Name, member, TYPE, handle, parameter, true )

/** The same, for an object that is to fulfil a precondition. */
#define IN_OPTIONAL_CHECKED_DEFINE( CLASS, prefix, Name, member, TYPE, handle, parameter, precondition ) \
    TYPE *prefix##Name( CLASS *handle )                                                                  \
    {                                                                                                    \
        PB_ASSERT( handle );                                                                             \
        return handle->member.retained();                                                                \
    }                                                                                                    \
    PB_BOOL prefix##Has##Name( CLASS *handle )                                                           \
    {                                                                                                    \
        PB_ASSERT( handle );                                                                             \
        return bool( handle->member );                                                                   \
    }                                                                                                    \
    void prefix##Set##Name( CLASS **handle, TYPE *parameter )                                            \
    {                                                                                                    \
        IN_ASSERT_HANDLE( handle );                                                                      \
        PB_ASSERT( parameter );                                                                          \
        IN_ASSERT_TEXT( precondition, #precondition );                                                   \
        PB_UNSHARE( handle, prefix##CreateFrom ).member = pb::share( parameter );                        \
    }                                                                                                    \
    void prefix##Del##Name( CLASS **handle )                                                             \
    {                                                                                                    \
        IN_ASSERT_HANDLE( handle );                                                                      \
        PB_UNSHARE( handle, prefix##CreateFrom ).member = nullptr;                                       \
    }                                                                                                    \
    static_assert( true )

/** The accessors of an optional integer, -1 when absent: get, Has, Set, Del. */
#define IN_OPTIONAL_INT_DEFINE( CLASS, prefix, Name, member, handle, parameter, precondition ) \
    PB_INT prefix##Name( CLASS *handle )                                                       \
    {                                                                                          \
        PB_ASSERT( handle );                                                                   \
        return handle->member;                                                                 \
    }                                                                                          \
    PB_BOOL prefix##Has##Name( CLASS *handle )                                                 \
    {                                                                                          \
        return prefix##Name( handle ) != -1;                                                   \
    }                                                                                          \
    void prefix##Set##Name( CLASS **handle, PB_INT parameter )                                 \
    {                                                                                          \
        IN_ASSERT_HANDLE( handle );                                                            \
        IN_ASSERT_TEXT( precondition, #precondition );                                         \
        PB_UNSHARE( handle, prefix##CreateFrom ).member = parameter;                           \
    }                                                                                          \
    void prefix##Del##Name( CLASS **handle )                                                   \
    {                                                                                          \
        IN_ASSERT_HANDLE( handle );                                                            \
        PB_UNSHARE( handle, prefix##CreateFrom ).member = -1;                                  \
    }                                                                                          \
    static_assert( true )

/**
 * The accessors of a VectorRow: the number of items, the vector and an item (new references), and what changes them. Each
 * item fulfils the precondition.
 */
#define IN_ITEMS_DEFINE( CLASS, prefix, Item, Items, member, TYPE, self, parameter, precondition ) \
    PB_INT prefix##Items##Length( CLASS *self )                                                    \
    {                                                                                              \
        PB_ASSERT( self );                                                                         \
        return pbVectorLength( self->member.get() );                                               \
    }                                                                                              \
    PB_VECTOR *prefix##Items##Vector( CLASS *self )                                                \
    {                                                                                              \
        PB_ASSERT( self );                                                                         \
        return self->member.retained();                                                            \
    }                                                                                              \
    TYPE *prefix##Item##At( CLASS *self, PB_INT index )                                            \
    {                                                                                              \
        PB_ASSERT( self );                                                                         \
        return pb::adoptAs<TYPE>( pbVectorObjAt( self->member.get(), index ) ).give();             \
    }                                                                                              \
    static PB_OBJ *prefix##Assert##Item( TYPE *parameter )                                         \
    {                                                                                              \
        PB_ASSERT( parameter );                                                                    \
        IN_ASSERT_TEXT( precondition, #precondition );                                             \
        return pb::obj( parameter );                                                               \
    }                                                                                              \
    void prefix##Set##Item##At( CLASS **self, PB_INT index, TYPE *parameter )                      \
    {                                                                                              \
        IN_ASSERT_HANDLE( self );                                                                  \
        PB_OBJ *item = prefix##Assert##Item( parameter );                                          \
        pbVectorSetObjAt( PB_UNSHARE( self, prefix##CreateFrom ).member.handle(), index, item );   \
    }                                                                                              \
    void prefix##Del##Item##At( CLASS **self, PB_INT index )                                       \
    {                                                                                              \
        IN_ASSERT_HANDLE( self );                                                                  \
        pbVectorDelAt( PB_UNSHARE( self, prefix##CreateFrom ).member.handle(), index );            \
    }                                                                                              \
    void prefix##Append##Item( CLASS **self, TYPE *parameter )                                     \
    {                                                                                              \
        IN_ASSERT_HANDLE( self );                                                                  \
        PB_OBJ *item = prefix##Assert##Item( parameter );                                          \
        pbVectorAppend( PB_UNSHARE( self, prefix##CreateFrom ).member.handle(), item );            \
    }                                                                                              \
    void prefix##Prepend##Item( CLASS **self, TYPE *parameter )                                    \
    {                                                                                              \
        IN_ASSERT_HANDLE( self );                                                                  \
        PB_OBJ *item = prefix##Assert##Item( parameter );                                          \
        pbVectorPrepend( PB_UNSHARE( self, prefix##CreateFrom ).member.handle(), item );           \
    }                                                                                              \
    void prefix##Insert##Item( CLASS **self, PB_INT index, TYPE *parameter )                       \
    {                                                                                              \
        IN_ASSERT_HANDLE( self );                                                                  \
        PB_OBJ *item = prefix##Assert##Item( parameter );                                          \
        pbVectorInsert( PB_UNSHARE( self, prefix##CreateFrom ).member.handle(), index, item );     \
    }                                                                                              \
    void prefix##Clear##Items( CLASS **self )                                                      \
    {                                                                                              \
        IN_ASSERT_HANDLE( self );                                                                  \
        pbVectorClear( PB_UNSHARE( self, prefix##CreateFrom ).member.handle() );                   \
    }                                                                                              \
    void prefix##Set##Items##Vector( CLASS **self, PB_VECTOR *vec )                                \
    {                                                                                              \
        IN_ASSERT_HANDLE( self );                                                                  \
        PB_ASSERT( vec );                                                                          \
        PB_ASSERT( pbVectorContainsOnly( vec, pb::Class<TYPE>::sort() ) );                         \
        for ( PB_INT i = 0; i < pbVectorLength( vec ); ++i )                                       \
            prefix##Assert##Item( pb::adoptAs<TYPE>( pbVectorObjAt( vec, i ) ).get() );            \
        PB_UNSHARE( self, prefix##CreateFrom ).member = pb::share( vec );                          \
    }                                                                                              \
    static_assert( true )

/** The accessors of an OptionsRow: get (a new reference), Set, ...Default, Set...Default. */
#define IN_INNER_OPTIONS_DEFINE( CLASS, prefix, Name, member, TYPE, parameter )                                \
    TYPE *prefix##Name( CLASS *opt )                                                                           \
    {                                                                                                          \
        PB_ASSERT( opt );                                                                                      \
        return opt->member.value.retained();                                                                   \
    }                                                                                                          \
    void prefix##Set##Name( CLASS **opt, TYPE *parameter )                                                     \
    {                                                                                                          \
        IN_ASSERT_HANDLE( opt );                                                                               \
        PB_ASSERT( parameter );                                                                                \
        PB_UNSHARE( opt, prefix##CreateFrom ).member = { pb::share( parameter ), false };                      \
    }                                                                                                          \
    PB_BOOL prefix##Name##Default( CLASS *opt )                                                                \
    {                                                                                                          \
        PB_ASSERT( opt );                                                                                      \
        return opt->member.isDefault;                                                                          \
    }                                                                                                          \
    void prefix##Set##Name##Default( CLASS **opt )                                                             \
    {                                                                                                          \
        IN_ASSERT_HANDLE( opt );                                                                               \
        CLASS &unshared = PB_UNSHARE( opt, prefix##CreateFrom );                                               \
        in::eachRow<CLASS>( [&]( const auto &row ) { return in::resetIf( row, unshared, &CLASS::member ); } ); \
    }                                                                                                          \
    static_assert( true )

#endif
