/*
 * Vectors. The live entries stand from `head` on, so that a vector that is used as a queue moves its entries only once
 * half of its places have become free. What a setter takes out is let go when the vector is whole again, because the
 * last reference may run any free function.
 */
#include <pb/pb_containers_private.hpp>
#include <vector>

struct PB_VECTOR : PB_OBJ {
    std::vector<pb::Ref<PB_OBJ>> places;
    std::size_t head = 0;

    auto begin() { return places.begin() + static_cast<std::ptrdiff_t>( head ); }
    auto end() { return places.end(); }
    auto at( PB_INT index ) { return begin() + static_cast<std::ptrdiff_t>( index ); }
    PB_INT length() const { return static_cast<PB_INT>( places.size() - head ); }
    void delFirst();
};

void PB_VECTOR::delFirst()
{
    ++head;
    if ( head < places.size() - head )
        return;
    places.erase( places.begin(), begin() );
    head = 0;
}

static PB_INT pb___VectorCompFunc( PB_OBJ *thisObj, PB_OBJ *thatObj )
{
    auto &thisVec = *static_cast<PB_VECTOR *>( thisObj );
    auto &thatVec = *static_cast<PB_VECTOR *>( thatObj );
    auto that = thatVec.begin();
    for ( const auto &entry : thisVec ) {
        if ( that == thatVec.end() )
            return 1;
        if ( PB_INT order = pb::compareObjects( entry.get(), ( that++ )->get() ) )
            return order;
    }
    return that == thatVec.end() ? 0 : -1;
}

static PB_STRING *pb___VectorToStringFunc( PB_OBJ *obj )
{
    pb::Ref<PB_STRING> text = pb::string( "[" );
    for ( const auto &entry : *static_cast<PB_VECTOR *>( obj ) ) {
        if ( pbStringLength( text.get() ) > 1 )
            pbStringAppendCstr( text.handle(), ", ", -1 );
        pb::appendText( text, entry.get() );
    }
    pbStringAppendChar( text.handle(), ']' );
    return text.give();
}

PB_CLASS_DEFINE( PB_VECTOR, pbVector, pb::destroy<PB_VECTOR>, pb___VectorCompFunc, pb___VectorToStringFunc );

PB_VECTOR *pbVectorCreate( void )
{
    return pb::create<PB_VECTOR>();
}

PB_VECTOR *pbVectorCreateFrom( PB_VECTOR *source )
{
    PB_ASSERT( source );
    PB_VECTOR *copy = pbVectorCreate();
    copy->places.assign( source->begin(), source->end() );
    return copy;
}

PB_INT pbVectorLength( PB_VECTOR *vec )
{
    PB_ASSERT( vec );
    return vec->length();
}

PB_OBJ *pbVectorObjAt( PB_VECTOR *vec, PB_INT index )
{
    PB_ASSERT( vec );
    PB_ASSERT( index >= 0 );
    PB_ASSERT( index < pbVectorLength( vec ) );
    return vec->at( index )->retained();
}

PB_BOOL pbVectorContainsOnly( PB_VECTOR *vec, const PB_SORT *sort )
{
    PB_ASSERT( vec );
    PB_ASSERT( sort );
    for ( const auto &entry : *vec )
        if ( entry->sort != sort )
            return false;
    return true;
}

void pbVectorAppend( PB_VECTOR **vec, PB_OBJ *obj )
{
    PB_ASSERT( vec );
    PB_ASSERT( *vec );
    PB_ASSERT( obj );
    pb::Ref<PB_OBJ> entry = pb::share( obj ); // first: a vector that is appended to itself is shared by now, and copied
    PB_VECTOR &unshared = PB_UNSHARE( vec, pbVectorCreateFrom );
    unshared.places.push_back( std::move( entry ) );
}

void pbVectorPrepend( PB_VECTOR **vec, PB_OBJ *obj )
{
    pbVectorInsert( vec, 0, obj );
}

void pbVectorInsert( PB_VECTOR **vec, PB_INT index, PB_OBJ *obj )
{
    PB_ASSERT( vec );
    PB_ASSERT( *vec );
    PB_ASSERT( index >= 0 );
    PB_ASSERT( index <= pbVectorLength( *vec ) );
    PB_ASSERT( obj );
    pb::Ref<PB_OBJ> entry = pb::share( obj );
    PB_VECTOR &unshared = PB_UNSHARE( vec, pbVectorCreateFrom );
    if ( index == 0 && unshared.head > 0 )
        unshared.places[--unshared.head] = std::move( entry );
    else
        unshared.places.insert( unshared.at( index ), std::move( entry ) );
}

void pbVectorSetObjAt( PB_VECTOR **vec, PB_INT index, PB_OBJ *obj )
{
    PB_ASSERT( vec );
    PB_ASSERT( *vec );
    PB_ASSERT( index >= 0 );
    PB_ASSERT( index < pbVectorLength( *vec ) );
    PB_ASSERT( obj );
    pb::Ref<PB_OBJ> entry = pb::share( obj );
    PB_VECTOR &unshared = PB_UNSHARE( vec, pbVectorCreateFrom );
    std::swap( *unshared.at( index ), entry );
}

void pbVectorDelAt( PB_VECTOR **vec, PB_INT index )
{
    PB_ASSERT( vec );
    PB_ASSERT( *vec );
    PB_ASSERT( index >= 0 );
    PB_ASSERT( index < pbVectorLength( *vec ) );
    PB_VECTOR &unshared = PB_UNSHARE( vec, pbVectorCreateFrom );
    pb::Ref<PB_OBJ> removed = std::move( *unshared.at( index ) );
    if ( index == 0 )
        unshared.delFirst();
    else
        unshared.places.erase( unshared.at( index ) );
}

void pbVectorClear( PB_VECTOR **vec )
{
    PB_ASSERT( vec );
    PB_ASSERT( *vec );
    if ( pb::shared( *vec ) ) {
        pb::Ref<PB_VECTOR> replaced = pb::adopt( std::exchange( *vec, pbVectorCreate() ) );
        return;
    }
    auto removed = std::exchange( ( *vec )->places, {} );
    ( *vec )->head = 0;
}
