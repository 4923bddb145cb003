/*
 * Options, written once. An options class derives from PB_OBJ, has its members, and gives one tuple of rows, options(), in
 * the order of its fields; creating, storing, restoring, comparing and checking are loops over the rows. The accessors of a
 * row come from one macro each. A quirk that sets one row apart is visible in its row.
 */
#ifndef IN_SETTINGS_PRIVATE_HPP
#define IN_SETTINGS_PRIVATE_HPP

#include <in/base/in_report_private.hpp>
#include <pb/pb.hpp>
#include <tuple>

namespace in {

/** A value and whether it was left at its default, rather than chosen. A chosen value may equal the default. */
template <class T>
struct Setting {
    T value{};
    bool isDefault = true;
};

template <class T>
Setting<T> chosen( T value )
{
    return { std::move( value ), false };
}

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

/*
 * Reading one entry of a store, which gives the value or why it is passed over, and writing one.
 */

inline Ignored notRead( PB_STORE *store, const char *key )
{
    pb::Ref<PB_STRING> text = pb::adopt( pbStoreValueCstr( store, key, -1 ) );
    return text ? notParsed( text.get() ) : wrongType;
}
inline Ignored readValue( PB_STORE *store, const char *key, bool &value )
{
    PB_BOOL read;
    if ( !pbStoreValueBoolCstr( store, &read, key, -1 ) )
        return notRead( store, key );
    value = read;
    return {};
}
inline Ignored readValue( PB_STORE *store, const char *key, PB_INT &value )
{
    return pbStoreValueIntCstr( store, &value, key, -1 ) ? Ignored() : notRead( store, key );
}
/** An integer within bounds. */
inline Ignored readWithin( PB_STORE *store, const char *key, PB_INT lowest, PB_INT highest, PB_INT &value )
{
    Ignored reason = readValue( store, key, value );
    return reason || ( value >= lowest && value <= highest ) ? reason : outOfRange( value );
}
/** An object made from a stored text. */
template <class T>
Ignored readObject( pb::Ref<PB_STRING> stored, T *( *tryFrom )( PB_STRING *text ), pb::Ref<T> &object )
{
    if ( !stored )
        return wrongType;
    object = pb::adopt( tryFrom( stored.get() ) );
    return object ? Ignored() : notParsed( stored.get() );
}
/** An object made from a sub-store. */
template <class T>
Ignored readObject( pb::Ref<PB_STORE> stored, T *( *tryFrom )( PB_STORE *store ), pb::Ref<T> &object )
{
    if ( !stored )
        return wrongType;
    object = pb::adopt( tryFrom( stored.get() ) );
    return object ? Ignored() : leftOut;
}
/** An integer that is stored as a name. */
inline Ignored readName( PB_STORE *store, const char *key, PB_STRING *( *toText )( PB_INT value ),
    PB_INT ( *fromText )( PB_STRING *text ), bool ( *valid )( PB_INT value ), PB_INT &value )
{
    pb::Ref<PB_STRING> text = pb::adopt( pbStoreValueCstr( store, key, -1 ) );
    if ( !text )
        return wrongType;
    value = fromText( text.get() );
    return valid( value ) ? Ignored() : unknownName( pb::chars( text.get() ), namesOf( toText, valid ) );
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

/*
 * Rows. Each kind has `key` and `member` and says how one value is read and written; what there is to say beside that, it
 * says with more functions (reset, stored, check) and members (restoredInto; whenMissing, what a check says when the key is
 * not there). The rest stands once behind the kinds.
 */

/** A boolean or integer with a default. `lowest` bounds integers; what is below is ignored by restoring. */
template <class Owner, class T>
struct ValueRow {
    const char *key;
    Setting<T> Owner::*member;
    T initial;
    T lowest = {};
    Setting<T> Owner::*restoredInto = member; // other than `member` only where that is meant

    void reset( Owner &owner ) const { owner.*member = { initial, true }; }
    void write( PB_STORE **store, T value, bool ) const { writeValue( store, key, value ); }
    Ignored read( PB_STORE *store, T &value ) const
    {
        Ignored reason = readValue( store, key, value );
        return reason || value >= lowest ? reason : outOfRange( value );
    }
};

/** An optional object that is stored as text. */
template <class Owner, class T>
struct TextRow {
    const char *key;
    pb::Ref<T> Owner::*member;
    PB_STRING *( *toText )( T *object );
    T *( *tryFromText )( PB_STRING *text );
    const char *whenMissing = nullptr;

    void write( PB_STORE **store, const pb::Ref<T> &object, bool ) const
    {
        writeText( store, key, toText( object.get() ) );
    }
    Ignored read( PB_STORE *store, pb::Ref<T> &object ) const
    {
        return readObject( pb::adopt( pbStoreValueCstr( store, key, -1 ) ), tryFromText, object );
    }
};

/** The optional name of an object of a sort, which a check looks for in the file. */
template <class Owner>
struct ObjectNameRow {
    const char *key;
    pb::Ref<PB_STRING> Owner::*member;
    const PB_SORT *( *sort )();

    void write( PB_STORE **store, const pb::Ref<PB_STRING> &name, bool ) const
    {
        writeText( store, key, name.retained() );
    }
    Ignored read( PB_STORE *store, pb::Ref<PB_STRING> &name ) const
    {
        auto tryName = []( PB_STRING *text ) {
            return csObjectRecordNameOk( text ) ? pbStringRetain( text ) : nullptr;
        };
        return readObject<PB_STRING>( pb::adopt( pbStoreValueCstr( store, key, -1 ) ), tryName, name );
    }
    void check( PB_STORE *store, Report &report ) const
    {
        pb::Ref<PB_STRING> name;
        if ( !report.file || read( store, name ) )
            return;
        pb::Ref<PB_STRING> sortName = pb::adopt( csConfigObjectSort( report.file, name.get() ) );
        std::string object = quoted( pb::chars( name.get() ) );
        if ( !sortName )
            report.add( key, "the file has no object " + object );
        else if ( !pbStringEqualsCstr( sortName.get(), pbSortName( sort() ), -1 ) )
            report.add( key, object + " is of sort " + pb::text( sortName.get() ) + ", not " + pbSortName( sort() ) );
    }
};

/** Flags, normalised, that are stored as their names joined by "|"; restoring takes those that it knows. */
template <class Owner>
struct FlagsRow {
    const char *key;
    PB_INT Owner::*member;
    PB_STRING *( *toText )( PB_INT flags );
    PB_INT ( *fromText )( PB_STRING *text );
    const char *whenMissing = nullptr; // also when no flag is set

    void reset( Owner &owner ) const { owner.*member = 0; }
    bool stored( PB_INT, bool ) const { return true; }
    void write( PB_STORE **store, PB_INT flags, bool ) const { writeText( store, key, toText( flags ) ); }
    Ignored read( PB_STORE *store, PB_INT &flags ) const
    {
        pb::Ref<PB_STRING> text = pb::adopt( pbStoreValueCstr( store, key, -1 ) );
        flags = text ? fromText( text.get() ) : 0;
        return text ? Ignored() : wrongType;
    }
    void check( PB_STORE *store, Report &report ) const
    {
        pb::Ref<PB_STRING> text = pb::adopt( pbStoreValueCstr( store, key, -1 ) );
        pb::Chars rest = text ? pb::chars( text.get() ) : pb::Chars();
        pb::Chars piece;
        while ( pb::takePiece( rest, '|', piece ) )
            checkName( pb::trim( piece ), report );
        checkName( pb::trim( rest ), report );
        if ( whenMissing && text && !fromText( text.get() ) )
            report.add( key, whenMissing );
    }

private:
    void checkName( pb::Chars name, Report &report ) const
    {
        pb::Ref<PB_STRING> str = pb::adopt( pbStringCreateFromCharsCopy( name.data(), PB_INT_FROM( name.size() ) ) );
        if ( name.empty() || fromText( str.get() ) )
            return;
        std::string names = pb::text( pb::adopt( toText( -1 ) ).get() );
        for ( std::size_t at; ( at = names.find( '|' ) ) != names.npos; )
            names.replace( at, 1, ", " );
        report.add( key, unknownName( name, names ) );
    }
};

/** An integer that is stored as a name while it is `valid`; the names count from 0. */
template <class Owner>
struct NameRow {
    const char *key;
    PB_INT Owner::*member;
    PB_INT initial;
    PB_STRING *( *toText )( PB_INT value );
    PB_INT ( *fromText )( PB_STRING *text );
    bool ( *valid )( PB_INT value );

    void reset( Owner &owner ) const { owner.*member = initial; }
    bool stored( PB_INT value, bool ) const { return valid( value ); }
    void write( PB_STORE **store, PB_INT value, bool ) const { writeText( store, key, toText( value ) ); }
    Ignored read( PB_STORE *store, PB_INT &value ) const
    {
        return readName( store, key, toText, fromText, valid, value );
    }
};

/** An optional integer from 0 on, -1 when absent. */
template <class Owner>
struct OptionalIntRow {
    const char *key;
    PB_INT Owner::*member;

    void reset( Owner &owner ) const { owner.*member = -1; }
    bool stored( PB_INT value, bool ) const { return value >= 0; }
    void write( PB_STORE **store, PB_INT value, bool ) const { writeValue( store, key, value ); }
    Ignored read( PB_STORE *store, PB_INT &value ) const { return readWithin( store, key, 0, PB_INT_MAX, value ); }
};

/** An optional object that is stored as a sub-store. */
template <class Owner, class T>
struct StoreRow {
    const char *key;
    pb::Ref<T> Owner::*member;
    PB_STORE *( *toStore )( T *object );
    T *( *tryFromStore )( PB_STORE *store );
    PB_STORE *( *checkStore )( PB_STORE *store );

    void write( PB_STORE **store, const pb::Ref<T> &object, bool ) const
    {
        writeStore( store, key, toStore( object.get() ) );
    }
    Ignored read( PB_STORE *store, pb::Ref<T> &object ) const
    {
        return readObject( pb::adopt( pbStoreStoreCstr( store, key, -1 ) ), tryFromStore, object );
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
    void write( PB_STORE **store, const pb::Ref<T> &options, bool full ) const
    {
        writeStore( store, key, toStore( options.get(), full ) );
    }
    Ignored read( PB_STORE *store, pb::Ref<T> &options ) const
    {
        return readObject( pb::adopt( pbStoreStoreCstr( store, key, -1 ) ), fromStore, options );
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
            return notParsed( text.get() );
        item = pb::adopt( pbStringObj( text.give() ) );
        return {};
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
        pb::Ref<T> object;
        Ignored reason = readObject( pb::adopt( pbStoreStoreAt( array, index ) ), tryFromStore, object );
        item = pb::adopt( pb::obj( object.give() ) );
        return reason;
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
    bool stored( const pb::Ref<PB_VECTOR> &objects, bool full ) const
    {
        return full || pbVectorLength( objects.get() ) > 0;
    }
    void write( PB_STORE **store, const pb::Ref<PB_VECTOR> &objects, bool ) const
    {
        pb::Ref<PB_STORE> array = pb::adopt( pbStoreCreateArray() );
        for ( PB_INT i = 0; i < pbVectorLength( objects.get() ); ++i )
            item.append( array.handle(), pb::adopt( pbVectorObjAt( objects.get(), i ) ).get() );
        pbStoreSetStoreCstr( store, key, -1, array.get() );
    }
    Ignored read( PB_STORE *store, pb::Ref<PB_VECTOR> &objects ) const
    {
        pb::Ref<PB_STORE> array = storedArray( store );
        if ( !array )
            return wrongType;
        objects = pb::adopt( pbVectorCreate() );
        pb::Ref<PB_OBJ> object;
        for ( PB_INT i = 0; i < pbStoreLength( array.get() ); ++i )
            if ( !item.read( array.get(), i, object ) )
                pbVectorAppend( objects.handle(), object.get() );
        return {};
    }
    void check( PB_STORE *store, Report &report ) const
    {
        pb::Ref<PB_STORE> array = storedArray( store );
        pb::Ref<PB_OBJ> object;
        for ( PB_INT i = 0; array && i < pbStoreLength( array.get() ); ++i ) {
            pb::Ref<PB_STRING> path = pb::format( "%~s.%i", pb::string( key ).give(), i );
            if ( Ignored reason = item.read( array.get(), i, object ) )
                report.add( path.get(), reason.words );
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
};

/*
 * What stands once behind all kinds of rows.
 */

template <class Row>
concept StoredRow = requires( const Row &row )
{
    row.key;
};

template <class T>
const T &valueOf( const T &member )
{
    return member;
}
template <class T>
const T &valueOf( const Setting<T> &member )
{
    return member.value;
}
template <class T>
T &changed( T &member )
{
    return member;
}
/** The value of a setting, which counts as chosen from here on. */
template <class T>
T &changed( Setting<T> &member )
{
    member.isDefault = false;
    return member.value;
}

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
    if constexpr ( requires { row.stored( member, full ); } )
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
    if constexpr ( requires { row.restoredInto; } )
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

inline bool hasEntry( PB_STORE *store, const char *key )
{
    return pbStoreHasValueCstr( store, key, -1 ) || pbStoreHasStoreCstr( store, key, -1 );
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
template <class Owner>
Owner *createOptions()
{
    Owner *options = pb::create<Owner>();
    eachStoredRow<Owner>( [&]( const auto &row ) {
        if constexpr ( requires { row.reset( *options ); } )
            row.reset( *options );
    } );
    return options;
}

/** A new store with what was chosen, or with `full` everything. */
template <class Owner>
PB_STORE *storeOptions( Owner &options, bool full )
{
    pb::Ref<PB_STORE> store = pb::adopt( pbStoreCreate() );
    eachStoredRow<Owner>( [&]( const auto &row ) { storeRow( row, options, store.handle(), full ); } );
    return store.give();
}

/** New options from a store; what is absent or bad leaves the default. */
template <class Owner>
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

template <class Owner>
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
    if constexpr ( requires { row.check( store, report ); } )
        row.check( store, report );
    else if constexpr ( requires { row.checkStore; } )
        if ( pb::Ref<PB_STORE> inner = pb::adopt( pbStoreStoreCstr( store, row.key, -1 ) ) )
            report.addAll( row.key, pb::adopt( row.checkStore( inner.get() ) ).get() );
}

/** Whether an array stands where a row wants keys; restoring finds none in it. */
template <StoredRow Row>
bool holdsArray( const Row &row, PB_STORE *store )
{
    if constexpr ( requires { row.checkStore; } ) {
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
    if constexpr ( requires { row.restoredInto; } )
        if ( !reason && row.restoredInto != row.member )
            report.add( row.key, std::string( "applied to " ) + keyOf( row.restoredInto ) );
    checkWithin( row, store, report );
}

/** Reports on the key of one entry, known or not. */
template <class Owner>
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
template <class Owner>
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
        if constexpr ( requires { row.whenMissing; } )
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

/** Starts a setter: asserts the handle and its object. */
#define IN_ASSERT_HANDLE( handle ) \
    PB_ASSERT( handle );           \
    PB_ASSERT( *handle )

/** Aborts unless the precondition holds, whose text, as it was handed to the macro, is that of the abort. */
#define IN_ASSERT_TEXT( precondition, text ) \
    ( ( precondition ) ? (void)0 : pb___Abort( nullptr, __FILE__, __LINE__, text ) )

/** The copying function of a class: a new, unshared object. */
#define IN_CREATE_FROM_DEFINE( CLASS, prefix ) \
    CLASS *prefix##CreateFrom( CLASS *source ) \
    {                                          \
        PB_ASSERT( source );                   \
        return pb::copy( *source );            \
    }                                          \
    static_assert( true )

/** A function that gives something of an object. */
#define IN_GETTER_DEFINE( CLASS, function, handle, TYPE, ... ) \
    TYPE function( CLASS *handle )                             \
    {                                                          \
        PB_ASSERT( handle );                                   \
        return __VA_ARGS__;                                    \
    }                                                          \
    static_assert( true )

/**
 * A function that gives a member a value, for which it may have a parameter; the object is unshared before. The text is
 * that of the abort when the precondition does not hold.
 */
#define IN_SETTER_DEFINE( CLASS, prefix, Set, handle, precondition, text, member, value, ... ) \
    void prefix##Set( CLASS **handle __VA_OPT__(, ) __VA_ARGS__ )                              \
    {                                                                                          \
        IN_ASSERT_HANDLE( handle );                                                            \
        IN_ASSERT_TEXT( precondition, text );                                                  \
        PB_UNSHARE( handle, prefix##CreateFrom ).member = value;                               \
    }                                                                                          \
    static_assert( true )

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
    IN_CREATE_FROM_DEFINE( CLASS, prefix );                                                        \
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
    PB_STORE *internalPrefix##Check( PB_STORE *store, CS_CONFIG *optionalFile );                   \
    PB_STORE *internalPrefix##Check( PB_STORE *store, CS_CONFIG *optionalFile )                    \
    {                                                                                              \
        return in::checkOptions<CLASS>( store, optionalFile );                                     \
    }                                                                                              \
    static_assert( true )

/** Of both kinds of settings: ...Default (is it), Set...Default. */
#define IN_DEFAULT_DEFINE( CLASS, prefix, Name, member )                                                       \
    IN_GETTER_DEFINE( CLASS, prefix##Name##Default, opt, PB_BOOL, opt->member.isDefault );                     \
    void prefix##Set##Name##Default( CLASS **opt )                                                             \
    {                                                                                                          \
        IN_ASSERT_HANDLE( opt );                                                                               \
        CLASS &unshared = PB_UNSHARE( opt, prefix##CreateFrom );                                               \
        in::eachRow<CLASS>( [&]( const auto &row ) { return in::resetIf( row, unshared, &CLASS::member ); } ); \
    }                                                                                                          \
    static_assert( true )

/**
 * The four accessors of a ValueRow: get, Set, ...Default, Set...Default. `parameter` names the value in the setter and in
 * `precondition`, whose text is that of the abort.
 */
#define IN_SETTING_DEFINE( CLASS, prefix, Name, member, TYPE, parameter, precondition )                                \
    IN_GETTER_DEFINE( CLASS, prefix##Name, opt, TYPE, opt->member.value );                                             \
    IN_SETTER_DEFINE(                                                                                                  \
        CLASS, prefix, Set##Name, opt, precondition, #precondition, member, in::chosen( parameter ), TYPE parameter ); \
    IN_DEFAULT_DEFINE( CLASS, prefix, Name, member )

/** The accessors of an OptionsRow: get (a new reference), Set, ...Default, Set...Default. */
#define IN_INNER_OPTIONS_DEFINE( CLASS, prefix, Name, member, TYPE, parameter )         \
    IN_GETTER_DEFINE( CLASS, prefix##Name, opt, TYPE *, opt->member.value.retained() ); \
    IN_SETTER_DEFINE( CLASS, prefix, Set##Name, opt, parameter, #parameter, member,     \
        in::chosen( pb::share( parameter ) ), TYPE *parameter );                        \
    IN_DEFAULT_DEFINE( CLASS, prefix, Name, member )

/** The accessors of an optional object: get (a new reference or null), Has, Set, Del. */
#define IN_OPTIONAL_DEFINE( CLASS, prefix, Name, member, TYPE, handle, parameter ) \
    IN_OPTIONAL_CHECKED_DEFINE( CLASS, prefix, Name, member, TYPE, handle, parameter, true )

/** The same, for an object that is to fulfil a precondition. */
#define IN_OPTIONAL_CHECKED_DEFINE( CLASS, prefix, Name, member, TYPE, handle, parameter, precondition ) \
    IN_GETTER_DEFINE( CLASS, prefix##Name, handle, TYPE *, handle->member.retained() );                  \
    IN_GETTER_DEFINE( CLASS, prefix##Has##Name, handle, PB_BOOL, bool( handle->member ) );               \
    void prefix##Set##Name( CLASS **handle, TYPE *parameter )                                            \
    {                                                                                                    \
        IN_ASSERT_HANDLE( handle );                                                                      \
        PB_ASSERT( parameter );                                                                          \
        IN_ASSERT_TEXT( precondition, #precondition );                                                   \
        PB_UNSHARE( handle, prefix##CreateFrom ).member = pb::share( parameter );                        \
    }                                                                                                    \
    IN_SETTER_DEFINE( CLASS, prefix, Del##Name, handle, true, "", member, nullptr )

/** The accessors of an optional integer, -1 when absent: get, Has, Set, Del. */
#define IN_OPTIONAL_INT_DEFINE( CLASS, prefix, Name, member, handle, parameter, precondition )                \
    IN_GETTER_DEFINE( CLASS, prefix##Name, handle, PB_INT, handle->member );                                  \
    IN_GETTER_DEFINE( CLASS, prefix##Has##Name, handle, PB_BOOL, handle->member != -1 );                      \
    IN_SETTER_DEFINE(                                                                                         \
        CLASS, prefix, Set##Name, handle, precondition, #precondition, member, parameter, PB_INT parameter ); \
    IN_SETTER_DEFINE( CLASS, prefix, Del##Name, handle, true, "", member, -1 )

/**
 * The accessors of a VectorRow: the number of items, the vector and an item (new references), and what changes them. Each
 * item fulfils the precondition.
 */
#define IN_ITEMS_DEFINE( CLASS, prefix, Item, Items, member, TYPE, self, parameter, precondition )        \
    IN_GETTER_DEFINE( CLASS, prefix##Items##Length, self, PB_INT, pbVectorLength( self->member.get() ) ); \
    IN_GETTER_DEFINE( CLASS, prefix##Items##Vector, self, PB_VECTOR *, self->member.retained() );         \
    TYPE *prefix##Item##At( CLASS *self, PB_INT index )                                                   \
    {                                                                                                     \
        PB_ASSERT( self );                                                                                \
        return pb::adoptAs<TYPE>( pbVectorObjAt( self->member.get(), index ) ).give();                    \
    }                                                                                                     \
    static PB_OBJ *prefix##Assert##Item( TYPE *parameter )                                                \
    {                                                                                                     \
        PB_ASSERT( parameter );                                                                           \
        IN_ASSERT_TEXT( precondition, #precondition );                                                    \
        return pb::obj( parameter );                                                                      \
    }                                                                                                     \
    void prefix##Set##Item##At( CLASS **self, PB_INT index, TYPE *parameter )                             \
    {                                                                                                     \
        IN_ASSERT_HANDLE( self );                                                                         \
        PB_OBJ *item = prefix##Assert##Item( parameter );                                                 \
        pbVectorSetObjAt( PB_UNSHARE( self, prefix##CreateFrom ).member.handle(), index, item );          \
    }                                                                                                     \
    void prefix##Del##Item##At( CLASS **self, PB_INT index )                                              \
    {                                                                                                     \
        IN_ASSERT_HANDLE( self );                                                                         \
        pbVectorDelAt( PB_UNSHARE( self, prefix##CreateFrom ).member.handle(), index );                   \
    }                                                                                                     \
    void prefix##Append##Item( CLASS **self, TYPE *parameter )                                            \
    {                                                                                                     \
        IN_ASSERT_HANDLE( self );                                                                         \
        PB_OBJ *item = prefix##Assert##Item( parameter );                                                 \
        pbVectorAppend( PB_UNSHARE( self, prefix##CreateFrom ).member.handle(), item );                   \
    }                                                                                                     \
    void prefix##Prepend##Item( CLASS **self, TYPE *parameter )                                           \
    {                                                                                                     \
        IN_ASSERT_HANDLE( self );                                                                         \
        PB_OBJ *item = prefix##Assert##Item( parameter );                                                 \
        pbVectorPrepend( PB_UNSHARE( self, prefix##CreateFrom ).member.handle(), item );                  \
    }                                                                                                     \
    void prefix##Insert##Item( CLASS **self, PB_INT index, TYPE *parameter )                              \
    {                                                                                                     \
        IN_ASSERT_HANDLE( self );                                                                         \
        PB_OBJ *item = prefix##Assert##Item( parameter );                                                 \
        pbVectorInsert( PB_UNSHARE( self, prefix##CreateFrom ).member.handle(), index, item );            \
    }                                                                                                     \
    void prefix##Clear##Items( CLASS **self )                                                             \
    {                                                                                                     \
        IN_ASSERT_HANDLE( self );                                                                         \
        pbVectorClear( PB_UNSHARE( self, prefix##CreateFrom ).member.handle() );                          \
    }                                                                                                     \
    void prefix##Set##Items##Vector( CLASS **self, PB_VECTOR *vec )                                       \
    {                                                                                                     \
        IN_ASSERT_HANDLE( self );                                                                         \
        PB_ASSERT( vec );                                                                                 \
        PB_ASSERT( pbVectorContainsOnly( vec, pb::Class<TYPE>::sort() ) );                                \
        for ( PB_INT i = 0; i < pbVectorLength( vec ); ++i )                                              \
            prefix##Assert##Item( pb::adoptAs<TYPE>( pbVectorObjAt( vec, i ) ).get() );                   \
        PB_UNSHARE( self, prefix##CreateFrom ).member = pb::share( vec );                                 \
    }                                                                                                     \
    static_assert( true )

#endif
