/* Integers as objects. Immutable, so any thread may share them. */
#include <pb/pb.hpp>

struct PB_BOXED_INT : PB_OBJ {
    PB_INT value;
};

static PB_INT pb___BoxedIntCompFunc( PB_OBJ *thisObj, PB_OBJ *thatObj )
{
    return pb::order( static_cast<PB_BOXED_INT *>( thisObj )->value, static_cast<PB_BOXED_INT *>( thatObj )->value );
}

static PB_STRING *pb___BoxedIntToStringFunc( PB_OBJ *obj )
{
    return pb::format( "%i", static_cast<PB_BOXED_INT *>( obj )->value ).give();
}

PB_CLASS_DEFINE( PB_BOXED_INT, pbBoxedInt, nullptr, pb___BoxedIntCompFunc, pb___BoxedIntToStringFunc );

PB_BOXED_INT *pbBoxedIntCreate( PB_INT value )
{
    return pb::create<PB_BOXED_INT>( value );
}

PB_INT pbBoxedIntValue( PB_BOXED_INT *boxed )
{
    PB_ASSERT( boxed );
    return boxed->value;
}
