/* The rows of options that hold vectors, which are stored as arrays of texts or of sub-stores. */
#ifndef IN_ARRAY_ROWS_PRIVATE_HPP
#define IN_ARRAY_ROWS_PRIVATE_HPP

#include <in/kit/in_rows_private.hpp>
#include <pb/pb_vector.h>

namespace in {

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

static_assert( OptionRow<VectorRow<AnyOptions, TextItem>, AnyOptions> );
static_assert( OptionRow<VectorRow<AnyOptions, StoreItem<PB_OBJ>>, AnyOptions> );

} // namespace in

#endif
