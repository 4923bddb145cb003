/* Accessors of vectors within values. The macro only names the exported functions. */
#ifndef IN_ITEMS_PRIVATE_HPP
#define IN_ITEMS_PRIVATE_HPP

#include <in/kit/in_accessors_private.hpp>
#include <pb/pb_vector.h>

namespace in {

/**
 * The vector `member` of the class T, whose items are of class Item. What a setter is given is checked before the value is
 * unshared.
 */
template <class T, class Item, class Test>
struct Items {
    pb::Ref<PB_VECTOR> T::*member;
    Parameter<Test> item;
    const char *vectorPrecondition; // the text of the abort when there is something else in a vector

    PB_INT length( T *object, const Place &place ) const
    {
        return pbVectorLength( ( existing( object, place ).*member ).get() );
    }
    PB_VECTOR *vector( T *object, const Place &place ) const { return get( object, member, place ); }
    Item *at( T *object, PB_INT index, const Place &place ) const
    {
        return pb::adoptAs<Item>( pbVectorObjAt( ( existing( object, place ).*member ).get(), index ) ).give();
    }
    void setAt( T **handle, PB_INT index, Item *value, const Place &place ) const
    {
        pbVectorSetObjAt( changing( handle, value, place ), index, pb::obj( value ) );
    }
    void delAt( T **handle, PB_INT index, const Place &place ) const
    {
        pbVectorDelAt( changing( handle, place ), index );
    }
    void append( T **handle, Item *value, const Place &place ) const
    {
        pbVectorAppend( changing( handle, value, place ), pb::obj( value ) );
    }
    void prepend( T **handle, Item *value, const Place &place ) const
    {
        pbVectorPrepend( changing( handle, value, place ), pb::obj( value ) );
    }
    void insert( T **handle, PB_INT index, Item *value, const Place &place ) const
    {
        pbVectorInsert( changing( handle, value, place ), index, pb::obj( value ) );
    }
    void clear( T **handle, const Place &place ) const { pbVectorClear( changing( handle, place ) ); }
    void setVector( T **handle, PB_VECTOR *vec, const Place &place ) const
    {
        assertHandle( handle, place );
        assertAt( vec, "vec", place );
        assertAt( pbVectorContainsOnly( vec, pb::Class<Item>::sort() ), vectorPrecondition, place );
        for ( PB_INT i = 0; i < pbVectorLength( vec ); ++i )
            item.check( pb::adoptAs<Item>( pbVectorObjAt( vec, i ) ).get(), place );
        unshared( handle ).*member = pb::share( vec );
    }

private:
    /** The vector to be changed, of a value that is the caller's own. */
    PB_VECTOR **changing( T **handle, const Place &place ) const
    {
        assertHandle( handle, place );
        return ( unshared( handle ).*member ).handle();
    }
    PB_VECTOR **changing( T **handle, Item *value, const Place &place ) const
    {
        assertHandle( handle, place );
        item.check( value, place );
        return ( unshared( handle ).*member ).handle();
    }
};

/** Names the class of the items; the test's is deduced. */
template <class Item, class T, class Test>
constexpr Items<T, Item, Test> itemsOf(
    pb::Ref<PB_VECTOR> T::*member, Parameter<Test> item, const char *vectorPrecondition )
{
    return { member, item, vectorPrecondition };
}

} // namespace in

/**
 * The accessors of a VectorRow: the number of items, the vector and an item (new references), and what changes them. Each
 * item fulfils the precondition.
 */
#define IN_ITEMS_DEFINE( CLASS, prefix, Item, Items, member, TYPE, self, parameter, precondition )         \
    static constexpr auto prefix##Items =                                                                  \
        in::itemsOf<TYPE>( &CLASS::member, IN_PARAMETER( TYPE *, parameter, precondition, #precondition ), \
            "pbVectorContainsOnly( vec, pb::Class<" #TYPE ">::sort() )" );                                 \
    PB_INT prefix##Items##Length( CLASS *self )                                                            \
    {                                                                                                      \
        return prefix##Items.length( self, IN_PLACE( self ) );                                             \
    }                                                                                                      \
    PB_VECTOR *prefix##Items##Vector( CLASS *self )                                                        \
    {                                                                                                      \
        return prefix##Items.vector( self, IN_PLACE( self ) );                                             \
    }                                                                                                      \
    TYPE *prefix##Item##At( CLASS *self, PB_INT index )                                                    \
    {                                                                                                      \
        return prefix##Items.at( self, index, IN_PLACE( self ) );                                          \
    }                                                                                                      \
    void prefix##Set##Item##At( CLASS **self, PB_INT index, TYPE *parameter )                              \
    {                                                                                                      \
        prefix##Items.setAt( self, index, parameter, IN_PLACE( self ) );                                   \
    }                                                                                                      \
    void prefix##Del##Item##At( CLASS **self, PB_INT index )                                               \
    {                                                                                                      \
        prefix##Items.delAt( self, index, IN_PLACE( self ) );                                              \
    }                                                                                                      \
    void prefix##Append##Item( CLASS **self, TYPE *parameter )                                             \
    {                                                                                                      \
        prefix##Items.append( self, parameter, IN_PLACE( self ) );                                         \
    }                                                                                                      \
    void prefix##Prepend##Item( CLASS **self, TYPE *parameter )                                            \
    {                                                                                                      \
        prefix##Items.prepend( self, parameter, IN_PLACE( self ) );                                        \
    }                                                                                                      \
    void prefix##Insert##Item( CLASS **self, PB_INT index, TYPE *parameter )                               \
    {                                                                                                      \
        prefix##Items.insert( self, index, parameter, IN_PLACE( self ) );                                  \
    }                                                                                                      \
    void prefix##Clear##Items( CLASS **self )                                                              \
    {                                                                                                      \
        prefix##Items.clear( self, IN_PLACE( self ) );                                                     \
    }                                                                                                      \
    void prefix##Set##Items##Vector( CLASS **self, PB_VECTOR *vec )                                        \
    {                                                                                                      \
        prefix##Items.setVector( self, vec, IN_PLACE( self ) );                                            \
    }                                                                                                      \
    static_assert( true )

#endif
