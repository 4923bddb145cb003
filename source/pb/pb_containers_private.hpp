/* What the containers of this library share: the order of their objects, and texts made of the texts of entries. */
#ifndef PB_CONTAINERS_PRIVATE_HPP
#define PB_CONTAINERS_PRIVATE_HPP

#include <pb/pb.hpp>

namespace pb {

/** pbObjCompare of two objects; the usual case, one sort with a compare function, without a further call. */
inline PB_INT compareObjects( PB_OBJ *objA, PB_OBJ *objB )
{
    if ( objA != objB && objA->sort == objB->sort && objA->sort->compFunc )
        return objA->sort->compFunc( objA, objB );
    return pbObjCompare( objA, objB );
}

/** Sorts references by their objects, and finds them by a lent one. */
struct ObjectOrder {
    using is_transparent = void;

    static PB_OBJ *object( const Ref<PB_OBJ> &ref ) { return ref.get(); }
    static PB_OBJ *object( PB_OBJ *lent ) { return lent; }
    template <class A, class B>
    bool operator()( const A &a, const B &b ) const
    {
        return compareObjects( object( a ), object( b ) ) < 0;
    }
};

/** Appends an object's text to another text. */
inline void appendText( Ref<PB_STRING> &text, PB_OBJ *obj )
{
    Ref<PB_STRING> piece = adopt( pbObjToString( obj ) );
    pbStringAppend( text.handle(), piece.get() );
}

} // namespace pb

#endif
