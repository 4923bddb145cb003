/* The kinds of rows that options have. A quirk that sets one row apart is visible in its row. */
#ifndef IN_ROWS_PRIVATE_HPP
#define IN_ROWS_PRIVATE_HPP

#include <in/kit/in_row_private.hpp>

namespace in {

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

/** An optional object that is not stored: it has no key. */
template <class Owner, class T>
struct UnstoredRow {
    pb::Ref<T> Owner::*member;
};

static_assert( OptionRow<ValueRow<AnyOptions, bool>, AnyOptions> );
static_assert( OptionRow<ValueRow<AnyOptions, PB_INT>, AnyOptions> );
static_assert( OptionRow<TextRow<AnyOptions, PB_STRING>, AnyOptions> );
static_assert( OptionRow<ObjectNameRow<AnyOptions>, AnyOptions> );
static_assert( OptionRow<FlagsRow<AnyOptions>, AnyOptions> );
static_assert( OptionRow<NameRow<AnyOptions>, AnyOptions> );
static_assert( OptionRow<OptionalIntRow<AnyOptions>, AnyOptions> );
static_assert( OptionRow<StoreRow<AnyOptions, PB_OBJ>, AnyOptions> );
static_assert( OptionRow<OptionsRow<AnyOptions, PB_OBJ>, AnyOptions> );
static_assert( OptionRow<UnstoredRow<AnyOptions, PB_OBJ>, AnyOptions> );

} // namespace in

#endif
